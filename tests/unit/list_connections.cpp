#include "tests/support/ListPanelHarness.h"
#include "tests/support/TestProgram.h"

#include "services/ui/ZAV_UICommon.h"

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QLoggingCategory>
#include <QPushButton>
#include <QTest>

#include <algorithm>

using KOZAV::Test::call;
using KOZAV::Test::ListPanelHarness;
using KOZAV::UI::ZAV_UICommon;

class ListConnectionsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void sevenSignatureConnectionsInTheirOrder();
    void importButtonChecksTheChoice();
    void refreshButtonRebuildsTheTable();
    void sharedRefreshSignalRebuildsTheTable();
    void sharedUploadSignalUploads();
    void typingRebuildsTheTable();
    void settingTheFilterTextDoesNotRebuild();
    void changingTheComboRebuildsTheTable();
    void settingTheSameComboIndexDoesNotRebuild();
    void sharedSuccessSignalUpdatesTheFlow();
    void hostSignalsDoNotConcernThePanel();
    void everyPanelListensForItself();
};

namespace {

QStringList capturedLines;

void captureLine(QtMsgType, const QMessageLogContext&, const QString& text)
{
    capturedLines << text.trimmed();
}

/// The connections into an object as Qt lists them, oldest first: "<-- sender class::name slot".
QStringList connectionsInto(const QObject& object)
{
    capturedLines.clear();
    const QtMessageHandler previous = qInstallMessageHandler(captureLine);
    object.dumpObjectInfo();
    qInstallMessageHandler(previous);
    QStringList connections = capturedLines.filter(QStringLiteral("<--"));
    std::reverse(connections.begin(), connections.end());
    return connections;
}

QString connection(const char* sender, const char* slot)
{
    return QStringLiteral("<-- ") + QLatin1String(sender) + QStringLiteral("::unnamed ") +
           QLatin1String(slot);
}

} // namespace

void ListConnectionsTest::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=true"));
}

void ListConnectionsTest::sevenSignatureConnectionsInTheirOrder()
{
    ListPanelHarness harness;
    harness.build();
    const char* const shared = "KOZAV::UI::ZAV_UICommon";
    const QStringList expected{
        connection("QPushButton", "on_m_pImportPB_Clicked()"),
        connection("QPushButton", "updateImportJobTable()"),
        connection(shared, "updateImportJobTable()"),
        connection(shared, "on_import_import_to_ZAV(QString,QString,QString)"),
        connection("QLineEdit", "on_m_pFilterLE_textEdited(QString)"),
        connection("QComboBox", "on_m_pFilterCMB_currentIndexChanged(int)"),
        connection(shared, "s_hasImportSuccess()"),
    };
    // The harness listens to the panel's signals with the panel as context: those are functors, not slots.
    QStringList actual = connectionsInto(harness.panel());
    actual.erase(std::remove_if(actual.begin(), actual.end(),
                                [](const QString& line) {
                                    return line.startsWith(
                                        QStringLiteral("<-- KOZAV::UI::ZAV_Import_Widget"));
                                }),
                 actual.end());
    QCOMPARE(actual, expected);
}

void ListConnectionsTest::importButtonChecksTheChoice()
{
    ListPanelHarness harness;
    harness.open();
    harness.dialogs.expectMessage();
    harness.press(harness.importButton());
    COMPARE_JOURNAL(harness, {call("message", "Information", "请选择一行数据")});
    VERIFY_DIALOGS(harness);
}

void ListConnectionsTest::refreshButtonRebuildsTheTable()
{
    ListPanelHarness harness;
    harness.open();
    harness.listJobs({QStringLiteral("fresh")});
    harness.press(harness.refreshButton());
    COMPARE_JOURNAL(harness, {call("getInputJobList")});
    QCOMPARE(harness.jobNames(), QStringList{QStringLiteral("fresh")});
}

