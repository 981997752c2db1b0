#include "robot_server/RobotServer.h"

#include "robot_server/RobotConnection.h"

#include <algorithm>
#include <limits>

#ifdef Q_OS_UNIX
#include <sys/resource.h>
#endif

namespace KOZAV::Robot {

namespace {

/// The peer's address; an IPv4 peer of a socket for both families has its IPv4 address.
QHostAddress peerAddress(const QTcpSocket& socket)
{
    bool isIPv4 = false;
    const quint32 address = socket.peerAddress().toIPv4Address(&isIPv4);
    return isIPv4 ? QHostAddress(address) : socket.peerAddress();
}

QString peerName(const QTcpSocket& socket)
{
    const QHostAddress address = peerAddress(socket);
    const bool isIPv6 = address.protocol() == QAbstractSocket::IPv6Protocol;
    return (isIPv6 ? QStringLiteral("[%1]:%2") : QStringLiteral("%1:%2"))
        .arg(address.toString())
        .arg(socket.peerPort());
}

/// How many files and sockets this process may have open at a time.
int openFileLimit()
{
    constexpr int most = std::numeric_limits<int>::max();
#ifdef Q_OS_UNIX
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0)
        return static_cast<int>(std::min<rlim_t>(limit.rlim_cur, most));
#endif
    return most;
}

} // namespace

RobotServer::RobotServer(QObject* parent)
    : QObject(parent)
{
    qRegisterMetaType<ReceivedRequest>();
    qRegisterMetaType<DroppedConnection>();
    connect(&m_server, &QTcpServer::newConnection, this, &RobotServer::acceptPending);
    connect(&m_server, &QTcpServer::acceptError, this, &RobotServer::onAcceptError);
    connect(&m_resumeTimer, &QTimer::timeout, &m_server, &QTcpServer::resumeAccepting);
    m_resumeTimer.setSingleShot(true);
}

quint16 RobotServer::start(const RobotServerOptions& options)
{
    m_options = options;
    return options.reception == Reception::Refuse ? reservePort() : listen();
}

quint16 RobotServer::reservePort()
{
    if (m_reservation.bind(m_options.address, m_options.port, QAbstractSocket::DontShareAddress))
        return m_reservation.localPort();
    m_error = m_reservation.errorString();
    return 0;
}

// Out of descriptors, QTcpServer (seen in 5.15.8) can spin without saying so: it must not come to that.
bool RobotServer::hasFilesEnough()
{
    constexpr int otherFiles = 24;
    const qint64 needed = qint64(m_options.maxConnections) + otherFiles;
    if (needed <= openFileLimit())
        return true;
    m_error = QStringLiteral("%1 connections need a limit of %2 open files, and it is %3")
                  .arg(m_options.maxConnections)
                  .arg(needed)
                  .arg(openFileLimit());
    return false;
}

quint16 RobotServer::listen()
{
    if (!hasFilesEnough())
        return 0;
    if (!m_server.listen(m_options.address, m_options.port)) {
        m_error = m_server.errorString();
        return 0;
    }
    if (m_options.reception == Reception::NeverAccept)
        m_server.pauseAccepting();
    return m_server.serverPort();
}

void RobotServer::acceptPending()
{
    while (QTcpSocket* const socket = m_server.nextPendingConnection())
        admit(socket);
}

void RobotServer::admit(QTcpSocket* socket)
{
    const QString peer = peerName(*socket);
    const QString reason = whyNotAdmitted(*socket);
    if (!reason.isEmpty()) {
        socket->abort();
        socket->deleteLater();
        Q_EMIT connectionDropped({QDateTime::currentDateTimeUtc(), peer, reason});
        return;
    }
    auto* const connection = new RobotConnection(socket, {peerAddress(*socket), peer}, m_options, this);
    m_connections.push_back(connection);
    connect(connection, &RobotConnection::requestReceived, this, &RobotServer::onRequest);
    connect(connection, &RobotConnection::dropped, this, &RobotServer::connectionDropped);
    connect(connection, &RobotConnection::closed, this, [this, connection] { onClosed(connection); });
}

// Without file descriptors, for one, nobody can be accepted until others have gone; those who wait stay in
// the queue.
void RobotServer::onAcceptError()
{
    constexpr int pauseMs = 1000;
    m_resumeTimer.start(pauseMs);
    const QString reason = QStringLiteral("a connection cannot be accepted: %1").arg(m_server.errorString());
    Q_EMIT connectionDropped({QDateTime::currentDateTimeUtc(), QStringLiteral("-"), reason});
}

QString RobotServer::whyNotAdmitted(const QTcpSocket& socket) const
{
    if (m_options.reception == Reception::HangUp)
        return QStringLiteral("every connection is hung up");
    if (!isAllowed(socket))
        return QStringLiteral("the peer's address is not allowed");
    if (m_stopping)
        return QStringLiteral("the server is ending");
    if (connectionCount() >= m_options.maxConnections)
        return QStringLiteral("%1 connections are open").arg(connectionCount());
    if (const int open = connectionsOf(peerAddress(socket)); open >= m_options.maxPerPeer)
        return QStringLiteral("%1 connections of this peer are open").arg(open);
    return {};
}

int RobotServer::connectionsOf(const QHostAddress& peer) const
{
    constexpr int networkBits = 64;
    const bool isIPv6 = peer.protocol() == QAbstractSocket::IPv6Protocol;
    return static_cast<int>(
        std::count_if(m_connections.begin(), m_connections.end(), [&](const RobotConnection* connection) {
            const QHostAddress& other = connection->peerAddress();
            return isIPv6 ? other.isInSubnet(peer, networkBits) : other == peer;
        }));
}

bool RobotServer::isAllowed(const QTcpSocket& socket) const
{
    const QHostAddress address = peerAddress(socket);
    const auto& allowed = m_options.allowedPeers;
    return allowed.empty() || std::any_of(allowed.begin(), allowed.end(),
                                          [&](const Subnet& subnet) { return address.isInSubnet(subnet); });
}

void RobotServer::onRequest(const ReceivedRequest& request)
{
    ++m_requests;
    Q_EMIT requestReceived(request);
    if (m_options.maxRequests > 0 && m_requests == m_options.maxRequests)
        stop();
}

void RobotServer::stop()
{
    if (m_stopping)
        return;
    m_stopping = true;
    m_server.close();
    m_resumeTimer.stop();
    m_reservation.abort();
    for (RobotConnection* connection : m_connections)
        connection->finish();
    QMetaObject::invokeMethod(this, &RobotServer::finishWhenAlone, Qt::QueuedConnection);
}

void RobotServer::stopAtOnce()
{
    const auto connections = m_connections; // one that ends is taken out of the list
    for (RobotConnection* connection : connections)
        connection->dropReplies();
    stop();
}

void RobotServer::onClosed(RobotConnection* connection)
{
    m_connections.erase(std::remove(m_connections.begin(), m_connections.end(), connection),
                        m_connections.end());
    connection->deleteLater();
    if (m_resumeTimer.isActive())
        m_resumeTimer.start(0);
    finishWhenAlone();
}

void RobotServer::finishWhenAlone()
{
    if (!m_stopping || m_finished || !m_connections.empty())
        return;
    m_finished = true;
    Q_EMIT finished();
}

} // namespace KOZAV::Robot
