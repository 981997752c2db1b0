// A request that is sent again is the one that was made first, as its event tells it: a saved job's with its
// name in lower case, indented; a confirmed job's as the waiting list has it, compact. Where no event tells
// of one, the suffix of the stored file says which of the two it was.

#include "robot_call/RobotResending.h"

#include "backend/database/Database.h"
#include "backend/records/RobotRequests.h"
#include "robot/RobotRequest.h"

#include <QJsonDocument>

namespace KOZAV::Robot {

using namespace Backend;

namespace {

/// A request as it is sent again.
struct Request
{
    QJsonObject document;
    QByteArray bytes;
};

Result<Request> requestOf(Database& database, const JobRecord& job)
{
    const auto made = lastRobotRequest(database, job.flowGuid);
    if (!made.ok())
        return made.status();
    const auto& before = made.value();
    const bool saved = before ? before->origin == RobotOrigin::Saved : job.suffix == QStringLiteral("kos");
    Request request;
    request.document = robotRequest(saved ? job.generatedName.toLower() : job.generatedName,
                                    before && checkRobotRequest(before->document).fromWeb);
    request.bytes =
        QJsonDocument(request.document).toJson(saved ? QJsonDocument::Indented : QJsonDocument::Compact);
    return request;
}

Status record(Database& database, const ResentRequest& resent, const ResendOrder& order,
              const QString& requested)
{
    RobotRequestRecord request;
    request.origin = RobotOrigin::Resent;
    request.outcome = resent.reply.outcome;
    request.flowGuid = resent.job.flowGuid;
    request.generatedName = resent.job.generatedName;
    request.host = order.robot.host;
    request.port = order.robot.port;
    request.document = resent.document;
    request.reason = order.reason.isEmpty() ? resent.reply.reason
                                            : QStringLiteral("%1; %2").arg(resent.reply.reason, order.reason);
    request.requestedTime = requested;
    request.userId = order.userId;
    request.userName = order.userName;
    return addRobotRequest(database, request);
}

} // namespace

Result<ResentRequest> plannedRequest(Database& database, const JobRecord& job)
{
    const auto request = requestOf(database, job);
    if (!request.ok())
        return request.status();
    return ResentRequest{job, request->document, {}, {}};
}

/// The requests before it may have taken their time: whether the job is still with the robot is asked here.
Result<ResentRequest> resendRequest(Database& database, const QString& generatedName,
                                    const ResendOrder& order)
{
    const auto job = jobNamed(database, generatedName);
    if (!job.ok())
        return job.status();
    if (const QString whyNot = whyNotAtRobot(job.value()); !whyNot.isEmpty())
        return Status::invalidArgument(whyNot);
    const auto request = requestOf(database, job.value());
    if (!request.ok())
        return request.status();
    ResentRequest resent{job.value(), request->document, {}, {}};
    const QString requested = rowTime();
    resent.reply = callRobot(order.robot, request->bytes);
    resent.recorded = record(database, resent, order, requested);
    return resent;
}

} // namespace KOZAV::Robot
