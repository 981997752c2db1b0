// An entry is found by the call that stores it: a folder by its path, an archive by its suffix, since a
// stored file has a name of its own. The search begins at the entry that is expected, so each call moves on
// in the listing or stays. A call that finds no entry (of a source that came after the listing) changes
// nothing.
//
// Time goes into bytes, and into calls that each entry makes whatever its size. So an entry weighs its bytes
// and a constant that stands for those calls; a folder that was not packed yet weighs as the others did on
// the average.

#include "host/core/RunProgress.h"

#include "host/core/PanelSource.h"
#include "ui/import_from_file/BatchDirectory.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace KOZAV::Host {

using Backend::OperationEvent;
using Backend::OperationOutcome;
using Backend::ServiceOperation;
using Backend::WorkProgress;

namespace {

/// What the calls for an entry take is about what it takes to store so many bytes.
constexpr qint64 entryOverheadBytes = 1 << 20;
/// Before that an estimate says nothing.
constexpr qint64 firstEstimateMs = 2000;

bool isStoring(ServiceOperation operation)
{
    return operation == ServiceOperation::MongodbPut ||
           operation == ServiceOperation::FoldersCompressSave2MongoDb;
}

bool isLastRowOf(const OperationEvent& event)
{
    return event.operation == ServiceOperation::InputJobCompress ||
           event.operation == ServiceOperation::InputJobCompressByFolder;
}

} // namespace

RunProgress::RunProgress(const PanelSource& source, qint64 nowMs)
    : m_startMs(nowMs)
{
    if (source.path.isEmpty())
        return;
    if (source.kind == PanelSource::Kind::Batch) {
        listBatch(source.path);
        return;
    }
    const QFileInfo file(source.path);
    const bool isFolder = source.kind == PanelSource::Kind::JobFolder;
    m_entries.push_back(
        {source.company, file.fileName(), source.path, isFolder, isFolder ? qint64(-1) : file.size()});
}

void RunProgress::listBatch(const QString& directory)
{
    for (const QFileInfo& company : UI::batchCompanies(directory)) {
        for (const QFileInfo& job : UI::batchJobs(UI::batchEntryPath(company))) {
            const auto kind = UI::batchEntryKind(job);
            if (kind == UI::BatchEntryKind::NotAccepted)
                continue;
            const bool isFolder = kind == UI::BatchEntryKind::JobFolder;
            m_entries.push_back({company.fileName(), job.fileName(), UI::batchEntryPath(job), isFolder,
                                 isFolder ? qint64(-1) : job.size()});
        }
    }
}

/// A call for an entry: the current one, or one that comes later.
void RunProgress::begin(ServiceOperation operation, const QString& subject)
{
    const bool isFolder = operation == ServiceOperation::FoldersCompressSave2MongoDb;
    const QString suffix = QFileInfo(subject).suffix();
    const auto isIt = [&](const Entry& entry) {
        if (entry.isFolder != isFolder || m_entries.size() == 1)
            return entry.isFolder == isFolder;
        return isFolder ? QDir::cleanPath(entry.path) == QDir::cleanPath(subject)
                        : QFileInfo(entry.name).suffix() == suffix;
    };
    const auto first = m_entries.begin() + static_cast<std::ptrdiff_t>(m_current);
    const auto found = std::find_if(first, m_entries.end(), isIt);
    if (found == m_entries.end())
        return;
    m_current = static_cast<std::size_t>(found - m_entries.begin());
    if (found != first || !m_isUnderWay)
        m_currentBytes = 0;
    m_isUnderWay = true;
}

void RunProgress::endEntry()
{
    if (!m_isUnderWay)
        return;
    m_isUnderWay = false;
    m_currentBytes = 0;
    ++m_current;
}

