#include "tests/support/LocaleCodec.h"
#include "tests/support/PanelHarness.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QTest>

using namespace KOZAV;
using KOZAV::Test::call;
using KOZAV::Test::company;
using KOZAV::Test::LocaleCodec;
using KOZAV::Test::PanelHarness;
using KOZAV::Test::ShownDialog;

class PanelFolderImportTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    // A folder of a batch.
    void everyCallInOrder();
    void dataAccessObjectsLiveForOneImport();
    void manifestValuesAreHandedOn();
    void folderWithoutManifestHasEmptyValues();
    void manifestIsGoneAtTheTimeOfPacking();
    void unknownCompanyIsPackedButNotWritten();
    void unwrittenCounterIsPackedButNotWritten();
    void companyMessageIsExact_data();
    void companyMessageIsExact();
    void failedSelectWithRowsGoesOn();
    void firstOfTwoEqualCompaniesCounts();
    void companyNameOfTheRowGoesIntoTheCompressRow();
    void generatedJobName_data();
    void generatedJobName();
    void failuresOfTheOtherServicesAreNotNoticed();
    void emptyArchiveIdGivesABareSuffix();
    void emptyFlowGuidIsHandedOn();
    void batchNumberIsHandedOn();
    void configurationIsFetchedAfreshForTheCompressRow();
    void jobNameIsTheArgumentNotTheFolder();
    void folderKeyIsLocal8Bit();
    void stagingDirectoryIsLocal8Bit();
    void jobNameIsUtf8WhateverTheCodePage();
    void companyListIsNotRead();

    // A folder chosen by hand.
    void singleEveryCallInOrder();
    void singleBoxIsShownAlthoughTheCompanyExists();
    void singleBoxNamesTheArgument();
    void singleCompanyIsThatOfTheList();
    void singleKeepsTheManifestInTheFolder();
    void singleUnknownCompanyStopsWithoutRows();
    void singleEmptyCompanyListStopsWithoutRows();
    void singleUnwrittenCounterGoesOn();
    void singleFolderKeyIsLocal8Bit();
    void singleStagingDirectoryIsLocal8Bit();
    void singleConfigurationIsFetchedAfreshForTheCompressRow();
    void singleDataAccessObjectsLiveForOneImport();

private:
    [[nodiscard]] Test::RecordingServices& services() const { return m_harness->services; }
    [[nodiscard]] std::string uploadDir() const { return services().results.config.uploadCacheDir; }
    int importFolder(const QString& folder, int batchNumber = 5,
                     const QString& companyName = QStringLiteral("甲公司"))
    {
        return m_harness->panel().l2Folders(companyName, QStringLiteral("job"), folder, batchNumber);
    }
    void importSingleFolder(const QString& folder)
    {
        m_harness->dialogs.expectMessage();
        m_harness->panel().l2FoldersSingleImport(QString(), QStringLiteral("job"), folder);
    }
    [[nodiscard]] QString manifestPath() const
    {
        return m_harness->path(QStringLiteral("jobs/job/readme.json"));
    }

    void useLatin1() { m_codec = std::make_unique<LocaleCodec>("ISO 8859-1"); }
    /// Makes "缓存" the staging directory in a GB18030 locale.
    void stageInGb18030()
    {
        m_codec = std::make_unique<LocaleCodec>("GB18030");
        services().results.config.uploadCacheDir =
            m_harness->makeFolder(QStringLiteral("缓存")).toStdString() + '/';
    }
    /// The call that packs into the directory of stageInGb18030().
    [[nodiscard]] QString packingInGb18030(const QString& folder) const
    {
        return call("FoldersCompressSave2MongoDb", folder + QLatin1Char('/'),
                    m_harness->path(QString()).toStdString() + "\xbb\xba\xb4\xe6/");
    }

    std::unique_ptr<LocaleCodec> m_codec;
    std::unique_ptr<PanelHarness> m_harness;
    QString m_folder;
};

namespace {

QString selectOf(const char* name)
{
    return call("Odbpp_CompanyBll::select", std::map<std::string, std::string>{{"CompanyName", name}},
                std::map<std::string, int>());
}

} // namespace

void PanelFolderImportTest::init()
{
    m_harness = std::make_unique<PanelHarness>();
    m_folder = m_harness->makeFolder(QStringLiteral("jobs/job"));
    m_harness->open();
}

void PanelFolderImportTest::cleanup()
{
    VERIFY_DIALOGS(*m_harness);
    m_harness.reset();
    m_codec.reset();
}

