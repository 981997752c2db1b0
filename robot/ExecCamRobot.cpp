// The file import panel's request to the CAM robot.

#include "robot/RobotRequest.h"
#include "services/common/Common.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QHostAddress>
#include <QJsonDocument>
#include <QTcpSocket>

namespace KOZAV::UI {

void ZAV_ImportFromFile_Widget::execCAMRobot(const std::string& jobName)
{
    constexpr int replyTimeoutMs = 1000;

    const QString host = QString::fromStdString(Common::commonInterface()->getConfig().robotHost);
    const auto port = static_cast<quint16>(Common::commonInterface()->getConfig().robotPort);
    const QJsonDocument request(Robot::robotRequest(QString::fromStdString(jobName).toLower(), false));

    // Written before the connection stands: the socket keeps the bytes, and the wait connects and sends. A
    // host that is not a numeric address cannot be connected to. Whatever is answered is not read.
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(host), port, QIODevice::ReadWrite);
    socket.write(request.toJson());
    socket.waitForReadyRead(replyTimeoutMs);
    socket.close();
}

} // namespace KOZAV::UI
