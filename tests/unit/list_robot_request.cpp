#include "tests/support/ListPanelHarness.h"

#include "services/ui/ZAV_UICommon.h"
#include "tests/support/RobotPeer.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>
#include <QVBoxLayout>

using KOZAV::Test::call;
using KOZAV::Test::jobFlow;
using KOZAV::Test::ListPanelHarness;
using KOZAV::Test::RobotPeer;
using KOZAV::UI::ZAV_UICommon;
using Panel = KOZAV::UI::ZAV_Import_Widget;

/// What a panel sends, as the robot sees it, and what sending does to the panel.
class ListRobotRequestTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void bytes_data();
    void bytes();
    void documentHasItsMembersOnly();
    void jobNameWithCapitalsArrivesUnchanged();
    void emptyFileNameSaysFalseEachTime();
    void fileNameSaysTrueOnceOnly();
    void newOpeningRecordSaysTrueAgain();
    void onlyTheFileNameIsCleared();
    void fileNameIsClearedBeforeTheSignal();
    void signalIsEmittedOnceAndThenThePanelCloses();
    void panelInAHostWindowIsHidden();
    void panelThatWasNotShownSends();
    void closedPanelCanBeShownAgain();
    void panelThatIsDeletedOnCloseDelivers();
    void replyChangesNothingVisible();
    void silentServerDoesNotHoldThePanel();
    void importFromTheButtonToTheRequest();
};

namespace {

QByteArray request(const char* jsonName, bool fromWeb)
{
    return QByteArray("{\"module\":\"robot\",\"msgParams\":{\"fromWeb\":") + (fromWeb ? "true" : "false") +
           ",\"jobname\":\"" + jsonName + "\"},\"msgType\":1}";
}

/// What has arrived on the only connection; empty as long as there is none.
QByteArray arrived(const RobotPeer& peer)
{
    return peer.received().value(0);
}

/// Opens the panel for a job, chooses it and reports its import.
void send(ListPanelHarness& harness, const QString& fileName = QString())
{
    harness.openFor("AB000042", fileName);
    harness.chooseJob(QStringLiteral("AB000042"));
    harness.reportSuccess();
}

class CloseCounter final : public QObject
{
public:
    explicit CloseCounter(QObject& watched) { watched.installEventFilter(this); }
    [[nodiscard]] int count() const { return m_count; }

protected:
    bool eventFilter(QObject*, QEvent* event) override
    {
        m_count += event->type() == QEvent::Close ? 1 : 0;
        return false;
    }

private:
    int m_count = 0;
};

} // namespace

void ListRobotRequestTest::bytes_data()
{
    QTest::addColumn<QString>("job");
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QByteArray>("expected");
    const auto add = [](const char* row, const char* job, const char* fileName, const char* jsonName,
                        bool fromWeb) {
        QTest::newRow(row) << QString::fromUtf8(job) << QString::fromUtf8(fileName)
                           << request(jsonName, fromWeb);
    };
    add("no file name", "AB000042", "", "AB000042", false);
    add("file name", "AB000042", "up.tgz", "AB000042", true);
    add("file name of a blank", "AB000042", " ", "AB000042", true);
    add("small letters", "ab000042", "", "ab000042", false);
    add("blanks", " a b ", "", " a b ", false);
    add("Chinese", "料号甲", "", "料号甲", false);
    add("four bytes", "a\U0001F600", "上传", "a\U0001F600", true);
    add("quotes and backslash", "a\"b\\c", "", "a\\\"b\\\\c", false);
    add("tabulator", "a\tb", "", "a\\tb", false);
    add("slash and markup", "a/b<c>&", "", "a/b<c>&", false);
}

void ListRobotRequestTest::bytes()
{
    QFETCH(QString, job);
    QFETCH(QString, fileName);
    QFETCH(QByteArray, expected);
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.listJobs({QStringLiteral("before"), job});
    harness.services.results.flows = {jobFlow("key", job.toUtf8().constData())};
    harness.open();
    harness.openFor(job.toUtf8().constData(), fileName);
    harness.chooseJob(job);
    harness.reportSuccess();
    QTRY_COMPARE(arrived(peer), expected);
    VERIFY_DIALOGS(harness);
}

