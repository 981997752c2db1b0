#include "admin/JobChoice.h"
#include "admin/Verbs.h"
#include "backend/Site.h"
#include "backend/records/ImportRuns.h"
#include "terminal/TextTable.h"

#include <QJsonArray>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

constexpr int usualRuns = 20;

QJsonObject runJson(const ImportRunSummary& run)
{
    return {{QStringLiteral("run"), run.guid},           {QStringLiteral("source"), run.source},
            {QStringLiteral("start"), run.startTime},    {QStringLiteral("end"), run.endTime},
            {QStringLiteral("user_id"), run.userId},     {QStringLiteral("user_name"), run.userName},
            {QStringLiteral("host"), run.host},          {QStringLiteral("outcomes"), run.counts},
            {QStringLiteral("entries"), run.entryCount}, {QStringLiteral("remarks"), run.remarks}};
}

/// "imported 3, failed 1": what there is none of is left out.
QString outcomesText(const QJsonObject& counts)
{
    QStringList parts;
    for (auto one = counts.begin(); one != counts.end(); ++one) {
        if (one.value().toInt() > 0)
            parts << QStringLiteral("%1 %2").arg(one.key()).arg(one.value().toInt());
    }
    return parts.isEmpty() ? QStringLiteral("-") : parts.join(QStringLiteral(", "));
}

Report reportOfRuns(const std::vector<ImportRunSummary>& runs)
{
    TextTable table({QStringLiteral("RUN"), QStringLiteral("START"), QStringLiteral("USER"),
                     QStringLiteral("HOST"), QStringLiteral("OUTCOMES"), QStringLiteral("SOURCE")});
    QJsonArray list;
    for (const ImportRunSummary& run : runs) {
        table.addRow({run.guid, run.startTime, run.userName, run.host, outcomesText(run.counts), run.source});
        list.append(runJson(run));
    }
    return {{{QStringLiteral("runs"), list}}, table.toString()};
}

Report reportOfRun(const ImportRun& run)
{
    TextTable table({QStringLiteral("COMPANY"), QStringLiteral("ENTRY"), QStringLiteral("OUTCOME"),
                     QStringLiteral("GENERATED NAME"), QStringLiteral("CODE"), QStringLiteral("REASON")});
    for (const QJsonValue& entry : run.entries)
        table.addRow(
            {entry[QStringLiteral("company")].toString(), entry[QStringLiteral("entry")].toString(),
             entry[QStringLiteral("outcome")].toString(), entry[QStringLiteral("generated_name")].toString(),
             entry[QStringLiteral("reason_code")].toString(), entry[QStringLiteral("reason")].toString()});
    QJsonObject json = runJson(run);
    json.insert(QStringLiteral("rows"), run.entries);
    return {{{QStringLiteral("run"), json}},
            reportOfRuns({static_cast<const ImportRunSummary&>(run)}).text + QLatin1Char('\n') +
                table.toString()};
}

} // namespace

Result<Report> runsVerb(const Call& call)
{
    const auto limit = call.line.value(QStringLiteral("runs"));
    bool isNumber = true;
    const int most = limit ? limit->toInt(&isNumber) : usualRuns;
    if (!isNumber || most < 1)
        return refusedOption("runs", *limit, "a number of runs, from 1 on");
    const auto database = call.site.database();
    if (!database.ok())
        return database.status();
    if (!call.line.words.isEmpty()) {
        const auto run = readImportRun(*database.value(), call.line.words.constFirst());
        return run.ok() ? Result(reportOfRun(run.value())) : run.status();
    }
    const auto runs = listImportRuns(*database.value(), most);
    return runs.ok() ? Result(reportOfRuns(runs.value())) : runs.status();
}

} // namespace KOZAV::Admin
