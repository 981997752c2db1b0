#pragma once

#include "backend/records/RobotRequests.h"

#include <QByteArray>
#include <QString>

namespace KOZAV::Robot {

/// Where a request goes, and how long all of it may take.
struct RobotCall
{
    QString host; ///< a numeric address, or a name
    quint16 port = 0;
    int timeoutMs = 30'000;
    int longestAnswer = 16 * 1024; ///< bytes
};

/// What became of a request that was sent with an answer to come.
struct RobotReply
{
    /// NotSent: nothing has left this machine. NoAnswer, Unknown: the robot may have the request. Answered,
    /// Refused: it has.
    Backend::RobotOutcome outcome = Backend::RobotOutcome::NotSent;
    QString reason;    ///< in a sentence, with the robot's own words where it has answered
    QByteArray answer; ///< what came, as much as may; not printable
};

/// Sends a request to the robot over a connection of its own and waits for a whole JSON document: the name's
/// look-up, the connection, all of the request and all of the answer have one deadline. Needs an application
/// object; runs an event loop while a name is looked up.
RobotReply callRobot(const RobotCall& call, const QByteArray& request);

/// What is wrong with a host as address of the robot: saved jobs are sent by the import itself, which looks
/// no name up. Empty for a numeric address.
QString robotHostWarning(const QString& host);

} // namespace KOZAV::Robot
