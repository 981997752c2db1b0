#include "admin/Application.h"
#include "admin/ProgressText.h"
#include "admin/StatusMetrics.h"
#include "admin/Verbs.h"
#include "backend/Site.h"
#include "backend/config/Redaction.h"
#include "backend/config/SitePlaces.h"
#include "backend/database/Database.h"
#include "backend/records/SiteCounts.h"
#include "backend/records/SiteEvents.h"
#include "backend/records/SiteIdentity.h"
#include "backend/store/DocumentStore.h"
#include "terminal/PrintableText.h"
#include "terminal/TextTable.h"

#include <QDir>
#include <QJsonArray>

#include <algorithm>

// Rows and stored files are each asked even if the other fails, as by ping. What would have to be read
// through is not asked for: bytes come from the rows, the quarantine and the staging folder are short lists.

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

struct RowsState
{
    ServiceHealth health;
    int schema = 0;
    QString identity;
    SiteCounts counts;
    std::optional<SiteEvent> lastCheck;
    QString readThrough; ///< when the database was last read through; empty: never
};

/// Files beside those in the store.
struct FileHeap
{
    qint64 files = 0;
    qint64 bytes = 0;
    QDateTime oldest; ///< UTC; invalid without files

    void add(qint64 length, const QDateTime& since)
    {
        ++files;
        bytes += length;
        if (!oldest.isValid() || since < oldest)
            oldest = since;
    }
};

struct FilesState
{
    ServiceHealth health;
    QString identity;
    FileHeap quarantined;
};

Status addLastCheck(Database& database, RowsState& state)
{
    EventFilter newest;
    newest.kind = eventKind::checked;
    newest.limit = 1;
    const auto events = listEvents(database, newest);
    if (events.ok() && !events->empty())
        state.lastCheck = events->front();
    return events.status();
}

Result<RowsState> stateOfRows(Site& site)
{
    const auto opened = site.database();
    if (!opened.ok())
        return opened.status();
    Database& database = *opened.value();
    RowsState state;
    const auto health = database.health();
    const auto schema = database.schemaVersion();
    const auto identity = siteIdentity(database);
    const auto counts = countSite(database);
    const auto readThrough = database.readThroughTime();
    for (const Status& status : {health.status(), schema.status(), identity.status(), counts.status(),
                                 readThrough.status(), addLastCheck(database, state)})
        if (!status.ok())
            return status;
    state.health = health.value();
    state.schema = schema.value();
    state.identity = identity.value();
    state.counts = counts.value();
    state.readThrough = readThrough.value();
    return state;
}

Result<FilesState> stateOfFiles(const Settings& settings, Site& site)
{
    const auto store = site.documentStore();
    if (!store.ok())
        return store.status();
    const StoreLocation location = storeLocation(settings.documentStore);
    const auto health = store.value()->health();
    const auto identity = store.value()->siteMark(location);
    const auto quarantined = store.value()->listQuarantine(location);
    for (const Status& status : {health.status(), identity.status(), quarantined.status()})
        if (!status.ok())
            return status;
    FilesState state{health.value(), identity.value(), {}};
    for (const QuarantinedFile& file : quarantined.value())
        state.quarantined.add(file.file.length, file.since);
    return state;
}

/// The copies of archives that imports leave in the staging folder.
FileHeap stagedCopies(const Settings& settings)
{
    FileHeap staged;
    const QDir folder(settings.uploadCache);
    for (const QFileInfo& file : folder.entryInfoList(QDir::Files | QDir::Hidden | QDir::NoSymLinks))
        staged.add(file.size(), file.lastModified().toUTC());
    return staged;
}

QString isoText(const QDateTime& time)
{
    return time.toString(Qt::ISODate);
}

QString heapText(const FileHeap& heap)
{
    if (heap.files == 0)
        return QStringLiteral("none");
    return QStringLiteral("%1 files, %2, the oldest of %3")
        .arg(heap.files)
        .arg(sizeText(heap.bytes), isoText(heap.oldest));
}

QJsonObject jsonOf(const FileHeap& heap)
{
    return {{QStringLiteral("files"), heap.files},
            {QStringLiteral("bytes"), heap.bytes},
            {QStringLiteral("oldest"), isoText(heap.oldest)}};
}

