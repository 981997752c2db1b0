#pragma once

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QThread>

#include <memory>

class QTcpServer;
class QTcpSocket;

namespace KOZAV::Test {

/// A robot server on 127.0.0.1 with a thread of its own, since a request blocks the GUI thread. Records what
/// arrives on each connection.
class RobotPeer final
{
public:
    enum class Mode {
        Answer,     ///< answers as soon as anything has arrived
        AnswerLate, ///< answers some time after a client has stopped waiting
        Silent,     ///< reads and never answers
        AcceptLate, ///< listens, takes connections only after startAccepting()
        CloseAtOnce ///< closes a connection as soon as anything has arrived
    };

    explicit RobotPeer(Mode mode);
    ~RobotPeer();
    RobotPeer(const RobotPeer&) = delete;
    RobotPeer& operator=(const RobotPeer&) = delete;

    [[nodiscard]] quint16 port() const { return m_port; }
    /// A port of 127.0.0.1 on which nobody listens.
    [[nodiscard]] static quint16 closedPort();

    void startAccepting();
    /// Connects to the peer itself and waits until the peer has seen it: whoever connected before is then
    /// known too.
    /// @return false when it was not seen in time
    [[nodiscard]] bool barrier();

    /// The bytes of each connection so far, in the order of connecting.
    [[nodiscard]] QList<QByteArray> received() const;
    [[nodiscard]] int connectionCount() const;
    [[nodiscard]] int disconnectionCount() const;
    /// Answers that have been written.
    [[nodiscard]] int answerCount() const;

private:
    void listen();
    void accept();
    void greet(QTcpSocket* socket);
    void onBytes(QTcpSocket* socket, int connection);
    void onDisconnected();
    void respond(QTcpSocket* socket);

    const Mode m_mode;
    quint16 m_port = 0;
    QThread m_thread;
    QObject m_context; ///< lives in the peer's thread
    std::unique_ptr<QTcpServer> m_server;
    mutable QMutex m_mutex;
    QList<QByteArray> m_received;
    int m_disconnections = 0;
    int m_answers = 0;
};

} // namespace KOZAV::Test
