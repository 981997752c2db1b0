#include "robot_server/RobotServer.h"

#include "tests/support/RobotClient.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <memory>

#include <sys/resource.h>
#include <unistd.h>

using namespace KOZAV::Robot;
using KOZAV::Test::compactRequest;
using KOZAV::Test::RobotClient;

class RobotLimitsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();

    void connectionsBeyondTheLimitAreClosed();
    void connectionsOfOnePeerBeyondItsLimitAreClosed();
    void peerOfIPv6();
    void placeOfAnEndedConnectionIsFree();
    void peersWaitWhereNobodyCanBeAccepted();
    void connectionThatSendsNothing();
    void whiteSpaceKeepsNoConnection();
    void requestsKeepAConnection();
    void connectionWithAnAnswerToCome();
    void documentThatIsNeverWhole();
    void documentThatComesByteByByte();
    void documentsAreTimedOneByOne();
    void documentThatIsTooLong();
    void documentThatIsTooDeep();
    void largestDocumentIsTaken();
    void answersThatAreNotRead();
    void manyDocuments_data();
    void manyDocuments();
    void documentIsNotTimedWhileNothingIsRead();
    void requestsOfAPeerThatIsGoneAreTaken();
    void peersThatAreNotAllowed_data();
    void peersThatAreNotAllowed();

private:
    void start();
    [[nodiscard]] QString reason(int index) const;
    /// Sends a byte again and again until the connection is dropped.
    void trickle(RobotClient& client, const QByteArray& byte);

    RobotServerOptions m_options;
    std::unique_ptr<RobotServer> m_server;
    std::unique_ptr<QSignalSpy> m_requests;
    std::unique_ptr<QSignalSpy> m_dropped;
    quint16 m_port = 0;
};

namespace {

/// As long as it lives, this process gets no further descriptor.
class NoFreeDescriptors final
{
public:
    NoFreeDescriptors()
    {
        ::getrlimit(RLIMIT_NOFILE, &m_usual);
        const int lowestFree = ::dup(STDIN_FILENO);
        ::close(lowestFree);
        rlimit exhausted = m_usual;
        exhausted.rlim_cur = static_cast<rlim_t>(lowestFree);
        ::setrlimit(RLIMIT_NOFILE, &exhausted);
    }
    ~NoFreeDescriptors() { ::setrlimit(RLIMIT_NOFILE, &m_usual); }
    NoFreeDescriptors(const NoFreeDescriptors&) = delete;
    NoFreeDescriptors& operator=(const NoFreeDescriptors&) = delete;

private:
    rlimit m_usual{};
};

} // namespace

void RobotLimitsTest::init()
{
    m_options = RobotServerOptions();
    m_server = std::make_unique<RobotServer>();
    m_requests = std::make_unique<QSignalSpy>(m_server.get(), &RobotServer::requestReceived);
    m_dropped = std::make_unique<QSignalSpy>(m_server.get(), &RobotServer::connectionDropped);
}

void RobotLimitsTest::start()
{
    m_port = m_server->start(m_options);
    QVERIFY2(m_port != 0, qPrintable(m_server->errorString()));
}

QString RobotLimitsTest::reason(int index) const
{
    return m_dropped->value(index).value(0).value<DroppedConnection>().reason;
}

void RobotLimitsTest::trickle(RobotClient& client, const QByteArray& byte)
{
    QTimer timer;
    connect(&timer, &QTimer::timeout, &timer, [&] { client.send(byte); });
    timer.start(2);
    QTRY_COMPARE(m_dropped->count(), 1);
}

void RobotLimitsTest::connectionsBeyondTheLimitAreClosed()
{
    m_options.maxConnections = 3;
    start();
    RobotClient first(m_port);
    RobotClient second(m_port);
    RobotClient third(m_port);
    QTRY_COMPARE(m_server->connectionCount(), 3);
    RobotClient fourth(m_port);
    QTRY_COMPARE(m_dropped->count(), 1);
    QCOMPARE(reason(0), QStringLiteral("3 connections are open"));
    QTRY_VERIFY(!fourth.isConnected());
    first.send(compactRequest(QStringLiteral("job")));
    QTRY_COMPARE(m_requests->count(), 1);
    QVERIFY(first.isConnected() && second.isConnected() && third.isConnected());
}

