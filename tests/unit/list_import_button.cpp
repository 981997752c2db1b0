#include "tests/support/ListPanelHarness.h"

#include "services/ui/ZAV_UICommon.h"
#include "tests/support/MessageCloser.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTest>

using KOZAV::Test::call;
using KOZAV::Test::ListPanelHarness;
using KOZAV::Test::MessageCloser;
using KOZAV::UI::Import_Info;
using KOZAV::UI::ZAV_UICommon;

Q_DECLARE_METATYPE(MessageCloser::Way)

class ListImportButtonTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void withoutARowOnlyTheBoxIsShown();
    void withoutARowTheNamesAreNotCompared();
    void nameThatDiffersOnlyInCaseIsRefused();
    void otherNameIsRefused_data();
    void otherNameIsRefused();
    void panelWithoutAnOpeningRecordRefusesEveryJob();
    void equalNameIsAccepted_data();
    void equalNameIsAccepted();
    void currentRowCountsNotTheSelection();
    void textOfTheCellCounts();

    void yesSendsTheJobInformation();
    void hostHearsTheJobInformation();
    void cancelSendsNothing();
    void leavingTheBoxSendsNothing_data();
    void leavingTheBoxSendsNothing();
    void sentText_data();
    void sentText();
    void constructorWithoutAModeTakesThePathsBelowOne();
    void fileNameWithoutADotIsKeptWhole();
    void everyPressAsksAgain();
    void openingRecordIsCopied();
    void laterOpeningRecordReplacesTheFirst();
    void slotIsInvokedThroughTheMetaObject();
};

namespace {

const char* const question = "确认导入job:AB000042到ZAV系统吗?";

void pressImportAndAnswer(ListPanelHarness& harness, QMessageBox::StandardButton answer)
{
    harness.dialogs.expectMessage(answer);
    harness.press(harness.importButton());
}

void chooseAndImport(ListPanelHarness& harness, const QString& job,
                     QMessageBox::StandardButton answer = QMessageBox::Yes)
{
    harness.chooseJob(job);
    pressImportAndAnswer(harness, answer);
}

} // namespace

void ListImportButtonTest::withoutARowOnlyTheBoxIsShown()
{
    ListPanelHarness harness;
    harness.services.recordsObjects = true;
    harness.open();
    harness.openFor("AB000042");
    pressImportAndAnswer(harness, QMessageBox::Ok);
    COMPARE_JOURNAL(harness, {call("message", "Information", "请选择一行数据")});
    QVERIFY(harness.panel().isVisible());
    VERIFY_DIALOGS(harness);
}

void ListImportButtonTest::withoutARowTheNamesAreNotCompared()
{
    ListPanelHarness harness;
    harness.services.results.inputJobs.clear();
    harness.open();
    pressImportAndAnswer(harness, QMessageBox::Ok);
    COMPARE_JOURNAL(harness, {call("message", "Information", "请选择一行数据")});
    VERIFY_DIALOGS(harness);
}

void ListImportButtonTest::nameThatDiffersOnlyInCaseIsRefused()
{
    ListPanelHarness harness;
    harness.open();
    harness.openFor("ab000042");
    chooseAndImport(harness, QStringLiteral("AB000042"), QMessageBox::Ok);
    COMPARE_JOURNAL(harness, {call("message", "Information", "请选择相同料号！")});
    VERIFY_DIALOGS(harness);
}

void ListImportButtonTest::otherNameIsRefused_data()
{
    QTest::addColumn<QString>("chosen");
    QTest::addColumn<QString>("openedFor");
    QTest::newRow("other number") << QStringLiteral("AB000042") << QStringLiteral("AB000043");
    QTest::newRow("start of the name") << QStringLiteral("AB000042") << QStringLiteral("AB00004");
    QTest::newRow("longer than the name") << QStringLiteral("AB000042") << QStringLiteral("AB0000420");
    QTest::newRow("blank after") << QStringLiteral("AB000042") << QStringLiteral("AB000042 ");
    QTest::newRow("blank before") << QStringLiteral("AB000042") << QStringLiteral(" AB000042");
    QTest::newRow("empty") << QStringLiteral("AB000042") << QString();
    QTest::newRow("other composition") << QStringLiteral("caf\u00e9") << QStringLiteral("cafe\u0301");
    QTest::newRow("other case beyond ASCII") << QStringLiteral("\u00e9") << QStringLiteral("\u00c9");
}