QString stateName(const StateCount& count)
{
    struct Name
    {
        int state;
        int subState;
        const char* name;
    };
    constexpr Name names[] = {{1, 2, "at the robot"}, {-1, -1, "import failed"}, {-2, -2, "voided"}};
    for (const Name& known : names)
        if (known.state == count.state && known.subState == count.subState)
            return QLatin1String(known.name);
    return QStringLiteral("in state %1,%2").arg(count.state).arg(count.subState);
}

QString momentText(const std::optional<JobMoment>& moment)
{
    return moment ? QStringLiteral("%1, %2").arg(moment->job, moment->time) : QStringLiteral("none");
}

QJsonValue jsonOf(const std::optional<JobMoment>& moment)
{
    if (!moment)
        return QJsonValue::Null;
    return QJsonObject{{QStringLiteral("job"), moment->job}, {QStringLiteral("time"), moment->time}};
}

QString checkText(const std::optional<SiteEvent>& check)
{
    if (!check)
        return QStringLiteral("never");
    QStringList kinds;
    for (auto kind = check->detail.begin(); kind != check->detail.end(); ++kind)
        kinds << QStringLiteral("%1 %2").arg(kind.key()).arg(kind.value().toVariant().toString());
    const QString found =
        kinds.isEmpty() ? QString() : QStringLiteral(": ") + kinds.join(QStringLiteral(", "));
    return QStringLiteral("%1, %2%3").arg(check->createdTime, check->outcome, found);
}

QJsonValue jsonOf(const std::optional<SiteEvent>& check)
{
    if (!check)
        return QJsonValue::Null;
    return QJsonObject{{QStringLiteral("time"), check->createdTime},
                       {QStringLiteral("user"), check->userName},
                       {QStringLiteral("host"), check->host},
                       {QStringLiteral("outcome"), check->outcome},
                       {QStringLiteral("findings"), check->detail}};
}

/// The two forms of a report, told piece by piece.
class StatusReport final
{
public:
    StatusReport()
        : m_table({QStringLiteral("WHAT"), QStringLiteral("VALUE")})
    {
    }

    void add(const QString& what, const QString& value) { m_table.addRow({what, value}); }
    void add(const QString& what, qint64 value) { add(what, QString::number(value)); }
    void set(const char* key, const QJsonValue& value) { m_report.json.insert(QLatin1String(key), value); }

    void addFailure(const char* key, const QString& what, const QString& place, const Status& failure)
    {
        add(what, QStringLiteral("failed: ") + failure.message());
        set(key, QJsonObject{{QStringLiteral("place"), place},
                             {QStringLiteral("error"), withoutPassword(failure.message())},
                             {QStringLiteral("code"), static_cast<int>(exitCodeOf(failure.code()))}});
        if (m_report.outcome.ok())
            m_report.outcome = failure;
    }

    [[nodiscard]] Report finished()
    {
        m_report.text = withoutPassword(m_table.toString());
        return m_report;
    }

private:
    TextTable m_table;
    Report m_report;
};

void tellJobs(StatusReport& report, const SiteCounts& counts)
{
    report.add(QStringLiteral("companies"), counts.companies);
    report.add(QStringLiteral("jobs"), counts.jobs());
    report.add(QStringLiteral("  waiting"), counts.waiting);
    report.add(QStringLiteral("  unfinished"), counts.unfinished);
    QJsonArray states;
    for (const StateCount& count : counts.states) {
        if (count.state != 0 || count.subState != 0)
            report.add(QStringLiteral("  ") + stateName(count), count.jobs);
        states.append(QJsonObject{{QStringLiteral("state"), count.state},
                                  {QStringLiteral("sub_state"), count.subState},
                                  {QStringLiteral("jobs"), count.jobs}});
    }
    report.set("companies", counts.companies);
    report.set("jobs", QJsonObject{{QStringLiteral("total"), counts.jobs()},
                                   {QStringLiteral("waiting"), counts.waiting},
                                   {QStringLiteral("unfinished"), counts.unfinished},
                                   {QStringLiteral("states"), states}});
}