void PanelFolderImportTest::everyCallInOrder()
{
    QCOMPARE(importFolder(m_folder), 0);
    COMPARE_JOURNAL(*m_harness,
                    {call("getConfig"),
                     call("FoldersCompressSave2MongoDb", m_folder + QLatin1Char('/'), uploadDir()),
                     call("getCurrentUser"), selectOf("甲公司"), call("inputCompanies", "甲公司", 5, 42),
                     call("GetTimeStr"), call("getGUID"),
                     call("inputOrigFile", "guid-1", "job", "archive-1.zip", "", "AB", 0, 5),
                     call("insertflowbeforeorigfile", "job", 5, "F20240102030405678", "AB000042"),
                     call("UpdateOrigFileGuid", "guid-1", "flow-1"),
                     call("updateUploadBatchNum", 5, "flow-1"), call("getConfig"),
                     call("inputJobCompressByFolder", "甲公司", "AB", 7, "job", "flow-1", "archive-1.zip", "",
                          "", "jobs_fs", 5, 42, "", "", "")});
    QVERIFY(m_harness->dialogs.shown().empty());
}

void PanelFolderImportTest::dataAccessObjectsLiveForOneImport()
{
    services().recordsObjects = true;
    importFolder(m_folder);
    for (const char* const name :
         {"Odbpp_CompanyBll", "Odbpp_OrigFilesBll", "Odbpp_JobFlowBll", "Odbpp_JobCompressBll"}) {
        QCOMPARE(services().journal().count(call(name)), 1);
        QCOMPARE(services().journal().count(QLatin1Char('~') + call(name)), 1);
    }
    QCOMPARE(services().liveObjects(), 0);
}

void PanelFolderImportTest::manifestValuesAreHandedOn()
{
    m_harness->makeFile(
        QStringLiteral("jobs/job/readme.json"),
        R"({"customer3": "drei", "resource": "quelle Ü", "customer2": "zwei 二", "other": 1})");
    importFolder(m_folder);
    QVERIFY(services().lastEntry().endsWith(QStringLiteral(R"(42, "quelle Ü", "zwei 二", "drei"))")));
}

void PanelFolderImportTest::folderWithoutManifestHasEmptyValues()
{
    QCOMPARE(importFolder(m_folder), 0);
    QVERIFY(services().lastEntry().endsWith(QStringLiteral(R"(42, "", "", ""))")));
}

void PanelFolderImportTest::manifestIsGoneAtTheTimeOfPacking()
{
    m_harness->makeFile(QStringLiteral("jobs/job/readme.json"), R"({"resource": "text"})");
    m_harness->makeFile(QStringLiteral("jobs/job/matrix"));
    QStringList packed;
    services().results.hooks["FoldersCompressSave2MongoDb"] = [&] {
        packed = QDir(m_folder).entryList(QDir::Files);
    };
    importFolder(m_folder);
    QCOMPARE(packed, QStringList{QStringLiteral("matrix")});
}

void PanelFolderImportTest::unknownCompanyIsPackedButNotWritten()
{
    m_harness->makeFile(QStringLiteral("jobs/job/readme.json"), "{}");
    m_harness->dialogs.expectMessage();
    QCOMPARE(importFolder(m_folder, 5, QStringLiteral("nobody")), 1);
    COMPARE_JOURNAL(*m_harness,
                    {call("getConfig"),
                     call("FoldersCompressSave2MongoDb", m_folder + QLatin1Char('/'), uploadDir()),
                     call("getCurrentUser"), selectOf("nobody")});
    QVERIFY(!QFile::exists(manifestPath()));
}

void PanelFolderImportTest::unwrittenCounterIsPackedButNotWritten()
{
    services().results.inputCompaniesResults = {false};
    m_harness->dialogs.expectMessage();
    QCOMPARE(importFolder(m_folder), 1);
    COMPARE_JOURNAL(*m_harness,
                    {call("getConfig"),
                     call("FoldersCompressSave2MongoDb", m_folder + QLatin1Char('/'), uploadDir()),
                     call("getCurrentUser"), selectOf("甲公司"), call("inputCompanies", "甲公司", 5, 42)});
}

void PanelFolderImportTest::companyMessageIsExact_data()
{
    QTest::addColumn<bool>("companyExists");
    QTest::newRow("no such company") << false;
    QTest::newRow("counter not written") << true;
}

