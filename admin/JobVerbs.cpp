// The verbs about single jobs: taking them back, undoing that, and showing what happened to one.

#include "admin/JobChoice.h"
#include "admin/Stopping.h"
#include "admin/Verbs.h"
#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/io/PrivateFile.h"
#include "backend/records/JobVoiding.h"
#include "backend/records/SiteEvents.h"
#include "backend/store/DocumentStore.h"
#include "terminal/PrintableText.h"
#include "terminal/TextTable.h"

#include <QJsonArray>

#include <algorithm>
#include <optional>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

VoidingSite forVoiding(const OpenParts& parts)
{
    return {*parts.database, *parts.store, parts.settings.documentStore};
}

/// In what the two directions differ.
struct Direction
{
    Result<std::vector<VoidedJob>> (*carryOut)(const VoidingSite&, const std::vector<JobRecord>&,
                                               const VoidingOrder&);
    const char* rowDone;
    const char* rowToDo;
    const char* rowAlready;
    const char* fileDone;
    const char* fileToDo;
    const char* stopped; ///< what is done where a stop came
};

constexpr Direction voiding = {voidJobs,
                               "voided",
                               "would be voided",
                               "voided before",
                               "to quarantine",
                               "would go to quarantine",
                               "the jobs are voided, but not all of their stored files are in quarantine"};
constexpr Direction unvoiding = {unvoidJobs,
                                 "taken back",
                                 "would be taken back",
                                 "not voided",
                                 "back from quarantine",
                                 "would come back from quarantine",
                                 "no job is taken back yet, and not all of the stored files are back"};

QString rowText(const VoidedJob& job, const Direction& direction, bool dryRun)
{
    if (!job.rowChanged)
        return QLatin1String(direction.rowAlready);
    return QLatin1String(dryRun ? direction.rowToDo : direction.rowDone);
}

QString fileText(const VoidedJob& job, const Direction& direction, bool dryRun)
{
    switch (job.file) {
    case VoidedFile::None:
        return QStringLiteral("-");
    case VoidedFile::StillUsed:
        return QStringLiteral("stays: another job needs it");
    case VoidedFile::Moved:
        break;
    }
    return QLatin1String(dryRun ? direction.fileToDo : direction.fileDone);
}

QString fileWord(VoidedFile file)
{
    switch (file) {
    case VoidedFile::None:
        return QStringLiteral("none");
    case VoidedFile::StillUsed:
        return QStringLiteral("still-used");
    case VoidedFile::Moved:
        break;
    }
    return QStringLiteral("moved");
}

Report reportOf(const std::vector<VoidedJob>& jobs, const Direction& direction, bool dryRun)
{
    TextTable table({QStringLiteral("JOB"), QStringLiteral("NAME"), QStringLiteral("COMPANY"),
                     QStringLiteral("STATE"), QStringLiteral("ROW"), QStringLiteral("STORED FILE")});
    QJsonArray list;
    for (const VoidedJob& done : jobs) {
        const JobRecord& job = done.job;
        table.addRow({job.generatedName, job.jobName, job.companyName, statePair(job.state, job.subState),
                      rowText(done, direction, dryRun), fileText(done, direction, dryRun)});
        list.append(QJsonObject{{QStringLiteral("generated_name"), job.generatedName},
                                {QStringLiteral("flow_guid"), job.flowGuid},
                                {QStringLiteral("state"), job.state},
                                {QStringLiteral("sub_state"), job.subState},
                                {QStringLiteral("stored_name"), job.storedName},
                                {QStringLiteral("row_changed"), done.rowChanged},
                                {QStringLiteral("file"), fileWord(done.file)}});
    }
    Report report{{{QStringLiteral("jobs"), list}, {QStringLiteral("dry_run"), dryRun}}, table.toString()};
    if (dryRun)
        report.outcome =
            Status::invalidArgument(QStringLiteral("nothing has been changed; --yes does what is listed"));
    return report;
}

Result<Report> carryOut(const Call& call, const Direction& direction)
{
    const auto parts = openParts(call.site);
    if (!parts.ok())
        return parts.status();
    const auto jobs = chosenJobs(call.line, *parts->database);
    if (!jobs.ok())
        return jobs.status();
    VoidingOrder order;
    order.reason = call.line.value(QStringLiteral("reason")).value_or(QString());
    order.userId = parts->settings.userId;
    order.userName = loginName();
    order.force = call.line.has(QStringLiteral("force"));
    order.dryRun = !call.line.has(QStringLiteral("yes"));
    const StoppableVerb stoppable;
    const auto done = direction.carryOut(forVoiding(parts.value()), jobs.value(), order);
    if (!done.ok())
        return StoppableVerb::ended(done.status(), {QLatin1String(direction.stopped), {}, {}});
    return reportOf(done.value(), direction, order.dryRun);
}

/// What there is of the job's stored file.
struct ShownFile
{
    QString place; ///< "stored", "quarantined", "missing"; empty where the job has no file
    StoredFile file;
};

