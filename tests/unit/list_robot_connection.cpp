#include "tests/support/ListPanelHarness.h"

#include "tests/support/RobotPeer.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QPushButton>
#include <QTableWidget>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

using KOZAV::DataLib::Model::KOZAV_Config;
using KOZAV::Test::call;
using KOZAV::Test::ListPanelHarness;
using KOZAV::Test::RobotPeer;
using Panel = KOZAV::UI::ZAV_Import_Widget;

/// How a panel reaches the robot: where to, over which connection, and what happens when it cannot.
class ListRobotConnectionTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void portIsFetchedBeforeTheHost();
    void hostNameIsResolved();
    void portIsTheLowSixteenBits_data();
    void portIsTheLowSixteenBits();
    void serverBeyondIpv4IsReached();
    void noConnectionBeforeTheFirstRequest();
    void unreachableServerIsReported_data();
    void unreachableServerIsReported();
    void refusedServerKeepsTheFileName();
    void connectionIsKeptOpen();
    void secondRequestUsesTheSameConnection();
    void serverThatClosedIsReachedAgain();
    void serverThatNeverAcceptsGetsTheRequest();
    void eachPanelHasAConnectionOfItsOwn();
    void answerAfterThePanelIsGoneDoesNoHarm();
    void requestOfAPanelThatIsGoneArrives();
};

namespace {

const QByteArray plainRequest(
    "{\"module\":\"robot\",\"msgParams\":{\"fromWeb\":false,\"jobname\":\"AB000042\"},\"msgType\":1}");
const QByteArray webRequest(
    "{\"module\":\"robot\",\"msgParams\":{\"fromWeb\":true,\"jobname\":\"AB000042\"},\"msgType\":1}");

QByteArray arrived(const RobotPeer& peer, int connection = 0)
{
    return peer.received().value(connection);
}

void send(ListPanelHarness& harness)
{
    harness.chooseJob(QStringLiteral("AB000042"));
    harness.reportSuccess();
}

/// Until the sockets of this thread have seen what has reached them.
void letTheSocketsSeeIt()
{
    QCoreApplication::processEvents(QEventLoop::AllEvents, 1000);
}

/// A robot in the GUI thread, for tests that look at a connection itself: the system completes a connection
/// while the panel waits for it, and the test takes it afterwards.
class LocalRobot final
{
public:
    explicit LocalRobot(ListPanelHarness& harness, const QHostAddress& address = QHostAddress::LocalHost)
    {
        m_server.listen(address, 0);
        harness.services.results.config.robotHost = address.toString().toStdString();
        harness.services.results.config.robotPort = m_server.serverPort();
    }
    [[nodiscard]] bool isListening() const { return m_server.isListening(); }
    /// The connection on which a panel has sent its request; null when none comes.
    [[nodiscard]] QTcpSocket* connectionWithARequest()
    {
        QTcpSocket* connection = nullptr;
        const auto hasRequest = [&] {
            if (connection == nullptr)
                connection = m_server.nextPendingConnection();
            return connection != nullptr && connection->bytesAvailable() >= plainRequest.size();
        };
        return QTest::qWaitFor(hasRequest) ? connection : nullptr;
    }

private:
    QTcpServer m_server;
};

} // namespace

void ListRobotConnectionTest::portIsFetchedBeforeTheHost()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    KOZAV_Config first;
    first.robotHost = "";
    first.robotPort = peer.port();
    KOZAV_Config second;
    second.robotHost = "127.0.0.1";
    second.robotPort = RobotPeer::closedPort();
    harness.services.results.nextConfigs = {first, second};
    harness.open();
    send(harness);
    QCOMPARE(harness.services.count("getConfig"), 2);
    VERIFY_DIALOGS(harness);
    QTRY_COMPARE(arrived(peer), plainRequest);
}

void ListRobotConnectionTest::hostNameIsResolved()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.services.results.config.robotHost = "localhost";
    harness.open();
    send(harness);
    VERIFY_DIALOGS(harness);
    QTRY_COMPARE(arrived(peer), plainRequest);
}

void ListRobotConnectionTest::portIsTheLowSixteenBits_data()
{
    QTest::addColumn<int>("offset");
    QTest::newRow("one turn") << 0x10000;
    QTest::newRow("many turns") << 0x7fff0000;
    QTest::newRow("negative") << -0x10000;
}

void ListRobotConnectionTest::portIsTheLowSixteenBits()
{
    QFETCH(int, offset);
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.services.results.config.robotPort = offset + peer.port();
    harness.open();
    send(harness);
    VERIFY_DIALOGS(harness);
    QTRY_COMPARE(arrived(peer), plainRequest);
}

void ListRobotConnectionTest::serverBeyondIpv4IsReached()
{
    ListPanelHarness harness;
    LocalRobot robot(harness, QHostAddress::LocalHostIPv6);
    if (!robot.isListening())
        QSKIP("This machine has no IPv6 loopback");
    harness.open();
    send(harness);
    VERIFY_DIALOGS(harness);
    QTcpSocket* const connection = robot.connectionWithARequest();
    QVERIFY(connection != nullptr);
    QCOMPARE(connection->readAll(), plainRequest);
}

void ListRobotConnectionTest::noConnectionBeforeTheFirstRequest()
{
    RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    harness.openFor("AB000042");
    harness.chooseJob(QStringLiteral("AB000042"));
    harness.dialogs.expectMessage(QMessageBox::Yes);
    harness.press(harness.importButton());
    QVERIFY(peer.barrier());
    QCOMPARE(peer.connectionCount(), 1); // the barrier's own
    QCOMPARE(harness.services.count("getConfig"), 0);
    VERIFY_DIALOGS(harness);
}

