#pragma once

#include "robot_server/JsonSplitter.h"
#include "robot_server/RobotServer.h"

#include <QByteArray>
#include <QHostAddress>
#include <QObject>
#include <QTimer>

#include <deque>

class QTcpSocket;

namespace KOZAV::Robot {

/// Who is on the other side.
struct RobotPeerName
{
    QHostAddress address;
    QString name; ///< by which events call it
};

/// One peer: reads its documents and answers them, within the limits of the options. What it holds in memory
/// is bounded whatever the peer sends and however little it reads: while many answers wait nothing is read.
class RobotConnection final : public QObject
{
    Q_OBJECT
public:
    /// Takes over a connected socket.
    RobotConnection(QTcpSocket* socket, const RobotPeerName& peer, const RobotServerOptions& options,
                    QObject* parent);

    [[nodiscard]] const QHostAddress& peerAddress() const { return m_peerAddress; }

    /// Takes no more documents, answers those that it took, and closes.
    void finish();
    /// Leaves out the answers whose time has not come yet.
    void dropReplies();

Q_SIGNALS:
    void requestReceived(const KOZAV::Robot::ReceivedRequest& request);
    void dropped(const KOZAV::Robot::DroppedConnection& connection);
    /// The last signal.
    void closed();

private:
    enum class State { Open, Finishing, Closing };

    void readPacket();
    void takePacket(const QByteArray& packet);
    [[nodiscard]] bool isHeldUp() const;
    [[nodiscard]] bool isCongested() const;
    void takeDocuments();
    void takeDocument(const SplitDocument& document);
    void proceed();
    void restartTimers(bool documentsCame);
    void idleTimeOut();
    void documentTimeOut();
    void onBytesWritten();
    void answer(const CheckedRequest& check);
    void sendNextReply();
    void closeWhenAnswered();
    void drop(const QString& reason);
    void close();
    void onDisconnected();

    const RobotServerOptions m_options;
    QTcpSocket* const m_socket;
    const QHostAddress m_peerAddress;
    const QString m_peer;
    JsonSplitter m_splitter;
    std::deque<SplitDocument> m_documents; ///< of the last packet, still to be taken
    std::deque<QByteArray> m_replies;      ///< that wait for their time
    QTimer m_idleTimer;                    ///< when closing: the time that is left to write what is pending
    QTimer m_documentTimer;
    State m_state = State::Open;
};

} // namespace KOZAV::Robot