Result<ShownFile> shownFile(const JobRecord& job, const OpenParts& parts)
{
    if (job.storedName.isEmpty())
        return ShownFile();
    const QString fileStore =
        job.fileStore.isEmpty() ? parts.settings.documentStore.fileStore : job.fileStore;
    const StoreLocation location = storeLocation(parts.settings.documentStore, fileStore.toStdString());
    const std::string name = job.storedName.toStdString();
    const auto stored = parts.store->find(location, name);
    if (stored.ok())
        return ShownFile{QStringLiteral("stored"), stored.value()};
    if (stored.code() != ErrorCode::NotFound)
        return stored.status();
    const auto quarantined = parts.store->listQuarantine(location);
    if (!quarantined.ok())
        return quarantined.status();
    const auto found = std::find_if(quarantined->cbegin(), quarantined->cend(),
                                    [&name](const auto& each) { return each.file.name == name; });
    if (found == quarantined->cend())
        return ShownFile{QStringLiteral("missing"), {}};
    return ShownFile{QStringLiteral("quarantined"), found->file};
}

QJsonObject eventJson(const SiteEvent& event)
{
    return {{QStringLiteral("guid"), event.guid},          {QStringLiteral("kind"), event.kind},
            {QStringLiteral("run_guid"), event.runGuid},   {QStringLiteral("user_id"), event.userId},
            {QStringLiteral("user_name"), event.userName}, {QStringLiteral("host"), event.host},
            {QStringLiteral("subject"), event.subject},    {QStringLiteral("outcome"), event.outcome},
            {QStringLiteral("reason"), event.reason},      {QStringLiteral("detail"), event.detail},
            {QStringLiteral("created"), event.createdTime}};
}

QJsonObject fileJson(const JobRecord& job, const ShownFile& shown)
{
    QJsonObject json = {{QStringLiteral("name"), job.storedName}, {QStringLiteral("place"), shown.place}};
    if (!shown.file.sha256.isEmpty()) {
        json.insert(QStringLiteral("bytes"), shown.file.length);
        json.insert(QStringLiteral("sha256"), QString::fromLatin1(shown.file.sha256));
    }
    return json;
}

QString fileLine(const JobRecord& job, const ShownFile& shown)
{
    if (shown.place.isEmpty())
        return QStringLiteral("-");
    const QString name = printable(job.storedName) + QStringLiteral(", ") + shown.place;
    return shown.file.sha256.isEmpty() ? name
                                       : QStringLiteral("%1, %2 bytes").arg(name).arg(shown.file.length);
}

QString factLines(const JobRecord& job, const ShownFile& shown)
{
    const std::vector<std::pair<const char*, QString>> facts = {
        {"job", printable(job.generatedName)},
        {"name", printable(job.jobName)},
        {"company", printable(job.companyName)},
        {"state", statePair(job.state, job.subState)},
        {"import", importText(job)},
        {"batch", job.batchNumber == 0 ? QStringLiteral("-") : QString::number(job.batchNumber)},
        {"stored file", fileLine(job, shown)}};
    constexpr int width = 13;
    QString lines;
    for (const auto& [name, value] : facts)
        lines += QString::fromLatin1(name).leftJustified(width) + value + QLatin1Char('\n');
    return lines;
}

/// What the event's outcome and reason tell of it.
QString eventText(const SiteEvent& event)
{
    QStringList texts = {event.outcome, event.reason};
    texts.removeAll(QString());
    return texts.join(QStringLiteral("; "));
}

/// From the import on, oldest first.
QString timeline(const JobRecord& job, const std::vector<SiteEvent>& newestFirst)
{
    TextTable table({QStringLiteral("TIME"), QStringLiteral("EVENT"), QStringLiteral("WHO"),
                     QStringLiteral("WHERE"), QStringLiteral("WHAT")});
    table.addRow({job.createdTime, QStringLiteral("import"), QStringLiteral("user %1").arg(job.userId),
                  QString(), job.storedName});
    for (auto event = newestFirst.crbegin(); event != newestFirst.crend(); ++event)
        table.addRow({event->createdTime, event->kind, event->userName, event->host, eventText(*event)});
    return table.toString();
}

} // namespace

Result<Report> jobVoidVerb(const Call& call)
{
    return carryOut(call, voiding);
}

Result<Report> jobUnvoidVerb(const Call& call)
{
    return carryOut(call, unvoiding);
}

Result<Report> jobShowVerb(const Call& call)
{
    const auto parts = openParts(call.site);
    if (!parts.ok())
        return parts.status();
    const auto job = jobNamed(*parts->database, call.line.words.at(0));
    if (!job.ok())
        return job.status();
    const auto file = shownFile(job.value(), parts.value());
    if (!file.ok())
        return file.status();
    EventFilter filter;
    filter.flowGuid = job->flowGuid;
    const auto events = listEvents(*parts->database, filter);
    if (!events.ok())
        return events.status();
    QJsonArray list;
    for (auto event = events->crbegin(); event != events->crend(); ++event)
        list.append(eventJson(*event));
    return Report{{{QStringLiteral("job"), jobJson(job.value())},
                   {QStringLiteral("stored_file"), fileJson(job.value(), file.value())},
                   {QStringLiteral("events"), list}},
                  factLines(job.value(), file.value()) + QLatin1Char('\n') +
                      timeline(job.value(), events.value())};
}

} // namespace KOZAV::Admin
