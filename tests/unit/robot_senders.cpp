#include "tests/support/ListPanelHarness.h"
#include "tests/support/PanelHarness.h"
#include "tests/support/RobotProgram.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QTest>

using KOZAV::Test::ListPanelHarness;
using KOZAV::Test::PanelHarness;
using KOZAV::Test::RobotProgram;

/// The panels send, the program of the robot's stand-in receives.
class RobotSendersTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void requestOfTheFileImportPanel();
    void requestsOfTheFileImportPanelOneAfterTheOther();
    void requestOfTheJobListPanel_data();
    void requestOfTheJobListPanel();
    void secondRequestOfTheSamePanel();
};

namespace {

/// Sends the request of the panel's current job, as after an import.
void send(ListPanelHarness& harness, const QString& fileName)
{
    harness.openFor("AB000042", fileName);
    harness.chooseJob(QStringLiteral("AB000042"));
    harness.reportSuccess();
}

bool says(const QByteArray& line, const char* verdict)
{
    return line.endsWith(verdict);
}

} // namespace

void RobotSendersTest::requestOfTheFileImportPanel()
{
    RobotProgram robot({});
    PanelHarness harness;
    harness.services.results.config.robotPort = robot.port();
    harness.open();
    harness.panel().execCAMRobot("AB\xc3\x84 \"甲\" {1}");
    QTRY_COMPARE(robot.lines().size(), 1);
    QVERIFY2(says(robot.lines().at(0), " jobname=\"abä \\\"甲\\\" {1}\" fromWeb=false valid"),
             robot.lines().at(0).constData());
}

void RobotSendersTest::requestsOfTheFileImportPanelOneAfterTheOther()
{
    constexpr int requests = 20;
    RobotProgram robot({QStringLiteral("--max-connections"), QStringLiteral("2")});
    PanelHarness harness;
    harness.services.results.config.robotPort = robot.port();
    harness.open();
    for (int i = 0; i < requests; ++i) {
        harness.panel().execCAMRobot("JOB-" + std::to_string(i));
        QTRY_COMPARE(robot.lines().size(), i + 1);
        const QByteArray verdict = " jobname=\"job-" + QByteArray::number(i) + "\" fromWeb=false valid";
        QVERIFY2(says(robot.lines().at(i), verdict.constData()), robot.lines().at(i).constData());
    }
}

void RobotSendersTest::requestOfTheJobListPanel_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QByteArray>("verdict");
    QTest::newRow("from the web") << QStringLiteral("up.tgz")
                                  << QByteArray(" jobname=\"AB000042\" fromWeb=true valid");
    QTest::newRow("not from the web") << QString() << QByteArray(" jobname=\"AB000042\" fromWeb=false valid");
}

void RobotSendersTest::requestOfTheJobListPanel()
{
    QFETCH(QString, fileName);
    QFETCH(QByteArray, verdict);
    RobotProgram robot({});
    ListPanelHarness harness;
    harness.services.results.config.robotPort = robot.port();
    harness.open();
    send(harness, fileName);
    QTRY_COMPARE(robot.lines().size(), 1);
    QVERIFY2(says(robot.lines().at(0), verdict.constData()), robot.lines().at(0).constData());
}

// The panel keeps its socket; the second request comes on the connection of the first.
void RobotSendersTest::secondRequestOfTheSamePanel()
{
    RobotProgram robot({});
    ListPanelHarness harness;
    harness.services.results.config.robotPort = robot.port();
    harness.open();
    send(harness, QStringLiteral("up.tgz"));
    QTRY_COMPARE(robot.lines().size(), 1);
    send(harness, QString());
    QTRY_COMPARE(robot.lines().size(), 2);
    QVERIFY2(says(robot.lines().at(1), " jobname=\"AB000042\" fromWeb=false valid"),
             robot.lines().at(1).constData());
    QCOMPARE(robot.lines().at(0).split(' ').at(1), robot.lines().at(1).split(' ').at(1));
}

ZAV_REGISTER_TEST(robot_senders, RobotSendersTest, QApplication)

#include "robot_senders.moc"
