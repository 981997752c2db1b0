#include "admin/Application.h"
#include "admin/Stopping.h"
#include "admin/Verbs.h"
#include "backend/Site.h"
#include "backend/io/FilePath.h"
#include "backend/records/FileContent.h"
#include "backend/records/JobListing.h"
#include "backend/store/DocumentStore.h"
#include "terminal/PrintableText.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <csignal>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

Result<JobRecord> findJob(const QString& generatedName, Site& site)
{
    const auto database = site.database();
    if (!database.ok())
        return database.status();
    JobFilter filter;
    filter.generatedName = generatedName;
    const auto jobs = listJobs(*database.value(), filter);
    if (!jobs.ok())
        return jobs.status();
    if (jobs->empty())
        return Status::notFound(QStringLiteral("there is no job \"%1\"").arg(generatedName));
    if (jobs->front().storedName.isEmpty())
        return Status::notFound(QStringLiteral("job \"%1\" has no stored file").arg(generatedName));
    return jobs->front();
}

/// An import that did not end has not recorded its file store; the configured one is where it put the file.
Result<StoreLocation> locationOf(const JobRecord& job, Site& site)
{
    const auto settings = site.settings();
    if (!settings.ok())
        return settings.status();
    return job.fileStore.isEmpty() ? storeLocation(settings->documentStore)
                                   : storeLocation(settings->documentStore, job.fileStore.toStdString());
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

/// A file that another program has stored has no hash there: it is known once it was fetched.
Status compareFetched(const JobRecord& job, const std::string& path, StoredFile& stored)
{
    auto fetched = File::openForReading(path);
    if (!fetched.ok())
        return fetched.status();
    const auto digest = digestFile(fetched.value());
    if (!digest.ok())
        return digest.status();
    stored.sha256 = digest->sha256;
    auto same = checkContent(job, digest.value());
    if (!same.ok())
        (void)removeFile(path);
    return same;
}

Result<StoredFile> fetch(const JobRecord& job, const QString& path, Site& site)
{
    const auto store = site.documentStore();
    if (!store.ok())
        return store.status();
    const auto location = locationOf(job, site);
    if (!location.ok())
        return location.status();
    const std::string storedName = job.storedName.toStdString();
    auto stored = store.value()->find(location.value(), storedName);
    if (!stored.ok())
        return stored;
    const bool isHashed = !stored->sha256.isEmpty();
    // Before anything is written: a get gives nothing else than what the store has told here.
    if (auto same = isHashed ? checkContent(job, {stored->length, stored->sha256}) : Status(); !same.ok())
        return same;
    const std::string target = QFile::encodeName(path).toStdString();
    if (auto written = store.value()->get(location.value(), storedName, target); !written.ok())
        return written;
    if (auto same = isHashed ? Status() : compareFetched(job, target, stored.value()); !same.ok())
        return same;
    return stored;
}

Result<StoredFile> fetchToFile(const JobRecord& job, const QString& path, const Call& call)
{
    const auto target = checkTarget(path, call.line.has(QStringLiteral("force")));
    if (!target.ok())
        return target;
    return fetch(job, path, call.site);
}

Status writeContent(QFile& content, QIODevice& out)
{
#ifdef SIGPIPE
    // A reader that goes away leaves it with a part: that is a failure to be told, not a silent end.
    std::signal(SIGPIPE, SIG_IGN);
#endif
    constexpr qint64 blockBytes = 1024LL * 1024;
    for (QByteArray block = content.read(blockBytes); !block.isEmpty(); block = content.read(blockBytes)) {
        if (auto goOn = safePoint(); !goOn.ok())
            return goOn;
        if (!writeWhole(out, block))
            return Status::io(QStringLiteral("the stored file cannot be written to the standard output: %1")
                                  .arg(out.errorString()));
    }
    if (content.error() != QFile::NoError || !content.atEnd())
        return Status::io(QStringLiteral("cannot read the fetched file: %1").arg(content.errorString()));
    return {};
}

/// No byte goes out before all have been compared with what was stored. So the content passes through a
/// folder of the download cache that only this user can look into, and that is gone again before the writing
/// begins: whatever ends that leaves nothing behind.
Result<StoredFile> fetchToOutput(const JobRecord& job, const Call& call)
{
    const auto settings = call.site.settings();
    if (!settings.ok())
        return settings.status();
    if (const auto folders = makeFolders(settings.value()); !folders.ok())
        return folders;
    QTemporaryDir passage(settings->downloadCache + QStringLiteral("get-XXXXXX"));
    if (!passage.isValid())
        return Status::io(QStringLiteral("cannot make a folder in the download cache \"%1\": %2")
                              .arg(settings->downloadCache, passage.errorString()));
    QFile content(passage.filePath(QStringLiteral("content")));
    auto stored = fetch(job, content.fileName(), call.site);
    if (!stored.ok())
        return stored;
    if (!content.open(QIODevice::ReadOnly))
        return Status::io(QStringLiteral("cannot read the fetched file: %1").arg(content.errorString()));
    passage.remove();
    const auto written = writeContent(content, call.out);
    if (!written.ok())
        return written;
    return stored;
}

} // namespace

Result<Report> getVerb(const Call& call)
{
    const QString& path = call.line.words.at(1);
    const bool toOutput = path == QLatin1String("-");
    const StoppableVerb stoppable;
    const auto job = findJob(call.line.words.at(0), call.site);
    if (!job.ok())
        return job.status();
    const auto stored = toOutput ? fetchToOutput(job.value(), call) : fetchToFile(job.value(), path, call);
    if (!stored.ok())
        return StoppableVerb::ended(stored.status(),
                                    {toOutput ? QStringLiteral("not all of the content was written")
                                              : QStringLiteral("no file was written"),
                                     {},
                                     {}});
    const QString sha256 = QString::fromLatin1(stored->sha256);
    const QString place = toOutput ? QStringLiteral("standard output") : printable(path);
    const QString text =
        QStringLiteral("%1: %2 bytes, sha256 %3\n").arg(place).arg(stored->length).arg(sha256);
    Report report{{{QStringLiteral("job"), job->generatedName},
                   {QStringLiteral("stored_name"), job->storedName},
                   {QStringLiteral("file"), path},
                   {QStringLiteral("bytes"), stored->length},
                   {QStringLiteral("sha256"), sha256}},
                  text};
    report.besideContent = toOutput;
    return report;
}

} // namespace KOZAV::Admin