void RobotLimitsTest::connectionsOfOnePeerBeyondItsLimitAreClosed()
{
    m_options.address = QHostAddress::AnyIPv4;
    m_options.maxPerPeer = 2;
    start();
    const RobotClient first(m_port);
    auto second = std::make_unique<RobotClient>(m_port);
    QTRY_COMPARE(m_server->connectionCount(), 2);
    const RobotClient third(m_port);
    QTRY_COMPARE(m_dropped->count(), 1);
    QCOMPARE(reason(0), QStringLiteral("2 connections of this peer are open"));
    QTRY_VERIFY(!third.isConnected());

    // Another address of this machine is another peer.
    QTcpSocket other;
    QVERIFY(other.bind(QHostAddress(QStringLiteral("127.0.0.2"))));
    other.connectToHost(QHostAddress(QHostAddress::LocalHost), m_port);
    QTRY_COMPARE(m_server->connectionCount(), 3);

    second.reset();
    QTRY_COMPARE(m_server->connectionCount(), 2);
    RobotClient fourth(m_port);
    fourth.send(compactRequest(QStringLiteral("job")));
    QTRY_COMPARE(m_requests->count(), 1);
    QCOMPARE(m_dropped->count(), 1);
}

void RobotLimitsTest::peerOfIPv6()
{
    m_options.address = QHostAddress::LocalHostIPv6;
    m_options.maxPerPeer = 1;
    if (m_server->start(m_options) == 0)
        QSKIP("This system has no IPv6");
    m_port = m_server->findChild<QTcpServer*>()->serverPort();
    QTcpSocket first;
    first.connectToHost(QHostAddress(QHostAddress::LocalHostIPv6), m_port);
    QTRY_COMPARE(m_server->connectionCount(), 1);
    QTcpSocket second;
    second.connectToHost(QHostAddress(QHostAddress::LocalHostIPv6), m_port);
    QTRY_COMPARE(m_dropped->count(), 1);
    QCOMPARE(reason(0), QStringLiteral("1 connections of this peer are open"));
}

void RobotLimitsTest::placeOfAnEndedConnectionIsFree()
{
    m_options.maxConnections = 1;
    start();
    for (int round = 1; round <= 3; ++round) {
        RobotClient client(m_port);
        client.send(compactRequest(QStringLiteral("job")));
        QTRY_COMPARE(m_requests->count(), round);
        client.leave();
        QTRY_COMPARE(m_server->connectionCount(), 0);
    }
    QCOMPARE(m_dropped->count(), 0);
}

void RobotLimitsTest::peersWaitWhereNobodyCanBeAccepted()
{
#ifdef __SANITIZE_ADDRESS__
    QSKIP("The check of object types, which is on in the same builds, needs free descriptors itself");
#endif
    start();
    RobotClient client(m_port);
    client.send(compactRequest(QStringLiteral("patient")));
    {
        const NoFreeDescriptors exhausted;
        QTRY_VERIFY(!m_dropped->isEmpty());
    }
    QCOMPARE(reason(0), QStringLiteral("a connection cannot be accepted: Out of resources"));
    QTRY_COMPARE(client.answers(), QByteArray("{\"accepted\":true}\n"));
}

void RobotLimitsTest::connectionThatSendsNothing()
{
    m_options.idleTimeoutMs = 40;
    start();
    const RobotClient client(m_port);
    QTRY_COMPARE(m_dropped->count(), 1);
    QCOMPARE(reason(0), QStringLiteral("nothing came for 40 ms"));
    QTRY_VERIFY(!client.isConnected());
}

void RobotLimitsTest::whiteSpaceKeepsNoConnection()
{
    m_options.idleTimeoutMs = 60;
    start();
    RobotClient client(m_port);
    client.send(compactRequest(QStringLiteral("job")));
    trickle(client, " ");
    QCOMPARE(reason(0), QStringLiteral("nothing came for 60 ms"));
    QCOMPARE(m_requests->count(), 1);
}

