#include "tests/support/MarkingTranslator.h"
#include "tests/support/PanelHarness.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTest>

using namespace KOZAV;
using KOZAV::Test::call;
using KOZAV::Test::company;
using KOZAV::Test::PanelHarness;
using KOZAV::Test::ShownDialog;

class PanelBatchImportTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void threeJobsOfOneCompanyAndNoneOfAnother();
    void wholeJournalOfOneFolderAndOneArchive();
    void folderGoesToTheFolderImportAndEveryFileToTheArchiveImport();
    void filesBesideTheCompaniesAreNeverImported();
    void hiddenDirectoriesAreNotListed();
    void hiddenJobsAreNotListed();
    void companiesComeByNameWithoutCase();
    void jobsComeByNameWithoutCase();
    void pathsAreNotResolvedThroughLinks();
    void allJobsOfACompanyHaveOneBatchNumber();
    void batchNumberAdvancesByOneEachRun();
    void consecutiveJobNumbersWithinABatch();
    void directoryNameIsTheCompanyNameExactly();
    void failedSelectWithRowsIsImported();
    void failedUpdateBatchNumberChangesNothing();
    void firstOfTwoEqualCompaniesCounts();

    void unknownCompanyIsNotWrittenAndEachJobHasABox();
    void unknownCompanyDoesNotStopTheOthers();
    void unknownCompanyAtTheEndKeepsTheLastBatchNumber();
    void unknownCompanyAloneShowsBatchNumberZero();
    void failedJobDoesNotStopTheLoop();
    void unacceptedFilesAreSilent();

    void closingMessagesAreExact();
    void closingMessageTitleIsTranslatedWithoutThePanel();
    void lastBatchNumberIsThatOfTheLastCompany();
    void hostTableIsRefreshedOnceAtTheEnd();
    void emptyBatchDirectoryDoesNothing();
    void missingBatchDirectoryDoesNothing();
    void withoutADirectoryTheCurrentOneIsMeant();
    void directoryIsReadFromTheChoiceNotFromTheField();
    void jobInfoSignalIsNotEmitted();
    void noDataAccessObjectRemains();
    void tenThousandEntries();

private:
    [[nodiscard]] Test::RecordingServices& services() const { return m_harness->services; }
    void chooseBatch() { m_harness->chooseBatchDirectory(m_harness->makeFolder(QStringLiteral("batch"))); }
    void makeJobs(const QStringList& names) const;

    std::unique_ptr<PanelHarness> m_harness;
    QString m_startDirectory = QDir::currentPath();
};

namespace {

const std::map<std::string, int> noNumbers;

QString selectOf(const char* name)
{
    return call("Odbpp_CompanyBll::select", std::map<std::string, std::string>{{"CompanyName", name}},
                noNumbers);
}

} // namespace

void PanelBatchImportTest::init()
{
    m_harness = std::make_unique<PanelHarness>();
    services().results.companies = {company(7, "AA", "A", 41, 4), company(8, "BB", "B", 0, 10)};
    m_harness->open();
}

void PanelBatchImportTest::cleanup()
{
    VERIFY_DIALOGS(*m_harness);
    QDir::setCurrent(m_startDirectory);
    m_harness.reset();
}

/// Names below the batch directory; one that ends in a slash is a folder.
void PanelBatchImportTest::makeJobs(const QStringList& names) const
{
    for (const QString& name : names) {
        const QString below = QStringLiteral("batch/") + name;
        if (name.endsWith(QLatin1Char('/')))
            m_harness->makeFolder(below);
        else
            m_harness->makeFile(below);
    }
}

