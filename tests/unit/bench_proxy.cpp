#include "bench/DelayingProxy.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <memory>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace KOZAV::Bench;
using namespace std::chrono_literals;

namespace {

/// A server that the tests speak for, and a client that is joined to it through a proxy.
struct Ends
{
    explicit Ends(std::chrono::microseconds delay)
    {
        if (!listener.listen(QHostAddress::LocalHost))
            qFatal("%s", qPrintable(listener.errorString()));
        proxy = std::make_unique<DelayingProxy>(0, "127.0.0.1", std::to_string(listener.serverPort()), delay);
        client.connectToHost(QHostAddress(QHostAddress::LocalHost), proxy->port());
        if (!client.waitForConnected() || !listener.waitForNewConnection(30'000))
            qFatal("no connection goes through the proxy");
        server.reset(listener.nextPendingConnection());
    }

    QTcpServer listener;
    std::unique_ptr<DelayingProxy> proxy;
    QTcpSocket client;
    std::unique_ptr<QTcpSocket> server;
};

/// Sends from one to the other. @return what has come, as much as was sent or what came before the end
QByteArray carried(QTcpSocket& from, QTcpSocket& to, const QByteArray& bytes)
{
    from.write(bytes);
    while (from.bytesToWrite() > 0 && from.waitForBytesWritten()) {
    }
    QByteArray found;
    while (found.size() < bytes.size() && (to.bytesAvailable() > 0 || to.waitForReadyRead()))
        found += to.readAll();
    return found;
}

/// A blocking socket of the system's.
class PlainSocket final
{
public:
    explicit PlainSocket(int number)
        : m_number(number)
    {
        const timeval patience{30, 0};
        setsockopt(m_number, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    ~PlainSocket() { close(m_number); }
    Q_DISABLE_COPY(PlainSocket)

    [[nodiscard]] int number() const { return m_number; }
    [[nodiscard]] bool connectTo(quint16 port) const
    {
        const sockaddr_in address = loopback(port);
        return connect(m_number, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    /// @return the port
    [[nodiscard]] quint16 listenAnywhere() const
    {
        sockaddr_in address = loopback(0);
        socklen_t length = sizeof address;
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        if (bind(m_number, any, length) != 0 || listen(m_number, 1) != 0 ||
            getsockname(m_number, any, &length) != 0)
            qFatal("the test cannot listen");
        return ntohs(address.sin_port);
    }
    [[nodiscard]] bool say(const QByteArray& bytes) const
    {
        return send(m_number, bytes.constData(), static_cast<std::size_t>(bytes.size()), MSG_NOSIGNAL) ==
               bytes.size();
    }
    [[nodiscard]] QByteArray hearToTheEnd() const
    {
        QByteArray heard;
        char piece[100];
        for (ssize_t length; (length = recv(m_number, piece, sizeof piece, 0)) != 0;) {
            if (length < 0)
                return "nothing more came";
            heard.append(piece, static_cast<int>(length));
        }
        return heard;
    }

private:
    static sockaddr_in loopback(quint16 port)
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }

    int m_number;
};

bool hasEnded(QTcpSocket& socket)
{
    return socket.state() == QTcpSocket::UnconnectedState || socket.waitForDisconnected();
}

} // namespace

class BenchProxy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void countsTurnsOfTheClient();
    void countsConnectionsByThemselves();
    void delaysEachWay();
    void carriesMuchBothWays();
    void aClosedHalfLeavesTheOther();
    void aLostConnectionIsLostForTheOther();
    void anAbsentServerEndsTheConnection();
};

void BenchProxy::countsTurnsOfTheClient()
{
    Ends ends(0us);
    for (int turn = 0; turn < 3; ++turn) {
        QCOMPARE(carried(ends.client, *ends.server, "question"), QByteArray("question"));
        // A request in two pieces is one turn.
        QCOMPARE(carried(ends.client, *ends.server, "more"), QByteArray("more"));
        QCOMPARE(carried(*ends.server, ends.client, "answer"), QByteArray("answer"));
    }
    const Traffic traffic = ends.proxy->traffic();
    QCOMPARE(traffic.exchanges, std::uint64_t(3));
    QCOMPARE(traffic.toServer, std::uint64_t(36));
    QCOMPARE(traffic.toClient, std::uint64_t(18));
}

void BenchProxy::countsConnectionsByThemselves()
{
    Ends ends(0us);
    // The server speaks first: that is no turn of the client.
    QCOMPARE(carried(*ends.server, ends.client, "greeting"), QByteArray("greeting"));
    QTcpSocket second;
    second.connectToHost(QHostAddress(QHostAddress::LocalHost), ends.proxy->port());
    QVERIFY(second.waitForConnected() && ends.listener.waitForNewConnection(30'000));
    const std::unique_ptr<QTcpSocket> server(ends.listener.nextPendingConnection());
    QCOMPARE(carried(second, *server, "one"), QByteArray("one"));

    const QJsonObject report =
        QJsonDocument::fromJson(QByteArray::fromStdString(ends.proxy->report())).object();
    QCOMPARE(report[QStringLiteral("exchanges")].toInt(), 1);
    const QJsonArray connections = report[QStringLiteral("connections")].toArray();
    QCOMPARE(connections.size(), 2);
    QCOMPARE(connections[0].toObject()[QStringLiteral("exchanges")].toInt(), 0);
    QCOMPARE(connections[0].toObject()[QStringLiteral("to_client")].toInt(), 8);
    QCOMPARE(connections[1].toObject()[QStringLiteral("to_server")].toInt(), 3);
}

void BenchProxy::delaysEachWay()
{
    constexpr auto delay = 30ms;
    Ends ends(delay);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(carried(ends.client, *ends.server, "question"), QByteArray("question"));
    // Never sooner; how much later is the machine's.
    QVERIFY(timer.elapsed() >= delay.count());
    QCOMPARE(carried(*ends.server, ends.client, "answer"), QByteArray("answer"));
    QVERIFY(timer.elapsed() >= 2 * delay.count());
}

void BenchProxy::carriesMuchBothWays()
{
    Ends ends(1ms);
    QByteArray much(5'000'000, '\0');
    for (int i = 0; i < much.size(); ++i)
        much[i] = static_cast<char>(i % 251);
    QCOMPARE(carried(ends.client, *ends.server, much), much);
    QCOMPARE(carried(*ends.server, ends.client, much), much);
    QCOMPARE(ends.proxy->traffic().toClient, std::uint64_t(much.size()));
}

void BenchProxy::aClosedHalfLeavesTheOther()
{
    // A QTcpSocket takes the end of what the other side sends for the end of it all.
    const PlainSocket listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const DelayingProxy proxy(0, "127.0.0.1", std::to_string(listener.listenAnywhere()), 1ms);
    const PlainSocket client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    QVERIFY(client.connectTo(proxy.port()));
    const PlainSocket server(accept(listener.number(), nullptr, nullptr));

    QVERIFY(client.say("last words"));
    QCOMPARE(shutdown(client.number(), SHUT_WR), 0);
    QCOMPARE(server.hearToTheEnd(), QByteArray("last words"));
    QVERIFY(server.say("the answer"));
    QCOMPARE(shutdown(server.number(), SHUT_WR), 0);
    QCOMPARE(client.hearToTheEnd(), QByteArray("the answer"));
    QCOMPARE(proxy.traffic().exchanges, std::uint64_t(1));
}

void BenchProxy::aLostConnectionIsLostForTheOther()
{
    Ends ends(1ms);
    QCOMPARE(carried(ends.client, *ends.server, "question"), QByteArray("question"));
    ends.server->abort();
    QVERIFY(hasEnded(ends.client));
    QCOMPARE(ends.proxy->connections().size(), std::size_t(1));
}

void BenchProxy::anAbsentServerEndsTheConnection()
{
    QTcpServer gone;
    QVERIFY(gone.listen(QHostAddress::LocalHost));
    const std::string port = std::to_string(gone.serverPort());
    gone.close();
    const DelayingProxy proxy(0, "127.0.0.1", port, 0us);
    QTcpSocket client;
    client.connectToHost(QHostAddress(QHostAddress::LocalHost), proxy.port());
    QVERIFY(client.waitForConnected());
    QVERIFY(hasEnded(client));
}

ZAV_REGISTER_TEST(bench_proxy, BenchProxy, QCoreApplication)

#include "bench_proxy.moc"