void RobotLimitsTest::requestsKeepAConnection()
{
    m_options.idleTimeoutMs = 1500;
    start();
    RobotClient client(m_port);
    QElapsedTimer elapsed;
    elapsed.start();
    for (int sent = 1; elapsed.elapsed() < m_options.idleTimeoutMs + 300; ++sent) {
        client.send(compactRequest(QStringLiteral("job")));
        QTRY_COMPARE(m_requests->count(), sent);
    }
    QVERIFY(client.isConnected());
    QCOMPARE(m_dropped->count(), 0);
}

void RobotLimitsTest::connectionWithAnAnswerToCome()
{
    m_options.idleTimeoutMs = 500;
    m_options.replyDelayMs = 1300;
    start();
    RobotClient client(m_port);
    client.send(compactRequest(QStringLiteral("job")));
    QTRY_COMPARE(client.answers(), QByteArray("{\"accepted\":true}\n"));
    QTRY_COMPARE(m_dropped->count(), 1);
    QCOMPARE(reason(0), QStringLiteral("nothing came for 500 ms"));
}

void RobotLimitsTest::documentThatIsNeverWhole()
{
    m_options.documentTimeoutMs = 40;
    start();
    RobotClient client(m_port);
    client.send(compactRequest(QStringLiteral("whole")) + "{\"module\"");
    QTRY_COMPARE(m_dropped->count(), 1);
    QCOMPARE(reason(0), QStringLiteral("a document was not whole after 40 ms"));
    QCOMPARE(m_requests->count(), 1);
    QTRY_VERIFY(!client.isConnected());
}

void RobotLimitsTest::documentThatComesByteByByte()
{
    m_options.documentTimeoutMs = 60;
    start();
    RobotClient client(m_port);
    client.send("[\"");
    trickle(client, "a");
    QCOMPARE(reason(0), QStringLiteral("a document was not whole after 60 ms"));
}

void RobotLimitsTest::documentsAreTimedOneByOne()
{
    m_options.documentTimeoutMs = 1500;
    start();
    RobotClient client(m_port);
    const QByteArray bytes = compactRequest(QStringLiteral("job"));
    QElapsedTimer elapsed;
    elapsed.start();
    client.send(bytes.left(5));
    // Each packet ends one document and begins the next: at no time is the connection outside a document.
    for (int ended = 1; elapsed.elapsed() < m_options.documentTimeoutMs + 300; ++ended) {
        client.send(bytes.mid(5) + bytes.left(5));
        QTRY_COMPARE(m_requests->count(), ended);
    }
    QCOMPARE(m_dropped->count(), 0);
    QVERIFY(client.isConnected());
}

void RobotLimitsTest::documentThatIsTooLong()
{
    start();
    RobotClient client(m_port);
    client.send("[\"" + QByteArray(2 * 1024 * 1024, 'a'));
    QTRY_COMPARE(m_dropped->count(), 1);
    QCOMPARE(reason(0), QStringLiteral("byte 1048576: in a document that is too long"));
    QTRY_VERIFY(!client.isConnected());
}

void RobotLimitsTest::documentThatIsTooDeep()
{
    start();
    RobotClient client(m_port);
    client.send(QByteArray(1024 * 1024, '['));
    QTRY_COMPARE(m_dropped->count(), 1);
    QCOMPARE(reason(0), QStringLiteral("byte 32: nested too deeply"));
}

void RobotLimitsTest::largestDocumentIsTaken()
{
    start();
    RobotClient client(m_port);
    const int around = compactRequest(QString()).size();
    const QString jobName(1024 * 1024 - around, QLatin1Char('j'));
    client.send(compactRequest(jobName));
    QTRY_COMPARE(m_requests->count(), 1);
    const auto request = m_requests->first().first().value<ReceivedRequest>();
    QCOMPARE(request.bytes, 1024 * 1024);
    QCOMPARE(request.check.jobName, jobName);
    QVERIFY(request.check.valid());
}