void PanelFolderImportTest::companyMessageIsExact()
{
    QFETCH(bool, companyExists);
    if (companyExists)
        services().results.inputCompaniesResults = {false};
    else
        services().results.companies.clear();
    m_harness->dialogs.expectMessage();
    importFolder(m_folder);
    const ShownDialog box = m_harness->dialogs.shownAt(0);
    QCOMPARE(box.kind, ShownDialog::Kind::Message);
    QCOMPARE(box.title, QStringLiteral("公司名不存在"));
    QCOMPARE(box.text, QStringLiteral("公司名 甲公司 不存在"));
    QCOMPARE(box.furtherText, QString());
    QCOMPARE(box.icon, QMessageBox::Information);
    QCOMPARE(int(box.buttons), int(QMessageBox::Ok));
    QCOMPARE(box.parent, &m_harness->panel());
}

void PanelFolderImportTest::failedSelectWithRowsGoesOn()
{
    services().results.companySelectResult = false;
    QCOMPARE(importFolder(m_folder), 0);
    QCOMPARE(services().count("inputJobCompressByFolder"), 1);
}

void PanelFolderImportTest::firstOfTwoEqualCompaniesCounts()
{
    services().results.companies = {company(20, "S", "甲公司", 1, 30), company(10, "F", "甲公司", 2, 40)};
    importFolder(m_folder);
    QCOMPARE(services().callsOf("inputCompanies"), QStringList{call("inputCompanies", "甲公司", 5, 2)});
    QVERIFY(
        services().lastEntry().startsWith(QStringLiteral(R"(inputJobCompressByFolder("甲公司", "S", 20,)")));
}

void PanelFolderImportTest::companyNameOfTheRowGoesIntoTheCompressRow()
{
    services().results.nextCompanies = {{company(7, "AB", "name in the row", 41, 4)}};
    QCOMPARE(importFolder(m_folder), 0);
    QCOMPARE(services().callsOf("inputCompanies"), QStringList{call("inputCompanies", "甲公司", 5, 42)});
    QVERIFY(services().lastEntry().startsWith(
        QStringLiteral(R"(inputJobCompressByFolder("name in the row", "AB", 7, "job",)")));
}

void PanelFolderImportTest::generatedJobName_data()
{
    QTest::addColumn<int>("jobCount");
    QTest::addColumn<QByteArray>("code");
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("41 jobs") << 41 << QByteArray("AB") << QByteArray("AB000042");
    QTest::newRow("no job") << 0 << QByteArray("AB") << QByteArray("AB000001");
    QTest::newRow("last of six digits") << 999998 << QByteArray("AB") << QByteArray("AB999999");
    QTest::newRow("seven digits") << 999999 << QByteArray("AB") << QByteArray("AB1000000");
    QTest::newRow("no code") << 6 << QByteArray("") << QByteArray("000007");
    QTest::newRow("code not ASCII") << 6 << QByteArray("甲") << QByteArray("甲000007");
    QTest::newRow("code with a place marker") << 6 << QByteArray("%1") << QByteArray("%1000007");
}

void PanelFolderImportTest::generatedJobName()
{
    QFETCH(int, jobCount);
    QFETCH(QByteArray, code);
    QFETCH(QByteArray, name);
    services().results.companies = {company(7, code.constData(), "甲公司", jobCount, 4)};
    importFolder(m_folder);
    QCOMPARE(services().callsOf("insertflowbeforeorigfile"),
             QStringList{call("insertflowbeforeorigfile", "job", 5, "F20240102030405678", name.constData())});
}

void PanelFolderImportTest::failuresOfTheOtherServicesAreNotNoticed()
{
    services().results.storeStatus = 1;
    services().results.rowWriteResult = false;
    QCOMPARE(importFolder(m_folder), 0);
    QCOMPARE(services().count("inputJobCompressByFolder"), 1);
    QVERIFY(m_harness->dialogs.shown().empty());
}

void PanelFolderImportTest::emptyArchiveIdGivesABareSuffix()
{
    services().results.archiveIds = {""};
    QCOMPARE(importFolder(m_folder), 0);
    QCOMPARE(services().callsOf("inputOrigFile"),
             QStringList{call("inputOrigFile", "guid-1", "job", ".zip", "", "AB", 0, 5)});
}

void PanelFolderImportTest::emptyFlowGuidIsHandedOn()
{
    services().results.flowGuids = {""};
    QCOMPARE(importFolder(m_folder), 0);
    QCOMPARE(services().callsOf("UpdateOrigFileGuid"), QStringList{call("UpdateOrigFileGuid", "guid-1", "")});
    QCOMPARE(services().callsOf("updateUploadBatchNum"), QStringList{call("updateUploadBatchNum", 5, "")});
}

