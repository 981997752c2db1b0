#include "backend/records/RobotRequests.h"

#include "backend/database/Database.h"
#include "backend/records/JobVoiding.h"
#include "backend/records/SiteEvents.h"

#include <QStringList>

namespace KOZAV::Backend {

namespace {

// Indexed by RobotOutcome and RobotOrigin.
constexpr const char* outcomeWords[] = {"sent", "unknown", "not-sent", "answered", "refused", "no-answer"};
constexpr const char* originWords[] = {"saved", "confirmed", "resent"};

const QLatin1String originKey("origin");
const QLatin1String hostKey("host");
const QLatin1String portKey("port");
const QLatin1String documentKey("document");
const QLatin1String probeKey("probe");
const QLatin1String requestedKey("requested");

QString originWord(RobotOrigin origin)
{
    return QLatin1String(originWords[static_cast<int>(origin)]);
}

RobotRequestRecord readRequest(const SiteEvent& event)
{
    RobotRequestRecord request;
    request.origin = event.detail.value(originKey).toString() == originWord(RobotOrigin::Confirmed)
                         ? RobotOrigin::Confirmed
                         : RobotOrigin::Saved;
    for (const auto outcome : {RobotOutcome::Sent, RobotOutcome::NotSent}) {
        if (event.outcome == outcomeWord(outcome))
            request.outcome = outcome;
    }
    request.flowGuid = event.flowGuid;
    request.generatedName = event.subject;
    request.host = event.detail.value(hostKey).toString();
    request.port = event.detail.value(portKey).toInt();
    request.document = event.detail.value(documentKey).toObject();
    request.probe = event.detail.value(probeKey).toString();
    request.reason = event.reason;
    request.requestedTime = event.detail.value(requestedKey).toString();
    request.userId = event.userId;
    request.userName = event.userName;
    return request;
}

Status requeueJob(Database& database, const JobRecord& job, const RequeueOrder& order)
{
    if (auto moved = moveJobState(database, job, 0, 0, order.userId); !moved.ok())
        return moved;
    SiteEvent event;
    event.kind = eventKind::requeued;
    event.flowGuid = job.flowGuid;
    event.userId = order.userId;
    event.userName = order.userName;
    event.subject = job.generatedName;
    event.reason = order.reason;
    event.detail = {{QStringLiteral("state"), job.state}, {QStringLiteral("sub_state"), job.subState}};
    return addEvent(database, event);
}

} // namespace

QString outcomeWord(RobotOutcome outcome)
{
    return QLatin1String(outcomeWords[static_cast<int>(outcome)]);
}

Status addRobotRequest(Database& database, const RobotRequestRecord& request)
{
    SiteEvent event;
    event.kind = eventKind::robot;
    event.flowGuid = request.flowGuid;
    event.userId = request.userId;
    event.userName = request.userName;
    event.subject = request.generatedName;
    event.outcome = outcomeWord(request.outcome);
    event.reason = request.reason;
    event.detail = {{originKey, originWord(request.origin)},
                    {hostKey, request.host},
                    {portKey, request.port},
                    {documentKey, request.document},
                    {probeKey, request.probe},
                    {requestedKey, request.requestedTime}};
    auto added = addEvent(database, event);
    if (added.code() != ErrorCode::NotFound || event.flowGuid.isEmpty())
        return added;
    event.flowGuid.clear();
    return addEvent(database, event);
}

Result<std::optional<RobotRequestRecord>> lastRobotRequest(Database& database, const QString& flowGuid)
{
    EventFilter filter;
    filter.kind = QString(eventKind::robot);
    filter.flowGuid = flowGuid;
    const auto events = listEvents(database, filter);
    if (!events.ok())
        return events.status();
    for (const SiteEvent& event : events.value()) {
        if (event.detail.value(originKey).toString() != originWord(RobotOrigin::Resent))
            return std::optional(readRequest(event));
    }
    return std::optional<RobotRequestRecord>();
}

bool isAtRobot(const JobRecord& job)
{
    return job.state == atRobotState && job.subState == atRobotSubState;
}

QString whyNotAtRobot(const JobRecord& job)
{
    if (isVoided(job))
        return QStringLiteral("%1 is voided").arg(job.generatedName);
    if (!isAtRobot(job))
        return QStringLiteral("%1 is in state %2,%3, not with the robot (%4,%5)")
            .arg(job.generatedName)
            .arg(job.state)
            .arg(job.subState)
            .arg(atRobotState)
            .arg(atRobotSubState);
    if (!job.complete)
        return QStringLiteral("the import of %1 did not end").arg(job.generatedName);
    return {};
}

Status requeueJobs(Database& database, const std::vector<JobRecord>& jobs, const RequeueOrder& order)
{
    QStringList reasons;
    for (const JobRecord& job : jobs)
        reasons << whyNotAtRobot(job);
    reasons.removeAll(QString());
    if (!reasons.isEmpty())
        return Status::invalidArgument(reasons.join(QStringLiteral("; ")));
    return database.transaction([&]() -> Status {
        for (const JobRecord& job : jobs) {
            if (auto requeued = requeueJob(database, job, order); !requeued.ok())
                return requeued;
        }
        return {};
    });
}

} // namespace KOZAV::Backend
