#include "backend/records/SiteEvents.h"

#include "backend/database/Database.h"

#include <QJsonDocument>
#include <QSysInfo>
#include <QUuid>

#include <limits>
#include <utility>

namespace KOZAV::Backend {

namespace {

// One text for each way in, with the condition that an index serves first; the others are tested on the rows
// that it leaves. Every optional value is bound twice; NULL means that there is no such condition.
#define SELECT_EVENT                                                                                         \
    "SELECT guid, kind, run_guid, flow_guid, user_id, user_name, host, subject, outcome, reason, detail,"    \
    " created_time FROM event"
#define WITH_OTHER_CONDITIONS                                                                                \
    " AND (? IS NULL OR kind = ?) AND (? IS NULL OR flow_guid = ?) AND (? IS NULL OR run_guid = ?)"          \
    " ORDER BY id DESC LIMIT ?"

constexpr const char* eventsOfFlow = SELECT_EVENT " WHERE flow_guid = ?" WITH_OTHER_CONDITIONS;
constexpr const char* eventsOfRun = SELECT_EVENT " WHERE run_guid = ?" WITH_OTHER_CONDITIONS;
constexpr const char* eventsOfKind = SELECT_EVENT " WHERE kind = ?" WITH_OTHER_CONDITIONS;
constexpr const char* allEvents = SELECT_EVENT " WHERE 1 = 1" WITH_OTHER_CONDITIONS;

#undef SELECT_EVENT
#undef WITH_OTHER_CONDITIONS

QVariant optionalValue(const std::optional<QString>& value)
{
    return value ? QVariant(*value) : QVariant();
}

/// A reference: NULL where there is none.
QVariant reference(const QString& key)
{
    return key.isEmpty() ? QVariant() : QVariant(key);
}

std::pair<const char*, QVariantList> wayIn(const EventFilter& filter)
{
    if (filter.flowGuid)
        return {eventsOfFlow, {*filter.flowGuid}};
    if (filter.runGuid)
        return {eventsOfRun, {*filter.runGuid}};
    if (filter.kind)
        return {eventsOfKind, {*filter.kind}};
    return {allEvents, {}};
}

/// The columns of SELECT_EVENT.
SiteEvent readEvent(RowReader& row)
{
    SiteEvent event;
    event.guid = row.text();
    event.kind = row.text();
    event.runGuid = row.text();
    event.flowGuid = row.text();
    event.userId = row.number();
    event.userName = row.text();
    event.host = row.text();
    event.subject = row.text();
    event.outcome = row.text();
    event.reason = row.text();
    event.detail = QJsonDocument::fromJson(row.text().toUtf8()).object();
    event.createdTime = row.text();
    return event;
}

void complete(SiteEvent& event)
{
    if (event.guid.isEmpty())
        event.guid = QUuid::createUuid().toString(QUuid::WithoutBraces);
    if (event.host.isEmpty())
        event.host = QSysInfo::machineHostName();
    if (event.createdTime.isEmpty())
        event.createdTime = rowTime();
}

} // namespace

Status addEvent(Database& database, SiteEvent event)
{
    complete(event);
    const QString detail = QString::fromUtf8(QJsonDocument(event.detail).toJson(QJsonDocument::Compact));
    auto added = database
                     .insert("INSERT INTO event (guid, kind, run_guid, flow_guid, user_id, user_name, host,"
                             " subject, outcome, reason, detail, created_time)"
                             " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
                             {event.guid, event.kind, reference(event.runGuid), reference(event.flowGuid),
                              event.userId, event.userName, event.host, event.subject, event.outcome,
                              event.reason, detail, event.createdTime},
                             Durability::Immediate)
                     .status();
    if (added.code() != ErrorCode::OutcomeUnknown)
        return added;
    // The key tells whether the event arrived before its answer was lost.
    const auto found = database.value("SELECT id FROM event WHERE guid = ?", {event.guid});
    return found.ok() && found->isValid() ? Status() : added;
}

Result<std::vector<SiteEvent>> listEvents(Database& database, const EventFilter& filter)
{
    auto [sql, values] = wayIn(filter);
    for (const QVariant& value :
         {optionalValue(filter.kind), optionalValue(filter.flowGuid), optionalValue(filter.runGuid)})
        values << value << value;
    values << (filter.limit > 0 ? qint64(filter.limit) : std::numeric_limits<qint64>::max());
    return database.list(sql, values, readEvent);
}

Result<QSet<QString>> refusedFiles(Database& database)
{
    QSet<QString> files;
    const auto status =
        database.query("SELECT detail FROM event WHERE kind = ?", {QString(eventKind::refused)},
                       [&files](const QSqlQuery& row) {
                           const QJsonObject detail =
                               QJsonDocument::fromJson(row.value(0).toString().toUtf8()).object();
                           files.insert(detail.value(QStringLiteral("stored_name")).toString());
                           return true;
                       });
    return status.ok() ? Result(files) : status;
}

} // namespace KOZAV::Backend
