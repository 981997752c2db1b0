#include "host/core/BatchReport.h"

#include "host/core/BatchListing.h"
#include "host/core/PanelSource.h"
#include "host/core/Reasons.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <chrono>
#include <iterator>

// The listing and the events are brought together by what the events themselves say, and by their order. The
// driver's look-up of a company begins that company; a storing call begins an entry, which ends with the
// job-compress row, with the next storing call, or with the end of its company. A packed folder is known by
// its path. A stored archive is known by its suffix and its turn, and a moment later by the name that its
// rows have: where that is another entry's, all events of it become that entry's, and where no entry has it,
// it came after the listing and gets a row of its own. So what fails for one entry, or an entry that came or
// went meanwhile, never shows as another's. Calls that are none of an import's are passed over: the window
// makes some while the panel's message boxes are shown.
//
// What a row says of a job is taken from calls that succeeded, never from what was asked for.

namespace KOZAV::Host {

using Backend::OperationEvent;
using Backend::OperationOutcome;
using Backend::ServiceOperation;

namespace {

qint64 monotonicMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

bool isStoring(const OperationEvent& event)
{
    return event.operation == ServiceOperation::MongodbPut ||
           event.operation == ServiceOperation::FoldersCompressSave2MongoDb;
}

bool isLastRow(const OperationEvent& event)
{
    return event.operation == ServiceOperation::InputJobCompress ||
           event.operation == ServiceOperation::InputJobCompressByFolder;
}

/// Whether it is one of the calls that an import makes for one entry, after it has stored it.
bool isOfAnEntry(const OperationEvent& event)
{
    switch (event.operation) {
    case ServiceOperation::InputCompanies:
    case ServiceOperation::InputOrigFile:
    case ServiceOperation::InsertFlowBeforeOrigFile:
    case ServiceOperation::UpdateUploadBatchNum:
    case ServiceOperation::UpdateOrigFileGuid:
    case ServiceOperation::UpdateLastOdbppImportMongoFsGuid:
    case ServiceOperation::UpdateState:
        return true;
    default:
        return isLastRow(event);
    }
}

bool isOf(const OperationEvent& event, ServiceOperation operation)
{
    return event.operation == operation;
}

/// Null where all succeeded.
const OperationEvent* firstFailure(const std::vector<OperationEvent>& events)
{
    const auto found = std::find_if(events.begin(), events.end(), [](const OperationEvent& event) {
        return event.outcome != OperationOutcome::Succeeded;
    });
    return found == events.end() ? nullptr : &*found;
}

/// The failure of an archive whose copy did not come to be stored, with what its source shows: the import
/// copies it and tells nobody why it could not.
Remark withSource(Remark failure, const std::vector<OperationEvent>& events, const QString& path)
{
    const auto isMissing = [](const OperationEvent& event) {
        return isStoring(event) && event.reason == Backend::ErrorCode::NotFound;
    };
    const QFileInfo source(path);
    if (std::none_of(events.begin(), events.end(), isMissing) || !source.exists())
        return failure;
    if (!source.isFile())
        return {QStringLiteral("source-unreadable"), QStringLiteral("it is no regular file")};
    if (!source.isReadable())
        return {QStringLiteral("source-unreadable"), QStringLiteral("it cannot be read: permission denied")};
    failure.text = QStringLiteral("%1; the source has %2 bytes").arg(failure.text).arg(source.size());
    failure.code = QStringLiteral("source-incomplete");
    return failure;
}

/// Takes over into the row what a call has acknowledged.
void acknowledge(const OperationEvent& event, BatchReportRow& row)
{
    if (isLastRow(event) && event.outcome == OperationOutcome::Unknown)
        row.result = BatchResult::Unknown;
    if (event.outcome != OperationOutcome::Succeeded)
        return;
    if (isStoring(event)) {
        row.storedName = event.storedName;
        row.bytes = event.storedBytes;
    } else if (event.operation == ServiceOperation::InsertFlowBeforeOrigFile) {
        row.generatedName = event.generatedName;
        row.flowKey = event.flowKey;
    } else if (isLastRow(event)) {
        row.result = BatchResult::Imported;
    }
}

void setReason(BatchReportRow& row, const Remark& reason)
{
    row.reason = reason.text;
    row.reasonCode = reason.code;
}

} // namespace

QString resultName(BatchResult result)
{
    switch (result) {
    case BatchResult::Imported:
        return QStringLiteral("imported");
    case BatchResult::NotImported:
        return QStringLiteral("not-imported");
    case BatchResult::Unknown:
        return QStringLiteral("unknown");
    case BatchResult::LeftOut:
        break;
    }
    return QStringLiteral("left-out");
}

QString BatchStandIn::originalOf(const QString& path) const
{
    const QString clean = QDir::cleanPath(path);
    return !directory.isEmpty() && clean.startsWith(directory + QLatin1Char('/'))
               ? original + clean.mid(directory.size())
               : clean;
}

QString BatchStandIn::inOriginalWords(const QString& text) const
{
    return directory.isEmpty() ? text : QString(text).replace(directory, original);
}

BatchReport::BatchReport(const PanelSource& source, BatchStandIn standIn, bool rowsAreEmbedded)
    : m_path(source.path)
    , m_standIn(std::move(standIn))
    , m_rowsAreEmbedded(rowsAreEmbedded)
    , m_startTime(QDateTime::currentDateTime())
{
    if (source.kind != PanelSource::Kind::Batch)
        m_company = source.company;
    else if (!m_standIn.directory.isEmpty())
        m_path = m_standIn.original;
    list({source.kind, m_path, source.company});
    m_lastEndMs = monotonicMs();
}

void BatchReport::list(const PanelSource& source)
{
    const BatchListing listing = listSource(source);
    for (const ListedEntry& entry : listing.entries)
        m_entries.push_back({entry.company,
                             entry.name,
                             entry.path,
                             entry.isFolder,
                             entry.isAccepted() && !m_standIn.leftOut.contains(entry.path),
                             {},
                             entry.refusal});
    for (const UnseenEntry& entry : listing.unseen) {
        BatchReportRow row;
        row.company = entry.company;
        row.entry = entry.name;
        row.sourcePath = entry.path;
        setReason(row, entry.reason);
        m_unseen.push_back(row);
    }
    for (const ToldSource& link : listing.remarks)
        warn(link.path, link.remark);
}

void BatchReport::serviceCalled(const OperationEvent& event)
{
    if (isStoring(event)) {
        open(event);
    } else if (isOf(event, ServiceOperation::SelectCompanies)) {
        lookUp(event);
    } else if (isOf(event, ServiceOperation::UpdateBatchNumber)) {
        close();
        if (event.outcome != OperationOutcome::Succeeded)
            remark({QStringLiteral("batch-number"), QStringLiteral("%1: %2").arg(m_company, event.message)});
    } else if (m_open && isOfAnEntry(event)) {
        if (isOf(event, ServiceOperation::InputOrigFile) ||
            isOf(event, ServiceOperation::InsertFlowBeforeOrigFile))
            checkName(event.jobName);
        m_entries[*m_open].events.push_back(event);
        if (!isLastRow(event))
            return;
        if (event.outcome == OperationOutcome::Succeeded)
            ++m_imported;
        close();
    }
}

/// The first look-up after an entry was stored is made for it, any other by the driver, for a company that it
/// comes to.
void BatchReport::lookUp(const OperationEvent& event)
{
    const auto isLookUp = [](const OperationEvent& other) {
        return isOf(other, ServiceOperation::SelectCompanies);
    };
    if (m_open) {
        Events& events = m_entries[*m_open].events;
        if (std::none_of(events.begin(), events.end(), isLookUp)) {
            events.push_back(event);
            return;
        }
    }
    close();
    m_company = event.company;
    const auto first = std::find_if(m_entries.begin() + static_cast<std::ptrdiff_t>(m_next), m_entries.end(),
                                    [this](const Entry& entry) { return entry.company == m_company; });
    if (first != m_entries.end())
        m_next = static_cast<std::size_t>(first - m_entries.begin());
    if (event.outcome != OperationOutcome::Succeeded) {
        m_lookUpFailures.insert(m_company, {codeOf(event), event.message});
        remark({QStringLiteral("company-look-up"), QStringLiteral("%1: %2").arg(m_company, event.message)});
    }
}

/// An entry begins.
void BatchReport::open(const OperationEvent& storing)
{
    close();
    const bool isFolder = isOf(storing, ServiceOperation::FoldersCompressSave2MongoDb);
    const QString suffix = QFileInfo(storing.storedName).suffix();
    const QString folder = m_standIn.originalOf(storing.subject);
    std::size_t index = isFolder ? nextFolder(folder) : nextArchive(suffix, QString());
    if (index == m_entries.size()) {
        const QString name = isFolder ? QFileInfo(folder).fileName() : storing.storedName;
        index = insertUnlisted({m_company, name, isFolder ? folder : QString(), isFolder, true, {}, {}});
    }
    m_entries[index].events.push_back(storing);
    m_open = index;
    m_next = index + 1;
}

/// The rows of an archive have its name: gives its events to that entry, where they were taken for another's.
void BatchReport::checkName(const QString& jobName)
{
    Entry& taken = m_entries[*m_open];
    if (taken.isFolder || QFileInfo(taken.name).completeBaseName() == jobName)
        return;
    const QString suffix = QFileInfo(taken.events.front().storedName).suffix();
    if (taken.path.isEmpty()) {
        // It was in no listing; only now its name is known.
        taken.name = jobName + QLatin1Char('.') + suffix;
        taken.path = m_path + QLatin1Char('/') + taken.company + QLatin1Char('/') + taken.name;
        return;
    }
    Events events = std::move(taken.events);
    taken.events.clear();
    std::size_t index = nextArchive(suffix, jobName);
    if (index == m_entries.size()) {
        const QString name = jobName + QLatin1Char('.') + suffix;
        const QString path = QFileInfo(taken.path).path() + QLatin1Char('/') + name;
        // The entry that it was taken for still has its turn.
        m_next = *m_open;
        index = insertUnlisted({m_company, name, path, false, true, {}, {}});
    }
    m_entries[index].events = std::move(events);
    m_open = index;
    m_next = index + 1;
}

void BatchReport::close()
{
    m_open.reset();
}

/// @return the number of all entries where there is none
std::size_t BatchReport::nextFolder(const QString& path) const
{
    const auto isIt = [&path](const Entry& entry) { return entry.isFolder && entry.path == path; };
    const auto found =
        std::find_if(m_entries.begin() + static_cast<std::ptrdiff_t>(m_next), m_entries.end(), isIt);
    return static_cast<std::size_t>(found - m_entries.begin());
}

/// @param baseName  empty: any
std::size_t BatchReport::nextArchive(const QString& suffix, const QString& baseName) const
{
    const auto isIt = [&](const Entry& entry) {
        const QFileInfo file(entry.name);
        return entry.isAccepted && !entry.isFolder && (m_company.isEmpty() || entry.company == m_company) &&
               (suffix.isEmpty() || file.suffix() == suffix) &&
               (baseName.isEmpty() || file.completeBaseName() == baseName);
    };
    const auto found =
        std::find_if(m_entries.begin() + static_cast<std::ptrdiff_t>(m_next), m_entries.end(), isIt);
    return static_cast<std::size_t>(found - m_entries.begin());
}

/// An entry that came after the listing.
std::size_t BatchReport::insertUnlisted(Entry entry)
{
    m_entries.insert(m_entries.begin() + static_cast<std::ptrdiff_t>(m_next), std::move(entry));
    return m_next;
}

void BatchReport::finish()
{
    close();
    for (const Entry& entry : m_entries)
        m_rows.push_back(rowOf(entry));
    std::copy_if(m_unseen.begin(), m_unseen.end(), std::back_inserter(m_rows),
                 [this](const BatchReportRow& row) { return !wasImported(row); });
    m_endTime = QDateTime::currentDateTime();
    const QHash<QString, Told> told = std::move(m_told);
    for (auto one = told.begin(); one != told.end(); ++one)
        tell(one.key(), one.value());
}

/// A folder that could not be listed before the import may have been listed by the import itself.
bool BatchReport::wasImported(const BatchReportRow& unseen) const
{
    const QString below = unseen.sourcePath + QLatin1Char('/');
    return !unseen.sourcePath.isEmpty() &&
           std::any_of(m_entries.begin(), m_entries.end(), [&](const Entry& entry) {
               const bool isIt = entry.path == unseen.sourcePath || entry.path.startsWith(below);
               return isIt && !entry.events.empty();
           });
}

BatchReportRow BatchReport::rowOf(const Entry& entry)
{
    BatchReportRow row;
    row.company = entry.company;
    row.entry = entry.name;
    row.sourcePath = entry.path;
    if (const auto leftOut = m_standIn.leftOut.find(entry.path); leftOut != m_standIn.leftOut.end()) {
        row.result = BatchResult::LeftOut;
        setReason(row, {leftOut->code, leftOut->reason});
        row.generatedName = leftOut->generatedName;
        return row;
    }
    for (const OperationEvent& event : entry.events)
        acknowledge(event, row);
    if (row.result != BatchResult::Imported) {
        const Remark reason = failureReason(entry);
        setReason(row, {reason.code, m_standIn.inOriginalWords(reason.text)});
    } else if (const OperationEvent* failed = firstFailure(entry.events)) {
        row.warnings.push_back({QStringLiteral("call-failed"), m_standIn.inOriginalWords(failed->message)});
    }
    if (!entry.events.empty()) {
        row.seconds = static_cast<double>(entry.events.back().endedMs - m_lastEndMs) / 1000.0;
        m_lastEndMs = entry.events.back().endedMs;
    }
    return row;
}

Remark BatchReport::failureReason(const Entry& entry) const
{
    if (!entry.refusal.code.isEmpty())
        return entry.refusal;
    if (entry.events.empty()) {
        if (const auto lookUp = m_lookUpFailures.find(entry.company); lookUp != m_lookUpFailures.end())
            return *lookUp;
        if (QFileInfo::exists(entry.path))
            return {QStringLiteral("not-reached"), QStringLiteral("the import did not come to it")};
        return {QStringLiteral("source-missing"), QStringLiteral("it was gone when the import came to it")};
    }
    if (const OperationEvent* failed = firstFailure(entry.events)) {
        const Remark failure{codeOf(*failed), failed->message};
        return entry.isFolder ? failure : withSource(failure, entry.events, entry.path);
    }
    const auto isCount = [](const OperationEvent& event) {
        return isOf(event, ServiceOperation::InputCompanies);
    };
    if (std::none_of(entry.events.begin(), entry.events.end(), isCount))
        return {QStringLiteral("company-unknown"),
                QStringLiteral("the site has no company named \"%1\"").arg(entry.company)};
    return {QStringLiteral("incomplete"), QStringLiteral("the import ended before its last row was written")};
}

QString BatchReport::codeOf(const OperationEvent& failed) const
{
    return reasonCodeOf(failed, m_rowsAreEmbedded);
}

void BatchReport::remark(const Remark& remark)
{
    m_remarks.push_back({remark.code, m_standIn.inOriginalWords(remark.text)});
}

void BatchReport::warn(const QString& sourcePath, const Remark& remark)
{
    tell(m_standIn.originalOf(sourcePath),
         {{{remark.code, m_standIn.inOriginalWords(remark.text)}}, std::nullopt, BatchResult::NotImported});
}

void BatchReport::refute(const QString& sourcePath, const Remark& remark, BatchResult result)
{
    const Remark told{remark.code, m_standIn.inOriginalWords(remark.text)};
    tell(m_standIn.originalOf(sourcePath), {{told}, told, result});
}

/// Keeps what is told before there are rows.
void BatchReport::tell(const QString& path, const Told& told)
{
    if (!m_endTime.isValid()) {
        Told& kept = m_told[path];
        kept.warnings.insert(kept.warnings.end(), told.warnings.begin(), told.warnings.end());
        if (told.refutation) {
            kept.refutation = told.refutation;
            kept.result = told.result;
        }
        return;
    }
    const auto row = std::find_if(m_rows.begin(), m_rows.end(),
                                  [&path](const BatchReportRow& one) { return one.sourcePath == path; });
    if (row == m_rows.end()) {
        for (const Remark& warning : told.warnings)
            remark({warning.code, QStringLiteral("%1: %2").arg(path, warning.text)});
        return;
    }
    row->warnings.insert(row->warnings.end(), told.warnings.begin(), told.warnings.end());
    if (told.refutation) {
        row->result = told.result;
        setReason(*row, *told.refutation);
    }
}

int BatchReport::count(BatchResult result) const
{
    return static_cast<int>(std::count_if(
        m_rows.begin(), m_rows.end(), [result](const BatchReportRow& row) { return row.result == result; }));
}

bool BatchReport::isSettled() const
{
    return std::all_of(m_rows.begin(), m_rows.end(),
                       [](const BatchReportRow& row) { return row.isSettled(); });
}

} // namespace KOZAV::Host
