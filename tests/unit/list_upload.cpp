#include "tests/support/ListPanelHarness.h"
#include "tests/support/TestProgram.h"

#include "services/ui/ZAV_UICommon.h"

#include <QApplication>
#include <QTest>

#include <limits>

using KOZAV::Test::call;
using KOZAV::Test::ListPanelHarness;
using KOZAV::UI::ZAV_UICommon;

class ListUploadTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void robotArchiveIsUploadedAgain_data();
    void robotArchiveIsUploadedAgain();
    void robotResultIsIgnored();
    void prefileIsRecorded_data();
    void prefileIsRecorded();
    void prefileResultIsDiscarded_data();
    void prefileResultIsDiscarded();
    void withoutAModeThePrefileIsRecorded();
    void textsAreUtf8_data();
    void textsAreUtf8();
    void emptyTextsAreHandedOn();
    void userIsFetchedForEachUpload();
    void panelStaysAsItIs();
    void openingRecordIsKept();
    void slotIsInvokedThroughTheMetaObject();
};

namespace {

void requestUpload(const char* first = "a", const char* second = "b", const char* third = "c")
{
    Q_EMIT ZAV_UICommon::interface()->import_to_ZAV(QString::fromUtf8(first), QString::fromUtf8(second),
                                                    QString::fromUtf8(third));
}

void addModes(std::initializer_list<int> modes)
{
    QTest::addColumn<int>("mode");
    for (const int mode : modes)
        QTest::newRow(QByteArray::number(mode).constData()) << mode;
}

} // namespace

void ListUploadTest::robotArchiveIsUploadedAgain_data()
{
    addModes({1, 2, 5, std::numeric_limits<int>::max()});
}

void ListUploadTest::robotArchiveIsUploadedAgain()
{
    QFETCH(int, mode);
    ListPanelHarness harness;
    harness.services.recordsObjects = true;
    harness.open(mode);
    harness.openFor("AB000042", QStringLiteral("up.tgz"));
    requestUpload();
    COMPARE_JOURNAL(harness,
                    {call("getCurrentUser"), call("kozav_reupload_robot_tgz", "a", "AB000042", 5, "operator"),
                     call("robotImportComplete")});
    VERIFY_DIALOGS(harness);
}

void ListUploadTest::robotResultIsIgnored()
{
    ListPanelHarness harness;
    harness.services.results.reuploadResult = false;
    harness.open(1);
    harness.openFor("AB000042");
    requestUpload();
    QCOMPARE(harness.services.count("kozav_reupload_robot_tgz"), 1);
    QCOMPARE(harness.services.count("robotImportComplete"), 1);
    VERIFY_DIALOGS(harness);
}

void ListUploadTest::prefileIsRecorded_data()
{
    addModes({0, -1, -5, std::numeric_limits<int>::min()});
}

void ListUploadTest::prefileIsRecorded()
{
    QFETCH(int, mode);
    ListPanelHarness harness;
    harness.services.recordsObjects = true;
    harness.open(mode);
    harness.openFor("AB000042", QStringLiteral("up.tgz"));
    requestUpload();
    COMPARE_JOURNAL(harness, {call("getCurrentUser"), call("kozav_upload_prefile2mysql", "opened-flow",
                                                           "AB000042", "b", "a", "c", 5, "operator")});
    VERIFY_DIALOGS(harness);
}

void ListUploadTest::prefileResultIsDiscarded_data()
{
    QTest::addColumn<QString>("result");
    QTest::newRow("failure") << QString();
    QTest::newRow("key") << QStringLiteral("17");
    QTest::newRow("any text") << QStringLiteral("error: no such job");
}

void ListUploadTest::prefileResultIsDiscarded()
{
    QFETCH(QString, result);
    ListPanelHarness harness;
    harness.services.results.prefileResult = result.toStdString();
    harness.open(0);
    requestUpload();
    QCoreApplication::processEvents();
    COMPARE_JOURNAL(harness, {call("getCurrentUser"),
                              call("kozav_upload_prefile2mysql", "", "", "b", "a", "c", 5, "operator")});
    VERIFY_DIALOGS(harness);
}

