#include "tests/support/PanelHarness.h"
#include "tests/support/RobotPeer.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QTest>

using namespace KOZAV;
using KOZAV::Test::call;
using KOZAV::Test::company;
using KOZAV::Test::PanelHarness;
using KOZAV::Test::RobotPeer;

class PanelSingleArchiveImportTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void everyCallInOrder_data();
    void everyCallInOrder();
    void everyCallInOrderOfAKosArchive();
    void unacceptedSuffixEndsSilently_data();
    void unacceptedSuffixEndsSilently();
    void companyIsThatOfTheList();
    void unknownCompanyIsStoredAndNotWritten();
    void emptyCompanyListIsStoredAndNotWritten();
    void unwrittenCounterGoesOn();
    void noBatchNumberIsWritten();
    void nameTextIsNotUsed();
    void noSuccessMessageOfItsOwn();
    void kosArchiveSendsOneRequestBeforeTheCompressRow();
    void zipArchiveSendsNoRequest();
    void kosArchiveOfAnUnknownCompanySendsNoRequest();
    void configurationIsFetchedAfreshForTheCompressRow();
    void noDataAccessObjectRemains();

private:
    [[nodiscard]] Test::RecordingServices& services() const { return m_harness->services; }
    [[nodiscard]] std::string uploadDir() const { return services().results.config.uploadCacheDir; }
    void importFile(const QString& name)
    {
        m_harness->panel().l2rartgzzipSingleImport(QStringLiteral("given name"),
                                                   m_harness->makeFile(QStringLiteral("jobs/") + name));
    }

    std::unique_ptr<PanelHarness> m_harness;
};

namespace {

QString selectOf(const char* name)
{
    return call("Odbpp_CompanyBll::select", std::map<std::string, std::string>{{"CompanyName", name}},
                std::map<std::string, int>());
}

} // namespace

void PanelSingleArchiveImportTest::init()
{
    m_harness = std::make_unique<PanelHarness>();
    services().results.companies = {company(7, "AB", "甲公司", 41, 4), company(8, "CD", "second", 9, 1)};
    m_harness->open();
}

void PanelSingleArchiveImportTest::cleanup()
{
    VERIFY_DIALOGS(*m_harness);
    m_harness.reset();
}

void PanelSingleArchiveImportTest::everyCallInOrder_data()
{
    QTest::addColumn<QByteArray>("suffix");
    for (const char* const suffix : {"zip", "rar", "tgz"})
        QTest::newRow(suffix) << QByteArray(suffix);
}

void PanelSingleArchiveImportTest::everyCallInOrder()
{
    QFETCH(QByteArray, suffix);
    const std::string end = suffix.toStdString();
    importFile(QStringLiteral("a.b.") + QLatin1String(suffix));
    COMPARE_JOURNAL(
        *m_harness,
        {call("getGUID"), call("getConfig"), call("getConfig"), call("getConfig"),
         call("MongodbPut", "jobs_db", "jobs_fs", uploadDir() + "guid-1." + end, "guid-1." + end),
         call("getCurrentUser"), selectOf("甲公司"), call("inputCompanies", "甲公司", 5, 42), call("getGUID"),
         call("inputOrigFile", "guid-2", "a.b", "guid-1." + end, end, "AB", 0, 5), call("GetTimeStr"),
         call("insertflowbeforeorigfile", "a.b", 5, "F20240102030405678", "AB000042"),
         call("UpdateOrigFileGuid", "guid-2", "flow-1"), call("getConfig"),
         call("inputJobCompress", "甲公司", "AB", 7, "a.b", "flow-1", "guid-1." + end, end, "", "jobs_fs", 5,
              42)});
}

void PanelSingleArchiveImportTest::everyCallInOrderOfAKosArchive()
{
    importFile(QStringLiteral("job.kos"));
    COMPARE_JOURNAL(
        *m_harness,
        {call("getGUID"), call("getConfig"), call("getConfig"), call("getConfig"),
         call("MongodbPut", "jobs_db", "jobs_fs", uploadDir() + "guid-1.kos", "guid-1.kos"),
         call("getCurrentUser"), selectOf("甲公司"), call("inputCompanies", "甲公司", 5, 42), call("getGUID"),
         call("inputOrigFile", "guid-2", "job", "guid-1.kos", "kos", "AB", 0, 5), call("GetTimeStr"),
         call("insertflowbeforeorigfile", "job", 5, "F20240102030405678", "AB000042"),
         call("UpdateOrigFileGuid", "guid-2", "flow-1"),
         call("UpdateLastOdbppImportMongoFsGuid", "guid-2", "flow-1"), call("UpdateState", 5, 1, 2, "flow-1"),
         // The robot's host and port.
         call("getConfig"), call("getConfig"),
         // The compress row.
         call("getConfig"),
         call("inputJobCompress", "甲公司", "AB", 7, "job", "flow-1", "guid-1.kos", "kos", "", "jobs_fs", 5,
              42)});
}

