#include "tests/support/ScriptedRobot.h"

#include <QHostAddress>
#include <QMutexLocker>
#include <QTcpServer>
#include <QTcpSocket>

#include <sys/socket.h>

namespace KOZAV::Test {

class ScriptedRobot::Server final : public QTcpServer
{
public:
    Server(const QByteArray& answer, After after, Pace pace)
        : m_answer(answer)
        , m_after(after)
        , m_pace(pace)
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* const socket = nextPendingConnection())
                greet(socket);
        });
    }

    [[nodiscard]] QByteArray received() const
    {
        const QMutexLocker locker(&m_mutex);
        return m_received;
    }
    [[nodiscard]] int connections() const
    {
        const QMutexLocker locker(&m_mutex);
        return m_connections;
    }

private:
    void greet(QTcpSocket* socket)
    {
        {
            const QMutexLocker locker(&m_mutex);
            ++m_connections;
        }
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { take(socket); });
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        take(socket);
    }

    void take(QTcpSocket* socket)
    {
        const QByteArray bytes = socket->readAll();
        {
            const QMutexLocker locker(&m_mutex);
            m_received += bytes;
        }
        QByteArray all = socket->property("all").toByteArray() + bytes;
        socket->setProperty("all", all);
        if (bytes.isEmpty() || all.count('{') != all.count('}'))
            return;
        answer(*socket);
    }

    void answer(QTcpSocket& socket)
    {
        const int piece = m_pace == Pace::AtOnce ? m_answer.size() : 1;
        for (int sent = 0; sent < m_answer.size(); sent += piece) {
            socket.write(m_answer.mid(sent, piece));
            socket.flush();
        }
        if (m_after == After::Close)
            socket.disconnectFromHost();
        if (m_after == After::Reset)
            reset(socket);
    }

    /// What was written goes out first; only then is the connection dropped.
    static void reset(QTcpSocket& socket)
    {
        const linger dropAtOnce{1, 0};
        ::setsockopt(static_cast<int>(socket.socketDescriptor()), SOL_SOCKET, SO_LINGER, &dropAtOnce,
                     sizeof dropAtOnce);
        socket.abort();
    }

    const QByteArray m_answer;
    const After m_after;
    const Pace m_pace;
    mutable QMutex m_mutex;
    QByteArray m_received;
    int m_connections = 0;
};

ScriptedRobot::ScriptedRobot(const QByteArray& answer, After after, Pace pace)
    : m_server(std::make_unique<Server>(answer, after, pace))
{
    m_server->moveToThread(&m_thread);
    m_thread.start();
    QMetaObject::invokeMethod(
        m_server.get(),
        [this] {
            if (!m_server->listen(QHostAddress::LocalHost, 0))
                qFatal("The scripted robot cannot listen: %s", qPrintable(m_server->errorString()));
            m_port = m_server->serverPort();
        },
        Qt::BlockingQueuedConnection);
}

ScriptedRobot::~ScriptedRobot()
{
    QMetaObject::invokeMethod(
        m_server.get(), [this] { m_server.reset(); }, Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

quint16 ScriptedRobot::closedPort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost, 0);
    return server.serverPort();
}

QByteArray ScriptedRobot::received() const
{
    return m_server->received();
}

int ScriptedRobot::connectionCount() const
{
    return m_server->connections();
}

} // namespace KOZAV::Test
