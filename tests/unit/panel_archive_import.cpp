#include "tests/support/LocaleCodec.h"
#include "tests/support/PanelHarness.h"
#include "tests/support/RobotPeer.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <sys/stat.h>

using namespace KOZAV;
using KOZAV::Test::call;
using KOZAV::Test::company;
using KOZAV::Test::LocaleCodec;
using KOZAV::Test::PanelHarness;
using KOZAV::Test::RobotPeer;
using KOZAV::Test::ShownDialog;

class PanelArchiveImportTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    // An archive of a batch.
    void everyCallInOrder_data();
    void everyCallInOrder();
    void everyCallInOrderOfAKosArchive();
    void dataAccessObjectsLiveForOneCall();
    void unacceptedSuffixIsSilent_data();
    void unacceptedSuffixIsSilent();
    void baseNameAndStoredName_data();
    void baseNameAndStoredName();
    void archiveIsCopiedBeforeItIsStored();
    void localCopyAndSourceStay();
    void noSeparatorIsInsertedIntoTheLocalPath();
    void failedCopyIsNotNoticed();
    void whatIsNoFileIsNotWaitedFor_data();
    void whatIsNoFileIsNotWaitedFor();
    void existingLocalCopyIsNotOverwritten();
    void failedStoreAndRowsAreNotNoticed();
    void unknownCompanyIsStoredButNotWritten();
    void unwrittenCounterIsStoredButNotWritten();
    void companyMessageIsExact_data();
    void companyMessageIsExact();
    void oneMessageForEachArchiveOfAnUnknownCompany();
    void failedSelectWithRowsGoesOn();
    void firstOfTwoEqualCompaniesCounts();
    void companyNameOfTheRowGoesIntoTheCompressRow();
    void sevenDigitJobNumber();
    void twoArchivesGetConsecutiveJobNumbers();
    void fileNameArgumentIsNotUsed();
    void emptyFlowGuidIsHandedOn();
    void configurationIsFetchedAfreshForTheCompressRow();
    void kosArchiveSendsOneRequestBeforeTheCompressRow();
    void otherArchivesSendNoRequest_data();
    void otherArchivesSendNoRequest();
    void kosArchiveOfAnUnknownCompanySendsNoRequest();
    void localPathIsLocal8Bit();
    void baseNameIsUtf8WhateverTheCodePage();

private:
    [[nodiscard]] Test::RecordingServices& services() const { return m_harness->services; }
    [[nodiscard]] std::string uploadDir() const { return services().results.config.uploadCacheDir; }
    int importFile(const QString& file, const QString& companyName = QStringLiteral("甲公司"),
                   int batchNumber = 9)
    {
        return m_harness->panel().l2rartgzzip(companyName, QFileInfo(file).fileName(), file, batchNumber);
    }
    [[nodiscard]] QString make(const QString& name) const
    {
        return m_harness->makeFile(QStringLiteral("jobs/") + name, "archive bytes");
    }
    void useLatin1() { m_codec = std::make_unique<LocaleCodec>("ISO 8859-1"); }

    std::unique_ptr<LocaleCodec> m_codec;
    std::unique_ptr<PanelHarness> m_harness;
};