void ListRobotRequestTest::documentHasItsMembersOnly()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    send(harness);
    QTRY_VERIFY(arrived(peer).endsWith("1}"));
    const QJsonObject document = QJsonDocument::fromJson(arrived(peer)).object();
    const QStringList members{QStringLiteral("module"), QStringLiteral("msgParams"),
                              QStringLiteral("msgType")};
    QCOMPARE(document.keys(), members);
    QCOMPARE(document.value(QStringLiteral("module")).toString(), QStringLiteral("robot"));
    QVERIFY(document.value(QStringLiteral("msgType")).isDouble());
    QCOMPARE(document.value(QStringLiteral("msgType")).toInt(), 1);
    const QJsonObject parameters = document.value(QStringLiteral("msgParams")).toObject();
    const QStringList names{QStringLiteral("fromWeb"), QStringLiteral("jobname")};
    QCOMPARE(parameters.keys(), names);
    QVERIFY(parameters.value(QStringLiteral("fromWeb")).isBool());
    QVERIFY(parameters.value(QStringLiteral("jobname")).isString());
}

void ListRobotRequestTest::jobNameWithCapitalsArrivesUnchanged()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.listJobs({QStringLiteral("AbCdE000042")});
    harness.services.results.flows = {jobFlow("key", "AbCdE000042")};
    harness.open();
    harness.chooseJob(QStringLiteral("AbCdE000042"));
    harness.reportSuccess();
    QTRY_COMPARE(arrived(peer), request("AbCdE000042", false));
}

void ListRobotRequestTest::emptyFileNameSaysFalseEachTime()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    send(harness);
    harness.reportSuccess();
    QTRY_COMPARE(arrived(peer), request("AB000042", false) + request("AB000042", false));
    VERIFY_DIALOGS(harness);
}

void ListRobotRequestTest::fileNameSaysTrueOnceOnly()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    send(harness, QStringLiteral("up.tgz"));
    harness.reportSuccess();
    QTRY_COMPARE(arrived(peer), request("AB000042", true) + request("AB000042", false));
    QCOMPARE(harness.services.count("webJobHaveSent"), 2);
    VERIFY_DIALOGS(harness);
}

void ListRobotRequestTest::newOpeningRecordSaysTrueAgain()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    send(harness, QStringLiteral("up.tgz"));
    harness.openFor("AB000042", QStringLiteral("again.tgz"));
    harness.reportSuccess();
    QTRY_COMPARE(arrived(peer), request("AB000042", true) + request("AB000042", true));
}

void ListRobotRequestTest::onlyTheFileNameIsCleared()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open(0);
    send(harness, QStringLiteral("up.tgz"));
    static_cast<void>(harness.services.takeJournal());
    harness.show();
    harness.dialogs.expectMessage(QMessageBox::Yes);
    harness.press(harness.importButton());
    Q_EMIT ZAV_UICommon::interface()->import_to_ZAV(QStringLiteral("a"), QStringLiteral("b"),
                                                    QStringLiteral("c"));
    COMPARE_JOURNAL(harness, {call("message", "Information", "确认导入job:AB000042到ZAV系统吗?"),
                              call("sendemitCAMImportJobInfo", "source|AB000042"), call("getCurrentUser"),
                              call("kozav_upload_prefile2mysql", "opened-flow", "AB000042", "b", "a", "c", 5,
                                   "operator")});
    VERIFY_DIALOGS(harness);
}

void ListRobotRequestTest::fileNameIsClearedBeforeTheSignal()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    // A host that opens the panel for the next upload as soon as it hears of this one.
    const QMetaObject::Connection next = connect(&harness.panel(), &Panel::webJobHaveSent, this, [&harness] {
        harness.openFor("AB000042", QStringLiteral("next.tgz"));
    });
    send(harness, QStringLiteral("up.tgz"));
    disconnect(next);
    harness.reportSuccess();
    QTRY_COMPARE(arrived(peer), request("AB000042", true) + request("AB000042", true));
}

void ListRobotRequestTest::signalIsEmittedOnceAndThenThePanelCloses()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    const CloseCounter closing(harness.panel());
    bool wasVisible = false;
    connect(&harness.panel(), &Panel::webJobHaveSent, this,
            [&] { wasVisible = harness.panel().isVisible() && closing.count() == 0; });
    send(harness);
    QCOMPARE(harness.services.count("webJobHaveSent"), 1);
    QCOMPARE(harness.services.count("robotImportComplete"), 0);
    QCOMPARE(harness.services.count("emitCAMImportJobInfo"), 0);
    QVERIFY(wasVisible);
    QVERIFY(!harness.panel().isVisible());
    QCOMPARE(closing.count(), 1);
    VERIFY_DIALOGS(harness);
}

