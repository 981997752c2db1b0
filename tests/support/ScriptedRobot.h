#pragma once

#include <QByteArray>
#include <QMutex>
#include <QThread>

#include <memory>

namespace KOZAV::Test {

/// A robot on 127.0.0.1 that gives the same bytes as answer to everybody, whatever these are, with a thread
/// of its own: who asks may block.
class ScriptedRobot final
{
public:
    /// What it does with a connection when it has answered.
    enum class After {
        Stay,  ///< keeps it until the peer goes
        Close, ///< ends it
        Reset  ///< drops it, so that the peer is told of an error
    };
    enum class Pace { AtOnce, ByteByByte };

    /// @param answer  sent as soon as the last brace of a request has come; empty: nothing
    ScriptedRobot(const QByteArray& answer, After after, Pace pace = Pace::AtOnce);
    ~ScriptedRobot();
    ScriptedRobot(const ScriptedRobot&) = delete;
    ScriptedRobot& operator=(const ScriptedRobot&) = delete;

    [[nodiscard]] quint16 port() const { return m_port; }
    /// A port of 127.0.0.1 on which nobody listens.
    [[nodiscard]] static quint16 closedPort();
    /// All that has come, of all connections.
    [[nodiscard]] QByteArray received() const;
    [[nodiscard]] int connectionCount() const;

private:
    class Server;

    QThread m_thread;
    std::unique_ptr<Server> m_server; ///< lives in the thread
    quint16 m_port = 0;
};

} // namespace KOZAV::Test
