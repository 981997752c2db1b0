#include "samples/BatchGenerator.h"

#include "samples/Files.h"
#include "samples/JobGenerator.h"

#include <QDateTime>
#include <QDir>
#include <QScopeGuard>

#include <array>

namespace KOZAV::Samples {

namespace {

constexpr int kMaximumCompanies = 100;
constexpr int kMaximumJobs = 1000;

struct KnownCompany
{
    const char* name;
    const char* code;
};

constexpr std::array<KnownCompany, 8> kCompanies{{{"深圳华兴电路", "HX"},
                                                  {"苏州金像电子", "JX"},
                                                  {"Nordlicht Elektronik GmbH", "NL"},
                                                  {"Acme Boards Inc.", "AB"},
                                                  {"东莞生益科技", "SY"},
                                                  {"Société Électrique du Rhône", "SR"},
                                                  {"珠海方正印制板", "FZ"},
                                                  {"Brightwater Avionics Ltd", "BA"}}};

/// A job in one of its forms: an archive, or else a folder with a manifest of some kind.
struct JobShape
{
    EntryKind kind;
    ManifestKind manifest = ManifestKind::None;
    std::optional<ArchiveKind> archive = {};
};

/// The shapes of jobs that an import takes, in the order in which they are dealt out over the whole batch.
const std::array<JobShape, 8> kShapes{{{EntryKind::Folder, ManifestKind::Good},
                                       {EntryKind::Archive, ManifestKind::None, ArchiveKind::Tgz},
                                       {EntryKind::Folder, ManifestKind::None},
                                       {EntryKind::Archive, ManifestKind::None, ArchiveKind::Kos},
                                       {EntryKind::Folder, ManifestKind::Partial},
                                       {EntryKind::Archive, ManifestKind::None, ArchiveKind::Zip},
                                       {EntryKind::Folder, ManifestKind::WrongTypes},
                                       {EntryKind::Folder, ManifestKind::Broken}}};

BatchCompany companyNumber(int number)
{
    const auto known = static_cast<int>(kCompanies.size());
    const KnownCompany& company = kCompanies.at(static_cast<std::size_t>(number % known));
    const int repeat = number / known + 1;
    const QString name = QString::fromUtf8(company.name);
    const QString code = QString::fromUtf8(company.code);
    if (repeat == 1)
        return {name, code, {}};
    return {QStringLiteral("%1 %2").arg(name).arg(repeat), QStringLiteral("%1%2").arg(code).arg(repeat), {}};
}

/// A job name that occurs once in the company: its last part is the job's number.
QString jobName(Random& random, int number)
{
    static constexpr std::array<const char*, 6> kParts{
        {"ctrl", "main_board", "pwr+drive", "rf-front", "sensor", "bms"}};
    const QString part = QString::fromLatin1(kParts.at(random.below(static_cast<quint32>(kParts.size()))));
    return QStringLiteral("%1_%2_%3")
        .arg(part)
        .arg(random.between(1000, 9999))
        .arg(number, 3, 10, QLatin1Char('0'));
}

/// Customers name archives as they like: capitals, blanks, more than one dot, their own language.
QString fileNameOf(const QString& job, const std::optional<ArchiveKind>& archive)
{
    if (!archive)
        return job;
    if (archive == ArchiveKind::Tgz)
        return job.toUpper() + QStringLiteral(".rev.b.tgz");
    if (archive == ArchiveKind::Zip)
        return QStringLiteral("主控板 %1.zip").arg(job);
    return job + QLatin1Char('.') + archiveSuffix(*archive);
}

quint64 writeText(const QString& path, const QByteArray& text, const QDateTime& time)
{
    OutputFile file(path);
    file.write(text);
    file.finish(time);
    return file.size();
}

class BatchWriter final
{
public:
    explicit BatchWriter(const BatchRequest& request)
        : m_request(request)
    {
    }

    BatchResult write();

private:
    BatchCompany writeCompany(BatchCompany company, int jobs);
    BatchEntry writeJob(const QString& folder, const JobShape& shape, const QString& name,
                        const QString& fileName);
    BatchEntry writeRefused(const QString& folder, ArchiveKind archive, const QString& fileName);
    BatchEntry writeNotes(const QString& folder);
    void writeManifest(const JobResult& job, BatchEntry& entry);
    Random nextRandom()
    {
        return Random::forPurpose(m_request.seed, "entry " + QByteArray::number(++m_entries));
    }

