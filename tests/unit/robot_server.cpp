#include "robot_server/RobotServer.h"

#include "tests/support/RobotClient.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <memory>

using namespace KOZAV::Robot;
using KOZAV::Test::compactRequest;
using KOZAV::Test::indentedRequest;
using KOZAV::Test::RobotClient;

class RobotServerTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();

    void freePortOfLoopbackIsTaken();
    void takenPortIsAFailure();
    void bothFormsAreRequests_data();
    void bothFormsAreRequests();
    void documentInManyPackets();
    void manyDocumentsInOnePacket();
    void invalidDocumentIsAnsweredAndTheConnectionGoesOn();
    void arrayIsAnInvalidRequest();
    void garbageEndsItsConnectionOnly();
    void documentsBeforeGarbageAreTaken();
    void requestOfAPeerThatLeavesAtOnceIsTaken();
    void peerThatLeavesInsideADocument();
    void ownAnswerFollowsTheLogging();
    void replyIsSentAsItStands();
    void emptyReplyIsNoAnswer();
    void delayComesBeforeTheAnswer();
    void delayedAnswersKeepTheirOrder();
    void silentServerTakesRequests();
    void refusedConnection();
    void hungUpConnection();
    void connectionThatIsNeverAccepted();
    void endsAfterTheLastRequest();
    void endsAfterTheDelayedAnswer();
    void worksInAThreadOfItsOwn();
    void stopWithoutAnyone();
    void stopEndsConnectionsOnce();

private:
    void start();
    [[nodiscard]] ReceivedRequest request(int index) const;
    [[nodiscard]] DroppedConnection dropped(int index) const;

    RobotServerOptions m_options;
    std::unique_ptr<RobotServer> m_server;
    std::unique_ptr<QSignalSpy> m_requests;
    std::unique_ptr<QSignalSpy> m_dropped;
    std::unique_ptr<QSignalSpy> m_finished;
    quint16 m_port = 0;
};

namespace {

const QByteArray accepted = "{\"accepted\":true}\n";

} // namespace

void RobotServerTest::init()
{
    m_options = RobotServerOptions();
    m_server = std::make_unique<RobotServer>();
    m_requests = std::make_unique<QSignalSpy>(m_server.get(), &RobotServer::requestReceived);
    m_dropped = std::make_unique<QSignalSpy>(m_server.get(), &RobotServer::connectionDropped);
    m_finished = std::make_unique<QSignalSpy>(m_server.get(), &RobotServer::finished);
}

void RobotServerTest::start()
{
    m_port = m_server->start(m_options);
    QVERIFY2(m_port != 0, qPrintable(m_server->errorString()));
}

ReceivedRequest RobotServerTest::request(int index) const
{
    return m_requests->value(index).value(0).value<ReceivedRequest>();
}

DroppedConnection RobotServerTest::dropped(int index) const
{
    return m_dropped->value(index).value(0).value<DroppedConnection>();
}

void RobotServerTest::freePortOfLoopbackIsTaken()
{
    start();
    RobotServer second;
    const quint16 port = second.start({});
    QVERIFY(port != 0 && port != m_port);
    QVERIFY(RobotClient(m_port).isConnected());
    QVERIFY(RobotClient(port).isConnected());
}

void RobotServerTest::takenPortIsAFailure()
{
    start();
    RobotServer second;
    m_options.port = m_port;
    QCOMPARE(second.start(m_options), quint16(0));
    QCOMPARE(second.errorString(), QStringLiteral("The bound address is already in use"));
    RobotServer third;
    m_options.reception = Reception::Refuse;
    QCOMPARE(third.start(m_options), quint16(0));
    QCOMPARE(third.errorString(), QStringLiteral("The bound address is already in use"));
}

void RobotServerTest::bothFormsAreRequests_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("jobName");
    QTest::addColumn<bool>("fromWeb");
    QTest::newRow("compact") << compactRequest(QStringLiteral("Job-甲"), true) << QStringLiteral("Job-甲")
                             << true;
    QTest::newRow("indented") << indentedRequest(QStringLiteral("ab00042")) << QStringLiteral("ab00042")
                              << false;
}

