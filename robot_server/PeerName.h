#pragma once

#include <QHostAddress>
#include <QString>

class QTcpSocket;

namespace KOZAV::Robot {

/// The peer's address; an IPv4 peer of a socket for both families has its IPv4 address.
[[nodiscard]] QHostAddress peerAddress(const QTcpSocket& socket);

/// address:port, with an IPv6 address in brackets.
[[nodiscard]] QString peerName(const QTcpSocket& socket);

} // namespace KOZAV::Robot
