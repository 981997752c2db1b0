#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QString>

#include <optional>
#include <vector>

namespace KOZAV::Host {

/// A request to the CAM robot.
struct RobotRequest
{
    enum class Origin {
        Saved,     ///< a saved job, by its import
        Confirmed, ///< by the operator who confirmed the job
        Resent     ///< sent again by somebody
    };
    enum class Outcome {
        Sent,     ///< written to a connection that stood
        Unknown,  ///< it leaves no trace, or its answer was none
        NotSent,  ///< there was nobody to take it
        Answered, ///< the robot has it and did not refuse it
        Refused,  ///< the robot has it and refused it
        NoAnswer  ///< sent, and nothing came back
    };

    Origin origin = Origin::Saved;
    Outcome outcome = Outcome::Unknown;
    QString flowKey; ///< of its job; empty where that has no row
    QString generatedName;
    QString host;
    int port = 0;
    QJsonObject document; ///< what it says
    QString probe;        ///< what the client's own attempt at the address found, as a word
    QString reason;       ///< what is known of it, for people
    QDateTime requested;  ///< UTC
};

/// Where the job of a request is now.
enum class RobotJobPlace {
    Gone,    ///< it has no row
    AtRobot, ///< handed to the robot, as far as the site knows
    Waiting, ///< on the waiting list again
    Voided,  ///< taken back
    Failed,  ///< its import was found to have failed
    Beyond   ///< further on, or in a state of other programs
};

/// A request as the site has recorded it.
struct RobotRequestRow
{
    qint64 number = 0; ///< later ones have greater numbers
    RobotRequest request;
    QString jobName;  ///< name the job came with
    QString userName; ///< who made it
    RobotJobPlace job = RobotJobPlace::Gone;
    bool isNewest = false; ///< of its job

    /// Whether somebody has to do something: the job is with the robot, and its last request did not plainly
    /// arrive.
    [[nodiscard]] bool isOpen() const;
};

enum class RobotFilter { All, Open, Waiting, Sent, Answered, Refused, Unknown, NotSent };

struct RobotPage
{
    std::vector<RobotRequestRow> rows; ///< newest first
    bool hasMore = false;
};

// The site is the one that the services work on; all of this may be called on any thread.

/// Writes requests into the histories of their jobs, all of them or none.
/// @return why that was not possible; empty on success
[[nodiscard]] QString recordRobotRequests(const std::vector<RobotRequest>& requests);

/// The requests that the site has recorded; nothing, and the reason, where they cannot be read.
/// @param before  only those with a smaller number; 0: from the newest on
[[nodiscard]] std::optional<RobotPage> robotRequests(RobotFilter filter, qint64 before, int limit,
                                                     QString& failure);

/// What became of one job whose request was sent again, or that was put back on the waiting list.
struct RobotOrderResult
{
    QString generatedName;
    bool done = false; ///< sent and not refused, and recorded; on the waiting list again
    QString text;      ///< what became of it, in words
};

/// Sends the request of a job again, as "zav_admin job resend" does. Waits for the robot's answer.
[[nodiscard]] RobotOrderResult resendToRobot(const QString& generatedName);
/// Puts a job back on the waiting list, as "zav_admin job requeue" does.
[[nodiscard]] RobotOrderResult requeueFromRobot(const QString& generatedName);

} // namespace KOZAV::Host