void RobotLimitsTest::answersThatAreNotRead()
{
    m_options.reply = QByteArray(64 * 1024, 'r');
    m_options.idleTimeoutMs = 200;
    start();
    RobotClient client(m_port);
    client.stopReading();
    QTimer timer;
    connect(&timer, &QTimer::timeout, &timer, [&] { client.send("{}{}{}{}"); });
    timer.start(1);
    QTRY_COMPARE_WITH_TIMEOUT(m_dropped->count(), 1, 30'000);
    QCOMPARE(reason(0), QStringLiteral("no answer was read for 200 ms"));
    timer.stop();
    // The connection's end does not wait for the peer either.
    QTRY_COMPARE_WITH_TIMEOUT(m_server->connectionCount(), 0, 10'000);
}

void RobotLimitsTest::manyDocuments_data()
{
    QTest::addColumn<int>("documents");
    QTest::addColumn<int>("delay");
    QTest::addColumn<int>("replyBytes");
    QTest::newRow("delayed answers") << 10'000 << 1 << 1;
    QTest::newRow("short answers") << 20'000 << 0 << 50;
    QTest::newRow("long answers") << 500 << 0 << 100'000;
}

void RobotLimitsTest::manyDocuments()
{
    QFETCH(int, documents);
    QFETCH(int, delay);
    QFETCH(int, replyBytes);
    m_options.replyDelayMs = delay;
    m_options.reply = QByteArray(replyBytes, 'r');
    start();
    RobotClient client(m_port);
    client.send(QByteArray("{}").repeated(documents));
    const qint64 expected = qint64(documents) * replyBytes;
    qint64 answered = 0;
    QTRY_VERIFY_WITH_TIMEOUT((answered += client.takeAnswers().size()) == expected, 60'000);
    QCOMPARE(m_requests->count(), documents);
    QCOMPARE(m_dropped->count(), 0);
}

void RobotLimitsTest::documentIsNotTimedWhileNothingIsRead()
{
    m_options.documentTimeoutMs = 60;
    m_options.replyDelayMs = 250;
    m_options.maxConnections = 1;
    start();
    RobotClient client(m_port);
    // So many answers to come that the rest of the last document is not read before some of them have gone.
    const QByteArray last = compactRequest(QStringLiteral("last"));
    client.send(QByteArray("{}").repeated(300) + last.left(20));
    QTRY_COMPARE(m_requests->count(), 256);
    client.send(last.mid(20));
    QTRY_COMPARE(m_requests->count(), 301);
    QCOMPARE(m_dropped->count(), 0);
}

void RobotLimitsTest::requestsOfAPeerThatIsGoneAreTaken()
{
    m_options.replyDelayMs = 60'000;
    start();
    RobotClient client(m_port);
    client.send(QByteArray("{}").repeated(1000));
    QTRY_COMPARE(m_requests->count(), 256);
    client.leave();
    QTRY_VERIFY(!client.isConnected());
    RobotClient other(m_port);
    other.send("[]");
    QTRY_COMPARE(m_requests->count(), 1001);
    QCOMPARE(m_dropped->count(), 0);
}

void RobotLimitsTest::peersThatAreNotAllowed_data()
{
    QTest::addColumn<QString>("allowed");
    QTest::addColumn<bool>("taken");
    QTest::newRow("this address") << QStringLiteral("127.0.0.1") << true;
    QTest::newRow("its network") << QStringLiteral("127.0.0.0/8") << true;
    QTest::newRow("another address") << QStringLiteral("127.0.0.2") << false;
    QTest::newRow("another network") << QStringLiteral("10.0.0.0/8") << false;
}

void RobotLimitsTest::peersThatAreNotAllowed()
{
    QFETCH(QString, allowed);
    QFETCH(bool, taken);
    m_options.allowedPeers = {QHostAddress::parseSubnet(QStringLiteral("192.0.2.1")),
                              QHostAddress::parseSubnet(allowed)};
    start();
    RobotClient client(m_port);
    client.send(compactRequest(QStringLiteral("job")));
    QTRY_COMPARE(m_requests->count() + m_dropped->count(), 1);
    QCOMPARE(m_requests->count(), taken ? 1 : 0);
    QCOMPARE(reason(0), taken ? QString() : QStringLiteral("the peer's address is not allowed"));
}

ZAV_REGISTER_TEST(robot_limits, RobotLimitsTest, QCoreApplication)

#include "robot_limits.moc"
