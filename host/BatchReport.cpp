#include "host/BatchReport.h"

#include "ui/import_from_file/BatchDirectory.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QStringList>

#include <algorithm>
#include <chrono>

namespace KOZAV::Host {

namespace {

qint64 monotonicMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

bool isStoringCall(const ServiceCall& call)
{
    return call.operation == QLatin1String("MongodbPut") ||
           call.operation == QLatin1String("FoldersCompressSave2MongoDb");
}

const ServiceCall* findCall(const std::vector<ServiceCall>& calls, QLatin1String operation)
{
    const auto found = std::find_if(calls.begin(), calls.end(), [&](const ServiceCall& call) {
        return call.operation.startsWith(operation);
    });
    return found == calls.end() ? nullptr : &*found;
}

QString firstFailure(const std::vector<ServiceCall>& calls)
{
    for (const ServiceCall& call : calls) {
        if (!call.failure.isEmpty())
            return call.failure;
    }
    return {};
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

BatchReport::BatchReport(SiteAccess& site, const QString& batchDirectory)
    : m_site(site)
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
    for (const QByteArray& name : m_site.entryNames(directory)) {
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

void BatchReport::serviceCalled(const ServiceCall& call)
{
    if (call.operation == QLatin1String("UpdateBatchNumber")) {
        if (!call.failure.isEmpty())
            m_remarks << call.failure;
        return;
    }
    if (isStoringCall(call))
        m_callsByEntry.emplace_back();
    if (!m_callsByEntry.empty())
        m_callsByEntry.back().push_back(call);
}

void BatchReport::finish()
{
    std::size_t stored = 0;
    for (const Entry& entry : m_entries) {
        const bool hasCalls = entry.accepted && stored < m_callsByEntry.size();
        addRow(entry, hasCalls ? m_callsByEntry[stored++] : std::vector<ServiceCall>());
    }
    m_rows.insert(m_rows.end(), m_leftOut.begin(), m_leftOut.end());
}

void BatchReport::addRow(const Entry& entry, const std::vector<ServiceCall>& calls)
{
    BatchReportRow row;
    row.company = entry.company;
    row.entry = entry.name;
    const ServiceCall* flow = findCall(calls, QLatin1String("insertflowbeforeorigfile"));
    const bool complete = flow && describeJob(row, flow->result);
    if (!complete)
        row.reason = failureReason(entry, calls);
    else if (const QString failure = firstFailure(calls); !failure.isEmpty())
        m_remarks << failure;

    if (!calls.empty()) {
        row.seconds = static_cast<double>(calls.back().endedMs - m_lastEndMs) / 1000.0;
        m_lastEndMs = calls.back().endedMs;
    }
    m_rows.push_back(row);
}

bool BatchReport::describeJob(BatchReportRow& row, const QString& flowKey)
{
    const auto job = flowKey.isEmpty() ? std::nullopt : m_site.importedJob(flowKey);
    if (!job)
        return false;
    row.generatedName = job->generatedName;
    row.storedName = job->storedName;
    row.bytes = std::max<qint64>(0, m_site.storedBytes(job->storedName));
    return job->complete;
}

QString BatchReport::failureReason(const Entry& entry, const std::vector<ServiceCall>& calls)
{
    if (!entry.accepted)
        return QStringLiteral("not a job archive: only .zip, .rar, .tgz and .kos, so written, are imported");
    if (calls.empty())
        return QStringLiteral("the import did not come to it");
    if (QString failure = firstFailure(calls); !failure.isEmpty())
        return failure;
    if (!findCall(calls, QLatin1String("inputCompanies")))
        return QStringLiteral("the site has no company named \"%1\"").arg(entry.company);
    return QStringLiteral("the import ended before its last row was written");
}

bool BatchReport::allImported() const
{
    return std::all_of(m_rows.begin(), m_rows.end(),
                       [](const BatchReportRow& row) { return row.imported(); });
}

} // namespace KOZAV::Host
