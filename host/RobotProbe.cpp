// A probe is a connection that is closed as soon as it stands. Robots may take that for a request without
// content, so it is made seldom, and never twice at once. A late answer of an earlier attempt counts for
// nothing: the flag is cleared by whichever end comes first.

#include "host/RobotProbe.h"

#include "host/core/RunGate.h"
#include "services/common/Common.h"

namespace KOZAV::Host {

namespace {

constexpr int intervalMs = 15000;
constexpr int timeoutMs = 3000;

} // namespace

RobotProbe::RobotProbe(QObject* parent)
    : QObject(parent)
{
    m_interval.setInterval(intervalMs);
    m_timeout.setInterval(timeoutMs);
    m_timeout.setSingleShot(true);
    connect(&m_interval, &QTimer::timeout, this, &RobotProbe::probe);
    connect(&m_timeout, &QTimer::timeout, this, [this] { answer(false); });
    const auto later = [this](bool reachable) {
        RunGate::whenOpen(this, [this, reachable] { answer(reachable); });
    };
    connect(&m_socket, &QTcpSocket::connected, this, [later] { later(true); });
    connect(&m_socket, &QTcpSocket::errorOccurred, this, [later] { later(false); });
}

void RobotProbe::start()
{
    m_interval.start();
    probe();
}

void RobotProbe::probe()
{
    if (m_probing)
        return;
    m_probing = true;
    const auto config = Common::commonInterface()->getConfig();
    const QString host = QString::fromStdString(config.robotHost);
    const auto port = static_cast<quint16>(config.robotPort);
    m_robot = QStringLiteral("%1:%2").arg(host).arg(port);
    m_timeout.start();
    m_socket.connectToHost(host, port);
}

void RobotProbe::answer(bool reachable)
{
    if (!m_probing)
        return;
    m_probing = false;
    m_timeout.stop();
    m_socket.abort();
    Q_EMIT probed(m_robot, reachable);
}

} // namespace KOZAV::Host