void PanelFolderImportTest::batchNumberIsHandedOn()
{
    importFolder(m_folder, 77);
    QCOMPARE(services().callsOf("updateUploadBatchNum"),
             QStringList{call("updateUploadBatchNum", 77, "flow-1")});
}

void PanelFolderImportTest::configurationIsFetchedAfreshForTheCompressRow()
{
    services().results.hooks["updateUploadBatchNum"] = [this] {
        services().results.config.mongoFsName = "moved_fs";
    };
    importFolder(m_folder);
    QVERIFY(services().lastEntry().contains(QStringLiteral("\"moved_fs\"")));
}

void PanelFolderImportTest::jobNameIsTheArgumentNotTheFolder()
{
    m_harness->panel().l2Folders(QStringLiteral("甲公司"), QStringLiteral("given name"), m_folder, 5);
    QCOMPARE(
        services().callsOf("insertflowbeforeorigfile"),
        QStringList{call("insertflowbeforeorigfile", "given name", 5, "F20240102030405678", "AB000042")});
}

void PanelFolderImportTest::folderKeyIsLocal8Bit()
{
    useLatin1();
    const QString folder = m_harness->makeFolder(QStringLiteral("jobs/größe"));
    m_harness->makeFile(QStringLiteral("jobs/größe/readme.json"), R"({"resource": "found"})");
    importFolder(folder);
    std::string key = folder.toStdString() + '/';
    key.replace(key.find("öße"), 5, "\xf6\xdf\x65");
    QCOMPARE(services().callsOf("FoldersCompressSave2MongoDb"),
             QStringList{call("FoldersCompressSave2MongoDb", key, uploadDir())});
    QVERIFY(services().lastEntry().contains(QStringLiteral("\"found\"")));
}

void PanelFolderImportTest::stagingDirectoryIsLocal8Bit()
{
    stageInGb18030();
    QCOMPARE(importFolder(m_folder), 0);
    QCOMPARE(services().callsOf("FoldersCompressSave2MongoDb"), QStringList{packingInGb18030(m_folder)});
}

void PanelFolderImportTest::jobNameIsUtf8WhateverTheCodePage()
{
    useLatin1();
    services().results.companies = {company(3, "GR", "Größe")};
    m_harness->panel().l2Folders(QStringLiteral("Größe"), QStringLiteral("jöb"), m_folder, 5);
    QCOMPARE(services().callsOf("Odbpp_CompanyBll::select"), QStringList{selectOf("Größe")});
    QCOMPARE(services().callsOf("inputOrigFile"),
             QStringList{call("inputOrigFile", "guid-1", "jöb", "archive-1.zip", "", "GR", 0, 5)});
}

void PanelFolderImportTest::companyListIsNotRead()
{
    services().results.companies.push_back(company(8, "CD", "second", 1, 1));
    importFolder(m_folder, 5, QStringLiteral("second"));
    QCOMPARE(services().callsOf("inputCompanies"), QStringList{call("inputCompanies", "second", 5, 2)});
}

void PanelFolderImportTest::singleEveryCallInOrder()
{
    importSingleFolder(m_folder);
    COMPARE_JOURNAL(
        *m_harness,
        {call("getConfig"), call("FoldersCompressSave2MongoDb", m_folder + QLatin1Char('/'), uploadDir()),
         call("getCurrentUser"), selectOf("甲公司"), call("inputCompanies", "甲公司", 5, 42), call("getGUID"),
         call("inputOrigFile", "guid-1", "job", "archive-1.zip", "", "AB", 0, 5), call("GetTimeStr"),
         call("insertflowbeforeorigfile", "job", 5, "F20240102030405678", "AB000042"),
         call("UpdateOrigFileGuid", "guid-1", "flow-1"), call("getConfig"),
         call("inputJobCompress", "甲公司", "AB", 7, "job", "flow-1", "archive-1.zip", "", "", "jobs_fs", 5,
              42)});
}

void PanelFolderImportTest::singleBoxIsShownAlthoughTheCompanyExists()
{
    m_harness->noteMessages();
    importSingleFolder(m_folder);
    QCOMPARE(services().count("message"), 1);
    const QStringList journal = services().journal();
    QVERIFY(journal.indexOf(call("message", "公司名不存在", "公司名  不存在")) <
            journal.indexOf(selectOf("甲公司")));
    QCOMPARE(services().count("inputJobCompress"), 1);
    const ShownDialog box = m_harness->dialogs.shownAt(0);
    QCOMPARE(box.icon, QMessageBox::Information);
    QCOMPARE(int(box.buttons), int(QMessageBox::Ok));
    QCOMPARE(box.parent, &m_harness->panel());
}

