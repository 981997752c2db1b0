#include "tests/support/MarkingTranslator.h"
#include "tests/support/PanelHarness.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QSignalSpy>
#include <QTest>

using namespace KOZAV;
using KOZAV::Test::call;
using KOZAV::Test::company;
using KOZAV::Test::PanelHarness;
using KOZAV::Test::ShownDialog;

class PanelSingleImportTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void emptyPathFieldDoesNothing();
    void clearedPathFieldDoesNothing();
    void folderGivesOneMessageThenOneRefresh();
    void archiveGivesOneMessageAndNoRefresh();
    void successMessageIsExact_data();
    void successMessageIsExact();
    void successMessageIsNotTranslated();
    void unacceptedSuffixIsReportedAsSuccess_data();
    void unacceptedSuffixIsReportedAsSuccess();
    void unknownCompanyOfAnArchiveIsReportedAsSuccessAfterItsMessage();
    void unknownCompanyOfAFolderIsReportedAsSuccessAfterItsMessage();
    void failedServicesAreReportedAsSuccess();
    void twoClicksImportTwice_data();
    void twoClicksImportTwice();
    void fieldsStayAfterTheImport();
    void editedFileNameIsTheJobNameOfAFolder();
    void editedFileNameIsNotUsedForAnArchive();
    void editedPathIsNotUsed();
    void typedPathAloneImportsNothingAndSaysSuccess();
    void missingFileIsStillRegistered();
    void companyIsReadAtTheTimeOfTheImport();
    void batchControlsStayHidden();
    void jobInfoSignalIsNotEmitted();

private:
    [[nodiscard]] Test::RecordingServices& services() const { return m_harness->services; }
    [[nodiscard]] const Test::PanelView& view() const { return m_harness->view(); }
    [[nodiscard]] ShownDialog lastDialog() const { return m_harness->dialogs.lastShown(); }
    void chooseArchive(const QString& name)
    {
        m_harness->chooseFile(m_harness->makeFile(QStringLiteral("jobs/") + name));
    }
    void chooseJobFolder() { m_harness->chooseFolder(m_harness->makeFolder(QStringLiteral("jobs/folder"))); }

    std::unique_ptr<PanelHarness> m_harness;
};

void PanelSingleImportTest::init()
{
    m_harness = std::make_unique<PanelHarness>();
    services().results.companies = {company(7, "AB", "甲公司", 41, 4), company(8, "CD", "second", 9, 1)};
    m_harness->open();
    m_harness->noteMessages();
}

void PanelSingleImportTest::cleanup()
{
    VERIFY_DIALOGS(*m_harness);
    m_harness.reset();
}

void PanelSingleImportTest::emptyPathFieldDoesNothing()
{
    m_harness->press(view().singleImport);
    COMPARE_JOURNAL(*m_harness, {});
}

void PanelSingleImportTest::clearedPathFieldDoesNothing()
{
    chooseArchive(QStringLiteral("abc.kos"));
    m_harness->press(view().singleClear);
    m_harness->press(view().singleImport);
    COMPARE_JOURNAL(*m_harness, {});
}

void PanelSingleImportTest::folderGivesOneMessageThenOneRefresh()
{
    chooseJobFolder();
    m_harness->importSingle(2);
    const QStringList journal = services().journal();
    QCOMPARE(journal.count(call("message", "单个导入", "导入成功!")), 1);
    QCOMPARE(services().count("refreshOrigFileTable"), 1);
    QCOMPARE(services().count("inputJobCompress"), 1);
    QVERIFY(journal.value(journal.size() - 3).startsWith(QStringLiteral("inputJobCompress(")));
    QCOMPARE(journal.mid(journal.size() - 2),
             (QStringList{call("message", "单个导入", "导入成功!"), call("refreshOrigFileTable")}));
}

void PanelSingleImportTest::archiveGivesOneMessageAndNoRefresh()
{
    chooseArchive(QStringLiteral("abc.tgz"));
    m_harness->importSingle();
    QCOMPARE(services().count("message"), 1);
    QCOMPARE(services().lastEntry(), call("message", "单个导入", "导入成功!"));
    QCOMPARE(services().count("refreshOrigFileTable"), 0);
    QCOMPARE(services().count("inputJobCompress"), 1);
}

void PanelSingleImportTest::successMessageIsExact_data()
{
    QTest::addColumn<bool>("folder");
    QTest::newRow("folder") << true;
    QTest::newRow("archive") << false;
}

