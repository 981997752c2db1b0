#include "DatabaseApiContract.h"

#include "ImportSteps.h"
#include "WeirdTexts.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/common/Common.h"
#include "services/dbs_api/DBS_API.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QTest>

#include <set>

namespace KOZAV::Test {

using namespace DataLib;

namespace {

Model::Odbpp_JobFlow flowNamed(const std::string& generatedName)
{
    std::vector<Model::Odbpp_JobFlow> flows;
    BLL::Odbpp_JobFlowBll().select({{"KoSerialName", generatedName}}, {}, flows);
    return flows.empty() ? Model::Odbpp_JobFlow() : flows.front();
}

ImportedJob importedJob(const ContractSite& site)
{
    ContractSite::addCompany("A", "Alpha");
    return importArchive("Alpha", site.writeFile(QStringLiteral("board.tgz"), "first content"));
}

/// Fetches a stored file. @return its content
QByteArray fetched(const ContractSite& site, const std::string& storedName)
{
    const Model::KOZAV_Config config = Common::commonInterface()->getConfig();
    const QString target = site.path(QStringLiteral("fetched"));
    if (Common::MongodbGet(config.mongoDbName, config.mongoFsName, target.toStdString(), storedName) != 0)
        return {};
    QFile file(target);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

void DatabaseApiContract::preFileIsRecordedWhole()
{
    const ImportedJob job = importedJob(*m_site);
    const std::string key =
        DBS_API::kozav_upload_prefile2mysql(job.flowGuid, job.generatedName, "one", "two", "three", 4, "who");
    QVERIFY(!key.empty());
    QCOMPARE(ContractSite::preFiles(job.flowGuid).join(QLatin1Char(' ')),
             QStringLiteral("guid=%1 jobName=A000001 first=one second=two third=three user=4 userName=who")
                 .arg(QString::fromStdString(key)));
}

void DatabaseApiContract::preFileTextsAreKeptAsTheyAre_data()
{
    addWeirdTexts();
    QTest::newRow("empty") << std::string();
    QTest::newRow("newline") << std::string("a\nb\r\n\tc");
    QTest::newRow("long") << std::string(200000, 'x');
}

void DatabaseApiContract::preFileTextsAreKeptAsTheyAre()
{
    QFETCH(const std::string, text);
    const ImportedJob job = importedJob(*m_site);
    QVERIFY(!DBS_API::kozav_upload_prefile2mysql(job.flowGuid, text, text, text, text, 4, text).empty());
    const QStringList fields = ContractSite::preFiles(job.flowGuid);
    for (const char* name : {"jobName=", "first=", "second=", "third=", "userName="})
        QVERIFY(fields.contains(QLatin1String(name) + QString::fromStdString(text)));
}

void DatabaseApiContract::everyPreFileHasAKeyOfItsOwn()
{
    const ImportedJob job = importedJob(*m_site);
    std::set<std::string> keys;
    for (int i = 0; i < 20; ++i)
        keys.insert(DBS_API::kozav_upload_prefile2mysql(job.flowGuid, job.generatedName, "", "", "", 4, ""));
    QCOMPARE(keys.size(), size_t{20});
    QVERIFY(keys.count(std::string()) == 0);
}

void DatabaseApiContract::preFileOfNoJobIsRefused_data()
{
    QTest::addColumn<std::string>("flowGuid");
    QTest::newRow("empty") << std::string();
    QTest::newRow("unknown") << std::string("nowhere");
    QTest::newRow("generated name instead of the key") << std::string("A000001");
    QTest::newRow("not UTF-8") << std::string("\xff");
}

void DatabaseApiContract::preFileOfNoJobIsRefused()
{
    QFETCH(const std::string, flowGuid);
    importedJob(*m_site);
    ContractSite::expectFailure("kozav_upload_prefile2mysql", "");
    QCOMPARE(DBS_API::kozav_upload_prefile2mysql(flowGuid, "A000001", "", "", "", 4, ""), std::string());
    QVERIFY(ContractSite::preFiles(flowGuid).isEmpty());
}

void DatabaseApiContract::robotArchiveIsStoredAndLinked()
{
    const ImportedJob job = importedJob(*m_site);
    const QByteArray content(70000, 'r');
    const std::string archive = m_site->writeFile(QStringLiteral("robot.tgz"), content);
    QVERIFY(DBS_API::kozav_reupload_robot_tgz(archive, job.generatedName, 4, "who"));
    QVERIFY(QFile::exists(m_site->path(QStringLiteral("robot.tgz"))));

    const QStringList files = ContractSite::origFiles();
    QCOMPARE(files.size(), 2);
    const QStringList added = files.front().split(QLatin1Char(' '));
    const Model::Odbpp_JobFlow flow = flowNamed(job.generatedName);
    const QString sha256 =
        QString::fromLatin1(QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex());
    if (ContractSite::gives(Promise::KnownContent))
        QCOMPARE(ContractSite::contents().front(),
                 added.at(2) + QStringLiteral(" 70000 ") + sha256 + QStringLiteral(" -"));
    QCOMPARE(added.at(0).toStdString(), flow.lastOdbppImportMongoFsGuid);
    QCOMPARE(added.at(1), QStringLiteral("A000001"));
    QVERIFY(added.at(2).endsWith(QStringLiteral(".tgz")));
    QCOMPARE(added.at(3), QStringLiteral("tgz"));
    QCOMPARE(added.at(4), QStringLiteral("A"));
    QCOMPARE(flow.origFileGuid, job.origFileGuid);
    QCOMPARE(fetched(*m_site, added.at(2).toStdString()), content);
}

void DatabaseApiContract::laterRobotArchiveTakesTheLink()
{
    const ImportedJob job = importedJob(*m_site);
    const std::string archive = m_site->writeFile(QStringLiteral("robot.tgz"), "second content");
    QVERIFY(DBS_API::kozav_reupload_robot_tgz(archive, job.generatedName, 4, "who"));
    const std::string first = flowNamed(job.generatedName).lastOdbppImportMongoFsGuid;
    QVERIFY(DBS_API::kozav_reupload_robot_tgz(archive, job.generatedName, 4, "who"));
    QVERIFY(flowNamed(job.generatedName).lastOdbppImportMongoFsGuid != first);
    QCOMPARE(ContractSite::origFiles().size(), 3);
    for (const QString& file : ContractSite::origFiles())
        QCOMPARE(file.split(QLatin1Char(' ')).at(1), QStringLiteral("A000001"));
    QCOMPARE(ContractSite::storedNames().size(), size_t{3});
}

void DatabaseApiContract::robotArchiveUnderAnyFileName_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("suffix");
    QTest::newRow("Chinese") << QString::fromUtf8("\xE6\x96\x99\xE5\x8F\xB7 1.tgz") << QStringLiteral("tgz");
    QTest::newRow("two suffixes") << QStringLiteral("a.tar.gz") << QStringLiteral("gz");
    QTest::newRow("none") << QStringLiteral("archive") << QString();
    QTest::newRow("newline") << QStringLiteral("a\nb.tgz") << QStringLiteral("tgz");
    QTest::newRow("statement") << QStringLiteral("'; DROP TABLE job_flow;--.tgz") << QStringLiteral("tgz");
}

void DatabaseApiContract::robotArchiveUnderAnyFileName()
{
    QFETCH(const QString, fileName);
    QFETCH(const QString, suffix);
    const ImportedJob job = importedJob(*m_site);
    m_site->writeFile(fileName, "second content");
    QVERIFY(
        DBS_API::kozav_reupload_robot_tgz(m_site->path(fileName).toStdString(), job.generatedName, 4, "who"));
    QCOMPARE(ContractSite::origFiles().front().split(QLatin1Char(' ')).at(3), suffix);
}

void DatabaseApiContract::robotArchiveIsRefused_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<std::string>("jobName");
    QTest::newRow("missing file") << QStringLiteral("nothing.tgz") << std::string("A000001");
    QTest::newRow("folder") << QStringLiteral("a folder") << std::string("A000001");
    QTest::newRow("unknown job") << QStringLiteral("robot.tgz") << std::string("A000002");
    QTest::newRow("case of the job") << QStringLiteral("robot.tgz") << std::string("a000001");
    QTest::newRow("empty job") << QStringLiteral("robot.tgz") << std::string();
    QTest::newRow("job that is not UTF-8") << QStringLiteral("robot.tgz") << std::string("\xff");
}

void DatabaseApiContract::robotArchiveIsRefused()
{
    QFETCH(const QString, file);
    QFETCH(const std::string, jobName);
    const ImportedJob job = importedJob(*m_site);
    m_site->writeFile(QStringLiteral("robot.tgz"), "second content");
    QVERIFY(QDir(m_site->folder()).mkdir(QStringLiteral("a folder")));
    ContractSite::expectFailure("kozav_reupload_robot_tgz", "");
    QVERIFY(!DBS_API::kozav_reupload_robot_tgz(m_site->path(file).toStdString(), jobName, 4, "who"));
    QCOMPARE(ContractSite::origFiles().size(), 1);
    QCOMPARE(ContractSite::storedNames().size(), size_t{1});
    QVERIFY(flowNamed(job.generatedName).lastOdbppImportMongoFsGuid.empty());
}

} // namespace KOZAV::Test
