#include "samples/BatchGenerator.h"

#include "samples/Folders.h"
#include "samples/JobGenerator.h"
#include "samples/OutputFile.h"
#include "samples/WriteError.h"

#include <QDateTime>
#include <QDir>

#include <array>
#include <utility>

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

struct JobShape
{
    EntryKind kind;
    ManifestKind manifest;
    ArchiveKind archive;
};

/// The kinds of jobs in the order in which they are dealt out over the whole batch.
constexpr std::array<JobShape, 8> kShapes{{{EntryKind::Folder, ManifestKind::Good, ArchiveKind::Tgz},
                                           {EntryKind::Archive, ManifestKind::None, ArchiveKind::Tgz},
                                           {EntryKind::Folder, ManifestKind::None, ArchiveKind::Tgz},
                                           {EntryKind::Archive, ManifestKind::None, ArchiveKind::Kos},
                                           {EntryKind::Folder, ManifestKind::Partial, ArchiveKind::Tgz},
                                           {EntryKind::Archive, ManifestKind::None, ArchiveKind::Zip},
                                           {EntryKind::Folder, ManifestKind::WrongTypes, ArchiveKind::Tgz},
                                           {EntryKind::Folder, ManifestKind::Broken, ArchiveKind::Tgz}}};

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
QString archiveFileName(const QString& job, ArchiveKind kind)
{
    switch (kind) {
    case ArchiveKind::Tgz:
        return job.toUpper() + QStringLiteral(".rev.b.tgz");
    case ArchiveKind::Zip:
        return QStringLiteral("主控板 %1.zip").arg(job);
    default:
        return job + QLatin1Char('.') + archiveSuffix(kind);
    }
}

class BatchWriter
{
public:
    explicit BatchWriter(const BatchRequest& request)
        : m_request(request)
        , m_directory(request.directory)
    {
    }

    BatchResult write();

private:
    void writeCompany(BatchCompany company, int jobs);
    BatchEntry writeJob(const QString& folder, const QString& name, const JobShape& shape);
    BatchEntry writeFolder(const JobRequest& job, ManifestKind manifest);
    BatchEntry writeArchive(const JobRequest& job, EntryKind kind);
    BatchEntry writeRefusedArchive(const QString& folder, const QString& fileName, ArchiveKind kind);
    BatchEntry writeNotes(const QString& folder);
    void writeManifest(const JobResult& job, BatchEntry& entry);
    JobRequest makeRequest(const QString& folder, const QString& name, quint64 bytes);
    Random nextRandom()
    {
        return Random::forPurpose(m_request.seed, "entry " + QByteArray::number(++m_entries));
    }

    const BatchRequest& m_request;
    QDir m_directory;
    BatchResult m_result;
    int m_entries = 0;
    std::size_t m_shape = 0;
};

BatchResult BatchWriter::write()
{
    makeEmptyFolder(m_request.directory);
    RemovalGuard unfinished(m_request.directory);
    for (int number = 0; number < m_request.companies; ++number)
        writeCompany(companyNumber(number), m_request.jobs);
    if (m_request.unknownCompany)
        writeCompany({QStringLiteral("未登记公司"), QString(), {}}, 2);
    m_result.outside.push_back(
        writeRefusedArchive(m_request.directory, QStringLiteral("misplaced.tgz"), ArchiveKind::Tgz));
    stampFolder(m_request.directory, m_directory.filePath(QStringLiteral("misplaced.tgz")));
    unfinished.keep();
    return std::move(m_result);
}

