#pragma once

#include <QJsonObject>
#include <QString>

namespace KOZAV::Robot {

/// What a document asks of the robot, or why it is no request.
struct CheckedRequest
{
    QString jobName;
    bool fromWeb = false;
    QString whyNot; ///< empty for a request; the other members count only then

    [[nodiscard]] bool valid() const { return whyNot.isEmpty(); }
};

/// Checks a document against what robotRequest() makes: exactly its members, of its types, with its fixed
/// values.
[[nodiscard]] CheckedRequest checkRobotRequest(const QJsonObject& document);

} // namespace KOZAV::Robot
