#include "host/site/RunHistory.h"

#include "backend/Site.h"
#include "backend/Text.h"
#include "backend/records/ImportRuns.h"
#include "host/site/SiteRows.h"

#include <QJsonArray>
#include <QSysInfo>

namespace KOZAV::Host {

using Backend::Site;

namespace {

QString rowTimeOf(const QDateTime& time)
{
    return QString::fromLatin1(Backend::isoTime(time.toUTC()));
}

Backend::ImportRun rowsOf(const RunRecord& run, int userId)
{
    Backend::ImportRun rows;
    rows.guid = run.guid;
    rows.source = run.source;
    rows.startTime = rowTimeOf(run.start);
    rows.endTime = rowTimeOf(run.end);
    rows.counts = run.counts.toJson();
    rows.remarks = remarksJson(run.remarks);
    rows.userId = userId;
    rows.userName = run.userName;
    rows.host = run.host;
    for (const BatchReportRow& row : run.rows)
        rows.entries.append(rowJson(row));
    return rows;
}

RunSummary summaryOf(const Backend::ImportRunSummary& kept)
{
    RunSummary summary;
    summary.guid = kept.guid;
    summary.source = kept.source;
    summary.start = QDateTime::fromString(kept.startTime, Qt::ISODateWithMs);
    summary.end = QDateTime::fromString(kept.endTime, Qt::ISODateWithMs);
    summary.userName = kept.userName;
    summary.host = kept.host;
    summary.counts = OutcomeCounts::fromJson(kept.counts);
    summary.position = kept.position;
    return summary;
}

} // namespace

QString keepRun(RunRecord& run)
{
    run.host = QSysInfo::machineHostName();
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return settings.message();
    run.userName = settings->userName;
    const auto kept = onRows([&](Backend::Database& database) {
        auto added = addImportRun(database, rowsOf(run, settings->userId));
        // Those that stay too long are tried again with the next run.
        if (added.ok() && settings->historyKeepDays > 0)
            (void)removeImportRuns(database,
                                   QDateTime::currentDateTimeUtc().addDays(-settings->historyKeepDays));
        return added;
    });
    return kept.message();
}

std::optional<std::vector<RunSummary>> keptRuns(int limit, qint64 behind, QString& failure)
{
    const auto kept = askRows(
        [&](Backend::Database& database) { return listImportRuns(database, limit, behind); }, failure);
    if (!kept)
        return std::nullopt;
    std::vector<RunSummary> runs;
    for (const Backend::ImportRunSummary& one : *kept)
        runs.push_back(summaryOf(one));
    return runs;
}

std::optional<RunRecord> keptRun(const QString& guid, QString& failure)
{
    const auto kept =
        askRows([&](Backend::Database& database) { return readImportRun(database, guid); }, failure);
    if (!kept)
        return std::nullopt;
    RunRecord run;
    static_cast<RunSummary&>(run) = summaryOf(*kept);
    run.remarks = remarksFromJson(kept->remarks);
    for (const QJsonValue& entry : kept->entries)
        run.rows.push_back(rowFromJson(entry.toObject()));
    run.count();
    return run;
}

} // namespace KOZAV::Host