void PanelBatchImportTest::threeJobsOfOneCompanyAndNoneOfAnother()
{
    makeJobs({QStringLiteral("A/one/"), QStringLiteral("A/two/"), QStringLiteral("A/three.tgz"),
              QStringLiteral("B/")});
    chooseBatch();
    m_harness->importBatch();
    QCOMPARE(services().count("inputJobCompressByFolder"), 2);
    QCOMPARE(services().count("inputJobCompress"), 1);
    QCOMPARE(services().callsOf("UpdateBatchNumber"),
             (QStringList{call("UpdateBatchNumber", 5, 7), call("UpdateBatchNumber", 11, 8)}));
    QCOMPARE(m_harness->dialogs.lastShown().text, QStringLiteral("当前批号：11"));
}

void PanelBatchImportTest::wholeJournalOfOneFolderAndOneArchive()
{
    const auto& config = services().results.config;
    makeJobs({QStringLiteral("A/job/"), QStringLiteral("A/x.tgz")});
    chooseBatch();
    m_harness->noteMessages();
    m_harness->importBatch();
    const QString folderKey = m_harness->path(QStringLiteral("batch/A/job/"));
    COMPARE_JOURNAL(
        *m_harness,
        {selectOf("A"),
         // The folder.
         call("getConfig"), call("FoldersCompressSave2MongoDb", folderKey, config.uploadCacheDir),
         call("getCurrentUser"), selectOf("A"), call("inputCompanies", "A", 5, 42), call("GetTimeStr"),
         call("getGUID"), call("inputOrigFile", "guid-1", "job", "archive-1.zip", "", "AA", 0, 5),
         call("insertflowbeforeorigfile", "job", 5, "F20240102030405678", "AA000042"),
         call("UpdateOrigFileGuid", "guid-1", "flow-1"), call("updateUploadBatchNum", 5, "flow-1"),
         call("getConfig"),
         call("inputJobCompressByFolder", "A", "AA", 7, "job", "flow-1", "archive-1.zip", "", "", "jobs_fs",
              5, 42, "", "", ""),
         // The archive.
         call("getGUID"), call("getConfig"), call("getConfig"), call("getConfig"),
         call("MongodbPut", "jobs_db", "jobs_fs", config.uploadCacheDir + "guid-2.tgz", "guid-2.tgz"),
         call("getCurrentUser"), selectOf("A"), call("inputCompanies", "A", 5, 43), call("getGUID"),
         call("inputOrigFile", "guid-3", "x", "guid-2.tgz", "tgz", "AA", 0, 5), call("GetTimeStr"),
         call("insertflowbeforeorigfile", "x", 5, "F20240102030405678", "AA000043"),
         call("UpdateOrigFileGuid", "guid-3", "flow-2"), call("updateUploadBatchNum", 5, "flow-2"),
         call("getConfig"),
         call("inputJobCompress", "A", "AA", 7, "x", "flow-2", "guid-2.tgz", "tgz", "", "jobs_fs", 5, 43),
         // The end.
         call("UpdateBatchNumber", 5, 7), call("message", "Information", "原始数据导入完成"),
         call("message", "Information", "当前批号：5"), call("refreshOrigFileTable")});
}

void PanelBatchImportTest::folderGoesToTheFolderImportAndEveryFileToTheArchiveImport()
{
    makeJobs({QStringLiteral("A/folder.tgz/"), QStringLiteral("A/notes.txt"), QStringLiteral("A/x.tgz")});
    chooseBatch();
    m_harness->importBatch();
    QCOMPARE(services().count("FoldersCompressSave2MongoDb"), 1);
    QVERIFY(services()
                .callsOf("FoldersCompressSave2MongoDb")
                .first()
                .contains(QStringLiteral("A/folder.tgz/\"")));
    QCOMPARE(services().count("MongodbPut"), 1);
    QVERIFY(services().callsOf("inputOrigFile").value(1).contains(QStringLiteral("\"x\"")));
}

void PanelBatchImportTest::filesBesideTheCompaniesAreNeverImported()
{
    makeJobs({QStringLiteral("A/"), QStringLiteral("loose.tgz"), QStringLiteral("B.zip")});
    chooseBatch();
    m_harness->importBatch();
    COMPARE_JOURNAL(*m_harness,
                    {selectOf("A"), call("UpdateBatchNumber", 5, 7), call("refreshOrigFileTable")});
}

