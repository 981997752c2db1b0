#include "robot/RobotRequest.h"

namespace KOZAV::Robot {

QJsonObject robotRequest(const QString& jobName, bool fromWeb)
{
    const QJsonObject parameters{{QStringLiteral("fromWeb"), fromWeb}, {QStringLiteral("jobname"), jobName}};
    return {{QStringLiteral("module"), QStringLiteral("robot")},
            {QStringLiteral("msgType"), 1},
            {QStringLiteral("msgParams"), parameters}};
}

} // namespace KOZAV::Robot