void PanelSingleImportTest::successMessageIsExact()
{
    QFETCH(bool, folder);
    if (folder)
        chooseJobFolder();
    else
        chooseArchive(QStringLiteral("abc.zip"));
    m_harness->importSingle(folder ? 2 : 1);
    QCOMPARE(lastDialog().kind, ShownDialog::Kind::Message);
    QCOMPARE(lastDialog().title, QStringLiteral("单个导入"));
    QCOMPARE(lastDialog().text, QStringLiteral("导入成功!"));
    QCOMPARE(lastDialog().furtherText, QString());
    QCOMPARE(lastDialog().icon, QMessageBox::Information);
    QCOMPARE(int(lastDialog().buttons), int(QMessageBox::Ok));
    QCOMPARE(lastDialog().parent, &m_harness->panel());
}

void PanelSingleImportTest::successMessageIsNotTranslated()
{
    Test::MarkingTranslator translator;
    for (const QString& context :
         {QStringLiteral("QObject"), QStringLiteral("KOZAV::UI::ZAV_ImportFromFile_Widget")}) {
        translator.set(context, QStringLiteral("单个导入"), QStringLiteral("translated"));
        translator.set(context, QStringLiteral("导入成功!"), QStringLiteral("translated"));
    }
    chooseArchive(QStringLiteral("abc.zip"));
    m_harness->importSingle();
    QCOMPARE(lastDialog().title, QStringLiteral("单个导入"));
    QCOMPARE(lastDialog().text, QStringLiteral("导入成功!"));
}

void PanelSingleImportTest::unacceptedSuffixIsReportedAsSuccess_data()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("tar") << QStringLiteral("abc.tar");
    QTest::newRow("capitals") << QStringLiteral("abc.ZIP");
    QTest::newRow("none") << QStringLiteral("abc");
}

void PanelSingleImportTest::unacceptedSuffixIsReportedAsSuccess()
{
    QFETCH(QString, file);
    chooseArchive(file);
    m_harness->importSingle();
    COMPARE_JOURNAL(*m_harness, {call("message", "单个导入", "导入成功!")});
}

void PanelSingleImportTest::unknownCompanyOfAnArchiveIsReportedAsSuccessAfterItsMessage()
{
    services().results.companies.clear();
    chooseArchive(QStringLiteral("abc.zip"));
    m_harness->importSingle(2);
    QCOMPARE(services().callsOf("message"),
             (QStringList{call("message", "公司名不存在", "公司名 甲公司 不存在"),
                          call("message", "单个导入", "导入成功!")}));
    QCOMPARE(services().count("inputOrigFile"), 0);
}

void PanelSingleImportTest::unknownCompanyOfAFolderIsReportedAsSuccessAfterItsMessage()
{
    services().results.companies.clear();
    chooseJobFolder();
    m_harness->importSingle(2);
    QCOMPARE(services().callsOf("message"), (QStringList{call("message", "公司名不存在", "公司名  不存在"),
                                                         call("message", "单个导入", "导入成功!")}));
    QCOMPARE(services().count("inputOrigFile"), 0);
    QCOMPARE(services().count("refreshOrigFileTable"), 1);
}

void PanelSingleImportTest::failedServicesAreReportedAsSuccess()
{
    services().results.storeStatus = 1;
    services().results.rowWriteResult = false;
    services().results.inputCompaniesResults = {false};
    chooseArchive(QStringLiteral("abc.zip"));
    m_harness->importSingle();
    QCOMPARE(services().lastEntry(), call("message", "单个导入", "导入成功!"));
    QCOMPARE(services().count("inputJobCompress"), 1);
}

void PanelSingleImportTest::twoClicksImportTwice_data()
{
    successMessageIsExact_data();
}

void PanelSingleImportTest::twoClicksImportTwice()
{
    QFETCH(bool, folder);
    if (folder)
        chooseJobFolder();
    else
        chooseArchive(QStringLiteral("abc.zip"));
    m_harness->importSingle(folder ? 2 : 1);
    m_harness->importSingle(folder ? 2 : 1);
    const QStringList flows = services().callsOf("insertflowbeforeorigfile");
    const char* const name = folder ? "folder" : "abc";
    QCOMPARE(flows,
             (QStringList{call("insertflowbeforeorigfile", name, 5, "F20240102030405678", "AB000042"),
                          call("insertflowbeforeorigfile", name, 5, "F20240102030405678", "AB000043")}));
}