void PanelBatchImportTest::hiddenDirectoriesAreNotListed()
{
    services().results.companies.push_back(company(9, "CC", ".hidden"));
    makeJobs({QStringLiteral("A/"), QStringLiteral(".hidden/job/")});
    chooseBatch();
    m_harness->importBatch();
    COMPARE_JOURNAL(*m_harness,
                    {selectOf("A"), call("UpdateBatchNumber", 5, 7), call("refreshOrigFileTable")});
}

void PanelBatchImportTest::hiddenJobsAreNotListed()
{
    makeJobs({QStringLiteral("A/.job/"), QStringLiteral("A/.x.tgz")});
    chooseBatch();
    m_harness->importBatch();
    COMPARE_JOURNAL(*m_harness,
                    {selectOf("A"), call("UpdateBatchNumber", 5, 7), call("refreshOrigFileTable")});
}

void PanelBatchImportTest::companiesComeByNameWithoutCase()
{
    services().results.companies = {company(1, "A", "b"), company(2, "B", "A"), company(3, "C", "C"),
                                    company(4, "D", "a2")};
    makeJobs({QStringLiteral("b/"), QStringLiteral("A/"), QStringLiteral("C/"), QStringLiteral("a2/")});
    chooseBatch();
    m_harness->importBatch();
    QCOMPARE(services().callsOf("Odbpp_CompanyBll::select"),
             (QStringList{selectOf("A"), selectOf("a2"), selectOf("b"), selectOf("C")}));
}

void PanelBatchImportTest::jobsComeByNameWithoutCase()
{
    makeJobs({QStringLiteral("A/b/"), QStringLiteral("A/C.zip"), QStringLiteral("A/a.zip"),
              QStringLiteral("A/D/")});
    chooseBatch();
    m_harness->importBatch();
    QStringList names;
    for (const QString& row : services().callsOf("insertflowbeforeorigfile"))
        names << row.section(QLatin1Char('"'), 1, 1);
    QCOMPARE(names, (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("C"),
                                 QStringLiteral("D")}));
}

void PanelBatchImportTest::pathsAreNotResolvedThroughLinks()
{
    m_harness->makeFolder(QStringLiteral("elsewhere/job"));
    m_harness->makeFolder(QStringLiteral("batch"));
    QVERIFY(QFile::link(m_harness->path(QStringLiteral("elsewhere")),
                        m_harness->path(QStringLiteral("batch/A"))));
    chooseBatch();
    m_harness->importBatch();
    QCOMPARE(services().callsOf("FoldersCompressSave2MongoDb").value(0),
             call("FoldersCompressSave2MongoDb", m_harness->path(QStringLiteral("batch/A/job/")),
                  services().results.config.uploadCacheDir));
}

void PanelBatchImportTest::allJobsOfACompanyHaveOneBatchNumber()
{
    makeJobs({QStringLiteral("A/one/"), QStringLiteral("A/two.zip"), QStringLiteral("B/three.rar")});
    chooseBatch();
    m_harness->importBatch();
    QCOMPARE(
        services().callsOf("updateUploadBatchNum"),
        (QStringList{call("updateUploadBatchNum", 5, "flow-1"), call("updateUploadBatchNum", 5, "flow-2"),
                     call("updateUploadBatchNum", 11, "flow-3")}));
}

void PanelBatchImportTest::batchNumberAdvancesByOneEachRun()
{
    makeJobs({QStringLiteral("A/one/"), QStringLiteral("A/two/"), QStringLiteral("A/three/")});
    chooseBatch();
    m_harness->importBatch();
    m_harness->importBatch();
    QCOMPARE(services().callsOf("UpdateBatchNumber"),
             (QStringList{call("UpdateBatchNumber", 5, 7), call("UpdateBatchNumber", 6, 7)}));
}

