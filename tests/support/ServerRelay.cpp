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

void ServerRelay::lose(Piece piece, int nth)
{
    m_nth = never;
    m_piece = piece;
    m_nth = nth;
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
    if (piece == m_piece && m_nth > 0 && --m_nth == 0) {
        from->abort();
        to->abort();
        return;
    }
    to->write(bytes);
}

} // namespace KOZAV::Test