void PanelSingleArchiveImportTest::unacceptedSuffixEndsSilently_data()
{
    QTest::addColumn<QString>("name");
    for (const char* const name : {"job.ZIP", "job.tar", "job.tar.gz", "job", "job.kosx"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void PanelSingleArchiveImportTest::unacceptedSuffixEndsSilently()
{
    QFETCH(QString, name);
    importFile(name);
    COMPARE_JOURNAL(*m_harness, {});
    QVERIFY(m_harness->dialogs.shown().empty());
}

void PanelSingleArchiveImportTest::companyIsThatOfTheList()
{
    m_harness->selectCompany(QStringLiteral("second"));
    importFile(QStringLiteral("job.zip"));
    QCOMPARE(services().callsOf("Odbpp_CompanyBll::select"), QStringList{selectOf("second")});
    QCOMPARE(services().callsOf("inputCompanies"), QStringList{call("inputCompanies", "second", 5, 10)});
    QVERIFY(
        services().lastEntry().startsWith(QStringLiteral(R"(inputJobCompress("second", "CD", 8, "job",)")));
}

void PanelSingleArchiveImportTest::unknownCompanyIsStoredAndNotWritten()
{
    services().results.companies.clear();
    m_harness->dialogs.expectMessage();
    importFile(QStringLiteral("job.zip"));
    COMPARE_JOURNAL(*m_harness,
                    {call("getGUID"), call("getConfig"), call("getConfig"), call("getConfig"),
                     call("MongodbPut", "jobs_db", "jobs_fs", uploadDir() + "guid-1.zip", "guid-1.zip"),
                     call("getCurrentUser"), selectOf("甲公司")});
    const auto box = m_harness->dialogs.shownAt(0);
    QCOMPARE(box.title, QStringLiteral("公司名不存在"));
    QCOMPARE(box.text, QStringLiteral("公司名 甲公司 不存在"));
    QCOMPARE(box.icon, QMessageBox::Information);
    QCOMPARE(int(box.buttons), int(QMessageBox::Ok));
    QCOMPARE(box.parent, &m_harness->panel());
}

void PanelSingleArchiveImportTest::emptyCompanyListIsStoredAndNotWritten()
{
    services().results.companies.clear();
    m_harness->open();
    m_harness->dialogs.expectMessage();
    importFile(QStringLiteral("job.zip"));
    QCOMPARE(m_harness->dialogs.shownAt(0).text, QStringLiteral("公司名  不存在"));
    QCOMPARE(services().count("MongodbPut"), 1);
    QCOMPARE(services().count("inputCompanies"), 0);
}

void PanelSingleArchiveImportTest::unwrittenCounterGoesOn()
{
    services().results.inputCompaniesResults = {false};
    importFile(QStringLiteral("job.zip"));
    QCOMPARE(services().count("inputJobCompress"), 1);
    QVERIFY(m_harness->dialogs.shown().empty());
}

void PanelSingleArchiveImportTest::noBatchNumberIsWritten()
{
    importFile(QStringLiteral("a.zip"));
    importFile(QStringLiteral("b.kos"));
    QCOMPARE(services().count("updateUploadBatchNum"), 0);
    QCOMPARE(services().count("UpdateBatchNumber"), 0);
}

void PanelSingleArchiveImportTest::nameTextIsNotUsed()
{
    importFile(QStringLiteral("job.zip"));
    QVERIFY(!services().journal().join(QLatin1Char('\n')).contains(QStringLiteral("given name")));
}

void PanelSingleArchiveImportTest::noSuccessMessageOfItsOwn()
{
    importFile(QStringLiteral("job.zip"));
    QVERIFY(m_harness->dialogs.shown().empty());
    QCOMPARE(services().count("refreshOrigFileTable"), 0);
}

void PanelSingleArchiveImportTest::kosArchiveSendsOneRequestBeforeTheCompressRow()
{
    RobotPeer robot(RobotPeer::Mode::Answer);
    services().results.config.robotPort = robot.port();
    QList<QByteArray> receivedBeforeTheRow;
    services().results.hooks["inputJobCompress"] = [&] { receivedBeforeTheRow = robot.received(); };
    importFile(QStringLiteral("job.kos"));
    QCOMPARE(receivedBeforeTheRow.size(), 1);
    QVERIFY(receivedBeforeTheRow.first().contains("\"jobname\": \"ab000042\""));
    QVERIFY(robot.barrier());
    QCOMPARE(robot.connectionCount(), 2);
}

void PanelSingleArchiveImportTest::zipArchiveSendsNoRequest()
{
    RobotPeer robot(RobotPeer::Mode::Answer);
    services().results.config.robotPort = robot.port();
    importFile(QStringLiteral("job.zip"));
    QVERIFY(robot.barrier());
    QCOMPARE(robot.connectionCount(), 1);
}

void PanelSingleArchiveImportTest::kosArchiveOfAnUnknownCompanySendsNoRequest()
{
    RobotPeer robot(RobotPeer::Mode::Answer);
    services().results.config.robotPort = robot.port();
    services().results.companies.clear();
    m_harness->dialogs.expectMessage();
    importFile(QStringLiteral("job.kos"));
    QVERIFY(robot.barrier());
    QCOMPARE(robot.connectionCount(), 1);
}

void PanelSingleArchiveImportTest::configurationIsFetchedAfreshForTheCompressRow()
{
    services().results.hooks["UpdateOrigFileGuid"] = [this] {
        services().results.config.mongoFsName = "moved_fs";
    };
    importFile(QStringLiteral("job.zip"));
    QVERIFY(services().lastEntry().contains(QStringLiteral("\"moved_fs\"")));
}

void PanelSingleArchiveImportTest::noDataAccessObjectRemains()
{
    importFile(QStringLiteral("job.kos"));
    QCOMPARE(services().liveObjects(), 0);
}

ZAV_REGISTER_TEST(panel_single_archive_import, PanelSingleArchiveImportTest, QApplication)

#include "panel_single_archive_import.moc"
