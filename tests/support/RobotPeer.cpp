#include "tests/support/RobotPeer.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QMutexLocker>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

namespace KOZAV::Test {

namespace {

constexpr int lateAnswerMs = 1500;
constexpr int barrierMs = 5000;

} // namespace

RobotPeer::RobotPeer(Mode mode)
    : m_mode(mode)
{
    m_context.moveToThread(&m_thread);
    m_thread.start();
    QMetaObject::invokeMethod(
        &m_context, [this] { listen(); }, Qt::BlockingQueuedConnection);
}

RobotPeer::~RobotPeer()
{
    QMetaObject::invokeMethod(
        &m_context, [this] { m_server.reset(); }, Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

quint16 RobotPeer::closedPort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost, 0);
    return server.serverPort();
}

void RobotPeer::startAccepting()
{
    QMetaObject::invokeMethod(
        &m_context, [this] { m_server->resumeAccepting(); }, Qt::BlockingQueuedConnection);
}

bool RobotPeer::barrier()
{
    const int before = connectionCount();
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), m_port);
    if (!socket.waitForConnected(barrierMs))
        return false;
    QElapsedTimer elapsed;
    elapsed.start();
    while (connectionCount() == before && elapsed.elapsed() < barrierMs)
        QThread::yieldCurrentThread();
    return connectionCount() > before;
}

QList<QByteArray> RobotPeer::received() const
{
    const QMutexLocker locker(&m_mutex);
    return m_received;
}

int RobotPeer::connectionCount() const
{
    const QMutexLocker locker(&m_mutex);
    return m_received.size();
}

int RobotPeer::disconnectionCount() const
{
    const QMutexLocker locker(&m_mutex);
    return m_disconnections;
}

int RobotPeer::answerCount() const
{
    const QMutexLocker locker(&m_mutex);
    return m_answers;
}

void RobotPeer::listen()
{
    m_server = std::make_unique<QTcpServer>();
    QObject::connect(m_server.get(), &QTcpServer::newConnection, &m_context, [this] { accept(); });
    if (!m_server->listen(QHostAddress::LocalHost, 0))
        qFatal("The robot peer cannot listen: %s", qPrintable(m_server->errorString()));
    m_port = m_server->serverPort();
    if (m_mode == Mode::AcceptLate)
        m_server->pauseAccepting();
}

void RobotPeer::accept()
{
    while (QTcpSocket* const socket = m_server->nextPendingConnection())
        greet(socket);
}

void RobotPeer::greet(QTcpSocket* socket)
{
    int connection = 0;
    {
        const QMutexLocker locker(&m_mutex);
        connection = m_received.size();
        m_received.append(QByteArray());
    }
    QObject::connect(socket, &QTcpSocket::readyRead, &m_context,
                     [this, socket, connection] { onBytes(socket, connection); });
    QObject::connect(socket, &QTcpSocket::disconnected, &m_context, [this] { onDisconnected(); });
    onBytes(socket, connection);
}

void RobotPeer::onBytes(QTcpSocket* socket, int connection)
{
    const QByteArray bytes = socket->readAll();
    if (bytes.isEmpty())
        return;
    {
        const QMutexLocker locker(&m_mutex);
        m_received[connection] += bytes;
    }
    respond(socket);
}

void RobotPeer::onDisconnected()
{
    const QMutexLocker locker(&m_mutex);
    ++m_disconnections;
}

void RobotPeer::respond(QTcpSocket* socket)
{
    const auto answer = [this, socket] {
        socket->write("{\"answer\":\"ok\"}");
        const QMutexLocker locker(&m_mutex);
        ++m_answers;
    };
    if (m_mode == Mode::Answer)
        answer();
    else if (m_mode == Mode::AnswerLate)
        QTimer::singleShot(lateAnswerMs, socket, answer);
    else if (m_mode == Mode::CloseAtOnce)
        socket->disconnectFromHost();
}

} // namespace KOZAV::Test
