#include "backend/records/JobVoiding.h"

#include "backend/SafePoint.h"
#include "backend/database/Database.h"
#include "backend/records/SiteEvents.h"
#include "backend/store/DocumentStore.h"

#include <QSet>
#include <QStringList>

// Rows and files cannot change at one moment, so the order is chosen by what is seen in between. A job that
// waits must have its file: voiding takes the rows off first and then moves the files; taking it back brings
// the files first and then the rows. What is left of either after an interruption is a voided row whose file
// is still stored, which harms nobody, and the same command goes on from there.
//
// A row is changed only from the very state in which it was seen (the condition of the UPDATE), so that a
// client which sends the job to the robot meanwhile is not overruled. That state stands in the event, which
// is written in the same transaction.

namespace KOZAV::Backend {

namespace {

/// From here on a job is with the robot.
constexpr int firstRobotState = 1;

constexpr const char* changeState =
    "UPDATE job_flow SET state = ?, sub_state = ?, state_user_id = ?, state_time = ?"
    " WHERE guid = ? AND state = ? AND sub_state = ?";

// A file is named by the last row of an import, as an original file, as what was imported last, and as a
// robot archive. Each way begins at the index of its stored names.
#define NOT_VOIDED " AND (f.state <> -2 OR f.sub_state <> -2)"
constexpr const char* jobsOfFile =
    "SELECT f.guid FROM job_compress z JOIN job_flow f ON f.guid = z.flow_guid WHERE z.stored_name = "
    "?" NOT_VOIDED " UNION ALL SELECT f.guid FROM orig_file o JOIN job_flow f ON f.orig_file_guid = o.guid"
    " WHERE o.stored_name = ?" NOT_VOIDED
    " UNION ALL SELECT f.guid FROM orig_file o JOIN job_flow f ON f.last_import_orig_file_guid = o.guid"
    " WHERE o.stored_name = ?" NOT_VOIDED
    " UNION ALL SELECT f.guid FROM orig_file o JOIN job_flow f ON f.guid = o.flow_guid"
    " WHERE o.stored_name = ?" NOT_VOIDED;
#undef NOT_VOIDED

struct StatePair
{
    int state = 0;
    int subState = 0;
};

QString fileStoreOf(const VoidingSite& site, const JobRecord& job)
{
    return job.fileStore.isEmpty() ? site.settings.fileStore : job.fileStore;
}

StoreLocation locationOf(const VoidingSite& site, const JobRecord& job)
{
    return storeLocation(site.settings, fileStoreOf(site, job).toStdString());
}

Status checkOrder(const std::vector<JobRecord>& jobs, const VoidingOrder& order)
{
    if (order.reason.trimmed().isEmpty())
        return Status::invalidArgument(QStringLiteral("a job is not voided without a reason"));
    QStringList sent;
    for (const JobRecord& job : jobs)
        if (job.state >= firstRobotState && !order.force)
            sent << job.generatedName;
    if (sent.isEmpty())
        return {};
    return Status::invalidArgument(QStringLiteral("these jobs went on to the robot, --force voids them all "
                                                  "the same: %1")
                                       .arg(sent.join(QStringLiteral(", "))));
}

/// Those of the jobs' files that a job needs which neither is voided nor is among them.
Result<QSet<QString>> filesInUse(Database& database, const std::vector<JobRecord>& jobs)
{
    QSet<QString> files;
    QSet<QString> flows;
    for (const JobRecord& job : jobs) {
        if (!job.storedName.isEmpty())
            files.insert(job.storedName);
        flows.insert(job.flowGuid);
    }
    QSet<QString> inUse;
    for (const QString& file : qAsConst(files)) {
        const auto status = database.query(jobsOfFile, {file, file, file, file}, [&](const QSqlQuery& row) {
            if (!flows.contains(row.value(0).toString()))
                inUse.insert(file);
            return true;
        });
        if (!status.ok())
            return status;
    }
    return inUse;
}

SiteEvent eventOf(QLatin1String kind, const VoidingOrder& order, const JobRecord& job)
{
    SiteEvent event;
    event.kind = kind;
    event.flowGuid = job.flowGuid;
    event.userId = order.userId;
    event.userName = order.userName;
    event.subject = job.generatedName;
    event.reason = order.reason;
    return event;
}

Status voidRow(const VoidingSite& site, const JobRecord& job, const VoidingOrder& order)
{
    if (auto moved = moveJobState(site.database, job, voidedState, voidedSubState, order.userId); !moved.ok())
        return moved;
    SiteEvent event = eventOf(eventKind::jobVoided, order, job);
    event.detail = {{QStringLiteral("state"), job.state},
                    {QStringLiteral("sub_state"), job.subState},
                    {QStringLiteral("stored_name"), job.storedName},
                    {QStringLiteral("file_store"), fileStoreOf(site, job)}};
    return addEvent(site.database, event);
}

/// The state pair that a voided job had.
Result<StatePair> stateBefore(Database& database, const JobRecord& job)
{
    EventFilter filter;
    filter.flowGuid = job.flowGuid;
    filter.kind = QString(eventKind::jobVoided);
    filter.limit = 1;
    const auto events = listEvents(database, filter);
    if (!events.ok())
        return events.status();
    const QJsonObject detail = events->empty() ? QJsonObject() : events->front().detail;
    if (!detail.value(QStringLiteral("state")).isDouble() ||
        !detail.value(QStringLiteral("sub_state")).isDouble())
        return Status::corrupt(
            QStringLiteral("no event tells which state %1 had before it was voided").arg(job.generatedName));
    return StatePair{detail.value(QStringLiteral("state")).toInt(),
                     detail.value(QStringLiteral("sub_state")).toInt()};
}

Status unvoidRow(const VoidingSite& site, const JobRecord& job, const VoidingOrder& order)
{
    const auto before = stateBefore(site.database, job);
    if (!before.ok())
        return before.status();
    if (auto moved = moveJobState(site.database, job, before->state, before->subState, order.userId);
        !moved.ok())
        return moved;
    SiteEvent event = eventOf(eventKind::jobUnvoided, order, job);
    event.detail = {{QStringLiteral("state"), before->state},
                    {QStringLiteral("sub_state"), before->subState}};
    return addEvent(site.database, event);
}

/// Changes the rows of those jobs that are not, or are, voided already, all of them or none.
Status changeRows(const VoidingSite& site, const VoidingOrder& order, std::vector<VoidedJob>& jobs,
                  Status (*changeRow)(const VoidingSite&, const JobRecord&, const VoidingOrder&))
{
    if (order.dryRun)
        return {};
    return site.database.transaction([&]() -> Status {
        for (const VoidedJob& job : jobs) {
            if (!job.rowChanged)
                continue;
            if (auto changed = changeRow(site, job.job, order); !changed.ok())
                return changed;
        }
        return {};
    });
}

Result<VoidedFile> intoQuarantine(const VoidingSite& site, const JobRecord& job, const VoidingOrder& order)
{
    const StoreLocation location = locationOf(site, job);
    const std::string name = job.storedName.toStdString();
    const Status moved =
        order.dryRun ? site.store.find(location, name).status() : site.store.quarantine(location, name);
    if (moved.code() == ErrorCode::NotFound)
        return VoidedFile::None;
    return moved.ok() ? Result(VoidedFile::Moved) : moved;
}

Result<VoidedFile> outOfQuarantine(const VoidingSite& site, const JobRecord& job, const VoidingOrder& order)
{
    const StoreLocation location = locationOf(site, job);
    const std::string name = job.storedName.toStdString();
    const Status stored = site.store.find(location, name).status();
    if (stored.code() != ErrorCode::NotFound)
        return stored.ok() ? Result(VoidedFile::None) : stored;
    if (order.dryRun)
        return VoidedFile::Moved;
    const Status moved = site.store.restoreQuarantined(location, name);
    if (moved.ok())
        return VoidedFile::Moved;
    if (moved.code() != ErrorCode::NotFound)
        return moved;
    if (!job.complete)
        return VoidedFile::None;
    return moved.retold(QStringLiteral("the stored file of %1 is neither stored nor in quarantine: %2")
                            .arg(job.generatedName, moved.message()));
}

} // namespace

Status moveJobState(Database& database, const JobRecord& job, int state, int subState, int userId)
{
    const auto changed = database.change(
        changeState, {state, subState, userId, rowTime(), job.flowGuid, job.state, job.subState},
        Durability::Immediate);
    if (changed.ok() && changed.value() != 1)
        return Status::changedWhileRead(
            QStringLiteral("%1 has changed its state meanwhile; look again").arg(job.generatedName));
    return changed.status();
}

Result<std::vector<VoidedJob>> voidJobs(const VoidingSite& site, const std::vector<JobRecord>& jobs,
                                        const VoidingOrder& order)
{
    if (auto accepted = checkOrder(jobs, order); !accepted.ok())
        return accepted;
    std::vector<VoidedJob> done;
    done.reserve(jobs.size());
    for (const JobRecord& job : jobs)
        done.push_back({job, !isVoided(job), VoidedFile::None});
    if (auto changed = changeRows(site, order, done, voidRow); !changed.ok())
        return changed;
    const auto inUse = filesInUse(site.database, jobs);
    if (!inUse.ok())
        return inUse.status();
    for (VoidedJob& job : done) {
        if (job.job.storedName.isEmpty())
            continue;
        if (auto goOn = safePoint(); !goOn.ok())
            return goOn;
        const auto moved = inUse->contains(job.job.storedName) ? Result(VoidedFile::StillUsed)
                                                               : intoQuarantine(site, job.job, order);
        if (!moved.ok())
            return moved.status();
        job.file = moved.value();
    }
    return done;
}

Result<std::vector<VoidedJob>> unvoidJobs(const VoidingSite& site, const std::vector<JobRecord>& jobs,
                                          const VoidingOrder& order)
{
    std::vector<VoidedJob> done;
    done.reserve(jobs.size());
    for (const JobRecord& job : jobs) {
        if (auto goOn = safePoint(); !goOn.ok())
            return goOn;
        done.push_back({job, isVoided(job), VoidedFile::None});
        if (!isVoided(job) || job.storedName.isEmpty())
            continue;
        const auto moved = outOfQuarantine(site, job, order);
        if (!moved.ok())
            return moved.status();
        done.back().file = moved.value();
    }
    if (auto changed = changeRows(site, order, done, unvoidRow); !changed.ok())
        return changed;
    return done;
}

} // namespace KOZAV::Backend