void ListImportButtonTest::otherNameIsRefused()
{
    QFETCH(QString, chosen);
    QFETCH(QString, openedFor);
    ListPanelHarness harness;
    harness.listJobs({chosen});
    harness.open();
    harness.openFor(openedFor.toUtf8().constData());
    chooseAndImport(harness, chosen, QMessageBox::Ok);
    COMPARE_JOURNAL(harness, {call("message", "Information", "请选择相同料号！")});
    QVERIFY(harness.panel().isVisible());
    VERIFY_DIALOGS(harness);
}

void ListImportButtonTest::panelWithoutAnOpeningRecordRefusesEveryJob()
{
    ListPanelHarness harness;
    harness.open();
    chooseAndImport(harness, QStringLiteral("AB000042"), QMessageBox::Ok);
    COMPARE_JOURNAL(harness, {call("message", "Information", "请选择相同料号！")});
    VERIFY_DIALOGS(harness);
}

void ListImportButtonTest::equalNameIsAccepted_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("plain") << QStringLiteral("AB000042");
    QTest::newRow("Chinese") << QStringLiteral("料号甲");
    QTest::newRow("four bytes") << QStringLiteral("a\U0001F600");
    QTest::newRow("blanks") << QStringLiteral(" a b ");
    QTest::newRow("accent") << QStringLiteral("caf\u00e9");
}

void ListImportButtonTest::equalNameIsAccepted()
{
    QFETCH(QString, name);
    ListPanelHarness harness;
    harness.listJobs({QStringLiteral("before"), name});
    harness.open();
    harness.openFor(name.toUtf8().constData());
    chooseAndImport(harness, name);
    COMPARE_JOURNAL(harness, {call("message", QStringLiteral("Information"),
                                   QStringLiteral("确认导入job:") + name + QStringLiteral("到ZAV系统吗?")),
                              call("sendemitCAMImportJobInfo", QStringLiteral("source|") + name)});
    VERIFY_DIALOGS(harness);
}

void ListImportButtonTest::currentRowCountsNotTheSelection()
{
    ListPanelHarness harness;
    harness.open();
    harness.openFor("AB000042");
    harness.chooseJob(QStringLiteral("AB000042"));
    harness.table().clearSelection();
    QCOMPARE(harness.table().currentRow(), 1);
    pressImportAndAnswer(harness, QMessageBox::Yes);
    QCOMPARE(harness.services.callsOf("sendemitCAMImportJobInfo"),
             QStringList{call("sendemitCAMImportJobInfo", "source|AB000042")});
    VERIFY_DIALOGS(harness);
}

void ListImportButtonTest::textOfTheCellCounts()
{
    ListPanelHarness harness;
    harness.open();
    harness.openFor("AB000099");
    harness.table().item(1, 2)->setText(QStringLiteral("AB000099"));
    chooseAndImport(harness, QStringLiteral("AB000099"));
    QCOMPARE(harness.services.callsOf("sendemitCAMImportJobInfo"),
             QStringList{call("sendemitCAMImportJobInfo", "source|AB000099")});
    VERIFY_DIALOGS(harness);
}

void ListImportButtonTest::yesSendsTheJobInformation()
{
    ListPanelHarness harness;
    harness.services.recordsObjects = true;
    harness.open();
    harness.openFor("AB000042");
    chooseAndImport(harness, QStringLiteral("AB000042"));
    COMPARE_JOURNAL(harness, {call("message", "Information", question),
                              call("sendemitCAMImportJobInfo", "source|AB000042")});
    QVERIFY(harness.panel().isVisible());
    VERIFY_DIALOGS(harness);
}

