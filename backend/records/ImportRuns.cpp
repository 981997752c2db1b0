// A run is one event and, for its entries, some more that belong to it by run_guid. A batch of thousands
// would make one text too long for a statement of a server (max_allowed_packet), and an event for each would
// make thousands of writes; so entries go together until their text has a length that any engine takes at
// once.
//
// The summary is the last event of its transaction, and so what its own key finds is whole. Lists are read
// and the oldest found over the index of kinds alone: none of them touches the entries of a run.

#include "backend/records/ImportRuns.h"

#include "backend/Text.h"
#include "backend/database/Database.h"
#include "backend/records/SiteEvents.h"

#include <QJsonDocument>

#include <limits>

namespace KOZAV::Backend {

namespace {

/// Longest text of entries in one event, in bytes, unless a single one is longer.
constexpr qsizetype mostDetailBytes = qsizetype{256} * 1024;
constexpr int mostRemovedAtOnce = 100;

const QLatin1String entriesKey("entries");
const QLatin1String entryCountKey("entry_count");
const QLatin1String countsKey("counts");
const QLatin1String remarksKey("remarks");
const QLatin1String startKey("start");
const QLatin1String endKey("end");

#define SELECT_RUN "SELECT id, guid, subject, user_id, user_name, host, detail FROM event WHERE kind = ? AND "

constexpr const char* runsBehind = SELECT_RUN "id < ? ORDER BY id DESC LIMIT ?";
constexpr const char* runOfKey = SELECT_RUN "guid = ?";

#undef SELECT_RUN

QJsonObject detailOf(RowReader& row)
{
    return QJsonDocument::fromJson(row.text().toUtf8()).object();
}

ImportRunSummary readSummary(RowReader& row)
{
    ImportRunSummary run;
    run.position = row.optionalLongNumber().value_or(0);
    run.guid = row.text();
    run.source = row.text();
    run.userId = row.number();
    run.userName = row.text();
    run.host = row.text();
    const QJsonObject detail = detailOf(row);
    run.startTime = detail.value(startKey).toString();
    run.endTime = detail.value(endKey).toString();
    run.counts = detail.value(countsKey).toObject();
    run.remarks = detail.value(remarksKey).toArray();
    run.entryCount = detail.value(entryCountKey).toInt();
    return run;
}

SiteEvent runEvent(const ImportRun& run, QLatin1String kind)
{
    SiteEvent event;
    event.kind = kind;
    event.runGuid = run.guid;
    event.userId = run.userId;
    event.userName = run.userName;
    event.host = run.host;
    return event;
}

Status addEntries(Database& database, const ImportRun& run)
{
    QJsonArray together;
    qsizetype bytes = 0;
    const auto write = [&]() -> Status {
        SiteEvent event = runEvent(run, eventKind::runRows);
        event.detail = {{entriesKey, together}};
        together = {};
        bytes = 0;
        return addEvent(database, event);
    };
    for (const QJsonValue& entry : run.entries) {
        const qsizetype length = QJsonDocument(entry.toObject()).toJson(QJsonDocument::Compact).size();
        if (!together.isEmpty() && bytes + length > mostDetailBytes) {
            if (auto written = write(); !written.ok())
                return written;
        }
        together.append(entry);
        bytes += length;
    }
    return together.isEmpty() ? Status() : write();
}

Status addSummary(Database& database, const ImportRun& run)
{
    SiteEvent event = runEvent(run, eventKind::run);
    event.guid = run.guid;
    event.subject = run.source;
    event.detail = {{startKey, run.startTime},
                    {endKey, run.endTime},
                    {countsKey, run.counts},
                    {remarksKey, run.remarks},
                    {entryCountKey, static_cast<int>(run.entries.size())}};
    return addEvent(database, event);
}

Status removeRun(Database& database, const QString& guid)
{
    return database
        .change("DELETE FROM event WHERE run_guid = ? AND kind IN (?, ?)",
                {guid, QString(eventKind::run), QString(eventKind::runRows)}, Durability::Deferred)
        .status();
}

Status replaceRun(Database& database, const ImportRun& run)
{
    if (auto removed = removeRun(database, run.guid); !removed.ok())
        return removed;
    if (auto added = addEntries(database, run); !added.ok())
        return added;
    return addSummary(database, run);
}

struct RunAge
{
    QString guid;
    QString createdTime;
};

RunAge readAge(RowReader& row)
{
    RunAge age;
    age.guid = row.text();
    age.createdTime = row.text();
    return age;
}

} // namespace

Status addImportRun(Database& database, const ImportRun& run)
{
    if (run.guid.isEmpty())
        return Status::invalidArgument(QStringLiteral("a run needs a key"));
    const auto add = [&] { return database.transaction([&] { return replaceRun(database, run); }); };
    const Status added = add();
    return added.code() == ErrorCode::OutcomeUnknown ? add() : added;
}

Result<std::vector<ImportRunSummary>> listImportRuns(Database& database, int limit, qint64 behind)
{
    const qint64 end = behind > 0 ? behind : std::numeric_limits<qint64>::max();
    return database.list(runsBehind, {QString(eventKind::run), end, limit}, readSummary);
}

Result<ImportRun> readImportRun(Database& database, const QString& guid)
{
    const auto found = database.list(runOfKey, {QString(eventKind::run), guid}, readSummary);
    if (!found.ok())
        return found.status();
    if (found->empty())
        return Status::notFound(QStringLiteral("there is no run with the key %1").arg(guid));
    ImportRun run;
    static_cast<ImportRunSummary&>(run) = found->front();
    const auto details = database.list("SELECT detail FROM event WHERE run_guid = ? AND kind = ? ORDER BY id",
                                       {guid, QString(eventKind::runRows)}, detailOf);
    if (!details.ok())
        return details.status();
    for (const QJsonObject& detail : details.value()) {
        const QJsonArray entries = detail.value(entriesKey).toArray();
        for (const QJsonValue& entry : entries)
            run.entries.append(entry);
    }
    return run;
}

Result<int> removeImportRuns(Database& database, const QDateTime& before)
{
    const auto oldest =
        database.list("SELECT guid, created_time FROM event WHERE kind = ? ORDER BY id LIMIT ?",
                      {QString(eventKind::run), mostRemovedAtOnce}, readAge);
    if (!oldest.ok())
        return oldest.status();
    const QString moment = QString::fromLatin1(isoTime(before.toUTC()));
    int removed = 0;
    const auto remove = [&]() -> Status {
        for (const RunAge& run : oldest.value()) {
            if (run.createdTime >= moment)
                break;
            if (auto gone = removeRun(database, run.guid); !gone.ok())
                return gone;
            ++removed;
        }
        return {};
    };
    if (oldest->empty() || oldest->front().createdTime >= moment)
        return 0;
    const Status done = database.transaction(remove, Durability::Deferred);
    return done.ok() ? Result(removed) : done;
}

} // namespace KOZAV::Backend
