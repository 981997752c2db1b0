#include "samples/JobGenerator.h"

#include "samples/Design.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTemporaryDir>

#include <limits>

namespace KOZAV::Samples {

namespace {

constexpr int kMaximumSteps = 20;
constexpr int kMaximumLayers = 64;

/// What a features file takes at least, with the file beside it that states its sum.
constexpr quint64 kSmallestFeaturesFile = kSmallestFeatures + 100;

/// Of 1024, of 1024 of these, and so on.
const QLatin1String kUnits("KMG");

QDateTime timeOfSave(quint64 seed)
{
    constexpr qint64 kStartOf2021 = 1609459200;
    constexpr quint32 kFourYears = 126230400;
    return QDateTime::fromSecsSinceEpoch(
        kStartOf2021 + Random::forPurpose(seed, "time of save").below(kFourYears), Qt::UTC);
}

/// Writes the folder of one job.
class FolderWriter final
{
public:
    FolderWriter(const QString& path, const JobRequest& request)
        : m_request(request)
        , m_steps(planSteps(request.seed, request.steps))
        , m_layers(layerStack(request.layers))
    {
        m_result.path = path;
        m_result.savedAt = timeOfSave(request.seed);
    }

    JobResult write();

private:
    void writeJobFiles();
    void writeStepFiles(const Step& step);
    void writeFeaturesFiles();
    void write(const QString& name, const QByteArray& content);
    OutputFile create(const QString& name) const;
    void finish(OutputFile& file, const QString& name);
    QString layerFile(const Step& step, const Layer& layer, const char* file) const;

