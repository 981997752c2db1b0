#pragma once

#include <QJsonObject>
#include <QString>

namespace KOZAV::Robot {

/// The request document that asks the CAM robot to process a job:
/// {"module": "robot", "msgType": 1, "msgParams": {"fromWeb": BOOL, "jobname": TEXT}}.
QJsonObject robotRequest(const QString& jobName, bool fromWeb);

} // namespace KOZAV::Robot
