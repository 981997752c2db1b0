#pragma once

#include <QTcpServer>
#include <QThread>

#include <array>
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
    enum class Loss {
        Connection,     ///< with the piece goes its connection
        AllConnections, ///< every connection, and new ones are refused
        Silence         ///< nothing is passed on any more, on any connection, and none is closed
    };
    /// Loses the nth such piece from now on, and what is said with it.
    void lose(Piece piece, int nth, Loss loss = Loss::Connection);
    /// Whether that has happened.
    [[nodiscard]] bool hasLost() const { return m_nth == 0; }
    /// Passes everything on again; connections that were silent are closed.
    void loseNothing();
    /// How many such pieces there have been.
    [[nodiscard]] int count(Piece piece) const { return m_counts[static_cast<size_t>(piece)]; }

private:
    static constexpr int never = -1;

    void join(QTcpSocket* client);
    void closeAll();
    void passOn(Piece piece, QTcpSocket* from, QTcpSocket* to);

    quint16 m_serverPort;
    quint16 m_port = 0;
    QThread m_thread;
    QTcpServer m_listener;
    std::atomic<Piece> m_piece{Piece::Request};
    std::atomic<Loss> m_loss{Loss::Connection};
    std::atomic<bool> m_silent{false};
    std::array<std::atomic<int>, 2> m_counts{};
    std::atomic<int> m_nth{never}; ///< how many more such pieces until the one that is lost; 0: it is
};

} // namespace KOZAV::Test
