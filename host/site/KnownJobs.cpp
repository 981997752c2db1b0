#include "host/site/KnownJobs.h"

#include "backend/Guarded.h"
#include "backend/database/Database.h"
#include "backend/io/File.h"
#include "backend/pack/FolderDigest.h"
#include "backend/records/KnownContent.h"
#include "backend/records/SiteRecords.h"
#include "host/site/SiteRows.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <exception>
#include <map>
#include <set>
#include <string>
#include <utility>

namespace KOZAV::Host {

namespace {

std::string localPath(const QString& path)
{
    return QFile::encodeName(path).toStdString();
}

Backend::KnownBy kindOf(bool isFolder)
{
    return isFolder ? Backend::KnownBy::FolderContent : Backend::KnownBy::StoredFile;
}

Backend::Result<QHash<int, QString>> companyNames(Backend::Database& database)
{
    const auto companies = Backend::listCompanies(database);
    if (!companies.ok())
        return companies.status();
    QHash<int, QString> names;
    for (const auto& company : companies.value())
        names.insert(company.companyId, QString::fromStdString(company.companyLabel));
    return names;
}

Backend::Result<std::vector<JobWithContent>> findJobs(Backend::Database& database,
                                                      const std::vector<SourceContent>& contents)
{
    const auto names = companyNames(database);
    if (!names.ok())
        return names.status();
    std::vector<JobWithContent> jobs;
    for (const bool isFolder : {false, true}) {
        std::vector<Backend::ContentDigest> digests;
        for (const SourceContent& content : contents) {
            if (content.isFolder == isFolder)
                digests.push_back({content.length, content.sha256});
        }
        const auto found = Backend::findKnownContents(database, kindOf(isFolder), digests);
        if (!found.ok())
            return found.status();
        for (const Backend::KnownContent& known : found.value())
            jobs.push_back({{isFolder, known.content.length, known.content.sha256},
                            known.job.flowGuid,
                            known.job.generatedName,
                            names->value(known.job.companyId)});
    }
    return jobs;
}

/// Of the jobs with one content, oldest of their companies and oldest first, the one that was there before a
/// job: the company's own where it has one.
const JobWithContent* jobBefore(const std::vector<JobWithContent>& jobs, const QString& flowKey,
                                const QString& company)
{
    const auto isOwn = [&](const JobWithContent& job) { return job.company == company; };
    const auto own = std::find_if(jobs.begin(), jobs.end(), isOwn);
    const JobWithContent* found = own != jobs.end() && own->flowKey != flowKey ? &*own : nullptr;
    if (!found && !jobs.empty() && jobs.front().flowKey != flowKey)
        found = &jobs.front();
    return found;
}

Backend::Result<QHash<QString, SourceContent>> findContents(Backend::Database& database,
                                                            const QStringList& flowKeys)
{
    const auto jobs = Backend::contentsOfJobs(database, flowKeys);
    if (!jobs.ok())
        return jobs.status();
    QHash<QString, SourceContent> contents;
    for (const Backend::JobContent& job : jobs.value())
        contents.insert(job.flowGuid,
                        {job.by == Backend::KnownBy::FolderContent, job.content.length, job.content.sha256});
    return contents;
}

Backend::Result<QHash<QString, JobWithContent>> findJobsBefore(Backend::Database& database,
                                                               const QHash<QString, QString>& companies)
{
    const auto imported = findContents(database, companies.keys());
    if (!imported.ok())
        return imported.status();
    const QHash<QString, SourceContent>& contents = imported.value();
    const std::set<SourceContent> different(contents.begin(), contents.end());
    const auto jobs = findJobs(database, {different.begin(), different.end()});
    if (!jobs.ok())
        return jobs.status();
    std::map<SourceContent, std::vector<JobWithContent>> jobsOf;
    for (const JobWithContent& job : jobs.value())
        jobsOf[job.content].push_back(job);
    QHash<QString, JobWithContent> before;
    for (auto own = contents.begin(); own != contents.end(); ++own) {
        if (const auto* job = jobBefore(jobsOf[own.value()], own.key(), companies.value(own.key())))
            before.insert(own.key(), *job);
    }
    return before;
}

} // namespace

qint64 contentLength(const QString& path, bool isFolder)
{
    if (!isFolder)
        return QFileInfo(path).isFile() ? QFileInfo(path).size() : -1;
    const auto length = Backend::folderContentLength(localPath(path));
    return length.ok() ? length.value() : -1;
}

SourceContent contentOf(const QString& path, bool isFolder, const std::function<bool(qint64 bytes)>& onBytes)
{
    // Reading has no other way out than a failure.
    struct Ended : std::exception
    {
    };
    const auto tell = [&onBytes](qint64 bytes) {
        if (!onBytes(bytes))
            throw Ended();
    };
    const auto digest = Backend::guarded([&]() -> Backend::Result<Backend::ContentDigest> {
        if (isFolder)
            return Backend::digestFolder(localPath(path), tell);
        auto file = Backend::File::openForReading(localPath(path));
        return file.ok() ? Backend::readThrough(file.value(), tell) : file.status();
    });
    if (!digest.ok())
        return {isFolder, -1, {}};
    return {isFolder, digest->length, digest->sha256};
}

std::optional<QSet<qint64>> knownLengths(bool isFolder, const QSet<qint64>& lengths, QString& failure)
{
    const auto ask = [&](Backend::Database& database) {
        return Backend::findKnownLengths(database, kindOf(isFolder), {lengths.begin(), lengths.end()});
    };
    const auto known = askRows(ask, failure);
    return known ? std::optional(QSet<qint64>(known->begin(), known->end())) : std::nullopt;
}

std::optional<std::vector<JobWithContent>> jobsWithContent(const std::vector<SourceContent>& contents,
                                                           QString& failure)
{
    return askRows([&](Backend::Database& database) { return findJobs(database, contents); }, failure);
}

std::optional<QHash<QString, SourceContent>> contentsOfJobs(const QStringList& flowKeys, QString& failure)
{
    return askRows([&](Backend::Database& database) { return findContents(database, flowKeys); }, failure);
}

std::optional<QHash<QString, JobWithContent>> jobsBefore(const QHash<QString, QString>& companies,
                                                         QString& failure)
{
    return askRows([&](Backend::Database& database) { return findJobsBefore(database, companies); }, failure);
}

} // namespace KOZAV::Host
