// Three steps, each for as few entries as it can: lengths tell which contents may be known at all, from the
// rows of the site or since the batch has a length twice; of these alone the content is read; and the site
// is asked for what was read. Lengths and contents are found by as many threads as there are cores, the
// longest first, so that none is left with a long one at the end.
//
// The panel walks directories and follows links in them. So it is given a directory of real company folders,
// which keep the order, and links with the entries' own names. Companies of which nothing is left have no
// folder there: they would be given a batch number for nothing.

#include "host/core/KnownBatch.h"

#include "host/site/SiteAccess.h"
#include "ui/import_from_file/BatchDirectory.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSet>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

namespace KOZAV::Host {

namespace {

/// Has work(number) done for each number below count, on all cores, and look() called meanwhile, about ten
/// times a second, on the calling thread.
template <typename Work, typename Look>
void forEachOnAllCores(std::size_t count, const Work& work, const Look& look)
{
    std::atomic<std::size_t> next = 0;
    std::mutex mutex;
    std::condition_variable ended;
    const std::size_t threads =
        std::min<std::size_t>(count, std::max(1U, std::thread::hardware_concurrency()));
    std::size_t working = threads;
    std::vector<std::thread> workers;
    for (std::size_t i = 0; i < threads; ++i)
        workers.emplace_back([&] {
            for (std::size_t number = next++; number < count; number = next++)
                work(number);
            const std::lock_guard<std::mutex> lock(mutex);
            --working;
            ended.notify_one();
        });
    constexpr std::chrono::milliseconds betweenLooks(100);
    std::unique_lock<std::mutex> lock(mutex);
    while (!ended.wait_for(lock, betweenLooks, [&working] { return working == 0; }))
        look();
    lock.unlock();
    for (std::thread& worker : workers)
        worker.join();
}

} // namespace

KnownBatch::KnownBatch(SiteAccess& site, const QString& directory)
    : m_site(site)
{
    m_standIn.original = QDir::cleanPath(directory);
}

KnownBatch::~KnownBatch()
{
    // Links are removed themselves, not what they lead to.
    if (!m_standIn.directory.isEmpty())
        QDir(m_standIn.directory).removeRecursively();
}

QString KnownBatch::compare(const Progress& progress)
{
    list();
    measure(progress);
    std::vector<Candidate*> candidates;
    for (Candidate& candidate : m_candidates) {
        if (candidate.content.length >= 0)
            candidates.push_back(&candidate);
    }
    if (QString failure = dropUnknownLengths(candidates); !failure.isEmpty())
        return failure;
    read(candidates, progress);
    return leaveOutKnown();
}

void KnownBatch::list()
{
    for (const QFileInfo& company : UI::batchCompanies(m_standIn.original)) {
        for (const QFileInfo& job : UI::batchJobs(UI::batchEntryPath(company))) {
            if (UI::batchEntryKind(job) == UI::BatchEntryKind::NotAccepted)
                continue;
            SourceContent content;
            content.isFolder = job.isDir();
            m_candidates.push_back({company.fileName(), job.fileName(), UI::batchEntryPath(job), content});
        }
    }
}

void KnownBatch::measure(const Progress& progress)
{
    std::atomic<std::size_t> done = 0;
    const auto look = [&] {
        progress(static_cast<double>(done) / static_cast<double>(m_candidates.size()),
                 QStringLiteral("%1 of %2 entries").arg(done.load()).arg(m_candidates.size()));
    };
    forEachOnAllCores(
        m_candidates.size(),
        [&](std::size_t number) {
            Candidate& candidate = m_candidates[number];
            candidate.content.length = contentLength(candidate.path, candidate.content.isFolder);
            ++done;
        },
        look);
}

/// Keeps those of which the site may have the content, or the company folder another.
QString KnownBatch::dropUnknownLengths(std::vector<Candidate*>& candidates) const
{
    QString failure;
    QHash<bool, QSet<qint64>> known;
    for (const bool isFolder : {false, true}) {
        QSet<qint64> lengths;
        for (const Candidate* candidate : candidates) {
            if (candidate->content.isFolder == isFolder)
                lengths.insert(candidate->content.length);
        }
        const auto found = knownLengths(isFolder, lengths, failure);
        if (!found)
            return failure;
        known.insert(isFolder, *found);
    }
    std::map<std::tuple<QString, bool, qint64>, int> counts;
    const auto placeOf = [](const Candidate* candidate) {
        return std::tuple(candidate->company, candidate->content.isFolder, candidate->content.length);
    };
    for (const Candidate* candidate : candidates)
        ++counts[placeOf(candidate)];
    const auto isUnknown = [&](const Candidate* candidate) {
        return counts[placeOf(candidate)] == 1 &&
               !known[candidate->content.isFolder].contains(candidate->content.length);
    };
    candidates.erase(std::remove_if(candidates.begin(), candidates.end(), isUnknown), candidates.end());
    return {};
}

void KnownBatch::read(const std::vector<Candidate*>& candidates, const Progress& progress)
{
    std::vector<Candidate*> longestFirst = candidates;
    std::stable_sort(longestFirst.begin(), longestFirst.end(),
                     [](const Candidate* one, const Candidate* other) {
                         return one->content.length > other->content.length;
                     });
    qint64 bytes = 1; // a batch of nothing but empty files is no division by zero
    for (const Candidate* candidate : candidates)
        bytes += candidate->content.length;
    std::atomic<qint64> done = 0;
    constexpr double bytesOfAMegabyte = 1e6;
    const auto look = [&] {
        progress(static_cast<double>(done) / static_cast<double>(bytes),
                 QStringLiteral("%1 of %2 MB")
                     .arg(static_cast<double>(done) / bytesOfAMegabyte, 0, 'f', 1)
                     .arg(static_cast<double>(bytes) / bytesOfAMegabyte, 0, 'f', 1));
    };
    forEachOnAllCores(
        longestFirst.size(),
        [&](std::size_t number) {
            Candidate& candidate = *longestFirst[number];
            const SourceContent content =
                contentOf(candidate.path, candidate.content.isFolder, [&done](qint64 read) { done += read; });
            candidate.content = content;
        },
        look);
}

QString KnownBatch::leaveOutKnown()
{
    std::vector<SourceContent> contents;
    for (const Candidate& candidate : m_candidates) {
        if (!candidate.content.sha256.isEmpty())
            contents.push_back(candidate.content);
    }
    QString failure;
    const auto jobs = jobsWithContent(contents, failure);
    if (!jobs)
        return failure;
    std::map<std::pair<QString, SourceContent>, QString> known; // generated names, by company and content
    for (const JobWithContent& job : *jobs)
        known.emplace(std::pair(job.company, job.content), job.generatedName);
    std::map<std::pair<QString, SourceContent>, QString> before; // names of entries
    for (const Candidate& candidate : m_candidates) {
        if (candidate.content.sha256.isEmpty())
            continue;
        const auto place = std::pair(candidate.company, candidate.content);
        if (const auto job = known.find(place); job != known.end())
            m_standIn.leftOut.insert(candidate.path,
                                     {QStringLiteral("the site has its content as %1").arg(job->second),
                                      QStringLiteral("known-content"), job->second});
        else if (const auto [first, isFirst] = before.emplace(place, candidate.name); !isFirst)
            m_standIn.leftOut.insert(
                candidate.path, {QStringLiteral("the same content as %1 of this batch").arg(first->second),
                                 QStringLiteral("same-content"), QString()});
    }
    return {};
}

bool KnownBatch::isEmpty() const
{
    return std::all_of(m_candidates.begin(), m_candidates.end(), [this](const Candidate& candidate) {
        return m_standIn.leftOut.contains(candidate.path);
    });
}

QString KnownBatch::makeStandIn()
{
    const QString work = m_site.workDirectory();
    if (work.isEmpty())
        return QStringLiteral("there is no work directory");
    m_standIn.directory = work + QStringLiteral("/batch");
    for (const Candidate& candidate : m_candidates) {
        if (m_standIn.leftOut.contains(candidate.path))
            continue;
        const QString folder = m_standIn.directory + QLatin1Char('/') + candidate.company;
        const QString link = folder + QLatin1Char('/') + candidate.name;
        if (!QDir().mkpath(folder))
            return QStringLiteral("the folder %1 cannot be made").arg(folder);
        QFile entry(candidate.path);
        if (!entry.link(link))
            return QStringLiteral("the link %1 cannot be made: %2").arg(link, entry.errorString());
    }
    return {};
}

} // namespace KOZAV::Host
