#include "robot_server/PeerName.h"

#include <QTcpSocket>

namespace KOZAV::Robot {

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

} // namespace KOZAV::Robot