void ListRobotRequestTest::panelInAHostWindowIsHidden()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    QWidget host;
    QVBoxLayout layout(&host);
    auto* const panel = new Panel(&host);
    layout.addWidget(panel);
    host.show();
    QVERIFY(QTest::qWaitForWindowExposed(&host));
    panel->findChild<QTableWidget*>()->setCurrentCell(1, 2);
    harness.reportSuccess();
    QVERIFY(panel->isHidden());
    QVERIFY(host.isVisible());
    QTRY_COMPARE(arrived(peer), request("AB000042", false));
    VERIFY_DIALOGS(harness);
}

void ListRobotRequestTest::panelThatWasNotShownSends()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.build();
    harness.table().setCurrentCell(1, 2);
    harness.reportSuccess();
    QCOMPARE(harness.services.count("webJobHaveSent"), 1);
    QTRY_COMPARE(arrived(peer), request("AB000042", false));
    VERIFY_DIALOGS(harness);
}

void ListRobotRequestTest::closedPanelCanBeShownAgain()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    send(harness);
    QCoreApplication::processEvents();
    QVERIFY(harness.hasPanel());
    harness.show();
    QCOMPARE(harness.rows().size(), 3);
    QCOMPARE(harness.table().currentRow(), 1);
    harness.chooseJob(QStringLiteral("AB000043"));
    harness.reportSuccess();
    QTRY_COMPARE(arrived(peer), request("AB000042", false) + request("AB000043", false));
    VERIFY_DIALOGS(harness);
}

void ListRobotRequestTest::panelThatIsDeletedOnCloseDelivers()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    harness.panel().setAttribute(Qt::WA_DeleteOnClose);
    send(harness);
    QTRY_VERIFY(!harness.hasPanel());
    QTRY_COMPARE(arrived(peer), request("AB000042", false));
    QCOMPARE(harness.services.count("webJobHaveSent"), 1);
    VERIFY_DIALOGS(harness);
}

void ListRobotRequestTest::replyChangesNothingVisible()
{
    const RobotPeer peer(RobotPeer::Mode::Answer);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    send(harness);
    harness.show();
    static_cast<void>(harness.services.takeJournal());
    const QStringList rows = harness.rows();
    QTRY_COMPARE(peer.answerCount(), 1);
    QCoreApplication::processEvents(QEventLoop::AllEvents, 1000);
    COMPARE_JOURNAL(harness, {});
    QCOMPARE(harness.rows(), rows);
    QCOMPARE(harness.table().currentRow(), 1);
    QCOMPARE(harness.filter().text(), QString());
    QVERIFY(harness.panel().isVisible());
    harness.reportSuccess();
    QTRY_COMPARE(arrived(peer), request("AB000042", false) + request("AB000042", false));
    VERIFY_DIALOGS(harness);
}

void ListRobotRequestTest::silentServerDoesNotHoldThePanel()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    harness.chooseJob(QStringLiteral("AB000042"));
    QElapsedTimer elapsed;
    elapsed.start();
    harness.reportSuccess();
    QVERIFY2(elapsed.elapsed() < 1000, "The panel waits for a reply");
    QTRY_COMPARE(arrived(peer), request("AB000042", false));
}

void ListRobotRequestTest::importFromTheButtonToTheRequest()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    ListPanelHarness harness;
    harness.useRobot(peer);
    harness.open();
    harness.openFor("AB000042", QStringLiteral("up.tgz"));
    // A host that imports at once.
    connect(ZAV_UICommon::interface(), &ZAV_UICommon::emitCAMImportJobInfo, &harness.panel(),
            [&harness] { harness.reportSuccess(); });
    harness.chooseJob(QStringLiteral("AB000042"));
    harness.dialogs.expectMessage(QMessageBox::Yes);
    harness.press(harness.importButton());
    const QStringList steps = harness.services.journal();
    QCOMPARE(steps.value(1), call("sendemitCAMImportJobInfo", "up|AB000042|ISWEB"));
    QCOMPARE(steps.last(), call("webJobHaveSent"));
    QVERIFY(!harness.panel().isVisible());
    QTRY_COMPARE(arrived(peer), request("AB000042", true));
    VERIFY_DIALOGS(harness);
}

ZAV_REGISTER_TEST(list_robot_request, ListRobotRequestTest, QApplication)

#include "list_robot_request.moc"
