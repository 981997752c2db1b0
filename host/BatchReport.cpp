#include "host/BatchReport.h"

#include "ui/import_from_file/BatchDirectory.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QStringList>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <system_error>

// The listing and the events are brought together by their order: of the accepted entries, the first has the
// events from the first storing call up to the second, and so on. An entry that is not accepted has none, and
// one that the import did not come to has none either. What a row says of a job is taken from calls that
// succeeded, never from what was asked for.

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

QString firstFailure(const std::vector<OperationEvent>& events)
{
    for (const OperationEvent& event : events) {
        if (event.outcome != OperationOutcome::Succeeded)
            return event.message;
    }
    return {};
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
    } else if (isLastRow(event)) {
        row.result = BatchResult::Imported;
    }
}

/// The names in a directory as they are on disk, whatever their encoding.
std::vector<QByteArray> namesIn(const QString& directory)
{
    std::vector<QByteArray> names;
    std::error_code failed;
    std::filesystem::directory_iterator entry(QFile::encodeName(directory).toStdString(), failed);
    for (; !failed && entry != std::filesystem::directory_iterator(); entry.increment(failed))
        names.push_back(QByteArray::fromStdString(entry->path().filename().native()));
    std::sort(names.begin(), names.end());
    return names;
}

QString leftOutReason(const QByteArray& name, const QString& directory, bool besideCompanies)
{
    const QString decoded = QFile::decodeName(name);
    if (QFile::encodeName(decoded) != name)
        return QStringLiteral("its name is not valid UTF-8, so that the import does not see it");
    if (name.startsWith('.'))
        return QStringLiteral("hidden entries are not imported");
    if (besideCompanies && QFileInfo(directory + QLatin1Char('/') + decoded).isFile())
        return QStringLiteral("a file beside the company folders belongs to no company");
    return QStringLiteral("neither a file nor a folder that can be read");
}

} // namespace

BatchReport::BatchReport(const QString& batchDirectory)
{
    listEntries(batchDirectory);
}

void BatchReport::listEntries(const QString& batchDirectory)
{
    QStringList companies;
    for (const QFileInfo& company : UI::batchCompanies(batchDirectory)) {
        companies << company.fileName();
        QStringList names;
        for (const QFileInfo& job : UI::batchJobs(UI::batchEntryPath(company))) {
            names << job.fileName();
            m_entries.push_back({company.fileName(), job.fileName(),
                                 UI::batchEntryKind(job) != UI::BatchEntryKind::NotAccepted});
        }
        listLeftOut(UI::batchEntryPath(company), names, company.fileName());
    }
    listLeftOut(batchDirectory, companies, QString());
}

void BatchReport::listLeftOut(const QString& directory, const QStringList& seen, const QString& company)
{
    const QSet<QString> seenNames(seen.begin(), seen.end());
    for (const QByteArray& name : namesIn(directory)) {
        const QString decoded = QFile::decodeName(name);
        if (QFile::encodeName(decoded) == name && seenNames.contains(decoded))
            continue;
        BatchReportRow row;
        row.company = company;
        row.entry = decoded;
        row.reason = leftOutReason(name, directory, company.isEmpty());
        m_leftOut.push_back(row);
    }
}

void BatchReport::start()
{
    m_lastEndMs = monotonicMs();
}

void BatchReport::serviceCalled(const OperationEvent& event)
{
    if (event.operation == ServiceOperation::UpdateBatchNumber) {
        if (event.outcome != OperationOutcome::Succeeded)
            m_remarks << event.message;
        return;
    }
    if (isStoring(event))
        m_eventsByEntry.emplace_back();
    if (!m_eventsByEntry.empty())
        m_eventsByEntry.back().push_back(event);
    if (isLastRow(event) && event.outcome == OperationOutcome::Succeeded)
        ++m_imported;
}

void BatchReport::finish()
{
    std::size_t stored = 0;
    for (const Entry& entry : m_entries) {
        const bool hasEvents = entry.accepted && stored < m_eventsByEntry.size();
        addRow(entry, hasEvents ? m_eventsByEntry[stored++] : Events());
    }
    m_rows.insert(m_rows.end(), m_leftOut.begin(), m_leftOut.end());
}

void BatchReport::addRow(const Entry& entry, const Events& events)
{
    BatchReportRow row;
    row.company = entry.company;
    row.entry = entry.name;
    for (const OperationEvent& event : events)
        acknowledge(event, row);
    if (row.result != BatchResult::Imported)
        row.reason = failureReason(entry, events);
    else if (const QString failure = firstFailure(events); !failure.isEmpty())
        m_remarks << failure;

    if (!events.empty()) {
        row.seconds = static_cast<double>(events.back().endedMs - m_lastEndMs) / 1000.0;
        m_lastEndMs = events.back().endedMs;
    }
    m_rows.push_back(row);
}

QString BatchReport::failureReason(const Entry& entry, const Events& events)
{
    if (!entry.accepted)
        return QStringLiteral("not a job archive: only .zip, .rar, .tgz and .kos, so written, are imported");
    if (events.empty())
        return QStringLiteral("the import did not come to it");
    if (QString failure = firstFailure(events); !failure.isEmpty())
        return failure;
    const auto isCount = [](const OperationEvent& event) {
        return event.operation == ServiceOperation::InputCompanies;
    };
    if (std::none_of(events.begin(), events.end(), isCount))
        return QStringLiteral("the site has no company named \"%1\"").arg(entry.company);
    return QStringLiteral("the import ended before its last row was written");
}

bool BatchReport::allImported() const
{
    return std::all_of(m_rows.begin(), m_rows.end(),
                       [](const BatchReportRow& row) { return row.result == BatchResult::Imported; });
}

} // namespace KOZAV::Host
