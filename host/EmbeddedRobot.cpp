// The server has a thread of its own because the file import panel waits for the robot's answer on the thread
// of the window: there it would never come. It listens where the configuration says that the robot is, and
// only on this machine.

#include "host/EmbeddedRobot.h"

#include "robot_server/RobotServer.h"
#include "services/common/Common.h"

#include <QHostAddress>

namespace KOZAV::Host {

namespace {

QString describe(const Robot::ReceivedRequest& request)
{
    const QString verdict = request.check.valid() ? QStringLiteral("%1, fromWeb %2")
                                                        .arg(request.check.jobName,
                                                             request.check.fromWeb ? QStringLiteral("true")
                                                                                   : QStringLiteral("false"))
                                                  : request.check.whyNot;
    return QStringLiteral("%1: %2").arg(request.peer, verdict);
}

} // namespace

EmbeddedRobot::EmbeddedRobot(QObject* parent)
    : QObject(parent)
{
    qRegisterMetaType<Robot::ReceivedRequest>();
    m_thread.setObjectName(QStringLiteral("robot"));
    m_thread.start();
}

EmbeddedRobot::~EmbeddedRobot()
{
    m_thread.quit();
    m_thread.wait();
}

QString EmbeddedRobot::start()
{
    const auto config = Common::commonInterface()->getConfig();
    Robot::RobotServerOptions options;
    options.port = static_cast<quint16>(config.robotPort);
    if (!options.address.setAddress(QString::fromStdString(config.robotHost)) ||
        !options.address.isLoopback())
        return tr("the robot's address %1 is not one of this machine")
            .arg(QString::fromStdString(config.robotHost));

    m_server = new Robot::RobotServer;
    m_server->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_server, &QObject::deleteLater);
    connect(m_server, &Robot::RobotServer::requestReceived, this,
            [this](const Robot::ReceivedRequest& request) { Q_EMIT requestReceived(describe(request)); });
    QString error;
    QMetaObject::invokeMethod(
        m_server,
        [this, &error, options] {
            if (m_server->start(options) == 0)
                error = m_server->errorString();
        },
        Qt::BlockingQueuedConnection);
    return error;
}

} // namespace KOZAV::Host
