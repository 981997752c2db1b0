// The job list panel's request to the CAM robot, over a socket that the panel keeps.

#include "robot/RobotRequest.h"
#include "services/common/Common.h"
#include "ui/import_list/ZAV_Import_Widget.h"

#include <QJsonDocument>
#include <QTcpSocket>

namespace KOZAV::UI {

void ZAV_Import_Widget::sendMsgToServer()
{
    constexpr int connectTimeoutMs = 30000;

    const QJsonDocument request(Robot::robotRequest(currentJobName(), !m_importInfo.fileName.isEmpty()));
    const QByteArray bytes = request.toJson(QJsonDocument::Compact);
    if (!m_pSocket) {
        m_pSocket = new QTcpSocket;
        connect(m_pSocket, SIGNAL(readyRead()), this, SLOT(on_m_pSocket_readyRead()));
    }

    const auto port = static_cast<quint16>(Common::commonInterface()->getConfig().robotPort);
    const QString host = QString::fromStdString(Common::commonInterface()->getConfig().robotHost);
    m_pSocket->connectToHost(host, port, QIODevice::ReadWrite, QAbstractSocket::AnyIPProtocol);
    if (!m_pSocket->waitForConnected(connectTimeoutMs)) {
        showInformation(QStringLiteral("Server connect failed!"));
        return;
    }
    m_pSocket->write(bytes);
    m_importInfo.fileName.clear();
    Q_EMIT webJobHaveSent();
    close();
}

void ZAV_Import_Widget::on_m_pSocket_readyRead()
{
    // What the robot answers changes nothing here; reading it only drains the socket.
    const QString answer = QString::fromUtf8(m_pSocket->readAll());
    Q_UNUSED(answer)
}

} // namespace KOZAV::UI
