#pragma once

#include "robot/RobotRequest.h"
#include "robot_server/JsonSplitter.h"

#include <QByteArray>
#include <QDateTime>
#include <QHostAddress>
#include <QJsonDocument>
#include <QMetaType>
#include <QObject>
#include <QPair>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <optional>
#include <vector>

namespace KOZAV::Robot {

class RobotConnection;

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

    /// Sent as it stands after each document; without one the server's own answer.
    std::optional<QByteArray> reply;
    bool silent = false;  ///< reads and never answers
    int replyDelayMs = 0; ///< from a document to its answer
    int maxRequests = 0;  ///< documents to take before ending; 0: no end

    int maxConnections = 32;
    /// From one address, or for IPv6 from one /64 network, which is one site: nobody alone takes all places.
    int maxPerPeer = 16;
    JsonLimits json;
    /// Without a byte of a document; longer than a person pauses between requests.
    int idleTimeoutMs = 300'000;
    int documentTimeoutMs = 10'000; ///< from a document's first byte to its last
};

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

/// The CAM robot's stand-in: takes the requests of any number of peers up to the limit, and processes no job.
/// Lives in the thread of its event loop and never blocks it.
class RobotServer final : public QObject
{
    Q_OBJECT
public:
    explicit RobotServer(QObject* parent = nullptr);

    /// Starts; a server is started once.
    /// @return the port in use; 0 where that is not possible, and errorString() says why
    [[nodiscard]] quint16 start(const RobotServerOptions& options);
    /// Takes nobody and nothing more, answers what it took, closes; finished() follows.
    void stop();
    /// As stop(), but leaves out the answers whose time has not come yet: ends within seconds.
    void stopAtOnce();

    [[nodiscard]] QString errorString() const { return m_error; }
    [[nodiscard]] int connectionCount() const { return static_cast<int>(m_connections.size()); }

Q_SIGNALS:
    /// A document has come, valid or not; emitted before it is answered.
    void requestReceived(const KOZAV::Robot::ReceivedRequest& request);
    void connectionDropped(const KOZAV::Robot::DroppedConnection& connection);
    /// The last connection has ended after stop() or after the last request that was to be taken.
    void finished();

private:
    quint16 reservePort();
    quint16 listen();
    bool hasFilesEnough();
    void acceptPending();
    void admit(QTcpSocket* socket);
    void onAcceptError();
    [[nodiscard]] QString whyNotAdmitted(const QTcpSocket& socket) const;
    [[nodiscard]] bool isAllowed(const QTcpSocket& socket) const;
    [[nodiscard]] int connectionsOf(const QHostAddress& peer) const;
    void onRequest(const ReceivedRequest& request);
    void onClosed(RobotConnection* connection);
    void finishWhenAlone();

    RobotServerOptions m_options;
    // Children, so that they go along to another thread.
    QTcpServer m_server{this};
    QTimer m_resumeTimer{this};
    QTcpSocket m_reservation{this};              ///< holds the port that is not listened on
    std::vector<RobotConnection*> m_connections; ///< children
    QString m_error;
    int m_requests = 0;
    bool m_stopping = false;
    bool m_finished = false;
};

} // namespace KOZAV::Robot

Q_DECLARE_METATYPE(KOZAV::Robot::ReceivedRequest)
Q_DECLARE_METATYPE(KOZAV::Robot::DroppedConnection)
