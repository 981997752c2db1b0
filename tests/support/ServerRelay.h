#pragma once

#include <QTcpServer>
#include <QThread>

#include <atomic>

class QTcpSocket;

namespace KOZAV::Test {

/// Stands between this program and a server of this machine, passes on what each sends, and on order loses a
/// piece of it and the connection with it. Works on a thread of its own, so that the program may wait.
class ServerRelay final
{
public:
    explicit ServerRelay(quint16 serverPort);
    ~ServerRelay();
    Q_DISABLE_COPY(ServerRelay)

    [[nodiscard]] quint16 port() const { return m_port; }

    enum class Piece {
        Request, ///< from the program: the server never sees it
        Answer   ///< from the server: what it answers to has been done
    };
    /// Loses the nth such piece from now on, and its connection with it.
    void lose(Piece piece, int nth);
    /// Whether that has happened.
    [[nodiscard]] bool hasLost() const { return m_nth == 0; }
    /// Passes everything on again.
    void loseNothing() { m_nth = never; }

private:
    static constexpr int never = -1;

    void join(QTcpSocket* client);
    void passOn(Piece piece, QTcpSocket* from, QTcpSocket* to);

    quint16 m_serverPort;
    quint16 m_port = 0;
    QThread m_thread;
    QTcpServer m_listener;
    std::atomic<Piece> m_piece{Piece::Request};
    std::atomic<int> m_nth{never}; ///< how many more such pieces until the one that is lost; 0: it is
};

} // namespace KOZAV::Test
