#pragma once

#include "robot_server/JsonSplitter.h"

#include <QByteArray>
#include <QHostAddress>
#include <QPair>

#include <optional>
#include <vector>

namespace KOZAV::Robot {

/// An address with the length of its network's prefix, as QHostAddress::parseSubnet() gives it.
using Subnet = QPair<QHostAddress, int>;

/// What the server does with those who connect.
enum class Reception {
    Serve,
    Refuse,     ///< holds the port without listening on it: a connection is refused
    HangUp,     ///< accepts a connection and closes it at once
    NeverAccept ///< listens and accepts nobody: a connection stands, and nothing is read from it
};

struct RobotServerOptions
{
    QHostAddress address{QHostAddress::LocalHost};
    quint16 port = 0;                 ///< 0: any free one
    std::vector<Subnet> allowedPeers; ///< empty: whoever can reach the address
    Reception reception = Reception::Serve;

    std::optional<QByteArray>
        reply;            ///< sent as it stands after each document; without one the server's own answer
    bool silent = false;  ///< reads and never answers
    int replyDelayMs = 0; ///< from a document to its answer
    int maxRequests = 0;  ///< documents to take before ending; 0: no end

    int maxConnections = 32;
    JsonLimits json;
    int idleTimeoutMs =
        300'000; ///< without a byte of a document; longer than a person pauses between requests
    int documentTimeoutMs = 10'000; ///< from a document's first byte to its last
};

} // namespace KOZAV::Robot
