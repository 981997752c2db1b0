#include "admin/GetCommand.h"

#include "admin/Workplace.h"
#include "backend/records/SiteRecords.h"
#include "backend/store/DocumentStore.h"
#include "terminal/PrintableText.h"

#include <QFile>
#include <QFileInfo>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

Result<JobRecord> findJob(const QString& generatedName, Workplace& workplace)
{
    const Result<Database*> database = workplace.database();
    if (!database.ok())
        return database.status();
    JobFilter filter;
    filter.generatedName = generatedName;
    const Result<std::vector<JobRecord>> jobs = listJobs(*database.value(), filter);
    if (!jobs.ok())
        return jobs.status();
    if (jobs->empty())
        return Status::notFound(QStringLiteral("there is no job \"%1\"").arg(generatedName));
    if (jobs->front().storedName.isEmpty())
        return Status::notFound(QStringLiteral("job \"%1\" has no stored file").arg(generatedName));
    return jobs->front();
}

/// An import that did not end has not recorded its file store; the configured one is where it put the file.
Result<StoreLocation> locationOf(const JobRecord& job, Workplace& workplace)
{
    const Result<Settings> settings = workplace.settings();
    if (!settings.ok())
        return settings.status();
    const DocumentStoreSettings& store = settings->documentStore;
    const QString& fileStore = job.fileStore.isEmpty() ? store.fileStore : job.fileStore;
    return StoreLocation{store.database.toStdString(), fileStore.toStdString()};
}

Status checkTarget(const QString& path, bool force)
{
    const QFileInfo target(path);
    if (target.isDir())
        return Status::invalidArgument(
            QStringLiteral("\"%1\" is a folder; accepted is a file name").arg(path));
    if (!force && (target.exists() || target.isSymLink()))
        return Status::alreadyExists(QStringLiteral("\"%1\" exists already; --force replaces it").arg(path));
    return {};
}

Result<StoredFile> fetch(const JobRecord& job, const QString& path, Workplace& workplace)
{
    const Result<DocumentStore*> store = workplace.documentStore();
    if (!store.ok())
        return store.status();
    const Result<StoreLocation> location = locationOf(job, workplace);
    if (!location.ok())
        return location.status();
    const std::string storedName = job.storedName.toStdString();
    Result<StoredFile> stored = store.value()->find(location.value(), storedName);
    if (!stored.ok())
        return stored;
    const Status written =
        store.value()->get(location.value(), storedName, QFile::encodeName(path).toStdString());
    if (!written.ok())
        return written;
    return stored;
}

} // namespace

QString GetCommand::summary() const
{
    return QStringLiteral("fetch the stored file of a job, checked against its SHA-256");
}

std::vector<CommandOption> GetCommand::options() const
{
    return {{QStringLiteral("force"), {}, QStringLiteral("replace FILE where it exists")}};
}

std::vector<Operand> GetCommand::operands() const
{
    return {{QStringLiteral("JOB")}, {QStringLiteral("FILE")}};
}

Result<Report> GetCommand::run(const CommandLine& line, Workplace& workplace) const
{
    const QString& path = line.words.at(1);
    const Result<JobRecord> job = findJob(line.words.at(0), workplace);
    if (!job.ok())
        return job.status();
    const Status target = checkTarget(path, line.has(QStringLiteral("force")));
    if (!target.ok())
        return target;
    const Result<StoredFile> stored = fetch(job.value(), path, workplace);
    if (!stored.ok())
        return stored.status();
    const QString sha256 = QString::fromLatin1(stored->sha256);
    const QString text =
        QStringLiteral("%1: %2 bytes, sha256 %3\n").arg(printable(path)).arg(stored->length).arg(sha256);
    return Report{{{QStringLiteral("job"), job->generatedName},
                   {QStringLiteral("stored_name"), job->storedName},
                   {QStringLiteral("file"), path},
                   {QStringLiteral("bytes"), stored->length},
                   {QStringLiteral("sha256"), sha256}},
                  text};
}

} // namespace KOZAV::Admin
