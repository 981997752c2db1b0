#include "tests/support/PanelHarness.h"
#include "tests/support/RobotPeer.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTest>

using namespace KOZAV;
using KOZAV::Test::call;
using KOZAV::Test::PanelHarness;
using KOZAV::Test::RobotPeer;

class PanelRobotRequestTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void requestIsThisDocumentByteForByte();
    void jobNameIsLowerCase_data();
    void jobNameIsLowerCase();
    void jobNameIsEscapedAsJson();
    void configurationIsFetchedTwice();
    void hostComesFirstThenThePort();
    void answeringServerEndsTheWait();
    void silentServerIsLeftAfterASecond();
    void lateAnswerIsNotWaitedFor();
    void closingServerEndsTheWait();
    void serverThatAcceptsLateGetsTheRequest();
    void refusingServerLeavesNoTrace();
    void unreachableServerLeavesNoTrace();
    void hostNameSendsNothing();
    void emptyHostSendsNothing();
    void portIsItsLow16Bits();
    void everyRequestHasItsOwnConnection();
    void connectionIsClosedAtTheEnd();

private:
    [[nodiscard]] Test::RecordingServices& services() const { return m_harness->services; }
    void use(const RobotPeer& robot) const { services().results.config.robotPort = robot.port(); }
    /// Sends the request; the milliseconds that it took.
    qint64 send(const char* jobName = "AB000042")
    {
        QElapsedTimer elapsed;
        elapsed.start();
        m_harness->panel().execCAMRobot(jobName);
        return elapsed.elapsed();
    }

    std::unique_ptr<PanelHarness> m_harness;
};

namespace {

QByteArray documentOf(const QByteArray& jobName)
{
    return "{\n"
           "    \"module\": \"robot\",\n"
           "    \"msgParams\": {\n"
           "        \"fromWeb\": false,\n"
           "        \"jobname\": \"" +
           jobName +
           "\"\n"
           "    },\n"
           "    \"msgType\": 1\n"
           "}\n";
}

// What a wait of one second may take on a busy machine.
constexpr qint64 shortestSecond = 900;
constexpr qint64 longestSecond = 3000;

} // namespace

void PanelRobotRequestTest::init()
{
    m_harness = std::make_unique<PanelHarness>();
    m_harness->open();
}

void PanelRobotRequestTest::cleanup()
{
    // Nothing is ever said of a request.
    VERIFY_DIALOGS(*m_harness);
    QVERIFY(m_harness->dialogs.shown().empty());
    m_harness.reset();
}

void PanelRobotRequestTest::requestIsThisDocumentByteForByte()
{
    RobotPeer robot(RobotPeer::Mode::Silent);
    use(robot);
    send();
    QTRY_COMPARE(robot.received(), QList<QByteArray>{documentOf("ab000042")});
}

void PanelRobotRequestTest::jobNameIsLowerCase_data()
{
    QTest::addColumn<QByteArray>("jobName");
    QTest::addColumn<QByteArray>("sent");
    QTest::newRow("capitals") << QByteArray("ABC000001") << QByteArray("abc000001");
    QTest::newRow("mixed") << QByteArray("aBc-D_9") << QByteArray("abc-d_9");
    QTest::newRow("not ASCII") << QByteArray("ÄÖ甲000001") << QByteArray("äö甲000001");
    QTest::newRow("empty") << QByteArray("") << QByteArray("");
}

void PanelRobotRequestTest::jobNameIsLowerCase()
{
    QFETCH(QByteArray, jobName);
    QFETCH(QByteArray, sent);
    RobotPeer robot(RobotPeer::Mode::Answer);
    use(robot);
    send(jobName.constData());
    QTRY_COMPARE(robot.received(), QList<QByteArray>{documentOf(sent)});
}

void PanelRobotRequestTest::jobNameIsEscapedAsJson()
{
    RobotPeer robot(RobotPeer::Mode::Answer);
    use(robot);
    send("A\"B\\C");
    QTRY_COMPARE(robot.received(), QList<QByteArray>{documentOf(R"(a\"b\\c)")});
}

void PanelRobotRequestTest::configurationIsFetchedTwice()
{
    RobotPeer robot(RobotPeer::Mode::Answer);
    use(robot);
    send();
    COMPARE_JOURNAL(*m_harness, {call("getConfig"), call("getConfig")});
}

void PanelRobotRequestTest::hostComesFirstThenThePort()
{
    RobotPeer robot(RobotPeer::Mode::Answer);
    auto first = services().results.config;
    auto second = services().results.config;
    second.robotHost = "no address";
    second.robotPort = robot.port();
    services().results.nextConfigs = {first, second};
    send();
    QTRY_COMPARE(robot.received(), QList<QByteArray>{documentOf("ab000042")});
}

