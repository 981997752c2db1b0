#include "tests/support/ListPanelHarness.h"

#include "tests/support/RobotPeer.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QTableWidget>
#include <QTest>

using KOZAV::Test::call;
using KOZAV::Test::jobFlow;
using KOZAV::Test::ListPanelHarness;
using KOZAV::Test::RobotPeer;

using Conditions = std::map<std::string, std::string>;
using IntConditions = std::map<std::string, int>;

class ListFlowUpdateTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void stepsInTheirOrder();
    void oneDataAccessObjectIsUsedAndReleased();
    void chosenJobIsLookedUp_data();
    void chosenJobIsLookedUp();
    void currentRowCountsNotTheOpenedJob();
    void flowKeyIsTheRowsOwn();
    void firstOfSeveralRowsIsUsed();
    void missingFlowIsReportedAndNothingIsWritten();
    void selectResultIsNotLookedAt_data();
    void selectResultIsNotLookedAt();
    void withoutACurrentRowNothingIsWritten();
    void userIsStamped();
    void userIsFetchedForEachUpdate();
    void failedUpdatesDoNotStopTheRequest();
    void modeDoesNotMatter_data();
    void modeDoesNotMatter();
    void slotIsInvokedThroughTheMetaObject();
};

namespace {

QString selectOf(const char* jobName)
{
    return call("Odbpp_JobFlowBll::select", Conditions{{"KoSerialName", jobName}}, IntConditions());
}

QString stamped(const char* flowGuid, int userId = 5, const char* userName = "operator")
{
    return call("UpdatePreImportOrCheckTime", flowGuid, userId, 0, "", userId, userName, 0, "");
}

QString stateOf(const char* flowGuid, int userId = 5)
{
    return call("UpdateState", userId, 1, 2, flowGuid);
}

const char* const missingFlow = "Flow表中此jobname未找到,Flow表更新失败";

} // namespace

void ListFlowUpdateTest::stepsInTheirOrder()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    harness.chooseJob(QStringLiteral("AB000042"));
    harness.reportSuccess();
    COMPARE_JOURNAL(harness,
                    {call("getCurrentUser"), selectOf("AB000042"), stamped("key-42"), stateOf("key-42"),
                     call("getConfig"), call("getConfig"), call("webJobHaveSent")});
    VERIFY_DIALOGS(harness);
}

void ListFlowUpdateTest::oneDataAccessObjectIsUsedAndReleased()
{
    ListPanelHarness harness;
    harness.services.recordsObjects = true;
    harness.services.results.flows.clear();
    harness.open();
    harness.chooseJob(QStringLiteral("AB000042"));
    harness.dialogs.expectMessage();
    harness.reportSuccess();
    QCOMPARE(harness.services.journal().value(0), call("Odbpp_JobFlowBll"));
    QCOMPARE(harness.services.count("Odbpp_JobFlowBll"), 1);
    QCOMPARE(harness.services.count("~Odbpp_JobFlowBll"), 1);
    QCOMPARE(harness.services.liveObjects(), 0);
    VERIFY_DIALOGS(harness);
}

void ListFlowUpdateTest::chosenJobIsLookedUp_data()
{
    QTest::addColumn<QString>("job");
    QTest::newRow("as it stands") << QStringLiteral("aB000042");
    QTest::newRow("Chinese") << QStringLiteral("料号\U0001F600");
    QTest::newRow("blanks") << QStringLiteral(" a b ");
    QTest::newRow("quotes") << QStringLiteral("a'b\"c");
}

void ListFlowUpdateTest::chosenJobIsLookedUp()
{
    QFETCH(QString, job);
    ListPanelHarness harness;
    harness.listJobs({QStringLiteral("before"), job});
    harness.open();
    harness.chooseJob(job);
    harness.dialogs.expectMessage();
    harness.reportSuccess();
    COMPARE_JOURNAL(harness, {call("getCurrentUser"), selectOf(job.toUtf8().constData()),
                              call("message", "提示:", missingFlow)});
    VERIFY_DIALOGS(harness);
}