namespace {

QString selectOf(const char* name)
{
    return call("Odbpp_CompanyBll::select", std::map<std::string, std::string>{{"CompanyName", name}},
                std::map<std::string, int>());
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void addPlainSuffixes()
{
    QTest::addColumn<QByteArray>("suffix");
    for (const char* const suffix : {"zip", "rar", "tgz"})
        QTest::newRow(suffix) << QByteArray(suffix);
}

} // namespace

void PanelArchiveImportTest::init()
{
    m_harness = std::make_unique<PanelHarness>();
    m_harness->open();
}

void PanelArchiveImportTest::cleanup()
{
    VERIFY_DIALOGS(*m_harness);
    m_harness.reset();
    m_codec.reset();
}

void PanelArchiveImportTest::everyCallInOrder_data()
{
    addPlainSuffixes();
}

void PanelArchiveImportTest::everyCallInOrder()
{
    QFETCH(QByteArray, suffix);
    const std::string end = suffix.toStdString();
    QCOMPARE(importFile(make(QStringLiteral("job.") + QLatin1String(suffix))), 0);
    COMPARE_JOURNAL(
        *m_harness,
        {call("getGUID"), call("getConfig"), call("getConfig"), call("getConfig"),
         call("MongodbPut", "jobs_db", "jobs_fs", uploadDir() + "guid-1." + end, "guid-1." + end),
         call("getCurrentUser"), selectOf("甲公司"), call("inputCompanies", "甲公司", 5, 42), call("getGUID"),
         call("inputOrigFile", "guid-2", "job", "guid-1." + end, end, "AB", 0, 5), call("GetTimeStr"),
         call("insertflowbeforeorigfile", "job", 5, "F20240102030405678", "AB000042"),
         call("UpdateOrigFileGuid", "guid-2", "flow-1"), call("updateUploadBatchNum", 9, "flow-1"),
         call("getConfig"),
         call("inputJobCompress", "甲公司", "AB", 7, "job", "flow-1", "guid-1." + end, end, "", "jobs_fs", 5,
              42)});
    QVERIFY(m_harness->dialogs.shown().empty());
}

void PanelArchiveImportTest::everyCallInOrderOfAKosArchive()
{
    QCOMPARE(importFile(make(QStringLiteral("job.kos"))), 0);
    COMPARE_JOURNAL(*m_harness,
                    {call("getGUID"), call("getConfig"), call("getConfig"), call("getConfig"),
                     call("MongodbPut", "jobs_db", "jobs_fs", uploadDir() + "guid-1.kos", "guid-1.kos"),
                     call("getCurrentUser"), selectOf("甲公司"), call("inputCompanies", "甲公司", 5, 42),
                     call("getGUID"), call("inputOrigFile", "guid-2", "job", "guid-1.kos", "kos", "AB", 0, 5),
                     call("GetTimeStr"),
                     call("insertflowbeforeorigfile", "job", 5, "F20240102030405678", "AB000042"),
                     call("UpdateOrigFileGuid", "guid-2", "flow-1"),
                     call("UpdateLastOdbppImportMongoFsGuid", "guid-2", "flow-1"),
                     call("UpdateState", 5, 1, 2, "flow-1"), call("updateUploadBatchNum", 9, "flow-1"),
                     // The robot's host and port.
                     call("getConfig"), call("getConfig"),
                     // The compress row.
                     call("getConfig"),
                     call("inputJobCompress", "甲公司", "AB", 7, "job", "flow-1", "guid-1.kos", "kos", "",
                          "jobs_fs", 5, 42)});
    QVERIFY(m_harness->dialogs.shown().empty());
}

void PanelArchiveImportTest::dataAccessObjectsLiveForOneCall()
{
    services().recordsObjects = true;
    importFile(make(QStringLiteral("job.zip")));
    for (const char* const name :
         {"Odbpp_CompanyBll", "Odbpp_JobCompressBll", "Odbpp_OrigFilesBll", "Odbpp_JobFlowBll"})
        QVERIFY(services().journal().contains(call(name)));
    QCOMPARE(services().journal().count(call("Odbpp_CompanyBll")), 1);
    QCOMPARE(services().journal().count(call("Odbpp_JobCompressBll")), 1);
    QCOMPARE(services().liveObjects(), 0);
}

void PanelArchiveImportTest::unacceptedSuffixIsSilent_data()
{
    QTest::addColumn<QString>("name");
    for (const char* const name :
         {"job.ZIP", "job.tar", "job.Zip", "job.KOS", "job.TGZ", "job.RAR", "job.tar.gz", "job.7z",
          "job.zipx", "job.kos ", "job", "job.", "zip", "notes.txt", "job.zip.part"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void PanelArchiveImportTest::unacceptedSuffixIsSilent()
{
    QFETCH(QString, name);
    QCOMPARE(importFile(make(name)), 1);
    COMPARE_JOURNAL(*m_harness, {});
    QVERIFY(m_harness->dialogs.shown().empty());
}

void PanelArchiveImportTest::baseNameAndStoredName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("baseName");
    QTest::addColumn<QByteArray>("suffix");
    QTest::newRow("two dots") << QStringLiteral("a.b.tgz") << QByteArray("a.b") << QByteArray("tgz");
    QTest::newRow("tar before") << QStringLiteral("a.tar.zip") << QByteArray("a.tar") << QByteArray("zip");
    QTest::newRow("two dots together") << QStringLiteral("a..rar") << QByteArray("a.") << QByteArray("rar");
    QTest::newRow("only a suffix") << QStringLiteral(".zip") << QByteArray("") << QByteArray("zip");
    QTest::newRow("blanks") << QStringLiteral("my job.zip") << QByteArray("my job") << QByteArray("zip");
    QTest::newRow("not ASCII") << QStringLiteral("板 größe.zip") << QByteArray("板 größe")
                               << QByteArray("zip");
}

void PanelArchiveImportTest::baseNameAndStoredName()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, baseName);
    QFETCH(QByteArray, suffix);
    const std::string storedName = "guid-1." + suffix.toStdString();
    QCOMPARE(importFile(make(name)), 0);
    QCOMPARE(services().callsOf("inputOrigFile"),
             QStringList{call("inputOrigFile", "guid-2", baseName.constData(), storedName, suffix.constData(),
                              "AB", 0, 5)});
    QCOMPARE(services().callsOf("insertflowbeforeorigfile"),
             QStringList{call("insertflowbeforeorigfile", baseName.constData(), 5, "F20240102030405678",
                              "AB000042")});
    QCOMPARE(services().callsOf("MongodbPut"),
             QStringList{call("MongodbPut", "jobs_db", "jobs_fs", uploadDir() + storedName, storedName)});
}

void PanelArchiveImportTest::archiveIsCopiedBeforeItIsStored()
{
    QByteArray stored;
    services().results.hooks["MongodbPut"] = [&] {
        stored = contentOf(m_harness->path(QStringLiteral("upload/guid-1.zip")));
    };
    importFile(make(QStringLiteral("job.zip")));
    QCOMPARE(stored, QByteArray("archive bytes"));
}

void PanelArchiveImportTest::localCopyAndSourceStay()
{
    const QString file = make(QStringLiteral("job.zip"));
    importFile(file);
    QCOMPARE(contentOf(file), QByteArray("archive bytes"));
    QCOMPARE(contentOf(m_harness->path(QStringLiteral("upload/guid-1.zip"))), QByteArray("archive bytes"));
}

void PanelArchiveImportTest::noSeparatorIsInsertedIntoTheLocalPath()
{
    services().results.config.uploadCacheDir = m_harness->path(QStringLiteral("staged_")).toStdString();
    importFile(make(QStringLiteral("job.zip")));
    QVERIFY(QFile::exists(m_harness->path(QStringLiteral("staged_guid-1.zip"))));
    QVERIFY(services().callsOf("MongodbPut").value(0).contains(QStringLiteral("staged_guid-1.zip\"")));
}

void PanelArchiveImportTest::failedCopyIsNotNoticed()
{
    services().results.config.uploadCacheDir = m_harness->path(QStringLiteral("no such/")).toStdString();
    QCOMPARE(importFile(make(QStringLiteral("job.zip"))), 0);
    QCOMPARE(services().count("MongodbPut"), 1);
    QCOMPARE(services().count("inputJobCompress"), 1);
}

void PanelArchiveImportTest::whatIsNoFileIsNotWaitedFor_data()
{
    QTest::addColumn<QString>("linkTarget"); // empty: the archive itself is the pipe
    QTest::newRow("pipe") << QString();
    QTest::newRow("link to a pipe") << QStringLiteral("pipe");
    QTest::newRow("link to a device") << QStringLiteral("/dev/zero");
    QTest::newRow("link to nothing") << QStringLiteral("nothing");
}

/// It is a copy that fails; the calls are those of any archive.
void PanelArchiveImportTest::whatIsNoFileIsNotWaitedFor()
{
    QFETCH(const QString, linkTarget);
    const QString archive = m_harness->path(QStringLiteral("job.tgz"));
    const QString pipe = linkTarget.isEmpty() ? archive : m_harness->path(QStringLiteral("pipe"));
    QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    if (!linkTarget.isEmpty())
        QVERIFY(QFile::link(linkTarget, archive));
    QCOMPARE(importFile(archive), 0);
    m_harness->panel().l2rartgzzipSingleImport(QStringLiteral("job"), archive);
    QCOMPARE(services().count("MongodbPut"), 2);
    QCOMPARE(services().count("inputJobCompress"), 2);
    QVERIFY(!QFile::exists(QString::fromStdString(uploadDir()) + QStringLiteral("guid-1.tgz")));
}

void PanelArchiveImportTest::existingLocalCopyIsNotOverwritten()
{
    m_harness->makeFile(QStringLiteral("upload/guid-1.zip"), "older");
    QCOMPARE(importFile(make(QStringLiteral("job.zip"))), 0);
    QCOMPARE(contentOf(m_harness->path(QStringLiteral("upload/guid-1.zip"))), QByteArray("older"));
}

void PanelArchiveImportTest::failedStoreAndRowsAreNotNoticed()
{
    services().results.storeStatus = 1;
    services().results.rowWriteResult = false;
    QCOMPARE(importFile(make(QStringLiteral("job.kos"))), 0);
    QCOMPARE(services().count("inputJobCompress"), 1);
    QVERIFY(m_harness->dialogs.shown().empty());
}

void PanelArchiveImportTest::unknownCompanyIsStoredButNotWritten()
{
    m_harness->dialogs.expectMessage();
    QCOMPARE(importFile(make(QStringLiteral("job.zip")), QStringLiteral("nobody")), 1);
    COMPARE_JOURNAL(*m_harness,
                    {call("getGUID"), call("getConfig"), call("getConfig"), call("getConfig"),
                     call("MongodbPut", "jobs_db", "jobs_fs", uploadDir() + "guid-1.zip", "guid-1.zip"),
                     call("getCurrentUser"), selectOf("nobody")});
    QVERIFY(QFile::exists(m_harness->path(QStringLiteral("upload/guid-1.zip"))));
}

void PanelArchiveImportTest::unwrittenCounterIsStoredButNotWritten()
{
    services().results.inputCompaniesResults = {false};
    m_harness->dialogs.expectMessage();
    QCOMPARE(importFile(make(QStringLiteral("job.zip"))), 1);
    COMPARE_JOURNAL(*m_harness,
                    {call("getGUID"), call("getConfig"), call("getConfig"), call("getConfig"),
                     call("MongodbPut", "jobs_db", "jobs_fs", uploadDir() + "guid-1.zip", "guid-1.zip"),
                     call("getCurrentUser"), selectOf("甲公司"), call("inputCompanies", "甲公司", 5, 42)});
}

void PanelArchiveImportTest::companyMessageIsExact_data()
{
    QTest::addColumn<bool>("companyExists");
    QTest::newRow("no such company") << false;
    QTest::newRow("counter not written") << true;
}

void PanelArchiveImportTest::companyMessageIsExact()
{
    QFETCH(bool, companyExists);
    if (companyExists)
        services().results.inputCompaniesResults = {false};
    else
        services().results.companies.clear();
    m_harness->dialogs.expectMessage();
    importFile(make(QStringLiteral("job.zip")));
    const ShownDialog box = m_harness->dialogs.shownAt(0);
    QCOMPARE(box.kind, ShownDialog::Kind::Message);
    QCOMPARE(box.title, QStringLiteral("公司名不存在"));
    QCOMPARE(box.text, QStringLiteral("公司名 甲公司 不存在"));
    QCOMPARE(box.furtherText, QString());
    QCOMPARE(box.icon, QMessageBox::Information);
    QCOMPARE(int(box.buttons), int(QMessageBox::Ok));
    QCOMPARE(box.parent, &m_harness->panel());
}

void PanelArchiveImportTest::oneMessageForEachArchiveOfAnUnknownCompany()
{
    m_harness->dialogs.expectMessage();
    m_harness->dialogs.expectMessage();
    QCOMPARE(importFile(make(QStringLiteral("a.zip")), QStringLiteral("nobody")), 1);
    QCOMPARE(importFile(make(QStringLiteral("b.kos")), QStringLiteral("nobody")), 1);
    QCOMPARE(m_harness->dialogs.shown().size(), std::size_t(2));
}

void PanelArchiveImportTest::failedSelectWithRowsGoesOn()
{
    services().results.companySelectResult = false;
    QCOMPARE(importFile(make(QStringLiteral("job.zip"))), 0);
    QCOMPARE(services().count("inputJobCompress"), 1);
}

void PanelArchiveImportTest::firstOfTwoEqualCompaniesCounts()
{
    services().results.companies = {company(20, "S", "甲公司", 1, 30), company(10, "F", "甲公司", 2, 40)};
    importFile(make(QStringLiteral("job.zip")));
    QCOMPARE(services().callsOf("inputCompanies"), QStringList{call("inputCompanies", "甲公司", 5, 2)});
    QVERIFY(services().lastEntry().startsWith(QStringLiteral(R"(inputJobCompress("甲公司", "S", 20,)")));
}

void PanelArchiveImportTest::companyNameOfTheRowGoesIntoTheCompressRow()
{
    services().results.nextCompanies = {{company(7, "AB", "name in the row", 41, 4)}};
    QCOMPARE(importFile(make(QStringLiteral("job.zip"))), 0);
    QCOMPARE(services().callsOf("inputCompanies"), QStringList{call("inputCompanies", "甲公司", 5, 42)});
    QVERIFY(services().lastEntry().startsWith(
        QStringLiteral(R"(inputJobCompress("name in the row", "AB", 7, "job",)")));
}

void PanelArchiveImportTest::sevenDigitJobNumber()
{
    services().results.companies = {company(7, "AB", "甲公司", 999999, 4)};
    importFile(make(QStringLiteral("job.zip")));
    QCOMPARE(services().callsOf("insertflowbeforeorigfile"),
             QStringList{call("insertflowbeforeorigfile", "job", 5, "F20240102030405678", "AB1000000")});
    QVERIFY(services().lastEntry().endsWith(QStringLiteral("5, 1000000)")));
}

void PanelArchiveImportTest::twoArchivesGetConsecutiveJobNumbers()
{
    importFile(make(QStringLiteral("a.zip")));
    importFile(make(QStringLiteral("b.tgz")));
    QCOMPARE(services().callsOf("inputCompanies"),
             (QStringList{call("inputCompanies", "甲公司", 5, 42), call("inputCompanies", "甲公司", 5, 43)}));
    QCOMPARE(services().callsOf("insertflowbeforeorigfile").value(1),
             call("insertflowbeforeorigfile", "b", 5, "F20240102030405678", "AB000043"));
}

void PanelArchiveImportTest::fileNameArgumentIsNotUsed()
{
    const QString file = make(QStringLiteral("job.zip"));
    QCOMPARE(m_harness->panel().l2rartgzzip(QStringLiteral("甲公司"), QStringLiteral("given.tar"), file, 9),
             0);
    QVERIFY(!services().journal().join(QLatin1Char('\n')).contains(QStringLiteral("given")));
}

void PanelArchiveImportTest::emptyFlowGuidIsHandedOn()
{
    services().results.flowGuids = {""};
    QCOMPARE(importFile(make(QStringLiteral("job.kos"))), 0);
    QCOMPARE(services().callsOf("UpdateState"), QStringList{call("UpdateState", 5, 1, 2, "")});
    QCOMPARE(services().callsOf("updateUploadBatchNum"), QStringList{call("updateUploadBatchNum", 9, "")});
}

void PanelArchiveImportTest::configurationIsFetchedAfreshForTheCompressRow()
{
    services().results.hooks["updateUploadBatchNum"] = [this] {
        services().results.config.mongoFsName = "moved_fs";
    };
    importFile(make(QStringLiteral("job.zip")));
    QVERIFY(services().lastEntry().contains(QStringLiteral("\"moved_fs\"")));
}

void PanelArchiveImportTest::kosArchiveSendsOneRequestBeforeTheCompressRow()
{
    RobotPeer robot(RobotPeer::Mode::Answer);
    services().results.config.robotPort = robot.port();
    QList<QByteArray> receivedBeforeTheRow;
    services().results.hooks["inputJobCompress"] = [&] { receivedBeforeTheRow = robot.received(); };
    QCOMPARE(importFile(make(QStringLiteral("job.kos"))), 0);
    QCOMPARE(receivedBeforeTheRow.size(), 1);
    QVERIFY(receivedBeforeTheRow.first().contains("\"jobname\": \"ab000042\""));
    QVERIFY(robot.barrier());
    QCOMPARE(robot.connectionCount(), 2);
}

void PanelArchiveImportTest::otherArchivesSendNoRequest_data()
{
    addPlainSuffixes();
}

void PanelArchiveImportTest::otherArchivesSendNoRequest()
{
    QFETCH(QByteArray, suffix);
    RobotPeer robot(RobotPeer::Mode::Answer);
    services().results.config.robotPort = robot.port();
    QCOMPARE(importFile(make(QStringLiteral("job.") + QLatin1String(suffix))), 0);
    QVERIFY(robot.barrier());
    QCOMPARE(robot.connectionCount(), 1);
    QCOMPARE(services().count("UpdateState"), 0);
    QCOMPARE(services().count("UpdateLastOdbppImportMongoFsGuid"), 0);
}

void PanelArchiveImportTest::kosArchiveOfAnUnknownCompanySendsNoRequest()
{
    RobotPeer robot(RobotPeer::Mode::Answer);
    services().results.config.robotPort = robot.port();
    m_harness->dialogs.expectMessage();
    QCOMPARE(importFile(make(QStringLiteral("job.kos")), QStringLiteral("nobody")), 1);
    QVERIFY(robot.barrier());
    QCOMPARE(robot.connectionCount(), 1);
}

void PanelArchiveImportTest::localPathIsLocal8Bit()
{
    useLatin1();
    services().results.config.uploadCacheDir =
        m_harness->makeFolder(QStringLiteral("größe")).toStdString() + '/';
    importFile(make(QStringLiteral("jöb.zip")));
    QVERIFY(QFile::exists(m_harness->path(QStringLiteral("größe/guid-1.zip"))));
    QVERIFY(
        services().callsOf("MongodbPut").value(0).contains(QStringLiteral("/gr\\xf6\\xdfe/guid-1.zip\"")));
}

void PanelArchiveImportTest::baseNameIsUtf8WhateverTheCodePage()
{
    useLatin1();
    QCOMPARE(importFile(make(QStringLiteral("jöb.zip"))), 0);
    QCOMPARE(services().callsOf("inputOrigFile"),
             QStringList{call("inputOrigFile", "guid-2", "jöb", "guid-1.zip", "zip", "AB", 0, 5)});
}

ZAV_REGISTER_TEST(panel_archive_import, PanelArchiveImportTest, QApplication)

#include "panel_archive_import.moc"