    const JobRequest& m_request;
    std::vector<Step> m_steps;
    std::vector<Layer> m_layers;
    JobResult m_result;
};

JobResult FolderWriter::write()
{
    makeEmptyFolder(m_result.path);
    auto unfinished = qScopeGuard([&] { removeAll(m_result.path); });
    writeJobFiles();
    for (const Step& step : m_steps)
        writeStepFiles(step);
    writeFeaturesFiles();
    // Real jobs have empty folders too, which what packs a job must take along.
    for (const char* folder : {"/input", "/user"})
        makeFolder(m_result.path + QString::fromLatin1(folder));
    stampFolders(m_result.path, m_result.path + QStringLiteral("/matrix/matrix"));
    unfinished.dismiss();
    return m_result;
}

void FolderWriter::writeJobFiles()
{
    const QByteArray name = m_request.name.toLower().toLatin1();
    write(QStringLiteral("matrix/matrix"), matrixText(m_steps, m_layers));
    write(QStringLiteral("misc/info"), jobInfo(name, m_result.savedAt));
    write(QStringLiteral("misc/attrlist"), jobAttributes());
    write(QStringLiteral("misc/job_name"), name + '\n');
}

void FolderWriter::writeStepFiles(const Step& step)
{
    const QString folder = QStringLiteral("steps/") + QString::fromLatin1(step.name);
    write(folder + QStringLiteral("/stephdr"), stepHeader(step));
    write(folder + QStringLiteral("/profile"), profileText(step.board));
    write(folder + QStringLiteral("/attrlist"), stepAttributes());
    for (const Layer& layer : m_layers)
        write(layerFile(step, layer, "attrlist"), layerAttributes(layer));
}

/// Brings the job to its size. What is left of it is dealt out to the layers one by one, so that each makes
/// good what those before it missed.
void FolderWriter::writeFeaturesFiles()
{
    quint64 filesLeft = m_steps.size() * m_layers.size();
    quint64 weightLeft = 0;
    for (const Step& step : m_steps)
        for (const Layer& layer : m_layers)
            weightLeft += step.weightOf(layer);
    for (const Step& step : m_steps)
        for (const Layer& layer : m_layers) {
            const quint64 used = m_result.bytes + filesLeft-- * kSmallestFeaturesFile;
            const quint64 left = m_request.bytes > used ? m_request.bytes - used : 0;
            const QString name = layerFile(step, layer, "features");
            OutputFile file = create(name);
            writeFeatures(file, step.board, layer.kind, Random::forPurpose(m_request.seed, name.toLatin1()),
                          kSmallestFeatures + left * step.weightOf(layer) / weightLeft);
            finish(file, name);
            weightLeft -= step.weightOf(layer);
        }
}

void FolderWriter::write(const QString& name, const QByteArray& content)
{
    OutputFile file = create(name);
    file.write(content);
    finish(file, name);
}

OutputFile FolderWriter::create(const QString& name) const
{
    const QString path = m_result.path + QLatin1Char('/') + name;
    makeFolder(QFileInfo(path).path());
    return OutputFile(path);
}

/// Ends the file, and writes the hidden file that a job keeps beside it: its size and the sum of its bytes.
void FolderWriter::finish(OutputFile& file, const QString& name)
{
    QString sumName = name + QStringLiteral(".sum");
    sumName.insert(name.lastIndexOf(QLatin1Char('/')) + 1, QLatin1Char('.'));
    OutputFile sumFile = create(sumName);
    sumFile.write(
        "SIZE=" + QByteArray::number(file.size()) + "\nSUM=" + QByteArray::number(file.sum()) +
        m_result.savedAt.toString(QStringLiteral("'\nDATE='MM/dd/yyyy'\nTIME='HH:mm:ss")).toLatin1() +
        "\nVERSION=ZAV SAMPLES\nUSER=SAMPLES\n");
    for (OutputFile* written : {&file, &sumFile}) {
        written->finish(m_result.savedAt);
        m_result.bytes += written->size();
        ++m_result.files;
    }
}

QString FolderWriter::layerFile(const Step& step, const Layer& layer, const char* file) const
{
    return QStringLiteral("steps/%1/layers/%2/%3")
        .arg(QString::fromLatin1(step.name), QString::fromLatin1(layer.name), QString::fromLatin1(file));
}

/// What a job takes when every layer has the fewest features, rounded up.
quint64 smallestSize(int steps, int copperLayers)
{
    const auto layers = static_cast<quint64>(layerStack(copperLayers).size());
    return 2000 + 170 * layers + static_cast<quint64>(steps) * (1500 + 1300 * layers);
}

JobResult writePacked(const JobRequest& request, const QString& archivePath)
{
    if (QFileInfo::exists(archivePath))
        throw WriteError{QStringLiteral("%1 exists already").arg(archivePath)};
    makeFolder(request.directory);
    const QTemporaryDir work(request.directory + QStringLiteral("/.zav_samples-XXXXXX"));
    if (!work.isValid())
        fail("make a folder in", request.directory, work.errorString());
    const QString name = request.name.toLower();
    JobResult result = FolderWriter(work.filePath(name), request).write();
    const ArchiveResult packed =
        writeArchive({result.path, name, archivePath, *request.archive, result.savedAt});
    if (!packed.ok())
        throw WriteError{packed.error};
    result.path = archivePath;
    result.archiveBytes = packed.bytes;
    return result;
}

QString archiveName(const JobRequest& request)
{
    if (!request.archiveName.isEmpty())
        return request.archiveName;
    return request.name + QLatin1Char('.') + archiveSuffix(*request.archive);
}

std::optional<QString> invalidName(const QString& name)
{
    static const QRegularExpression kJobName(QStringLiteral("\\A[A-Za-z0-9_+-]{1,64}\\z"));
    if (kJobName.match(name).hasMatch())
        return std::nullopt;
    return QStringLiteral("\"%1\" is no job name: 1 to 64 letters, digits, \"_\", \"+\" or \"-\"").arg(name);
}

std::optional<QString> invalidSize(const JobRequest& request)
{
    if (request.bytes < kSmallestJob || request.bytes > kLargestJob)
        return QStringLiteral("a job has %1 to %2, not %3")
            .arg(readableSize(kSmallestJob), readableSize(kLargestJob), readableSize(request.bytes));
    const quint64 smallest = smallestSize(request.steps, request.layers);
    if (request.bytes >= smallest)
        return std::nullopt;
    return QStringLiteral("a job with so many steps and layers takes at least %1K")
        .arg((smallest + 1023) / 1024);
}

} // namespace

std::optional<quint64> parseSize(const QString& text)
{
    static const QRegularExpression kSize(QStringLiteral("\\A([0-9]+)([KMG]?)\\z"),
                                          QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = kSize.match(text);
    bool fits = false;
    const quint64 number = match.captured(1).toULongLong(&fits);
    const QString unit = match.captured(2).toUpper();
    const int shift = unit.isEmpty() ? 0 : 10 * (1 + kUnits.indexOf(unit));
    if (!fits || number > (std::numeric_limits<quint64>::max() >> shift))
        return std::nullopt;
    return number << shift;
}

QString readableSize(quint64 bytes)
{
    for (int unit = kUnits.size(); unit > 0; --unit)
        if (const quint64 tenths = bytes * 10 >> 10 * unit; tenths >= 10) {
            const QString fraction = tenths % 10 == 0 ? QString() : QStringLiteral(".%1").arg(tenths % 10);
            return QStringLiteral("%1%2 %3").arg(tenths / 10).arg(fraction, kUnits.mid(unit - 1, 1));
        }
    return QStringLiteral("%1 bytes").arg(bytes);
}

std::optional<QString> invalidCount(const QString& what, int count, int most)
{
    if (count >= 1 && count <= most)
        return std::nullopt;
    return QStringLiteral("the number of %1 must be 1 to %2, not %3").arg(what).arg(most).arg(count);
}

std::optional<QString> invalidJobRequest(const JobRequest& request)
{
    if (auto error = invalidName(request.name))
        return error;
    if (auto error = invalidCount(QStringLiteral("steps"), request.steps, kMaximumSteps))
        return error;
    if (auto error = invalidCount(QStringLiteral("layers"), request.layers, kMaximumLayers))
        return error;
    return invalidSize(request);
}

JobResult generateJob(const JobRequest& request)
{
    JobResult result;
    if (const auto error = invalidJobRequest(request)) {
        result.error = *error;
        return result;
    }
    const QDir directory(request.directory);
    try {
        return request.archive ? writePacked(request, directory.filePath(archiveName(request)))
                               : FolderWriter(directory.filePath(request.name.toLower()), request).write();
    } catch (const WriteError& error) {
        result.error = error.text;
        return result;
    }
}

} // namespace KOZAV::Samples