void ListConnectionsTest::sharedRefreshSignalRebuildsTheTable()
{
    ListPanelHarness harness;
    harness.open();
    harness.listJobs({QStringLiteral("fresh")});
    Q_EMIT ZAV_UICommon::interface()->refreshImportJobTable();
    COMPARE_JOURNAL(harness, {call("getInputJobList")});
    QCOMPARE(harness.jobNames(), QStringList{QStringLiteral("fresh")});
}

void ListConnectionsTest::sharedUploadSignalUploads()
{
    ListPanelHarness harness;
    harness.open(1);
    Q_EMIT ZAV_UICommon::interface()->import_to_ZAV(QStringLiteral("a"), QStringLiteral("b"),
                                                    QStringLiteral("c"));
    QCOMPARE(harness.services.count("kozav_reupload_robot_tgz"), 1);
}

void ListConnectionsTest::typingRebuildsTheTable()
{
    ListPanelHarness harness;
    harness.open();
    QTest::keyClicks(&harness.filter(), QStringLiteral("43"));
    COMPARE_JOURNAL(harness, {call("getInputJobList"), call("getInputJobList")});
    QCOMPARE(harness.jobNames(), QStringList{QStringLiteral("AB000043")});
}

void ListConnectionsTest::settingTheFilterTextDoesNotRebuild()
{
    ListPanelHarness harness;
    harness.open();
    harness.filter().setText(QStringLiteral("43"));
    COMPARE_JOURNAL(harness, {});
    QCOMPARE(harness.jobNames().size(), 3);
}

void ListConnectionsTest::changingTheComboRebuildsTheTable()
{
    ListPanelHarness harness;
    harness.open();
    harness.mode().addItem(QStringLiteral("另一项"));
    COMPARE_JOURNAL(harness, {});
    harness.listJobs({QStringLiteral("fresh")});
    harness.mode().setCurrentIndex(1);
    COMPARE_JOURNAL(harness, {call("getInputJobList")});
    QCOMPARE(harness.jobNames(), QStringList{QStringLiteral("fresh")});
}

void ListConnectionsTest::settingTheSameComboIndexDoesNotRebuild()
{
    ListPanelHarness harness;
    harness.open();
    harness.mode().setCurrentIndex(0);
    COMPARE_JOURNAL(harness, {});
}

void ListConnectionsTest::sharedSuccessSignalUpdatesTheFlow()
{
    ListPanelHarness harness;
    harness.open();
    harness.services.results.flows.clear();
    harness.chooseJob(QStringLiteral("AB000042"));
    harness.dialogs.expectMessage();
    harness.reportSuccess();
    QCOMPARE(harness.services.count("Odbpp_JobFlowBll::select"), 1);
    QCOMPARE(harness.dialogs.shown().size(), std::size_t(1));
    VERIFY_DIALOGS(harness);
}

void ListConnectionsTest::hostSignalsDoNotConcernThePanel()
{
    ListPanelHarness harness;
    harness.open(1);
    Q_EMIT ZAV_UICommon::interface()->origFileTableRefreshRequested();
    Q_EMIT ZAV_UICommon::interface()->emitCAMImportJobInfo(QStringLiteral("x|AB000042"));
    COMPARE_JOURNAL(harness, {});
    VERIFY_DIALOGS(harness);
}

void ListConnectionsTest::everyPanelListensForItself()
{
    ListPanelHarness harness;
    harness.open(1);
    const KOZAV::UI::ZAV_Import_Widget second(nullptr);
    static_cast<void>(harness.services.takeJournal());
    Q_EMIT ZAV_UICommon::interface()->import_to_ZAV(QStringLiteral("a"), QStringLiteral("b"),
                                                    QStringLiteral("c"));
    QCOMPARE(harness.services.count("kozav_reupload_robot_tgz"), 1);
    QCOMPARE(harness.services.count("kozav_upload_prefile2mysql"), 1);
}

ZAV_REGISTER_TEST(list_connections, ListConnectionsTest, QApplication)

#include "list_connections.moc"
