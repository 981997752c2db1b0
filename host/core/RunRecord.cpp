#include "host/core/RunRecord.h"

#include "host/core/Reasons.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QUuid>

#include <algorithm>
#include <numeric>

namespace KOZAV::Host {

namespace {

class RunWords final
{
    Q_DECLARE_TR_FUNCTIONS(KOZAV::Host::RunRecord)
};

QLatin1String key(const char* name)
{
    return QLatin1String(name);
}

QJsonValue textOrNull(const QString& text)
{
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

BatchResult resultOf(const QString& name)
{
    for (const auto result : {BatchResult::Imported, BatchResult::NotImported, BatchResult::LeftOut}) {
        if (resultName(result) == name)
            return result;
    }
    return BatchResult::Unknown;
}

} // namespace

Outcome outcomeOf(const BatchReportRow& row)
{
    switch (row.result) {
    case BatchResult::Imported:
        return row.warnings.empty() ? Outcome::Imported : Outcome::WithWarnings;
    case BatchResult::Unknown:
        return Outcome::Unknown;
    case BatchResult::LeftOut:
        return Outcome::LeftOut;
    case BatchResult::NotImported:
        break;
    }
    return isRefusal(row.reasonCode) ? Outcome::Refused : Outcome::Failed;
}

QString outcomeName(Outcome outcome)
{
    static constexpr std::array<const char*, outcomeCount> names = {"imported", "with-warnings", "refused",
                                                                    "failed",   "unknown",       "left-out"};
    return QLatin1String(names[static_cast<std::size_t>(outcome)]);
}

QString outcomeText(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Imported:
        return RunWords::tr("Imported");
    case Outcome::WithWarnings:
        return RunWords::tr("With warnings");
    case Outcome::Refused:
        return RunWords::tr("Refused");
    case Outcome::Failed:
        return RunWords::tr("Failed");
    case Outcome::Unknown:
        return RunWords::tr("Unknown");
    case Outcome::LeftOut:
        break;
    }
    return RunWords::tr("Left out");
}

bool isWrong(Outcome outcome)
{
    return outcome == Outcome::Refused || outcome == Outcome::Failed || outcome == Outcome::Unknown;
}

int OutcomeCounts::total() const
{
    return std::accumulate(m_counts.begin(), m_counts.end(), 0);
}

int OutcomeCounts::wrong() const
{
    return std::accumulate(allOutcomes.begin(), allOutcomes.end(), 0, [this](int sum, Outcome outcome) {
        return isWrong(outcome) ? sum + of(outcome) : sum;
    });
}

QJsonObject OutcomeCounts::toJson() const
{
    QJsonObject json;
    for (const Outcome outcome : allOutcomes)
        json.insert(outcomeName(outcome), of(outcome));
    return json;
}

OutcomeCounts OutcomeCounts::fromJson(const QJsonObject& json)
{
    OutcomeCounts counts;
    for (const Outcome outcome : allOutcomes)
        counts.add(outcome, json.value(outcomeName(outcome)).toInt());
    return counts;
}

RunRecord RunRecord::of(const BatchReport& report)
{
    RunRecord record;
    record.guid = QUuid::createUuid().toString(QUuid::WithoutBraces);
    record.source = report.sourcePath();
    record.start = report.startTime();
    record.end = report.endTime();
    record.rows = report.rows();
    record.remarks = report.remarks();
    record.count();
    return record;
}

/// Counts the rows as they are now.
void RunRecord::count()
{
    counts = {};
    for (const BatchReportRow& row : rows)
        counts.add(outcomeOf(row));
}

QJsonObject rowJson(const BatchReportRow& row)
{
    return {{key("company"), textOrNull(row.company)},
            {key("entry"), row.entry},
            {key("source"), textOrNull(row.sourcePath)},
            {key("result"), resultName(row.result)},
            {key("outcome"), outcomeName(outcomeOf(row))},
            {key("generated_name"), textOrNull(row.generatedName)},
            {key("flow_guid"), textOrNull(row.flowKey)},
            {key("stored_name"), textOrNull(row.storedName)},
            {key("bytes"), row.bytes},
            {key("seconds"), row.seconds},
            {key("reason"), textOrNull(row.reason)},
            {key("reason_code"), textOrNull(row.reasonCode)},
            {key("warnings"), remarksJson(row.warnings)}};
}

BatchReportRow rowFromJson(const QJsonObject& json)
{
    BatchReportRow row;
    row.company = json.value(key("company")).toString();
    row.entry = json.value(key("entry")).toString();
    row.sourcePath = json.value(key("source")).toString();
    row.result = resultOf(json.value(key("result")).toString());
    row.generatedName = json.value(key("generated_name")).toString();
    row.flowKey = json.value(key("flow_guid")).toString();
    row.storedName = json.value(key("stored_name")).toString();
    row.bytes = static_cast<qint64>(json.value(key("bytes")).toDouble());
    row.seconds = json.value(key("seconds")).toDouble();
    row.reason = json.value(key("reason")).toString();
    row.reasonCode = json.value(key("reason_code")).toString();
    row.warnings = remarksFromJson(json.value(key("warnings")).toArray());
    return row;
}

QJsonArray remarksJson(const std::vector<Remark>& remarks)
{
    QJsonArray array;
    for (const Remark& remark : remarks)
        array << QJsonObject{{key("code"), remark.code}, {key("text"), remark.text}};
    return array;
}

std::vector<Remark> remarksFromJson(const QJsonArray& json)
{
    std::vector<Remark> remarks;
    for (const QJsonValue& one : json)
        remarks.push_back({one[key("code")].toString(), one[key("text")].toString()});
    return remarks;
}

} // namespace KOZAV::Host