void PanelBatchImportTest::consecutiveJobNumbersWithinABatch()
{
    makeJobs({QStringLiteral("A/one.zip"), QStringLiteral("A/three.kos"), QStringLiteral("A/two.tgz")});
    chooseBatch();
    m_harness->importBatch();
    QStringList names;
    for (const QString& row : services().callsOf("insertflowbeforeorigfile"))
        names << row.section(QLatin1Char('"'), 5, 5);
    QCOMPARE(names, (QStringList{QStringLiteral("AA000042"), QStringLiteral("AA000043"),
                                 QStringLiteral("AA000044")}));
}

void PanelBatchImportTest::directoryNameIsTheCompanyNameExactly()
{
    services().results.companies = {company(3, "GR", "Größe 甲.公司", 0, 0)};
    makeJobs({QStringLiteral("Größe 甲.公司/job/")});
    chooseBatch();
    m_harness->importBatch();
    QCOMPARE(services().callsOf("Odbpp_CompanyBll::select"),
             (QStringList{selectOf("Größe 甲.公司"), selectOf("Größe 甲.公司")}));
    QCOMPARE(services().count("inputJobCompressByFolder"), 1);
}

void PanelBatchImportTest::failedSelectWithRowsIsImported()
{
    services().results.companySelectResult = false;
    makeJobs({QStringLiteral("A/job/")});
    chooseBatch();
    m_harness->importBatch();
    QCOMPARE(services().count("inputJobCompressByFolder"), 1);
    QCOMPARE(services().count("UpdateBatchNumber"), 1);
}

void PanelBatchImportTest::failedUpdateBatchNumberChangesNothing()
{
    services().results.updateBatchNumberResult = false;
    makeJobs({QStringLiteral("A/"), QStringLiteral("B/")});
    chooseBatch();
    m_harness->importBatch();
    QCOMPARE(services().count("UpdateBatchNumber"), 2);
    QCOMPARE(services().count("refreshOrigFileTable"), 1);
}

void PanelBatchImportTest::firstOfTwoEqualCompaniesCounts()
{
    services().results.companies = {company(20, "S", "A", 1, 30), company(10, "F", "A", 2, 40)};
    makeJobs({QStringLiteral("A/")});
    chooseBatch();
    m_harness->importBatch();
    QCOMPARE(services().callsOf("UpdateBatchNumber"), QStringList{call("UpdateBatchNumber", 31, 20)});
}

void PanelBatchImportTest::unknownCompanyIsNotWrittenAndEachJobHasABox()
{
    makeJobs({QStringLiteral("nobody/job/"), QStringLiteral("nobody/x.zip"), QStringLiteral("nobody/y.kos")});
    chooseBatch();
    m_harness->importBatch(3);
    QCOMPARE(services().count("UpdateBatchNumber"), 0);
    QCOMPARE(services().count("inputCompanies"), 0);
    QCOMPARE(services().count("inputOrigFile"), 0);
    for (std::size_t box = 1; box <= 3; ++box) {
        QCOMPARE(m_harness->dialogs.shownAt(box).title, QStringLiteral("公司名不存在"));
        QCOMPARE(m_harness->dialogs.shownAt(box).text, QStringLiteral("公司名 nobody 不存在"));
    }
}

void PanelBatchImportTest::unknownCompanyDoesNotStopTheOthers()
{
    makeJobs({QStringLiteral("A/"), QStringLiteral("Ab nobody/"), QStringLiteral("B/job/")});
    chooseBatch();
    m_harness->importBatch();
    QCOMPARE(services().callsOf("UpdateBatchNumber"),
             (QStringList{call("UpdateBatchNumber", 5, 7), call("UpdateBatchNumber", 11, 8)}));
    QCOMPARE(services().count("inputJobCompressByFolder"), 1);
}