void RunProgress::serviceCalled(const OperationEvent& event)
{
    if (event.reason == Backend::ErrorCode::Stopped) {
        m_isStopped = true;
        m_isUnderWay = false;
    }
    if (m_isStopped)
        return;
    if (isStoring(event.operation)) {
        // An entry whose company was refused ends without a word: the next one's file tells it.
        if (m_isUnderWay && m_step == RunStatus::Step::Entering)
            endEntry();
        begin(event.operation,
              event.operation == ServiceOperation::MongodbPut ? event.storedName : event.subject);
        m_step = RunStatus::Step::Entering;
        if (m_isUnderWay) {
            Entry& entry = m_entries[m_current];
            if (entry.bytes < 0)
                entry.bytes = event.storedBytes;
            m_currentBytes = std::max<qint64>(entry.bytes, 0);
        }
    }
    const bool isOfEntry = event.operation != ServiceOperation::UpdateBatchNumber;
    if (isLastRowOf(event) || (isOfEntry && event.outcome != OperationOutcome::Succeeded))
        endEntry();
}

void RunProgress::serviceWorks(const WorkProgress& work)
{
    if (m_isStopped || !isStoring(work.operation))
        return;
    if (m_isUnderWay && m_step == RunStatus::Step::Entering)
        endEntry();
    begin(work.operation, work.subject);
    if (!m_isUnderWay)
        return;
    Entry& entry = m_entries[m_current];
    if (!entry.isFolder) {
        m_step = RunStatus::Step::Storing;
        m_currentBytes = std::max(m_currentBytes, std::min(work.done, entry.bytes));
    } else if (work.stage == WorkProgress::Stage::Packing) {
        m_step = RunStatus::Step::Packing;
        entry.bytes = work.total;
        m_currentBytes = work.done;
    } else {
        m_step = m_currentBytes > 0 ? RunStatus::Step::Storing : RunStatus::Step::Packing;
    }
}

int RunProgress::entriesLeft() const
{
    return static_cast<int>(m_entries.size() - m_current) - (m_isUnderWay ? 1 : 0);
}

qint64 RunProgress::meanFolderBytes() const
{
    qint64 sum = 0;
    qint64 count = 0;
    for (std::size_t i = 0; i < m_current; ++i) {
        if (!m_entries[i].isFolder)
            continue;
        sum += std::max<qint64>(m_entries[i].bytes, 0);
        ++count;
    }
    return count > 0 ? sum / count : 0;
}

double RunProgress::doneFraction() const
{
    const qint64 mean = meanFolderBytes();
    double done = 0;
    double all = 0;
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        const bool isToCome = i >= m_current;
        const qint64 known = m_entries[i].bytes;
        const qint64 bytes = known >= 0 ? known : (isToCome ? mean : 0);
        const auto weight = static_cast<double>(bytes + entryOverheadBytes);
        all += weight;
        if (!isToCome)
            done += weight;
        else if (i == m_current && m_isUnderWay)
            done += static_cast<double>(std::min(m_currentBytes, bytes));
    }
    return all > 0 ? done / all : 0;
}

RunStatus RunProgress::status(qint64 nowMs) const
{
    RunStatus status;
    status.count = static_cast<int>(m_entries.size());
    const bool isThere = m_current < m_entries.size();
    status.number = std::min(static_cast<int>(m_current) + (m_isStopped ? 0 : 1), status.count);
    if (isThere && !m_isStopped) {
        const Entry& entry = m_entries[m_current];
        status.company = entry.company;
        status.job = entry.name;
        status.step =
            m_isUnderWay ? m_step : (entry.isFolder ? RunStatus::Step::Packing : RunStatus::Step::Copying);
    }
    status.totalBytes = 0;
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        if (m_entries[i].bytes < 0 && i >= m_current)
            status.totalBytes = -1;
        if (i < m_current)
            status.bytes += std::max<qint64>(m_entries[i].bytes, 0);
        if (status.totalBytes >= 0)
            status.totalBytes += std::max<qint64>(m_entries[i].bytes, 0);
    }
    status.bytes += m_isUnderWay ? m_currentBytes : 0;
    status.fraction = doneFraction();
    const qint64 elapsedMs = nowMs - m_startMs;
    if (elapsedMs > 0)
        status.bytesPerSecond = status.bytes * 1000 / elapsedMs;
    if (elapsedMs >= firstEstimateMs && status.fraction > 0 && !m_isStopped)
        status.secondsLeft = qRound64(double(elapsedMs) / 1000.0 * (1.0 - status.fraction) / status.fraction);
    return status;
}

} // namespace KOZAV::Host