void RobotServerTest::bothFormsAreRequests()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, jobName);
    QFETCH(bool, fromWeb);
    start();
    RobotClient client(m_port);
    const QDateTime before = QDateTime::currentDateTimeUtc();
    client.send(bytes);
    QTRY_COMPARE(m_requests->count(), 1);
    const ReceivedRequest received = request(0);
    QCOMPARE(received.check.whyNot, QString());
    QCOMPARE(received.check.jobName, jobName);
    QCOMPARE(received.check.fromWeb, fromWeb);
    QCOMPARE(received.bytes, bytes.trimmed().size());
    QCOMPARE(received.document, QJsonDocument::fromJson(bytes));
    QCOMPARE(received.peer, client.name());
    QCOMPARE(received.time.timeSpec(), Qt::UTC);
    QVERIFY(received.time >= before && received.time <= QDateTime::currentDateTimeUtc());
}

void RobotServerTest::documentInManyPackets()
{
    start();
    RobotClient client(m_port);
    const QByteArray bytes = indentedRequest(QStringLiteral("甲-{1}"), true);
    for (const char byte : bytes) {
        client.send(QByteArray(1, byte));
        QCoreApplication::processEvents();
    }
    QTRY_COMPARE(m_requests->count(), 1);
    QCOMPARE(request(0).check.jobName, QStringLiteral("甲-{1}"));
    QVERIFY(request(0).check.valid());
}

void RobotServerTest::manyDocumentsInOnePacket()
{
    start();
    RobotClient client(m_port);
    client.send(compactRequest(QStringLiteral("one")) + indentedRequest(QStringLiteral("two")) +
                compactRequest(QStringLiteral("three")));
    QTRY_COMPARE(m_requests->count(), 3);
    QCOMPARE(request(0).check.jobName, QStringLiteral("one"));
    QCOMPARE(request(1).check.jobName, QStringLiteral("two"));
    QCOMPARE(request(2).check.jobName, QStringLiteral("three"));
    QTRY_COMPARE(client.answers(), accepted.repeated(3));
}

void RobotServerTest::invalidDocumentIsAnsweredAndTheConnectionGoesOn()
{
    start();
    RobotClient client(m_port);
    client.send("{\"module\":\"robot\",\"msgType\":2,\"msgParams\":{}}");
    QTRY_COMPARE(client.answers(),
                 QByteArray("{\"accepted\":false,\"reason\":\"\\\"msgType\\\" is not 1\"}\n"));
    QVERIFY(!request(0).check.valid());
    client.send(compactRequest(QStringLiteral("next")));
    QTRY_COMPARE(m_requests->count(), 2);
    QVERIFY(request(1).check.valid());
    QCOMPARE(m_dropped->count(), 0);
}

void RobotServerTest::arrayIsAnInvalidRequest()
{
    start();
    RobotClient client(m_port);
    client.send("[1]");
    QTRY_COMPARE(m_requests->count(), 1);
    QCOMPARE(request(0).check.whyNot, QStringLiteral("the document is an array, not an object"));
}

void RobotServerTest::garbageEndsItsConnectionOnly()
{
    start();
    RobotClient good(m_port);
    RobotClient bad(m_port);
    const QByteArray bytes = compactRequest(QStringLiteral("good"));
    good.send(bytes.left(20));
    bad.send("GET / HTTP/1.1\r\n\r\n");
    QTRY_COMPARE(m_dropped->count(), 1);
    QCOMPARE(dropped(0).peer, bad.name());
    QCOMPARE(dropped(0).reason,
             QStringLiteral("byte 0: neither white space nor the start of an object or array"));
    QTRY_VERIFY(!bad.isConnected());
    QTRY_COMPARE(m_server->connectionCount(), 1);
    good.send(bytes.mid(20));
    QTRY_COMPARE(good.answers(), accepted);
    QCOMPARE(request(0).peer, good.name());
    QVERIFY(good.isConnected());
    QCOMPARE(bad.answers(), QByteArray());
}

