#pragma once

#include "backend/Status.h"
#include "backend/records/JobListing.h"
#include "robot_call/RobotCall.h"

#include <QJsonObject>
#include <QString>

namespace KOZAV::Backend {
class Database;
} // namespace KOZAV::Backend

namespace KOZAV::Robot {

/// Where requests of jobs are sent again, who does that, and why.
struct ResendOrder
{
    QString reason; ///< may be empty
    RobotCall robot;
    int userId = 0;
    QString userName;
};

/// What came of one job.
struct ResentRequest
{
    Backend::JobRecord job;
    QJsonObject document;
    RobotReply reply;
    Backend::Status recorded; ///< whether its event could be written
};

/// What resendRequest() would send; nothing leaves this machine.
Backend::Result<ResentRequest> plannedRequest(Backend::Database& database, const Backend::JobRecord& job);

/// Sends the request of a job again, waits for the answer, and writes what became of it into the job's
/// history. NotFound, InvalidArgument where the job is not with the robot: then nothing was sent. As slow as
/// the robot; the rows are not locked meanwhile.
Backend::Result<ResentRequest> resendRequest(Backend::Database& database, const QString& generatedName,
                                             const ResendOrder& order);

} // namespace KOZAV::Robot
