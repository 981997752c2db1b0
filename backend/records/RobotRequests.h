#pragma once

#include "backend/Status.h"
#include "backend/records/JobListing.h"

#include <QJsonObject>
#include <QString>

#include <optional>
#include <utility>
#include <vector>

namespace KOZAV::Backend {

class Database;

/// What became of a request to the CAM robot, as far as it can be known. Answers are no part of what the
/// panels wait for: only who sends a request again hears one.
enum class RobotOutcome {
    Sent,     ///< written to a connection that stood
    Unknown,  ///< it may have arrived: nothing told, or what was told is no whole answer
    NotSent,  ///< there was nobody to send it to
    Answered, ///< a whole answer came
    Refused,  ///< a whole answer came, and says that the request was not accepted
    NoAnswer  ///< sent, and not a byte came back
};

/// The outcome as events have it: "sent", "unknown", "not-sent", "answered", "refused", "no-answer".
QString outcomeWord(RobotOutcome outcome);

/// Why a job was to go to the robot.
enum class RobotOrigin {
    Saved,     ///< it came as a saved job: its import hands it on by itself
    Confirmed, ///< an operator confirmed it on the waiting list
    Resent     ///< an administrator had its request sent again
};

/// One request to the CAM robot, made or tried.
struct RobotRequestRecord
{
    RobotOrigin origin = RobotOrigin::Saved;
    RobotOutcome outcome = RobotOutcome::Unknown;
    QString flowGuid;      ///< key of its job; empty where that has no row
    QString generatedName; ///< of its job
    QString host;          ///< as configured
    int port = 0;
    QJsonObject document;  ///< what the request says
    QString probe;         ///< what was seen of the address, in words; empty where nobody looked
    QString reason;        ///< what became of it, for people
    QString requestedTime; ///< as the rows have times (rowTime())
    int userId = 0;
    QString userName;
};

/// Writes a request down as an event of its job, durably. A job that has no row is named by the event's
/// subject alone.
Status addRobotRequest(Database& database, const RobotRequestRecord& request);

/// What the newest event tells of the request that the job's import or its operator made; those that were
/// sent again do not count. Nothing where there is no such event.
Result<std::optional<RobotRequestRecord>> lastRobotRequest(Database& database, const QString& flowGuid);

/// Which requests are listed; all given conditions must hold.
struct RobotRequestFilter
{
    std::vector<RobotOutcome> outcomes; ///< one of these; at most six, none for all
    /// Only those of jobs in this state pair.
    std::optional<std::pair<int, int>> state;
    bool newestOfJob = false; ///< only those with no later one of the same job
    qint64 before = 0;        ///< only those with a smaller number; 0: all
    int limit = 0;            ///< at most so many; 0: all
};

/// A request as a list has it.
struct ListedRobotRequest
{
    qint64 number = 0; ///< of its event: later ones have greater numbers
    RobotRequestRecord request;
    std::optional<std::pair<int, int>> state; ///< of its job now; absent where that has no row
    QString jobName;                          ///< name the job came with
    bool newestOfJob = false;
};

/// Newest first.
Result<std::vector<ListedRobotRequest>> listRobotRequests(Database& database,
                                                          const RobotRequestFilter& filter);

/// The state pair of a job that was handed to the robot.
constexpr int atRobotState = 1;
constexpr int atRobotSubState = 2;
[[nodiscard]] bool isAtRobot(const JobRecord& job);

/// Who puts a job back on the waiting list, and why.
struct RequeueOrder
{
    QString reason; ///< may be empty
    int userId = 0;
    QString userName;
};

/// Puts jobs that were handed to the robot back on the waiting list, (1,2) to (0,0), all of them or none,
/// each with its event. The robot is not told. InvalidArgument, before anything is changed: one of them is
/// not in that state, or its import did not end, so that it would not be on the list. ChangedWhileRead: one
/// has changed its state since it was read.
Status requeueJobs(Database& database, const std::vector<JobRecord>& jobs, const RequeueOrder& order);

/// Why a job is not one that was handed to the robot whole; empty where it is.
QString whyNotAtRobot(const JobRecord& job);

} // namespace KOZAV::Backend