void PanelRobotRequestTest::answeringServerEndsTheWait()
{
    RobotPeer robot(RobotPeer::Mode::Answer);
    use(robot);
    QVERIFY(send() < shortestSecond);
    QCOMPARE(robot.answerCount(), 1);
}

void PanelRobotRequestTest::silentServerIsLeftAfterASecond()
{
    RobotPeer robot(RobotPeer::Mode::Silent);
    use(robot);
    const qint64 elapsed = send();
    QVERIFY2(elapsed >= shortestSecond && elapsed <= longestSecond, qPrintable(QString::number(elapsed)));
    QTRY_COMPARE(robot.received(), QList<QByteArray>{documentOf("ab000042")});
}

void PanelRobotRequestTest::lateAnswerIsNotWaitedFor()
{
    RobotPeer robot(RobotPeer::Mode::AnswerLate);
    use(robot);
    const qint64 elapsed = send();
    QVERIFY2(elapsed >= shortestSecond && elapsed <= longestSecond, qPrintable(QString::number(elapsed)));
    QTRY_COMPARE(robot.received(), QList<QByteArray>{documentOf("ab000042")});
    QTRY_COMPARE(robot.answerCount(), 1);
}

void PanelRobotRequestTest::closingServerEndsTheWait()
{
    RobotPeer robot(RobotPeer::Mode::CloseAtOnce);
    use(robot);
    QVERIFY(send() < shortestSecond);
    QTRY_COMPARE(robot.received(), QList<QByteArray>{documentOf("ab000042")});
}

void PanelRobotRequestTest::serverThatAcceptsLateGetsTheRequest()
{
    RobotPeer robot(RobotPeer::Mode::AcceptLate);
    use(robot);
    const qint64 elapsed = send();
    QVERIFY2(elapsed >= shortestSecond && elapsed <= longestSecond, qPrintable(QString::number(elapsed)));
    QCOMPARE(robot.connectionCount(), 0);
    robot.startAccepting();
    QTRY_COMPARE(robot.received(), QList<QByteArray>{documentOf("ab000042")});
}

void PanelRobotRequestTest::refusingServerLeavesNoTrace()
{
    services().results.config.robotPort = RobotPeer::closedPort();
    QVERIFY(send() <= longestSecond);
    COMPARE_JOURNAL(*m_harness, {call("getConfig"), call("getConfig")});
}

void PanelRobotRequestTest::unreachableServerLeavesNoTrace()
{
    // An address that is reserved for documentation: no host has it.
    services().results.config.robotHost = "192.0.2.1";
    QVERIFY(send() <= longestSecond);
    COMPARE_JOURNAL(*m_harness, {call("getConfig"), call("getConfig")});
}

void PanelRobotRequestTest::hostNameSendsNothing()
{
    RobotPeer robot(RobotPeer::Mode::Answer);
    use(robot);
    services().results.config.robotHost = "localhost";
    QVERIFY(send() <= longestSecond);
    QVERIFY(robot.barrier());
    QCOMPARE(robot.connectionCount(), 1);
}

void PanelRobotRequestTest::emptyHostSendsNothing()
{
    RobotPeer robot(RobotPeer::Mode::Answer);
    use(robot);
    services().results.config.robotHost.clear();
    QVERIFY(send() <= longestSecond);
    QVERIFY(robot.barrier());
    QCOMPARE(robot.connectionCount(), 1);
}

void PanelRobotRequestTest::portIsItsLow16Bits()
{
    RobotPeer robot(RobotPeer::Mode::Answer);
    services().results.config.robotPort = 0x70000 + robot.port();
    send();
    QTRY_COMPARE(robot.received(), QList<QByteArray>{documentOf("ab000042")});
}

void PanelRobotRequestTest::everyRequestHasItsOwnConnection()
{
    RobotPeer robot(RobotPeer::Mode::Answer);
    use(robot);
    send("A1");
    send("B2");
    QTRY_COMPARE(robot.received(), (QList<QByteArray>{documentOf("a1"), documentOf("b2")}));
}

void PanelRobotRequestTest::connectionIsClosedAtTheEnd()
{
    RobotPeer robot(RobotPeer::Mode::Silent);
    use(robot);
    send();
    QTRY_COMPARE(robot.disconnectionCount(), 1);
}

ZAV_REGISTER_TEST(panel_robot_request, PanelRobotRequestTest, QApplication)

#include "panel_robot_request.moc"