void PanelBatchImportTest::unknownCompanyAtTheEndKeepsTheLastBatchNumber()
{
    makeJobs({QStringLiteral("A/"), QStringLiteral("nobody/")});
    chooseBatch();
    m_harness->importBatch();
    QCOMPARE(m_harness->dialogs.lastShown().text, QStringLiteral("当前批号：5"));
}

void PanelBatchImportTest::unknownCompanyAloneShowsBatchNumberZero()
{
    makeJobs({QStringLiteral("nobody/")});
    chooseBatch();
    m_harness->importBatch();
    QCOMPARE(m_harness->dialogs.lastShown().text, QStringLiteral("当前批号：0"));
}

void PanelBatchImportTest::failedJobDoesNotStopTheLoop()
{
    services().results.inputCompaniesResults = {false, true, false, true};
    makeJobs({QStringLiteral("A/a/"), QStringLiteral("A/b/"), QStringLiteral("A/c.zip"),
              QStringLiteral("A/d.zip")});
    chooseBatch();
    m_harness->importBatch(2);
    QCOMPARE(services().count("inputJobCompressByFolder"), 1);
    QCOMPARE(services().count("inputJobCompress"), 1);
    QCOMPARE(services().callsOf("UpdateBatchNumber"), QStringList{call("UpdateBatchNumber", 5, 7)});
}

void PanelBatchImportTest::unacceptedFilesAreSilent()
{
    makeJobs({QStringLiteral("A/a.tar"), QStringLiteral("A/b.ZIP"), QStringLiteral("A/c")});
    chooseBatch();
    m_harness->importBatch();
    COMPARE_JOURNAL(*m_harness,
                    {selectOf("A"), call("UpdateBatchNumber", 5, 7), call("refreshOrigFileTable")});
}

void PanelBatchImportTest::closingMessagesAreExact()
{
    makeJobs({QStringLiteral("A/")});
    chooseBatch();
    m_harness->importBatch();
    const auto& shown = m_harness->dialogs.shown();
    QCOMPARE(shown.size(), std::size_t(3));
    QCOMPARE(shown.at(1).text, QStringLiteral("原始数据导入完成"));
    QCOMPARE(shown.at(2).text, QStringLiteral("当前批号：5"));
    for (std::size_t box = 1; box <= 2; ++box) {
        QCOMPARE(shown.at(box).kind, ShownDialog::Kind::Message);
        QCOMPARE(shown.at(box).title, QStringLiteral("Information"));
        QCOMPARE(shown.at(box).furtherText, QString());
        QCOMPARE(shown.at(box).icon, QMessageBox::Information);
        QCOMPARE(int(shown.at(box).buttons), int(QMessageBox::Ok));
        QCOMPARE(shown.at(box).parent, &m_harness->panel());
    }
}

void PanelBatchImportTest::closingMessageTitleIsTranslatedWithoutThePanel()
{
    Test::MarkingTranslator translator;
    translator.set(QStringLiteral("QObject"), QStringLiteral("Information"), QStringLiteral("translated"));
    makeJobs({QStringLiteral("A/")});
    chooseBatch();
    m_harness->importBatch();
    QCOMPARE(m_harness->dialogs.shownAt(1).title, QStringLiteral("translated"));
    QCOMPARE(m_harness->dialogs.shownAt(2).title, QStringLiteral("translated"));
}

void PanelBatchImportTest::lastBatchNumberIsThatOfTheLastCompany()
{
    services().results.companies = {company(7, "AA", "A", 0, 900), company(8, "BB", "B", 0, 2)};
    makeJobs({QStringLiteral("A/"), QStringLiteral("B/")});
    chooseBatch();
    m_harness->importBatch();
    QCOMPARE(m_harness->dialogs.lastShown().text, QStringLiteral("当前批号：3"));
}

