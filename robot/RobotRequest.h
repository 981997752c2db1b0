#pragma once

#include <QJsonObject>
#include <QString>

namespace KOZAV::Robot {

/// The request document that asks the CAM robot to process a job:
/// {"module": "robot", "msgType": 1, "msgParams": {"fromWeb": BOOL, "jobname": TEXT}}.
/// @param jobName  goes in as it is, in any case of letters and with any characters
QJsonObject robotRequest(const QString& jobName, bool fromWeb);

/// What a document asks of the robot, or why it is no request.
struct CheckedRequest
{
    QString jobName;
    bool fromWeb = false;
    QString whyNot; ///< empty for a request; the other members count only then

    [[nodiscard]] bool valid() const { return whyNot.isEmpty(); }
};

/// Checks a document against what robotRequest() makes: exactly its members, in any order, of its types, with
/// its fixed values. The first difference is told. Names of members in that text are the peer's: cut off
/// after 64 characters, but with whatever characters they have.
[[nodiscard]] CheckedRequest checkRobotRequest(const QJsonObject& document);

} // namespace KOZAV::Robot