void ListImportButtonTest::hostHearsTheJobInformation()
{
    ListPanelHarness harness;
    harness.open();
    harness.openFor("AB000042");
    QSignalSpy spy(ZAV_UICommon::interface(), &ZAV_UICommon::emitCAMImportJobInfo);
    chooseAndImport(harness, QStringLiteral("AB000042"));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.first().at(0).toString(), QStringLiteral("source|AB000042"));
    VERIFY_DIALOGS(harness);
}

void ListImportButtonTest::cancelSendsNothing()
{
    ListPanelHarness harness;
    harness.open();
    harness.openFor("AB000042");
    chooseAndImport(harness, QStringLiteral("AB000042"), QMessageBox::Cancel);
    COMPARE_JOURNAL(harness, {call("message", "Information", question)});
    QVERIFY(harness.panel().isVisible());
    QCOMPARE(harness.table().currentRow(), 1);
    VERIFY_DIALOGS(harness);
}

void ListImportButtonTest::leavingTheBoxSendsNothing_data()
{
    QTest::addColumn<MessageCloser::Way>("way");
    QTest::newRow("window closed") << MessageCloser::Way::WindowClose;
    QTest::newRow("escape key") << MessageCloser::Way::EscapeKey;
}

void ListImportButtonTest::leavingTheBoxSendsNothing()
{
    QFETCH(MessageCloser::Way, way);
    ListPanelHarness harness;
    harness.open();
    harness.openFor("AB000042");
    harness.chooseJob(QStringLiteral("AB000042"));
    const MessageCloser closer(way);
    harness.press(harness.importButton());
    QCOMPARE(closer.closedCount(), 1);
    COMPARE_JOURNAL(harness, {});
    QVERIFY(harness.panel().isVisible());
    VERIFY_DIALOGS(harness);
}

void ListImportButtonTest::sentText_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("text");
    const auto add = [](const char* row, int mode, const char* fileName, const char* text) {
        QTest::newRow(row) << mode << QString::fromUtf8(fileName) << QString::fromUtf8(text);
    };
    add("-7, no file name", -7, "", "source|AB000042");
    add("-1, no file name", -1, "", "source|AB000042");
    add("-1, suffix", -1, "up.tgz", "up|AB000042|ISWEB");
    add("-1, several dots", -1, "up.v1.tgz", "up.v1|AB000042|ISWEB");
    add("0, no file name", 0, "", "source|AB000042");
    add("0, suffix", 0, "up.tgz", "up|AB000042|ISWEB");
    add("0, no dot", 0, "upload", "upload|AB000042|ISWEB");
    add("0, leading dot", 0, ".kos", "|AB000042|ISWEB");
    add("0, UTF-8", 0, "上传\U0001F600.zip", "上传\U0001F600|AB000042|ISWEB");
    add("1, no file name", 1, "", "|AB000042|ROBOT");
    add("1, suffix", 1, "done.tgz", "done|AB000042|ROBOT");
    add("1, no dot", 1, "done", "done|AB000042|ROBOT");
    add("1, leading dot", 1, ".kos", "|AB000042|ROBOT");
    add("5, no file name", 5, "", "|AB000042|ROBOT");
    add("5, several dots", 5, "done.v1.tgz", "done.v1|AB000042|ROBOT");
}

void ListImportButtonTest::sentText()
{
    QFETCH(int, mode);
    QFETCH(QString, fileName);
    QFETCH(QString, text);
    ListPanelHarness harness;
    harness.open(mode);
    harness.openFor("AB000042", fileName);
    chooseAndImport(harness, QStringLiteral("AB000042"));
    COMPARE_JOURNAL(harness,
                    {call("message", "Information", question), call("sendemitCAMImportJobInfo", text)});
    VERIFY_DIALOGS(harness);
}

