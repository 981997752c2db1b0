#pragma once

#include "robot/RobotRequestCheck.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QMetaType>
#include <QString>

namespace KOZAV::Robot {

/// A document that has come, whether it is a request or not.
struct ReceivedRequest
{
    QDateTime time; ///< UTC
    QString peer;   ///< address:port
    int bytes = 0;  ///< the document's length in the stream
    QJsonDocument document;
    CheckedRequest check;
};

/// A connection that the server did not take or did not keep, or that ended inside a document.
struct DroppedConnection
{
    QDateTime time; ///< UTC
    QString peer;   ///< address:port
    QString reason;
};

} // namespace KOZAV::Robot

Q_DECLARE_METATYPE(KOZAV::Robot::ReceivedRequest)
Q_DECLARE_METATYPE(KOZAV::Robot::DroppedConnection)
