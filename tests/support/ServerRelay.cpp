#include "tests/support/ServerRelay.h"

#include <QTcpSocket>

namespace KOZAV::Test {

ServerRelay::ServerRelay(quint16 serverPort)
    : m_serverPort(serverPort)
{
    if (!m_listener.listen(QHostAddress::LocalHost))
        qFatal("the relay cannot listen: %s", qPrintable(m_listener.errorString()));
    m_port = m_listener.serverPort();
    QObject::connect(&m_listener, &QTcpServer::newConnection, &m_listener, [this] {
        while (QTcpSocket* client = m_listener.nextPendingConnection())
            join(client);
    });
    m_listener.moveToThread(&m_thread);
    m_thread.start();
}

ServerRelay::~ServerRelay()
{
    const auto end = [this, home = QThread::currentThread()] {
        m_listener.close();
        qDeleteAll(m_listener.findChildren<QTcpSocket*>(QString(), Qt::FindDirectChildrenOnly));
        m_listener.moveToThread(home);
    };
    QMetaObject::invokeMethod(&m_listener, end, Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

void ServerRelay::lose(Piece piece, int nth, Loss loss)
{
    m_nth = never;
    m_piece = piece;
    m_loss = loss;
    m_nth = nth;
}

void ServerRelay::loseNothing()
{
    m_nth = never;
    const auto mend = [this] {
        if (m_silent.exchange(false))
            closeAll();
        if (!m_listener.isListening() && !m_listener.listen(QHostAddress::LocalHost, m_port))
            qFatal("the relay cannot listen again: %s", qPrintable(m_listener.errorString()));
    };
    QMetaObject::invokeMethod(&m_listener, mend, Qt::BlockingQueuedConnection);
}

void ServerRelay::closeAll()
{
    for (auto* socket : m_listener.findChildren<QTcpSocket*>(QString(), Qt::FindDirectChildrenOnly))
        socket->abort();
}

void ServerRelay::join(QTcpSocket* client)
{
    auto* const server = new QTcpSocket(&m_listener);
    const auto tie = [this](Piece piece, QTcpSocket* from, QTcpSocket* to) {
        QObject::connect(from, &QTcpSocket::readyRead, to, [=] { passOn(piece, from, to); });
        QObject::connect(from, &QTcpSocket::disconnected, to, &QTcpSocket::disconnectFromHost);
        QObject::connect(from, &QTcpSocket::disconnected, from, &QObject::deleteLater);
    };
    tie(Piece::Request, client, server);
    tie(Piece::Answer, server, client);
    QObject::connect(server, &QTcpSocket::errorOccurred, client, &QTcpSocket::disconnectFromHost);
    server->connectToHost(QHostAddress(QHostAddress::LocalHost), m_serverPort);
}

void ServerRelay::passOn(Piece piece, QTcpSocket* from, QTcpSocket* to)
{
    const QByteArray bytes = from->readAll();
    ++m_counts[static_cast<size_t>(piece)];
    if (piece == m_piece && m_nth > 0 && --m_nth == 0) {
        m_silent = m_loss == Loss::Silence;
        if (m_loss == Loss::AllConnections) {
            m_listener.close();
            closeAll();
        } else if (m_loss == Loss::Connection) {
            from->abort();
            to->abort();
        }
        return;
    }
    if (!m_silent)
        to->write(bytes);
}

} // namespace KOZAV::Test
