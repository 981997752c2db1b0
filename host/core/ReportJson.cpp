#include "host/core/ReportJson.h"

#include "host/core/BatchReport.h"

#include <QJsonArray>
#include <QJsonValue>

#include <numeric>

namespace KOZAV::Host {

namespace {

/// What is not known is null.
QJsonValue textOrNull(const QString& text)
{
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

QJsonArray remarksJson(const std::vector<Remark>& remarks)
{
    QJsonArray array;
    for (const Remark& remark : remarks)
        array << QJsonObject{{QStringLiteral("code"), remark.code}, {QStringLiteral("text"), remark.text}};
    return array;
}

QJsonObject rowJson(const BatchReportRow& row)
{
    return {{QStringLiteral("company"), textOrNull(row.company)},
            {QStringLiteral("entry"), row.entry},
            {QStringLiteral("source"), textOrNull(row.sourcePath)},
            {QStringLiteral("result"), resultName(row.result)},
            {QStringLiteral("generated_name"), textOrNull(row.generatedName)},
            {QStringLiteral("flow_guid"), textOrNull(row.flowKey)},
            {QStringLiteral("stored_name"), textOrNull(row.storedName)},
            {QStringLiteral("bytes"), row.bytes},
            {QStringLiteral("seconds"), row.seconds},
            {QStringLiteral("reason"), textOrNull(row.reason)},
            {QStringLiteral("reason_code"), textOrNull(row.reasonCode)},
            {QStringLiteral("warnings"), remarksJson(row.warnings)}};
}

QJsonObject countsJson(const BatchReport& report)
{
    const auto warnings = [](int sum, const BatchReportRow& row) {
        return sum + static_cast<int>(row.warnings.size());
    };
    return {{QStringLiteral("imported"), report.count(BatchResult::Imported)},
            {QStringLiteral("not_imported"), report.count(BatchResult::NotImported)},
            {QStringLiteral("unknown"), report.count(BatchResult::Unknown)},
            {QStringLiteral("left_out"), report.count(BatchResult::LeftOut)},
            {QStringLiteral("warnings"),
             std::accumulate(report.rows().begin(), report.rows().end(), 0, warnings)}};
}

} // namespace

QJsonObject reportJson(const BatchReport& report)
{
    QJsonArray rows;
    for (const BatchReportRow& row : report.rows())
        rows << rowJson(row);
    return {{QStringLiteral("directory"), report.sourcePath()},
            {QStringLiteral("start"), report.startTime().toUTC().toString(Qt::ISODateWithMs)},
            {QStringLiteral("end"), report.endTime().toUTC().toString(Qt::ISODateWithMs)},
            {QStringLiteral("counts"), countsJson(report)},
            {QStringLiteral("rows"), rows},
            {QStringLiteral("remarks"), remarksJson(report.remarks())}};
}

} // namespace KOZAV::Host