void BatchWriter::writeCompany(BatchCompany company, int jobs)
{
    const QString folder = m_directory.filePath(company.name);
    makeFolder(folder);
    Random random = Random::forPurpose(m_request.seed, company.name.toUtf8());
    for (int number = 1; number <= jobs; ++number)
        company.entries.push_back(
            writeJob(folder, jobName(random, number), kShapes.at(m_shape++ % kShapes.size())));
    if (company.isKnown()) {
        company.entries.push_back(writeRefusedArchive(folder, QStringLiteral("job.tar"), ArchiveKind::Tar));
        company.entries.push_back(writeRefusedArchive(folder, QStringLiteral("job.ZIP"), ArchiveKind::Zip));
        company.entries.push_back(writeNotes(folder));
    }
    stampFolder(folder, folder + QLatin1Char('/') + company.entries.front().name);
    m_result.companies.push_back(std::move(company));
}

BatchEntry BatchWriter::writeJob(const QString& folder, const QString& name, const JobShape& shape)
{
    JobRequest job = makeRequest(folder, name, m_request.jobBytes);
    if (shape.kind == EntryKind::Folder)
        return writeFolder(job, shape.manifest);
    job.archive = shape.archive;
    job.archiveName = archiveFileName(name, shape.archive);
    return writeArchive(job, EntryKind::Archive);
}

BatchEntry BatchWriter::writeFolder(const JobRequest& job, ManifestKind manifest)
{
    const JobResult result = generateJob(job);
    if (!result.ok())
        throw WriteError(result.error);
    BatchEntry entry{job.name, EntryKind::Folder, manifest, {}, result.files, result.bytes};
    if (manifest != ManifestKind::None)
        writeManifest(result, entry);
    return entry;
}

void BatchWriter::writeManifest(const JobResult& job, BatchEntry& entry)
{
    entry.texts = manifestTexts(entry.manifest, nextRandom());
    const QByteArray content = manifestFile(entry.manifest, entry.texts);
    OutputFile file(job.path + QStringLiteral("/readme.json"));
    file.write(content);
    file.finish();
    stampTree(job.path, job.savedAt);
    ++entry.files;
    entry.bytes += file.size();
}

BatchEntry BatchWriter::writeArchive(const JobRequest& job, EntryKind kind)
{
    const JobResult result = generateJob(job);
    if (!result.ok())
        throw WriteError(result.error);
    return {job.archiveName, kind, ManifestKind::None, {}, result.files, result.archiveBytes};
}

BatchEntry BatchWriter::writeRefusedArchive(const QString& folder, const QString& fileName, ArchiveKind kind)
{
    // A sound archive, so that nothing but its name or its place can be the reason to refuse it.
    JobRequest job = makeRequest(folder, QStringLiteral("refused"), kSmallestJob);
    job.archive = kind;
    job.archiveName = fileName;
    return writeArchive(job, EntryKind::Refused);
}

BatchEntry BatchWriter::writeNotes(const QString& folder)
{
    const QByteArray text = "Delivery notes: please confirm the stack-up before release.\n";
    const QString path = folder + QStringLiteral("/notes.txt");
    OutputFile file(path);
    file.write(text);
    file.finish();
    constexpr qint64 kDayOfDelivery = 1735689600;
    stampTree(path, QDateTime::fromSecsSinceEpoch(kDayOfDelivery, Qt::UTC));
    return {QStringLiteral("notes.txt"), EntryKind::Refused, ManifestKind::None, {}, 1, file.size()};
}

JobRequest BatchWriter::makeRequest(const QString& folder, const QString& name, quint64 bytes)
{
    JobRequest job;
    job.directory = folder;
    job.name = name;
    job.bytes = bytes;
    job.seed = nextRandom().next();
    return job;
}

} // namespace

std::optional<QString> invalidBatchRequest(const BatchRequest& request)
{
    if (request.companies < 1 || request.companies > kMaximumCompanies)
        return QStringLiteral("the number of companies must be 1 to %1, not %2")
            .arg(kMaximumCompanies)
            .arg(request.companies);
    if (request.jobs < 1 || request.jobs > kMaximumJobs)
        return QStringLiteral("the number of jobs must be 1 to %1, not %2")
            .arg(kMaximumJobs)
            .arg(request.jobs);
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
        failure.error = error.text();
        return failure;
    }
}

} // namespace KOZAV::Samples