void RobotServerTest::documentsBeforeGarbageAreTaken()
{
    start();
    RobotClient client(m_port);
    client.send(compactRequest(QStringLiteral("good")) + "garbage");
    QTRY_COMPARE(m_dropped->count(), 1);
    QCOMPARE(m_requests->count(), 1);
    QCOMPARE(request(0).check.jobName, QStringLiteral("good"));
    QTRY_VERIFY(!client.isConnected());
    QCOMPARE(client.answers(), accepted);
}

void RobotServerTest::requestOfAPeerThatLeavesAtOnceIsTaken()
{
    start();
    {
        RobotClient client(m_port);
        client.send(compactRequest(QStringLiteral("first")) + indentedRequest(QStringLiteral("last")));
        client.leave();
    }
    QTRY_COMPARE(m_requests->count(), 2);
    QCOMPARE(request(1).check.jobName, QStringLiteral("last"));
    QTRY_COMPARE(m_server->connectionCount(), 0);
    QCOMPARE(m_dropped->count(), 0);
}

void RobotServerTest::peerThatLeavesInsideADocument()
{
    start();
    RobotClient client(m_port);
    client.send(compactRequest(QStringLiteral("half")).chopped(1));
    client.leave();
    QTRY_COMPARE(m_dropped->count(), 1);
    QCOMPARE(dropped(0).reason, QStringLiteral("the peer ended the connection inside a document"));
    QCOMPARE(m_requests->count(), 0);
}

void RobotServerTest::ownAnswerFollowsTheLogging()
{
    start();
    RobotClient client(m_port);
    client.send(compactRequest(QStringLiteral("job")));
    QTRY_COMPARE(client.answers(), accepted);
    QCOMPARE(m_requests->count(), 1);
}

void RobotServerTest::replyIsSentAsItStands()
{
    m_options.reply = QByteArray("完\0{", 6);
    start();
    RobotClient client(m_port);
    client.send(compactRequest(QStringLiteral("job")) + "{}");
    QTRY_COMPARE(client.answers(), m_options.reply->repeated(2));
}

void RobotServerTest::emptyReplyIsNoAnswer()
{
    m_options.reply = QByteArray("");
    m_options.maxRequests = 1;
    start();
    RobotClient client(m_port);
    client.send(compactRequest(QStringLiteral("job")));
    QTRY_VERIFY(!client.isConnected());
    QCOMPARE(client.answers(), QByteArray());
}

void RobotServerTest::delayComesBeforeTheAnswer()
{
    m_options.replyDelayMs = 120;
    start();
    RobotClient client(m_port);
    QElapsedTimer sinceRequest;
    connect(m_server.get(), &RobotServer::requestReceived, m_server.get(), [&] { sinceRequest.start(); });
    client.send(compactRequest(QStringLiteral("job")));
    QTRY_COMPARE(client.answers(), accepted);
    QVERIFY2(sinceRequest.elapsed() >= 119, qPrintable(QString::number(sinceRequest.elapsed())));
}

void RobotServerTest::delayedAnswersKeepTheirOrder()
{
    m_options.replyDelayMs = 30;
    start();
    RobotClient client(m_port);
    client.send(compactRequest(QStringLiteral("job")) + "{}" + compactRequest(QStringLiteral("job")));
    const QByteArray missing = "{\"accepted\":false,\"reason\":\"\\\"module\\\" is missing\"}\n";
    QTRY_COMPARE(client.answers(), accepted + missing + accepted);
}

void RobotServerTest::silentServerTakesRequests()
{
    m_options.silent = true;
    m_options.maxRequests = 2;
    start();
    RobotClient client(m_port);
    client.send(compactRequest(QStringLiteral("one")));
    QTRY_COMPARE(m_requests->count(), 1);
    QVERIFY(client.isConnected());
    client.send(compactRequest(QStringLiteral("two")));
    QTRY_VERIFY(!client.isConnected());
    QCOMPARE(m_requests->count(), 2);
    QCOMPARE(client.answers(), QByteArray());
}

