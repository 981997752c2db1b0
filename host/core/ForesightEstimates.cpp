// Of a run before, archives are told by their length, folders by what was made of them alone, so the two are
// held apart: of archives a line through seconds over bytes, of folders the average.

#include "host/core/ForesightEstimates.h"

#include "host/site/ImportSpace.h"
#include "host/site/RunHistory.h"

#include <QFileInfo>

#include <algorithm>

namespace KOZAV::Host {

namespace {

/// How long entries of one kind took before: so much each, and so much for each byte.
class PastTimes final
{
public:
    void add(double seconds, double bytes)
    {
        m_count += 1;
        m_bytes += bytes;
        m_seconds += seconds;
        m_squares += bytes * bytes;
        m_products += bytes * seconds;
    }

    [[nodiscard]] bool isEmpty() const { return m_count == 0; }
    [[nodiscard]] double average() const { return m_seconds / m_count; }

    /// What so many entries with so many bytes together may take: by the line that comes nearest to what was.
    [[nodiscard]] double secondsFor(int count, qint64 bytes) const
    {
        const double spread = m_squares - m_bytes * m_bytes / m_count;
        const double slope =
            spread > 0 ? std::max(0.0, (m_products - m_bytes * m_seconds / m_count) / spread) : 0;
        const double each = (m_seconds - slope * m_bytes) / m_count;
        return std::max(0.0, each * count + slope * static_cast<double>(bytes));
    }

private:
    double m_count = 0;
    double m_bytes = 0;
    double m_seconds = 0;
    double m_squares = 0;
    double m_products = 0;
};

/// What past runs tell of both kinds of entry.
struct TimesByKind
{
    PastTimes archives;
    PastTimes folders;
};

void addRun(const RunRecord& run, TimesByKind& times)
{
    for (const BatchReportRow& row : run.rows) {
        if (row.result != BatchResult::Imported)
            continue;
        // Of a folder a run knows how long its archive was, not what was packed: its bytes say nothing here.
        const bool isFolder = QFileInfo(row.entry).suffix() != QFileInfo(row.storedName).suffix();
        if (isFolder)
            times.folders.add(row.seconds, 0);
        else
            times.archives.add(row.seconds, static_cast<double>(row.bytes));
    }
}

std::optional<TimesByKind> pastTimes(const std::atomic<bool>& cancelled)
{
    constexpr int runs = 3;
    QString failure;
    const auto kept = keptRuns(runs, 0, failure);
    if (!kept)
        return std::nullopt;
    TimesByKind times;
    for (const RunSummary& summary : *kept) {
        if (const auto run = cancelled ? std::nullopt : keptRun(summary.guid, failure))
            addRun(*run, times);
    }
    return times;
}

} // namespace

/// Archives are copied to the staging folder, where they stay until the run has ended, and stored as they
/// are; a packed folder stays there until it is stored.
std::vector<ForeseenSpace> estimateSpace(const std::vector<ForeseenEntry>& entries)
{
    QString failure;
    const auto space = importSpace(failure);
    if (!space)
        return {};
    qint64 archives = 0;
    qint64 folders = 0;
    qint64 longestFolder = 0;
    for (const ForeseenEntry& entry : entries) {
        if (!entry.isGiven || entry.bytes < 0)
            continue;
        (entry.isFolder ? folders : archives) += entry.bytes;
        if (entry.isFolder)
            longestFolder = std::max(longestFolder, entry.bytes);
    }
    ForeseenSpace staging = {space->staging, archives, archives + longestFolder, space->stagingFree};
    ForeseenSpace store = {space->store, archives, archives + folders, space->storeFree};
    if (space->store.isEmpty())
        return {staging};
    if (!space->isOneDisk)
        return {staging, store};
    store.needed += staging.needed;
    store.neededAtMost += staging.neededAtMost;
    return {store};
}

std::optional<double> estimateSeconds(const std::vector<ForeseenEntry>& entries,
                                      const std::atomic<bool>& cancelled)
{
    const auto times = pastTimes(cancelled);
    if (!times)
        return std::nullopt;
    double seconds = 0;
    for (const bool isFolder : {false, true}) {
        int count = 0;
        qint64 bytes = 0;
        for (const ForeseenEntry& entry : entries) {
            if (entry.isFolder != isFolder || !entry.isGiven)
                continue;
            ++count;
            bytes += isFolder ? 0 : std::max<qint64>(entry.bytes, 0);
        }
        const PastTimes& own = isFolder ? times->folders : times->archives;
        const PastTimes& other = isFolder ? times->archives : times->folders;
        if (count == 0)
            continue;
        if (own.isEmpty() && other.isEmpty())
            return std::nullopt;
        seconds += own.isEmpty() ? other.average() * count : own.secondsFor(count, bytes);
    }
    return seconds;
}

} // namespace KOZAV::Host