void ListImportButtonTest::constructorWithoutAModeTakesThePathsBelowOne()
{
    ListPanelHarness harness;
    harness.open();
    harness.openFor("AB000042");
    chooseAndImport(harness, QStringLiteral("AB000042"));
    harness.openFor("AB000042", QStringLiteral("up.tgz"));
    pressImportAndAnswer(harness, QMessageBox::Yes);
    Q_EMIT ZAV_UICommon::interface()->import_to_ZAV(QStringLiteral("a"), QStringLiteral("b"),
                                                    QStringLiteral("c"));
    COMPARE_JOURNAL(
        harness,
        {call("message", "Information", question), call("sendemitCAMImportJobInfo", "source|AB000042"),
         call("message", "Information", question), call("sendemitCAMImportJobInfo", "up|AB000042|ISWEB"),
         call("getCurrentUser"),
         call("kozav_upload_prefile2mysql", "opened-flow", "AB000042", "b", "a", "c", 5, "operator")});
    VERIFY_DIALOGS(harness);
}

void ListImportButtonTest::fileNameWithoutADotIsKeptWhole()
{
    ListPanelHarness harness;
    harness.open(0);
    harness.openFor("AB000042", QStringLiteral("no-suffix"));
    chooseAndImport(harness, QStringLiteral("AB000042"));
    QCOMPARE(harness.services.callsOf("sendemitCAMImportJobInfo"),
             QStringList{call("sendemitCAMImportJobInfo", "no-suffix|AB000042|ISWEB")});
    VERIFY_DIALOGS(harness);
}

void ListImportButtonTest::everyPressAsksAgain()
{
    ListPanelHarness harness;
    harness.open();
    harness.openFor("AB000042", QStringLiteral("up.tgz"));
    chooseAndImport(harness, QStringLiteral("AB000042"));
    pressImportAndAnswer(harness, QMessageBox::Cancel);
    pressImportAndAnswer(harness, QMessageBox::Yes);
    const QString asked = call("message", "Information", question);
    const QString sent = call("sendemitCAMImportJobInfo", "up|AB000042|ISWEB");
    COMPARE_JOURNAL(harness, {asked, sent, asked, asked, sent});
    VERIFY_DIALOGS(harness);
}

void ListImportButtonTest::openingRecordIsCopied()
{
    ListPanelHarness harness;
    harness.open();
    Import_Info record{"flow", "AB000042", "source", "company", QStringLiteral("up.tgz")};
    harness.panel().setFlowGuid(record);
    record = {"x", "x", "x", "x", QStringLiteral("x")};
    chooseAndImport(harness, QStringLiteral("AB000042"));
    QCOMPARE(harness.services.callsOf("sendemitCAMImportJobInfo"),
             QStringList{call("sendemitCAMImportJobInfo", "up|AB000042|ISWEB")});
    VERIFY_DIALOGS(harness);
}

void ListImportButtonTest::laterOpeningRecordReplacesTheFirst()
{
    ListPanelHarness harness;
    harness.open();
    harness.panel().setFlowGuid({"flow", "AB000041", "first", "company", QStringLiteral("up.tgz")});
    harness.panel().setFlowGuid({"flow", "AB000042", "second", "company", QString()});
    chooseAndImport(harness, QStringLiteral("AB000042"));
    QCOMPARE(harness.services.callsOf("sendemitCAMImportJobInfo"),
             QStringList{call("sendemitCAMImportJobInfo", "second|AB000042")});
    VERIFY_DIALOGS(harness);
}

void ListImportButtonTest::slotIsInvokedThroughTheMetaObject()
{
    ListPanelHarness harness;
    harness.open();
    harness.openFor("AB000042");
    harness.chooseJob(QStringLiteral("AB000042"));
    harness.dialogs.expectMessage(QMessageBox::Yes);
    QVERIFY(QMetaObject::invokeMethod(&harness.panel(), "on_m_pImportPB_Clicked"));
    QCOMPARE(harness.services.count("sendemitCAMImportJobInfo"), 1);
    VERIFY_DIALOGS(harness);
}

ZAV_REGISTER_TEST(list_import_button, ListImportButtonTest, QApplication)

#include "list_import_button.moc"
