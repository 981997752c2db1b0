#include "tests/support/RobotClient.h"

#include "robot/RobotRequest.h"

#include <QHostAddress>
#include <QJsonDocument>

namespace KOZAV::Test {

QByteArray compactRequest(const QString& jobName, bool fromWeb)
{
    return QJsonDocument(Robot::robotRequest(jobName, fromWeb)).toJson(QJsonDocument::Compact);
}

QByteArray indentedRequest(const QString& jobName, bool fromWeb)
{
    return QJsonDocument(Robot::robotRequest(jobName, fromWeb)).toJson();
}

RobotClient::RobotClient(quint16 port)
{
    constexpr int connectMs = 5000;
    // Packets as they are written: without waiting to join small ones.
    m_socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    m_socket.waitForConnected(connectMs);
    m_name = QStringLiteral("127.0.0.1:%1").arg(m_socket.localPort());
}

void RobotClient::send(const QByteArray& bytes)
{
    m_socket.write(bytes);
    m_socket.flush();
}

QByteArray RobotClient::waitForAnswer()
{
    constexpr int answerMs = 5000;
    m_socket.waitForReadyRead(answerMs);
    return answers();
}

QByteArray RobotClient::answers()
{
    m_answers += m_socket.readAll();
    return m_answers;
}

} // namespace KOZAV::Test