void PanelBatchImportTest::hostTableIsRefreshedOnceAtTheEnd()
{
    makeJobs({QStringLiteral("A/a/"), QStringLiteral("A/b/"), QStringLiteral("B/")});
    chooseBatch();
    m_harness->noteMessages();
    m_harness->importBatch();
    QCOMPARE(services().count("refreshOrigFileTable"), 1);
    QCOMPARE(services().journal().mid(services().journal().size() - 3),
             (QStringList{call("message", "Information", "原始数据导入完成"),
                          call("message", "Information", "当前批号：11"), call("refreshOrigFileTable")}));
}

void PanelBatchImportTest::emptyBatchDirectoryDoesNothing()
{
    makeJobs({QStringLiteral("loose.tgz")});
    chooseBatch();
    m_harness->press(m_harness->view().batchImport);
    COMPARE_JOURNAL(*m_harness, {});
}

void PanelBatchImportTest::missingBatchDirectoryDoesNothing()
{
    chooseBatch();
    QVERIFY(QDir().rmdir(m_harness->path(QStringLiteral("batch"))));
    m_harness->press(m_harness->view().batchImport);
    COMPARE_JOURNAL(*m_harness, {});
}

void PanelBatchImportTest::withoutADirectoryTheCurrentOneIsMeant()
{
    makeJobs({QStringLiteral("A/")});
    QDir::setCurrent(m_harness->path(QStringLiteral("batch")));
    m_harness->importBatch();
    COMPARE_JOURNAL(*m_harness,
                    {selectOf("A"), call("UpdateBatchNumber", 5, 7), call("refreshOrigFileTable")});
}

void PanelBatchImportTest::directoryIsReadFromTheChoiceNotFromTheField()
{
    makeJobs({QStringLiteral("A/job/")});
    chooseBatch();
    m_harness->press(m_harness->view().batchClear);
    m_harness->importBatch();
    QCOMPARE(services().count("inputJobCompressByFolder"), 1);
}

void PanelBatchImportTest::jobInfoSignalIsNotEmitted()
{
    QSignalSpy spy(&m_harness->panel(), &UI::ZAV_ImportFromFile_Widget::emitimportJobInfo);
    makeJobs({QStringLiteral("A/job/"), QStringLiteral("A/x.kos")});
    chooseBatch();
    m_harness->importBatch();
    QCOMPARE(spy.count(), 0);
}

void PanelBatchImportTest::noDataAccessObjectRemains()
{
    makeJobs({QStringLiteral("A/job/"), QStringLiteral("A/x.zip"), QStringLiteral("nobody/y.zip")});
    chooseBatch();
    m_harness->importBatch(1);
    QCOMPARE(services().liveObjects(), 0);
}

void PanelBatchImportTest::tenThousandEntries()
{
    constexpr int entries = 10000;
    QDir companyDirectory(m_harness->makeFolder(QStringLiteral("batch/A")));
    for (int entry = 0; entry < entries; ++entry)
        QVERIFY(companyDirectory.mkdir(QStringLiteral("job%1").arg(entry, 5, 10, QLatin1Char('0'))));
    chooseBatch();
    m_harness->importBatch();
    const QStringList flows = services().callsOf("insertflowbeforeorigfile");
    QCOMPARE(flows.size(), entries);
    QCOMPARE(flows.value(0),
             call("insertflowbeforeorigfile", "job00000", 5, "F20240102030405678", "AA000042"));
    QCOMPARE(flows.value(entries - 1),
             call("insertflowbeforeorigfile", "job09999", 5, "F20240102030405678", "AA010041"));
    QCOMPARE(services().count("inputJobCompressByFolder"), entries);
    QCOMPARE(services().callsOf("UpdateBatchNumber"), QStringList{call("UpdateBatchNumber", 5, 7)});
}

ZAV_REGISTER_TEST(panel_batch_import, PanelBatchImportTest, QApplication)

#include "panel_batch_import.moc"