void PanelSingleImportTest::fieldsStayAfterTheImport()
{
    chooseArchive(QStringLiteral("abc.zip"));
    m_harness->importSingle();
    QCOMPARE(view().singlePath->text(), m_harness->path(QStringLiteral("jobs/abc.zip")));
    QCOMPARE(view().fileName->text(), QStringLiteral("abc"));
}

void PanelSingleImportTest::editedFileNameIsTheJobNameOfAFolder()
{
    chooseJobFolder();
    view().fileName->clear();
    QTest::keyClicks(view().fileName, QStringLiteral("other name"));
    m_harness->importSingle(2);
    QCOMPARE(services().callsOf("inputOrigFile"),
             QStringList{call("inputOrigFile", "guid-1", "other name", "archive-1.zip", "", "AB", 0, 5)});
    QCOMPARE(
        services().callsOf("insertflowbeforeorigfile"),
        QStringList{call("insertflowbeforeorigfile", "other name", 5, "F20240102030405678", "AB000042")});
}

void PanelSingleImportTest::editedFileNameIsNotUsedForAnArchive()
{
    chooseArchive(QStringLiteral("abc.zip"));
    view().fileName->clear();
    QTest::keyClicks(view().fileName, QStringLiteral("other name"));
    m_harness->importSingle();
    QVERIFY(!services().journal().join(QLatin1Char('\n')).contains(QStringLiteral("other name")));
    QCOMPARE(services().callsOf("insertflowbeforeorigfile"),
             QStringList{call("insertflowbeforeorigfile", "abc", 5, "F20240102030405678", "AB000042")});
}

void PanelSingleImportTest::editedPathIsNotUsed()
{
    chooseArchive(QStringLiteral("abc.zip"));
    view().singlePath->clear();
    QTest::keyClicks(view().singlePath, m_harness->makeFile(QStringLiteral("jobs/other.kos")));
    m_harness->importSingle();
    QCOMPARE(services().callsOf("insertflowbeforeorigfile"),
             QStringList{call("insertflowbeforeorigfile", "abc", 5, "F20240102030405678", "AB000042")});
}

void PanelSingleImportTest::typedPathAloneImportsNothingAndSaysSuccess()
{
    QTest::keyClicks(view().singlePath, m_harness->makeFile(QStringLiteral("jobs/abc.zip")));
    m_harness->importSingle();
    COMPARE_JOURNAL(*m_harness, {call("message", "单个导入", "导入成功!")});
}

void PanelSingleImportTest::missingFileIsStillRegistered()
{
    chooseArchive(QStringLiteral("abc.zip"));
    QVERIFY(QFile::remove(m_harness->path(QStringLiteral("jobs/abc.zip"))));
    m_harness->importSingle();
    QCOMPARE(services().count("MongodbPut"), 1);
    QCOMPARE(services().count("inputJobCompress"), 1);
}

void PanelSingleImportTest::companyIsReadAtTheTimeOfTheImport()
{
    chooseArchive(QStringLiteral("abc.zip"));
    m_harness->importSingle();
    m_harness->selectCompany(QStringLiteral("second"));
    m_harness->importSingle();
    QCOMPARE(services().callsOf("inputCompanies"),
             (QStringList{call("inputCompanies", "甲公司", 5, 42), call("inputCompanies", "second", 5, 10)}));
}

void PanelSingleImportTest::batchControlsStayHidden()
{
    bool seen = false;
    services().results.hooks["inputOrigFile"] = [&] {
        seen = view().processing->isVisible() || view().progress->isVisible();
    };
    chooseArchive(QStringLiteral("abc.zip"));
    m_harness->importSingle();
    QVERIFY(!seen);
    QCOMPARE(services().count("UpdateBatchNumber"), 0);
}

void PanelSingleImportTest::jobInfoSignalIsNotEmitted()
{
    QSignalSpy spy(&m_harness->panel(), &UI::ZAV_ImportFromFile_Widget::emitimportJobInfo);
    chooseArchive(QStringLiteral("abc.kos"));
    m_harness->importSingle();
    QCOMPARE(spy.count(), 0);
}

ZAV_REGISTER_TEST(panel_single_import, PanelSingleImportTest, QApplication)

#include "panel_single_import.moc"