    const BatchRequest& m_request;
    int m_entries = 0;
    std::size_t m_shape = 0;
};

BatchResult BatchWriter::write()
{
    makeEmptyFolder(m_request.directory);
    auto unfinished = qScopeGuard([&] { removeAll(m_request.directory); });
    BatchResult result;
    for (int number = 0; number < m_request.companies; ++number)
        result.companies.push_back(writeCompany(companyNumber(number), m_request.jobs));
    if (m_request.unknownCompany)
        result.companies.push_back(writeCompany({QStringLiteral("未登记公司"), QString(), {}}, 2));
    const QString misplaced = QStringLiteral("misplaced.tgz");
    result.outside.push_back(writeRefused(m_request.directory, ArchiveKind::Tgz, misplaced));
    stampFolder(m_request.directory, QDir(m_request.directory).filePath(misplaced));
    unfinished.dismiss();
    return result;
}

BatchCompany BatchWriter::writeCompany(BatchCompany company, int jobs)
{
    const QString folder = QDir(m_request.directory).filePath(company.name);
    makeFolder(folder);
    Random random = Random::forPurpose(m_request.seed, company.name.toUtf8());
    for (int number = 1; number <= jobs; ++number) {
        const JobShape& shape = kShapes.at(m_shape++ % kShapes.size());
        const QString name = jobName(random, number);
        company.entries.push_back(writeJob(folder, shape, name, fileNameOf(name, shape.archive)));
    }
    if (company.isKnown()) {
        company.entries.push_back(writeRefused(folder, ArchiveKind::Tar, QStringLiteral("job.tar")));
        company.entries.push_back(writeRefused(folder, ArchiveKind::Zip, QStringLiteral("job.ZIP")));
        company.entries.push_back(writeNotes(folder));
    }
    stampFolder(folder, QDir(folder).filePath(company.entries.front().name));
    return company;
}

BatchEntry BatchWriter::writeJob(const QString& folder, const JobShape& shape, const QString& name,
                                 const QString& fileName)
{
    JobRequest job;
    job.directory = folder;
    job.name = name;
    job.bytes = shape.kind == EntryKind::Refused ? kSmallestJob : m_request.jobBytes;
    job.seed = nextRandom().next();
    job.archive = shape.archive;
    job.archiveName = fileName;
    const JobResult result = generateJob(job);
    if (!result.ok())
        throw WriteError{result.error};
    BatchEntry entry{fileName, shape.kind,   shape.manifest,
                     {},       result.files, job.archive ? result.archiveBytes : result.bytes};
    if (entry.manifest != ManifestKind::None)
        writeManifest(result, entry);
    return entry;
}

void BatchWriter::writeManifest(const JobResult& job, BatchEntry& entry)
{
    entry.texts = manifestTexts(entry.manifest, nextRandom());
    const QString path = job.path + QStringLiteral("/readme.json");
    entry.bytes += writeText(path, manifestFile(entry.manifest, entry.texts), job.savedAt);
    ++entry.files;
    stampFolder(job.path, path);
}

/// A sound archive, so that nothing but its name or its place can be the reason to refuse it.
BatchEntry BatchWriter::writeRefused(const QString& folder, ArchiveKind archive, const QString& fileName)
{
    return writeJob(folder, {EntryKind::Refused, ManifestKind::None, archive}, QStringLiteral("refused"),
                    fileName);
}

BatchEntry BatchWriter::writeNotes(const QString& folder)
{
    constexpr qint64 kDayOfDelivery = 1735689600;
    const QString name = QStringLiteral("notes.txt");
    const quint64 bytes = writeText(QDir(folder).filePath(name),
                                    "Delivery notes: please confirm the stack-up before release.\n",
                                    QDateTime::fromSecsSinceEpoch(kDayOfDelivery, Qt::UTC));
    return {name, EntryKind::Refused, ManifestKind::None, {}, 1, bytes};
}

} // namespace

std::optional<QString> invalidBatchRequest(const BatchRequest& request)
{
    if (auto error = invalidCount(QStringLiteral("companies"), request.companies, kMaximumCompanies))
        return error;
    if (auto error = invalidCount(QStringLiteral("jobs"), request.jobs, kMaximumJobs))
        return error;
    JobRequest job;
    job.name = QStringLiteral("job");
    job.bytes = request.jobBytes;
    return invalidJobRequest(job);
}

BatchResult generateBatch(const BatchRequest& request)
{
    BatchResult failure;
    if (const auto error = invalidBatchRequest(request)) {
        failure.error = *error;
        return failure;
    }
    try {
        return BatchWriter(request).write();
    } catch (const WriteError& error) {
        failure.error = error.text;
        return failure;
    }
}

} // namespace KOZAV::Samples