void ListRobotConnectionTest::unreachableServerIsReported_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<int>("port");
    QTest::newRow("refused") << QStringLiteral("127.0.0.1") << int(RobotPeer::closedPort());
    QTest::newRow("refused by name") << QStringLiteral("localhost") << int(RobotPeer::closedPort());
    QTest::newRow("no host") << QString() << int(RobotPeer::closedPort());
    QTest::newRow("no port") << QStringLiteral("127.0.0.1") << 0;
}

void ListRobotConnectionTest::unreachableServerIsReported()
{
    QFETCH(QString, host);
    QFETCH(int, port);
    ListPanelHarness harness;
    harness.services.results.config.robotHost = host.toStdString();
    harness.services.results.config.robotPort = port;
    harness.open();
    harness.dialogs.expectMessage();
    send(harness);
    QCOMPARE(harness.services.count("UpdateState"), 1);
    QCOMPARE(harness.services.journal().last(), call("message", "Information", "Server connect failed!"));
    QCOMPARE(harness.services.count("message"), 1);
    QCOMPARE(harness.services.count("webJobHaveSent"), 0);
    QVERIFY(harness.panel().isVisible());
    QCOMPARE(harness.table().currentRow(), 1);
    VERIFY_DIALOGS(harness);
}

void ListRobotConnectionTest::refusedServerKeepsTheFileName()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.open();
    harness.openFor("AB000042", QStringLiteral("up.tgz"));
    harness.dialogs.expectMessage();
    send(harness);
    QVERIFY(harness.panel().isVisible());
    harness.useRobot(peer);
    harness.reportSuccess();
    QVERIFY(!harness.panel().isVisible());
    QTRY_COMPARE(arrived(peer), webRequest);
    QCOMPARE(harness.services.count("webJobHaveSent"), 1);
    VERIFY_DIALOGS(harness);
}

void ListRobotConnectionTest::connectionIsKeptOpen()
{
    ListPanelHarness harness;
    LocalRobot robot(harness);
    harness.open();
    send(harness);
    QVERIFY(!harness.panel().isVisible());
    const QTcpSocket* const connection = robot.connectionWithARequest();
    QVERIFY(connection != nullptr);
    letTheSocketsSeeIt();
    QCOMPARE(connection->state(), QAbstractSocket::ConnectedState);
}

void ListRobotConnectionTest::secondRequestUsesTheSameConnection()
{
    RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    send(harness);
    QTRY_COMPARE(arrived(peer), plainRequest);
    harness.reportSuccess();
    QTRY_COMPARE(arrived(peer), plainRequest + plainRequest);
    QVERIFY(peer.barrier());
    QCOMPARE(peer.connectionCount(), 2); // the panel's and the barrier's
    QCOMPARE(harness.services.count("getConfig"), 4);
    VERIFY_DIALOGS(harness);
}

void ListRobotConnectionTest::serverThatClosedIsReachedAgain()
{
    const RobotPeer peer(RobotPeer::Mode::CloseAtOnce);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    harness.openFor("AB000042", QStringLiteral("up.tgz"));
    send(harness);
    QTRY_COMPARE(arrived(peer), webRequest);
    QTRY_COMPARE(peer.disconnectionCount(), 1);
    letTheSocketsSeeIt();
    harness.reportSuccess();
    QTRY_COMPARE(arrived(peer, 1), plainRequest);
    QCOMPARE(peer.connectionCount(), 2);
    QCOMPARE(harness.services.count("webJobHaveSent"), 2);
    VERIFY_DIALOGS(harness);
}

void ListRobotConnectionTest::serverThatNeverAcceptsGetsTheRequest()
{
    RobotPeer peer(RobotPeer::Mode::AcceptLate);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    send(harness);
    QCOMPARE(harness.services.journal().last(), call("webJobHaveSent"));
    QVERIFY(!harness.panel().isVisible());
    QCOMPARE(peer.connectionCount(), 0);
    peer.startAccepting();
    QTRY_COMPARE(arrived(peer), plainRequest);
    VERIFY_DIALOGS(harness);
}

void ListRobotConnectionTest::eachPanelHasAConnectionOfItsOwn()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    const Panel second(nullptr);
    second.findChild<QTableWidget*>()->setCurrentCell(1, 2);
    send(harness);
    QTRY_COMPARE(arrived(peer, 0), plainRequest);
    QTRY_COMPARE(arrived(peer, 1), plainRequest);
    QCOMPARE(peer.connectionCount(), 2);
    VERIFY_DIALOGS(harness);
}

void ListRobotConnectionTest::answerAfterThePanelIsGoneDoesNoHarm()
{
    ListPanelHarness harness;
    LocalRobot robot(harness);
    harness.open();
    send(harness);
    QTcpSocket* const connection = robot.connectionWithARequest();
    QVERIFY(connection != nullptr);
    harness.destroy();
    static_cast<void>(harness.services.takeJournal());
    connection->write("{\"answer\":\"ok\"}");
    QTRY_COMPARE(connection->bytesToWrite(), qint64(0));
    letTheSocketsSeeIt();
    COMPARE_JOURNAL(harness, {});
    // The connection is not the panel's to end.
    QCOMPARE(connection->state(), QAbstractSocket::ConnectedState);
    VERIFY_DIALOGS(harness);
}

void ListRobotConnectionTest::requestOfAPanelThatIsGoneArrives()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    send(harness);
    harness.destroy();
    QTRY_COMPARE(arrived(peer), plainRequest);
}

ZAV_REGISTER_TEST(list_robot_connection, ListRobotConnectionTest, QApplication)

#include "list_robot_connection.moc"