void ListFlowUpdateTest::currentRowCountsNotTheOpenedJob()
{
    ListPanelHarness harness;
    harness.open();
    harness.openFor("AB000041");
    harness.chooseJob(QStringLiteral("AB000043"));
    harness.table().clearSelection();
    harness.dialogs.expectMessage();
    harness.reportSuccess();
    QCOMPARE(harness.services.callsOf("Odbpp_JobFlowBll::select"), QStringList{selectOf("AB000043")});
    QCOMPARE(harness.services.callsOf("UpdateState"), QStringList{stateOf("key-43")});
    VERIFY_DIALOGS(harness);
}

void ListFlowUpdateTest::flowKeyIsTheRowsOwn()
{
    ListPanelHarness harness;
    auto row = jobFlow("键-\U0001F600", "AB000042");
    row.jobName = "name it came with";
    row.flowNo = "F20240102";
    harness.services.results.flows = {row};
    harness.open();
    harness.openFor("AB000042");
    harness.chooseJob(QStringLiteral("AB000042"));
    harness.dialogs.expectMessage();
    harness.reportSuccess();
    QCOMPARE(harness.services.callsOf("UpdatePreImportOrCheckTime"), QStringList{stamped("键-\U0001F600")});
    QCOMPARE(harness.services.callsOf("UpdateState"), QStringList{stateOf("键-\U0001F600")});
    VERIFY_DIALOGS(harness);
}

void ListFlowUpdateTest::firstOfSeveralRowsIsUsed()
{
    ListPanelHarness harness;
    harness.services.results.flows = {jobFlow("other", "AB000041"), jobFlow("first", "AB000042"),
                                      jobFlow("second", "AB000042")};
    harness.open();
    harness.chooseJob(QStringLiteral("AB000042"));
    harness.dialogs.expectMessage();
    harness.reportSuccess();
    QCOMPARE(harness.services.callsOf("UpdatePreImportOrCheckTime"), QStringList{stamped("first")});
    QCOMPARE(harness.services.callsOf("UpdateState"), QStringList{stateOf("first")});
    VERIFY_DIALOGS(harness);
}

void ListFlowUpdateTest::missingFlowIsReportedAndNothingIsWritten()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.services.results.flows.clear();
    harness.open();
    harness.chooseJob(QStringLiteral("AB000042"));
    harness.dialogs.expectMessage();
    harness.reportSuccess();
    COMPARE_JOURNAL(harness,
                    {call("getCurrentUser"), selectOf("AB000042"), call("message", "提示:", missingFlow)});
    QCOMPARE(peer.connectionCount(), 0);
    QVERIFY(harness.panel().isVisible());
    VERIFY_DIALOGS(harness);
}

void ListFlowUpdateTest::selectResultIsNotLookedAt_data()
{
    QTest::addColumn<bool>("result");
    QTest::addColumn<bool>("hasRow");
    QTest::newRow("failure with a row") << false << true;
    QTest::newRow("failure without a row") << false << false;
    QTest::newRow("success without a row") << true << false;
}

void ListFlowUpdateTest::selectResultIsNotLookedAt()
{
    QFETCH(bool, result);
    QFETCH(bool, hasRow);
    ListPanelHarness harness;
    harness.services.results.flowSelectResult = result;
    if (!hasRow)
        harness.services.results.flows.clear();
    harness.open();
    harness.chooseJob(QStringLiteral("AB000042"));
    harness.dialogs.expectMessage();
    harness.reportSuccess();
    const QString seen = harness.dialogs.shown().front().text;
    QCOMPARE(seen, hasRow ? QStringLiteral("Server connect failed!") : QString::fromUtf8(missingFlow));
    QCOMPARE(harness.services.count("UpdateState"), hasRow ? 1 : 0);
    VERIFY_DIALOGS(harness);
}

