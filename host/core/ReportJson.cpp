#include "host/core/ReportJson.h"

#include "host/core/RunRecord.h"

#include <QJsonArray>

#include <algorithm>
#include <numeric>

namespace KOZAV::Host {

namespace {

/// By result; the counts by outcome stand beside them.
QJsonObject countsJson(const RunRecord& run)
{
    const auto count = [&run](BatchResult result) {
        return static_cast<int>(
            std::count_if(run.rows.begin(), run.rows.end(),
                          [result](const BatchReportRow& row) { return row.result == result; }));
    };
    const auto warnings = [](int sum, const BatchReportRow& row) {
        return sum + static_cast<int>(row.warnings.size());
    };
    return {{QStringLiteral("imported"), count(BatchResult::Imported)},
            {QStringLiteral("not_imported"), count(BatchResult::NotImported)},
            {QStringLiteral("unknown"), count(BatchResult::Unknown)},
            {QStringLiteral("left_out"), count(BatchResult::LeftOut)},
            {QStringLiteral("warnings"), std::accumulate(run.rows.begin(), run.rows.end(), 0, warnings)}};
}

} // namespace

QJsonObject reportJson(const RunRecord& run)
{
    QJsonArray rows;
    for (const BatchReportRow& row : run.rows)
        rows << rowJson(row);
    return {{QStringLiteral("run"), run.guid},
            {QStringLiteral("directory"), run.source},
            {QStringLiteral("start"), run.start.toUTC().toString(Qt::ISODateWithMs)},
            {QStringLiteral("end"), run.end.toUTC().toString(Qt::ISODateWithMs)},
            {QStringLiteral("user"), run.userName},
            {QStringLiteral("host"), run.host},
            {QStringLiteral("counts"), countsJson(run)},
            {QStringLiteral("outcomes"), run.counts.toJson()},
            {QStringLiteral("rows"), rows},
            {QStringLiteral("remarks"), remarksJson(run.remarks)}};
}

} // namespace KOZAV::Host