void tellStored(StatusReport& report, const SiteCounts& counts)
{
    QString stored = QStringLiteral("%1 files, %2").arg(counts.storedFiles).arg(sizeText(counts.storedBytes));
    if (counts.unknownLengths > 0)
        stored += QStringLiteral(", and %1 of unknown length").arg(counts.unknownLengths);
    report.add(QStringLiteral("stored"), stored);
    report.set("stored", QJsonObject{{QStringLiteral("files"), counts.storedFiles},
                                     {QStringLiteral("bytes"), counts.storedBytes},
                                     {QStringLiteral("unknown_lengths"), counts.unknownLengths}});
}

void tellRows(StatusReport& report, const RowsState& rows)
{
    report.add(QStringLiteral("site"), rows.identity.isEmpty() ? QStringLiteral("-") : rows.identity);
    report.add(
        QStringLiteral("rows"),
        QStringLiteral("%1, schema %2, %3").arg(rows.health.engine).arg(rows.schema).arg(rows.health.place));
    tellJobs(report, rows.counts);
    report.add(QStringLiteral("oldest waiting job"), momentText(rows.counts.oldestWaiting));
    report.add(QStringLiteral("last import"), momentText(rows.counts.lastImport));
    report.add(QStringLiteral("last check"), checkText(rows.lastCheck));
    report.add(QStringLiteral("database read through"),
               rows.readThrough.isEmpty() ? QStringLiteral("never") : rows.readThrough);
    tellStored(report, rows.counts);
    report.set("rows", QJsonObject{{QStringLiteral("engine"), rows.health.engine},
                                   {QStringLiteral("place"), withoutPassword(rows.health.place)},
                                   {QStringLiteral("schema"), rows.schema},
                                   {QStringLiteral("identity"), rows.identity}});
    report.set("oldest_waiting", jsonOf(rows.counts.oldestWaiting));
    report.set("last_import", jsonOf(rows.counts.lastImport));
    report.set("last_check", jsonOf(rows.lastCheck));
    report.set("read_through", rows.readThrough);
}

void tellFiles(StatusReport& report, const FilesState& files)
{
    report.add(QStringLiteral("files"),
               QStringLiteral("%1, %2").arg(files.health.engine, files.health.place));
    report.add(QStringLiteral("quarantined"), heapText(files.quarantined));
    report.set("files", QJsonObject{{QStringLiteral("engine"), files.health.engine},
                                    {QStringLiteral("place"), withoutPassword(files.health.place)},
                                    {QStringLiteral("identity"), files.identity}});
    report.set("quarantined", jsonOf(files.quarantined));
}

Report statusOf(const Call& call, const Settings& settings)
{
    StatusReport report;
    const auto rows = stateOfRows(call.site);
    if (rows.ok())
        tellRows(report, rows.value());
    else
        report.addFailure("rows", QStringLiteral("rows"), placeOf(settings.database), rows.status());
    const auto files = stateOfFiles(settings, call.site);
    if (files.ok())
        tellFiles(report, files.value());
    else
        report.addFailure("files", QStringLiteral("files"), placeOf(settings.documentStore), files.status());
    if (rows.ok() && files.ok())
        if (const auto same = call.site.compareIdentity(); !same.ok())
            report.addFailure("identity", QStringLiteral("identity"), call.site.configurationPath(), same);
    const FileHeap staged = stagedCopies(settings);
    report.add(QStringLiteral("staged"), heapText(staged));
    report.set("staged", jsonOf(staged));
    return report.finished();
}

} // namespace

Result<Report> statusVerb(const Call& call)
{
    const bool forPrometheus = call.line.has(QStringLiteral("prometheus"));
    if (forPrometheus && call.line.has(QStringLiteral("json")))
        return Status::invalidArgument(QStringLiteral("--prometheus and --json exclude each other"));
    const auto settings = call.site.settings();
    if (!settings.ok() && !forPrometheus)
        return settings.status();
    Report report;
    report.outcome = settings.status();
    if (settings.ok())
        report = statusOf(call, settings.value());
    if (forPrometheus)
        report.text = prometheusText(report.json, QDateTime::currentDateTimeUtc());
    return report;
}

} // namespace KOZAV::Admin