void ListFlowUpdateTest::withoutACurrentRowNothingIsWritten()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    harness.openFor("AB000042");
    harness.dialogs.expectMessage();
    harness.reportSuccess();
    QCOMPARE(harness.services.count("UpdatePreImportOrCheckTime"), 0);
    QCOMPARE(harness.services.count("UpdateState"), 0);
    QCOMPARE(peer.connectionCount(), 0);
    VERIFY_DIALOGS(harness);
}

void ListFlowUpdateTest::userIsStamped()
{
    ListPanelHarness harness;
    harness.services.results.user.userId = -3;
    harness.services.results.user.userName = "操作员\U0001F600";
    harness.open();
    harness.chooseJob(QStringLiteral("AB000042"));
    harness.dialogs.expectMessage();
    harness.reportSuccess();
    QCOMPARE(harness.services.callsOf("UpdatePreImportOrCheckTime"),
             QStringList{stamped("key-42", -3, "操作员\U0001F600")});
    QCOMPARE(harness.services.callsOf("UpdateState"), QStringList{stateOf("key-42", -3)});
    VERIFY_DIALOGS(harness);
}

void ListFlowUpdateTest::userIsFetchedForEachUpdate()
{
    ListPanelHarness harness;
    harness.open();
    harness.chooseJob(QStringLiteral("AB000042"));
    harness.dialogs.expectMessage();
    harness.reportSuccess();
    harness.services.results.user.userId = 6;
    harness.services.results.user.userName = "other";
    harness.dialogs.expectMessage();
    harness.reportSuccess();
    const QStringList expected{stamped("key-42"), stamped("key-42", 6, "other")};
    QCOMPARE(harness.services.callsOf("UpdatePreImportOrCheckTime"), expected);
    QCOMPARE(harness.services.count("getCurrentUser"), 2);
    VERIFY_DIALOGS(harness);
}

void ListFlowUpdateTest::failedUpdatesDoNotStopTheRequest()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.services.results.rowWriteResult = false;
    harness.open();
    harness.chooseJob(QStringLiteral("AB000042"));
    harness.reportSuccess();
    COMPARE_JOURNAL(harness,
                    {call("getCurrentUser"), selectOf("AB000042"), stamped("key-42"), stateOf("key-42"),
                     call("getConfig"), call("getConfig"), call("webJobHaveSent")});
    QTRY_VERIFY(peer.received().value(0).contains("AB000042"));
    VERIFY_DIALOGS(harness);
}

void ListFlowUpdateTest::modeDoesNotMatter_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("0") << 0;
    QTest::newRow("1") << 1;
    QTest::newRow("5") << 5;
}

void ListFlowUpdateTest::modeDoesNotMatter()
{
    QFETCH(int, mode);
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open(mode);
    harness.chooseJob(QStringLiteral("AB000042"));
    harness.reportSuccess();
    COMPARE_JOURNAL(harness,
                    {call("getCurrentUser"), selectOf("AB000042"), stamped("key-42"), stateOf("key-42"),
                     call("getConfig"), call("getConfig"), call("webJobHaveSent")});
    VERIFY_DIALOGS(harness);
}

void ListFlowUpdateTest::slotIsInvokedThroughTheMetaObject()
{
    ListPanelHarness harness;
    harness.services.results.flows.clear();
    harness.open();
    harness.chooseJob(QStringLiteral("AB000041"));
    harness.dialogs.expectMessage();
    QVERIFY(QMetaObject::invokeMethod(&harness.panel(), "s_hasImportSuccess"));
    QCOMPARE(harness.services.callsOf("Odbpp_JobFlowBll::select"), QStringList{selectOf("AB000041")});
    VERIFY_DIALOGS(harness);
}

ZAV_REGISTER_TEST(list_flow_update, ListFlowUpdateTest, QApplication)

#include "list_flow_update.moc"
