#include "backend/records/FailedImport.h"

#include "backend/database/Database.h"
#include "backend/records/JobListing.h"
#include "backend/records/SiteEvents.h"

// The row is changed only from the very state in which it was seen (the condition of the UPDATE), so that an
// operator who takes the job on meanwhile is not overruled. That state stands in the event, which is written
// in the same transaction.

namespace KOZAV::Backend {

namespace {

/// A job waits, or it was handed to the robot by its import.
bool mayFail(const JobRecord& job)
{
    return (job.state == 0 && job.subState == 0) || (job.state == 1 && job.subState == 2);
}

Status changeRow(Database& database, const JobRecord& job, const FailedImport& import)
{
    const auto changed =
        database.change("UPDATE job_flow SET state = ?, sub_state = ?, state_user_id = ?, state_time = ?"
                        " WHERE guid = ? AND state = ? AND sub_state = ?",
                        {importFailedState, importFailedSubState, import.userId, rowTime(), import.flowGuid,
                         job.state, job.subState},
                        Durability::Immediate);
    if (changed.ok() && changed.value() != 1)
        return Status::changedWhileRead(
            QStringLiteral("%1 has changed its state meanwhile").arg(job.generatedName));
    return changed.status();
}

Status changeWithEvent(Database& database, const FailedImport& import)
{
    JobFilter filter;
    filter.flowGuid = import.flowGuid;
    const auto jobs = listJobs(database, filter);
    if (!jobs.ok())
        return jobs.status();
    if (jobs->empty())
        return Status::notFound(QStringLiteral("there is no job flow with that key"));
    const JobRecord& job = jobs->front();
    if (hasFailed(job))
        return {};
    if (!mayFail(job))
        return Status::invalidArgument(QStringLiteral("%1 has gone on to the state %2,%3, or was voided")
                                           .arg(job.generatedName)
                                           .arg(job.state)
                                           .arg(job.subState));
    if (auto changed = changeRow(database, job, import); !changed.ok())
        return changed;
    SiteEvent event;
    event.kind = eventKind::failedImport;
    event.flowGuid = import.flowGuid;
    event.userId = import.userId;
    event.userName = import.userName;
    event.subject = job.generatedName;
    event.outcome = QStringLiteral("off the waiting list");
    event.reason = import.reason;
    event.detail = {{QStringLiteral("state"), job.state},
                    {QStringLiteral("sub_state"), job.subState},
                    {QStringLiteral("stored_name"), job.storedName}};
    return addEvent(database, event);
}

} // namespace

Status markImportFailed(Database& database, const FailedImport& import)
{
    if (import.reason.trimmed().isEmpty())
        return Status::invalidArgument(QStringLiteral("no import is called failed without a reason"));
    const auto mark = [&] { return database.transaction([&] { return changeWithEvent(database, import); }); };
    const Status marked = mark();
    // Where the answer was lost, the row itself tells whether it was changed.
    return marked.code() == ErrorCode::OutcomeUnknown ? mark() : marked;
}

} // namespace KOZAV::Backend