void PanelFolderImportTest::singleBoxNamesTheArgument()
{
    m_harness->dialogs.expectMessage();
    m_harness->panel().l2FoldersSingleImport(QStringLiteral("given"), QStringLiteral("job"), m_folder);
    QCOMPARE(m_harness->dialogs.shownAt(0).title, QStringLiteral("公司名不存在"));
    QCOMPARE(m_harness->dialogs.shownAt(0).text, QStringLiteral("公司名 given 不存在"));
    QCOMPARE(services().callsOf("Odbpp_CompanyBll::select"), QStringList{selectOf("甲公司")});
}

void PanelFolderImportTest::singleCompanyIsThatOfTheList()
{
    services().results.companies = {company(7, "AB", "甲公司", 41, 4), company(8, "CD", "second", 9, 1)};
    m_harness->open();
    m_harness->selectCompany(QStringLiteral("second"));
    importSingleFolder(m_folder);
    QCOMPARE(services().callsOf("Odbpp_CompanyBll::select"), QStringList{selectOf("second")});
    QVERIFY(
        services().lastEntry().startsWith(QStringLiteral(R"(inputJobCompress("second", "CD", 8, "job",)")));
}

void PanelFolderImportTest::singleKeepsTheManifestInTheFolder()
{
    const QByteArray manifest = R"({"resource": "text", "customer2": "a", "customer3": "b"})";
    m_harness->makeFile(QStringLiteral("jobs/job/readme.json"), manifest);
    bool present = false;
    services().results.hooks["FoldersCompressSave2MongoDb"] = [&] {
        present = QFile::exists(manifestPath());
    };
    importSingleFolder(m_folder);
    QVERIFY(present);
    QFile file(manifestPath());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), manifest);
    QCOMPARE(services().count("inputJobCompressByFolder"), 0);
}

void PanelFolderImportTest::singleUnknownCompanyStopsWithoutRows()
{
    services().results.companies.clear();
    importSingleFolder(m_folder);
    COMPARE_JOURNAL(*m_harness,
                    {call("getConfig"),
                     call("FoldersCompressSave2MongoDb", m_folder + QLatin1Char('/'), uploadDir()),
                     call("getCurrentUser"), selectOf("甲公司")});
}

void PanelFolderImportTest::singleEmptyCompanyListStopsWithoutRows()
{
    services().results.companies.clear();
    m_harness->open();
    importSingleFolder(m_folder);
    QCOMPARE(services().callsOf("Odbpp_CompanyBll::select"), QStringList{selectOf("")});
    QCOMPARE(services().count("inputCompanies"), 0);
    QCOMPARE(services().count("inputOrigFile"), 0);
}

void PanelFolderImportTest::singleUnwrittenCounterGoesOn()
{
    services().results.inputCompaniesResults = {false};
    importSingleFolder(m_folder);
    QCOMPARE(services().count("inputJobCompress"), 1);
}

void PanelFolderImportTest::singleFolderKeyIsLocal8Bit()
{
    useLatin1();
    importSingleFolder(m_harness->makeFolder(QStringLiteral("jobs/größe")));
    QVERIFY(services()
                .callsOf("FoldersCompressSave2MongoDb")
                .value(0)
                .contains(QStringLiteral("/gr\\xf6\\xdfe/\"")));
}

void PanelFolderImportTest::singleStagingDirectoryIsLocal8Bit()
{
    stageInGb18030();
    importSingleFolder(m_folder);
    QCOMPARE(services().callsOf("FoldersCompressSave2MongoDb"), QStringList{packingInGb18030(m_folder)});
}

void PanelFolderImportTest::singleConfigurationIsFetchedAfreshForTheCompressRow()
{
    services().results.hooks["UpdateOrigFileGuid"] = [this] {
        services().results.config.mongoFsName = "moved_fs";
    };
    importSingleFolder(m_folder);
    QVERIFY(services().lastEntry().contains(QStringLiteral("\"moved_fs\"")));
}

void PanelFolderImportTest::singleDataAccessObjectsLiveForOneImport()
{
    services().recordsObjects = true;
    importSingleFolder(m_folder);
    QCOMPARE(services().journal().count(call("Odbpp_JobFlowBll")), 1);
    QCOMPARE(services().journal().count(call("Odbpp_JobCompressBll")), 1);
    QCOMPARE(services().liveObjects(), 0);
}

ZAV_REGISTER_TEST(panel_folder_import, PanelFolderImportTest, QApplication)

#include "panel_folder_import.moc"