void ListUploadTest::withoutAModeThePrefileIsRecorded()
{
    ListPanelHarness harness;
    harness.open();
    harness.openFor("AB000042");
    requestUpload();
    COMPARE_JOURNAL(harness, {call("getCurrentUser"), call("kozav_upload_prefile2mysql", "opened-flow",
                                                           "AB000042", "b", "a", "c", 5, "operator")});
}

void ListUploadTest::textsAreUtf8_data()
{
    addModes({0, 1});
}

void ListUploadTest::textsAreUtf8()
{
    QFETCH(int, mode);
    ListPanelHarness harness;
    harness.services.results.user.userId = -3;
    harness.services.results.user.userName = "操作员\U0001F600";
    harness.open(mode);
    harness.panel().setFlowGuid({"键", "料号", "来源", "公司", QStringLiteral("文件")});
    requestUpload("/tmp/存档\U0001F600.tgz", "乙", "caf\u00e9");
    const QString expected = mode == 1 ? call("kozav_reupload_robot_tgz", "/tmp/存档\U0001F600.tgz", "料号",
                                              -3, "操作员\U0001F600")
                                       : call("kozav_upload_prefile2mysql", "键", "料号", "乙",
                                              "/tmp/存档\U0001F600.tgz", "caf\u00e9", -3, "操作员\U0001F600");
    QCOMPARE(harness.services.journal().value(1), expected);
}

void ListUploadTest::emptyTextsAreHandedOn()
{
    ListPanelHarness harness;
    harness.open(1);
    requestUpload("", "", "");
    COMPARE_JOURNAL(harness, {call("getCurrentUser"), call("kozav_reupload_robot_tgz", "", "", 5, "operator"),
                              call("robotImportComplete")});
}

void ListUploadTest::userIsFetchedForEachUpload()
{
    ListPanelHarness harness;
    harness.open(1);
    requestUpload("first");
    harness.services.results.user.userId = 6;
    harness.services.results.user.userName = "other";
    requestUpload("second");
    COMPARE_JOURNAL(
        harness, {call("getCurrentUser"), call("kozav_reupload_robot_tgz", "first", "", 5, "operator"),
                  call("robotImportComplete"), call("getCurrentUser"),
                  call("kozav_reupload_robot_tgz", "second", "", 6, "other"), call("robotImportComplete")});
}

void ListUploadTest::panelStaysAsItIs()
{
    ListPanelHarness harness;
    harness.open(1);
    const QStringList rows = harness.rows();
    requestUpload();
    QVERIFY(harness.panel().isVisible());
    QCOMPARE(harness.rows(), rows);
}

void ListUploadTest::openingRecordIsKept()
{
    ListPanelHarness harness;
    harness.open(0);
    harness.openFor("AB000042", QStringLiteral("up.tgz"));
    requestUpload("first");
    requestUpload("second");
    COMPARE_JOURNAL(
        harness,
        {call("getCurrentUser"),
         call("kozav_upload_prefile2mysql", "opened-flow", "AB000042", "b", "first", "c", 5, "operator"),
         call("getCurrentUser"),
         call("kozav_upload_prefile2mysql", "opened-flow", "AB000042", "b", "second", "c", 5, "operator")});
}

void ListUploadTest::slotIsInvokedThroughTheMetaObject()
{
    ListPanelHarness harness;
    harness.open(1);
    QVERIFY(QMetaObject::invokeMethod(
        &harness.panel(), "on_import_import_to_ZAV", Q_ARG(QString, QStringLiteral("x")),
        Q_ARG(QString, QStringLiteral("y")), Q_ARG(QString, QStringLiteral("z"))));
    QCOMPARE(harness.services.callsOf("kozav_reupload_robot_tgz"),
             QStringList{call("kozav_reupload_robot_tgz", "x", "", 5, "operator")});
}

ZAV_REGISTER_TEST(list_upload, ListUploadTest, QApplication)

#include "list_upload.moc"