void RobotServerTest::refusedConnection()
{
    m_options.reception = Reception::Refuse;
    start();
    const RobotClient client(m_port);
    QVERIFY(!client.isConnected());
    QCOMPARE(client.error(), QAbstractSocket::ConnectionRefusedError);
    QCOMPARE(m_dropped->count(), 0);
}

void RobotServerTest::hungUpConnection()
{
    m_options.reception = Reception::HangUp;
    start();
    RobotClient client(m_port);
    QTRY_COMPARE(m_dropped->count(), 1);
    QCOMPARE(dropped(0).peer, client.name());
    QCOMPARE(dropped(0).reason, QStringLiteral("every connection is hung up"));
    QTRY_VERIFY(!client.isConnected());
}

void RobotServerTest::connectionThatIsNeverAccepted()
{
    m_options.reception = Reception::NeverAccept;
    start();
    RobotClient client(m_port);
    QVERIFY(client.isConnected());
    client.send(compactRequest(QStringLiteral("unread")));

    // A second server, for which the same turns of the event loop are enough.
    RobotServer other;
    QSignalSpy taken(&other, &RobotServer::requestReceived);
    RobotClient second(other.start({}));
    second.send(compactRequest(QStringLiteral("read")));
    QTRY_COMPARE(second.answers(), accepted);
    QCOMPARE(m_server->connectionCount(), 0);
    QCOMPARE(m_requests->count(), 0);
    QVERIFY(client.isConnected());
}

void RobotServerTest::endsAfterTheLastRequest()
{
    m_options.maxRequests = 2;
    start();
    RobotClient idle(m_port);
    RobotClient client(m_port);
    client.send(compactRequest(QStringLiteral("1")) + "{}" + compactRequest(QStringLiteral("3")));
    QTRY_COMPARE(m_finished->count(), 1);
    QCOMPARE(m_requests->count(), 2);
    QTRY_VERIFY(!client.isConnected() && !idle.isConnected());
    QCOMPARE(client.answers().count('\n'), 2);
    QCOMPARE(RobotClient(m_port).error(), QAbstractSocket::ConnectionRefusedError);
    QCOMPARE(m_finished->count(), 1);
}

void RobotServerTest::endsAfterTheDelayedAnswer()
{
    m_options.maxRequests = 1;
    m_options.replyDelayMs = 60;
    start();
    RobotClient client(m_port);
    client.send(compactRequest(QStringLiteral("job")));
    QTRY_COMPARE(m_finished->count(), 1);
    QTRY_COMPARE(client.answers(), accepted);
    QTRY_VERIFY(!client.isConnected());
}

void RobotServerTest::worksInAThreadOfItsOwn()
{
    QThread thread;
    auto* const server = new RobotServer;
    QSignalSpy requests(server, &RobotServer::requestReceived);
    server->moveToThread(&thread);
    connect(&thread, &QThread::finished, server, &QObject::deleteLater);
    thread.start();
    quint16 port = 0;
    QMetaObject::invokeMethod(
        server, [&] { port = server->start({}); }, Qt::BlockingQueuedConnection);
    RobotClient client(port);
    client.send(compactRequest(QStringLiteral("job")));
    // This thread's event loop does not turn, as while a panel sends its request.
    QCOMPARE(client.waitForAnswer(), accepted);
    QCOMPARE(requests.count(), 1);
    thread.quit();
    QVERIFY(thread.wait());
}

void RobotServerTest::stopWithoutAnyone()
{
    start();
    m_server->stop();
    QTRY_COMPARE(m_finished->count(), 1);
}

void RobotServerTest::stopEndsConnectionsOnce()
{
    start();
    RobotClient first(m_port);
    RobotClient second(m_port);
    QTRY_COMPARE(m_server->connectionCount(), 2);
    second.send("{\"module\"");
    m_server->stop();
    m_server->stop();
    QTRY_COMPARE(m_finished->count(), 1);
    QTRY_VERIFY(!first.isConnected() && !second.isConnected());
    QCOMPARE(m_server->connectionCount(), 0);
    QCOMPARE(m_finished->count(), 1);
}

ZAV_REGISTER_TEST(robot_server, RobotServerTest, QCoreApplication)

#include "robot_server.moc"
