#pragma once

#include <QByteArray>
#include <QTcpSocket>

namespace KOZAV::Test {

/// The document as a panel of the given kind sends it.
[[nodiscard]] QByteArray compactRequest(const QString& jobName, bool fromWeb = false);
[[nodiscard]] QByteArray indentedRequest(const QString& jobName, bool fromWeb = false);

/// A peer of a robot server on 127.0.0.1.
class RobotClient final
{
public:
    /// Connects; isConnected() tells whether that was possible.
    explicit RobotClient(quint16 port);

    void send(const QByteArray& bytes);
    /// Sends what is written and closes.
    void leave() { m_socket.disconnectFromHost(); }
    /// Reads nothing from now on but what fits into a small buffer.
    void stopReading() { m_socket.setReadBufferSize(1); }

    /// Everything that has been answered so far.
    [[nodiscard]] QByteArray answers();
    /// What has been answered since the last call.
    [[nodiscard]] QByteArray takeAnswers() { return m_socket.readAll(); }
    /// Waits for an answer without an event loop. @return what has come
    [[nodiscard]] QByteArray waitForAnswer();
    [[nodiscard]] bool isConnected() const { return m_socket.state() == QAbstractSocket::ConnectedState; }
    [[nodiscard]] QAbstractSocket::SocketError error() const { return m_socket.error(); }
    /// address:port, as the server names this peer.
    [[nodiscard]] QString name() const { return m_name; }

private:
    QTcpSocket m_socket;
    QString m_name;
    QByteArray m_answers;
};

} // namespace KOZAV::Test
