// Three steps, each for as few entries as it can: lengths tell which contents may be known at all, from the
// rows of the site or since the batch has a length twice; of these alone the content is read; and the site
// is asked for what was read. Lengths and contents are found by as many threads as there are cores, the
// longest first, so that none is left with a long one at the end.
//
// The panel walks directories and follows links in them. So it is given a directory of real company folders,
// which keep the order, and links with the entries' own names. Companies of which nothing is left have no
// folder there: they would be given a batch number for nothing.

#include "host/core/KnownBatch.h"

#include "host/core/AllCores.h"
#include "host/core/BatchListing.h"
#include "host/core/PanelSource.h"
#include "host/site/SiteAccess.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <atomic>
#include <map>
#include <utility>

namespace KOZAV::Host {

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

QString KnownBatch::compare(const Progress& progress, const std::atomic<bool>& cancelled)
{
    list();
    measure(progress, cancelled);
    if (cancelled)
        return {};
    std::vector<ComparedSource*> sources;
    for (ComparedSource& source : m_sources)
        sources.push_back(&source);
    if (QString failure = keepWhatMayBeKnown(sources); !failure.isEmpty())
        return failure;
    read(sources, progress, cancelled);
    return cancelled ? QString() : leaveOutKnown();
}

void KnownBatch::list()
{
    for (const ListedEntry& entry : listSource({PanelSource::Kind::Batch, m_standIn.original, {}}).entries) {
        if (!entry.isAccepted())
            continue;
        SourceContent content;
        content.isFolder = entry.isFolder;
        m_sources.push_back({entry.company, entry.name, entry.path, content});
    }
}

void KnownBatch::measure(const Progress& progress, const std::atomic<bool>& cancelled)
{
    std::atomic<std::size_t> done = 0;
    const auto look = [&] {
        progress(static_cast<double>(done) / static_cast<double>(m_sources.size()),
                 QStringLiteral("%1 of %2 entries").arg(done.load()).arg(m_sources.size()));
    };
    forEachOnCores(
        m_sources.size(), 0,
        [&](std::size_t number) {
            if (cancelled)
                return;
            ComparedSource& source = m_sources[number];
            source.content.length = contentLength(source.path, source.content.isFolder);
            ++done;
        },
        look);
}

void KnownBatch::read(const std::vector<ComparedSource*>& sources, const Progress& progress,
                      const std::atomic<bool>& cancelled)
{
    qint64 bytes = 1; // a batch of nothing but empty files is no division by zero
    for (const ComparedSource* source : sources)
        bytes += source->content.length;
    std::atomic<qint64> done = 0;
    constexpr double bytesOfAMegabyte = 1e6;
    const auto count = [&done, &cancelled](qint64 read) {
        done += read;
        return !cancelled;
    };
    readContents(sources, 0, count, [&] {
        progress(static_cast<double>(done) / static_cast<double>(bytes),
                 QStringLiteral("%1 of %2 MB")
                     .arg(static_cast<double>(done) / bytesOfAMegabyte, 0, 'f', 1)
                     .arg(static_cast<double>(bytes) / bytesOfAMegabyte, 0, 'f', 1));
    });
}

QString KnownBatch::leaveOutKnown()
{
    std::vector<SourceContent> contents;
    for (const ComparedSource& source : m_sources) {
        if (!source.content.sha256.isEmpty())
            contents.push_back(source.content);
    }
    QString failure;
    const auto jobs = jobsWithContent(contents, failure);
    if (!jobs)
        return failure;
    std::map<std::pair<QString, SourceContent>, QString> known; // generated names, by company and content
    for (const JobWithContent& job : *jobs)
        known.emplace(std::pair(job.company, job.content), job.generatedName);
    std::map<std::pair<QString, SourceContent>, QString> before; // names of entries
    for (const ComparedSource& source : m_sources) {
        if (source.content.sha256.isEmpty())
            continue;
        const auto place = std::pair(source.company, source.content);
        if (const auto job = known.find(place); job != known.end())
            m_standIn.leftOut.insert(source.path,
                                     {QStringLiteral("the site has its content as %1").arg(job->second),
                                      QStringLiteral("known-content"), job->second});
        else if (const auto [first, isFirst] = before.emplace(place, source.name); !isFirst)
            m_standIn.leftOut.insert(
                source.path, {QStringLiteral("the same content as %1 of this batch").arg(first->second),
                              QStringLiteral("same-content"), QString()});
    }
    return {};
}

bool KnownBatch::isEmpty() const
{
    return std::all_of(m_sources.begin(), m_sources.end(), [this](const ComparedSource& source) {
        return m_standIn.leftOut.contains(source.path);
    });
}

QString KnownBatch::makeStandIn()
{
    const QString work = m_site.workDirectory();
    if (work.isEmpty())
        return QStringLiteral("there is no work directory");
    m_standIn.directory = work + QStringLiteral("/batch");
    for (const ComparedSource& source : m_sources) {
        if (m_standIn.leftOut.contains(source.path))
            continue;
        const QString folder = m_standIn.directory + QLatin1Char('/') + source.company;
        const QString link = folder + QLatin1Char('/') + source.name;
        if (!QDir().mkpath(folder))
            return QStringLiteral("the folder %1 cannot be made").arg(folder);
        QFile entry(source.path);
        if (!entry.link(link))
            return QStringLiteral("the link %1 cannot be made: %2").arg(link, entry.errorString());
    }
    return {};
}

} // namespace KOZAV::Host
