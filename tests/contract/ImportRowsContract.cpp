#include "ImportRowsContract.h"

#include "ImportSteps.h"
#include "WeirdTexts.h"
#include "services/bll/Odbpp_JobCompressBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"
#include "services/common/Common.h"
#include "services/ui/ZAV_StdCommon.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTest>

#include <set>

namespace KOZAV::Test {

using namespace DataLib;

namespace {

const std::string fileStore()
{
    return Common::commonInterface()->getConfig().mongoFsName;
}

QString text(const std::string& utf8)
{
    return QString::fromStdString(utf8);
}

/// A job of company Alpha whose file is stored and whose job-compress row is still missing.
ImportedJob jobWithFile(const ContractSite& site)
{
    ContractSite::addCompany("A", "Alpha");
    ImportedJob job = beginJob("Alpha");
    job.storedName = storeFile(site.writeFile(QStringLiteral("board.tgz"), "content"), "tgz");
    job.suffix = "tgz";
    return job;
}

QString sha256Of(const QByteArray& content)
{
    return QString::fromLatin1(QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex());
}

QByteArray fetchedContent(const ContractSite& site, const std::string& storedName)
{
    const Model::KOZAV_Config config = Common::commonInterface()->getConfig();
    const QString target = site.path(QStringLiteral("fetched"));
    if (Common::MongodbGet(config.mongoDbName, config.mongoFsName, target.toStdString(), storedName) != 0)
        return {};
    QFile file(target);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

size_t waitingJobs()
{
    return UI::ZAV_StdCommon::interface()->getInputJobList().size();
}

bool isComplete(const ImportedJob& job)
{
    return ContractSite::job(job.generatedName).contains(QStringLiteral("complete=1"));
}

} // namespace

void ImportRowsContract::archiveImportIsRecordedWhole()
{
    m_site->addCompany("A", "Alpha");
    const ImportedJob job = importArchive("Alpha", m_site->writeFile(QStringLiteral("board.tgz"), "content"));
    QVERIFY(job.complete);
    const QStringList fields = ContractSite::job("A000001");
    for (const QString& field :
         {QStringLiteral("jobName=board"), QStringLiteral("state=0"), QStringLiteral("subState=0"),
          QStringLiteral("batch=3"), QStringLiteral("user=7"), QStringLiteral("company=A"),
          QStringLiteral("stored=") + text(job.storedName), QStringLiteral("suffix=tgz"),
          QStringLiteral("fileStore=") + text(fileStore()), QStringLiteral("resource="),
          QStringLiteral("customer2="), QStringLiteral("customer3="), QStringLiteral("complete=1")})
        QVERIFY2(fields.contains(field),
                 qPrintable(field + QStringLiteral(" in ") + fields.join(QLatin1Char(' '))));
    QCOMPARE(ContractSite::origFiles(),
             QStringList(text(job.origFileGuid + " A000001 " + job.storedName + " tgz A")));
}

void ImportRowsContract::folderImportHasItsThreeTexts()
{
    const ImportedJob job = jobWithFile(*m_site);
    QVERIFY(BLL::Odbpp_JobCompressBll().inputJobCompressByFolder(
        job.companyName, job.companyCode, job.companyId, "board", job.flowGuid, job.storedName, "", "note",
        fileStore(), 7, job.jobNumber, "res", "second", "third"));
    const QStringList fields = ContractSite::job(job.generatedName);
    for (const QString& field : {QStringLiteral("resource=res"), QStringLiteral("customer2=second"),
                                 QStringLiteral("customer3=third"), QStringLiteral("suffix=")})
        QVERIFY2(fields.contains(field), qPrintable(fields.join(QLatin1Char(' '))));
}

void ImportRowsContract::originalFileNeedsItsStoredFile()
{
    m_site->addCompany("A", "Alpha");
    for (const char* name : {"nothing.tgz", "", ".zip", "..", "../nothing"}) {
        ContractSite::expectFailure("inputOrigFile", "");
        QVERIFY(!BLL::Odbpp_OrigFilesBll().inputOrigFile("guid", "board", name, "tgz", "A", 0, 7));
    }
    QVERIFY(ContractSite::origFiles().isEmpty());
}

void ImportRowsContract::originalFileIsRefused_data()
{
    QTest::addColumn<std::string>("guid");
    QTest::addColumn<std::string>("companyCode");
    QTest::addColumn<std::string>("jobName");
    QTest::newRow("empty key") << std::string() << std::string("A") << std::string("board");
    QTest::newRow("unknown company") << std::string("g") << std::string("B") << std::string("board");
    QTest::newRow("case of the company") << std::string("g") << std::string("a") << std::string("board");
    QTest::newRow("empty company") << std::string("g") << std::string() << std::string("board");
    QTest::newRow("not UTF-8") << std::string("g") << std::string("A") << std::string("\xff");
}

void ImportRowsContract::originalFileIsRefused()
{
    QFETCH(const std::string, guid);
    QFETCH(const std::string, companyCode);
    QFETCH(const std::string, jobName);
    const ImportedJob job = jobWithFile(*m_site);
    ContractSite::expectFailure("inputOrigFile", "");
    QVERIFY(
        !BLL::Odbpp_OrigFilesBll().inputOrigFile(guid, jobName, job.storedName, "tgz", companyCode, 0, 7));
    QVERIFY(ContractSite::origFiles().isEmpty());
}

void ImportRowsContract::originalFileKeyIsUnique()
{
    const ImportedJob job = jobWithFile(*m_site);
    BLL::Odbpp_OrigFilesBll bll;
    QVERIFY(bll.inputOrigFile("guid", "board", job.storedName, "tgz", "A", 0, 7));
    ContractSite::expectTakenKey("inputOrigFile");
    QVERIFY(!bll.inputOrigFile("guid", "other", job.storedName, "tgz", "A", 0, 7));
    QCOMPARE(ContractSite::origFiles().size(), 1);
}

void ImportRowsContract::originalFileKnowsItsContent()
{
    if (!ContractSite::gives(Promise::KnownContent))
        QSKIP("rows know nothing of contents here");
    ImportedJob job = jobWithFile(*m_site);
    QVERIFY(BLL::Odbpp_OrigFilesBll().inputOrigFile("guid", "board", job.storedName, "tgz", "A", 0, 7));
    QCOMPARE(ContractSite::contents(), QStringList(text(job.storedName) + QStringLiteral(" 7 ") +
                                                   sha256Of("content") + QStringLiteral(" -")));
}

/// The archives of one folder at two times differ; what the rows know of their content does not. The digest
/// belongs to its row alone.
void ImportRowsContract::packedFolderIsKnownByItsContent()
{
    if (!ContractSite::gives(Promise::KnownContent))
        QSKIP("rows know nothing of contents here");
    ContractSite::addCompany("A", "Alpha");
    const QString folder = m_site->path(QStringLiteral("job"));
    QVERIFY(QDir().mkpath(folder + QStringLiteral("/matrix")));
    const std::string file = m_site->writeFile(QStringLiteral("job/matrix/matrix"), "STEP {}\n");
    const QByteArray record =
        "folder content 1\nfile 8 " + sha256Of("STEP {}\n").toLatin1() + " 13:matrix/matrix\n";
    QStringList expected;
    std::set<QByteArray> archives;
    for (const int seconds : {1'700'000'001, 1'600'000'001}) {
        QFile changed(QString::fromStdString(file));
        QVERIFY(changed.open(QIODevice::ReadWrite));
        QVERIFY(
            changed.setFileTime(QDateTime::fromSecsSinceEpoch(seconds), QFileDevice::FileModificationTime));
        changed.close();
        std::string id;
        QCOMPARE(Common::FoldersCompressSave2MongoDb(folder.toStdString(),
                                                     m_site->path(QStringLiteral("stage")).toStdString(), id),
                 0);
        // Only the row of that archive takes what was packed.
        QVERIFY(BLL::Odbpp_OrigFilesBll().inputOrigFile(id, "job", id + ".zip", "", "A", 0, 7));
        const QByteArray archive = fetchedContent(*m_site, id + ".zip");
        archives.insert(archive);
        expected.prepend(
            QStringLiteral("%1.zip %2 %3 8 %4")
                .arg(text(id), QString::number(archive.size()), sha256Of(archive), sha256Of(record)));
    }
    QCOMPARE(ContractSite::contents(), expected);
    QCOMPARE(archives.size(), size_t{2});
}

void ImportRowsContract::compressRowNeedsItsStoredFile()
{
    ImportedJob job = jobWithFile(*m_site);
    for (const char* name : {"nothing.tgz", "", ".zip", "../nothing"}) {
        job.storedName = name;
        ContractSite::expectFailure("inputJobCompress", "");
        QVERIFY(!addCompressRow(job));
    }
    QVERIFY(!isComplete(job));
}

void ImportRowsContract::compressRowWithoutItsFileTakesTheJobOffTheList()
{
    ImportedJob job = jobWithFile(*m_site);
    const ImportedJob other = importArchive("Alpha", m_site->writeFile(QStringLiteral("c.tgz"), "other"));
    QCOMPARE(waitingJobs(), size_t{1});
    job.storedName = "nothing.tgz";
    ContractSite::expectFailure("inputJobCompress", "nothing.tgz");
    QVERIFY(!addCompressRow(job));
    QCOMPARE(waitingJobs(), size_t{1});
    const QStringList fields = ContractSite::job(job.generatedName);
    QVERIFY(fields.contains(QStringLiteral("state=-1")));
    QVERIFY(fields.contains(QStringLiteral("subState=-1")));
    QVERIFY(fields.contains(QStringLiteral("jobName=board")));
    QVERIFY(ContractSite::job(other.generatedName).contains(QStringLiteral("state=0")));
}

void ImportRowsContract::compressRowOfACompleteJobChangesNothing()
{
    ImportedJob job = jobWithFile(*m_site);
    QVERIFY(addCompressRow(job));
    const QStringList before = ContractSite::job(job.generatedName);
    job.storedName = "nothing.tgz";
    ContractSite::expectFailure("inputJobCompress", "nothing.tgz");
    QVERIFY(!addCompressRow(job));
    QCOMPARE(ContractSite::job(job.generatedName), before);
    QCOMPARE(waitingJobs(), size_t{1});
}

void ImportRowsContract::aJobWaitsOnceItsImportIsComplete()
{
    const ImportedJob job = jobWithFile(*m_site);
    QCOMPARE(waitingJobs(), size_t{0});
    QVERIFY(addCompressRow(job));
    QCOMPARE(waitingJobs(), size_t{1});
}

void ImportRowsContract::compressRowIsRefused_data()
{
    QTest::addColumn<QString>("what");
    QTest::newRow("empty flow key") << QStringLiteral("empty");
    QTest::newRow("unknown flow key") << QStringLiteral("unknown");
    QTest::newRow("unknown company") << QStringLiteral("company");
    QTest::newRow("negative job number") << QStringLiteral("number");
    QTest::newRow("text that is not UTF-8") << QStringLiteral("text");
}

void ImportRowsContract::compressRowIsRefused()
{
    QFETCH(const QString, what);
    const ImportedJob job = jobWithFile(*m_site);
    ImportedJob wrong = job;
    if (what == QLatin1String("empty"))
        wrong.flowGuid.clear();
    else if (what == QLatin1String("unknown"))
        wrong.flowGuid = "nowhere";
    else if (what == QLatin1String("company"))
        wrong.companyId += 1;
    else if (what == QLatin1String("number"))
        wrong.jobNumber = -1;
    else
        wrong.companyName = "\xc3";
    ContractSite::expectFailure("inputJobCompress", "");
    QVERIFY(!addCompressRow(wrong));
    QVERIFY(!isComplete(job));
    QVERIFY(addCompressRow(job));
}

void ImportRowsContract::oneCompressRowAFlow()
{
    const ImportedJob job = jobWithFile(*m_site);
    QVERIFY(addCompressRow(job));
    const QStringList before = ContractSite::job(job.generatedName);
    ContractSite::expectTakenKey("inputJobCompress");
    QVERIFY(!addCompressRow(job));
    QCOMPARE(ContractSite::job(job.generatedName), before);
}

void ImportRowsContract::textsAreKeptAsTheyAre_data()
{
    addWeirdTexts();
    QTest::newRow("newline") << std::string("a\nb\r\n\tc");
}

void ImportRowsContract::textsAreKeptAsTheyAre()
{
    QFETCH(const std::string, text);
    const ImportedJob job = jobWithFile(*m_site);
    QVERIFY(BLL::Odbpp_OrigFilesBll().inputOrigFile(text, text, job.storedName, text, "A", 0, 7));
    QVERIFY(BLL::Odbpp_JobFlowBll().UpdateOrigFileGuid(text, job.flowGuid));
    QVERIFY(BLL::Odbpp_JobCompressBll().inputJobCompressByFolder(text, "A", job.companyId, text, job.flowGuid,
                                                                 job.storedName, text, text, fileStore(), 7,
                                                                 1, text, text, text));
    const QStringList fields = ContractSite::job(job.generatedName);
    for (const char* name : {"suffix=", "resource=", "customer2=", "customer3="})
        QVERIFY(fields.contains(QLatin1String(name) + QString::fromStdString(text)));
}

void ImportRowsContract::everythingIsThereAfterReopening()
{
    m_site->addCompany("A", "Alpha");
    for (int i = 0; i < 5; ++i)
        QVERIFY(importArchive("Alpha", m_site->writeFile(QStringLiteral("b.tgz"), QByteArray::number(i)))
                    .complete);
    const QStringList files = ContractSite::origFiles();
    const QStringList job = ContractSite::job("A000005");
    const std::vector<std::string> stored = ContractSite::storedNames();
    ContractSite::close();
    QCOMPARE(ContractSite::origFiles(), files);
    QCOMPARE(ContractSite::job("A000005"), job);
    QCOMPARE(ContractSite::storedNames(), stored);
    QCOMPARE(stored.size(), size_t{5});
    QCOMPARE(waitingJobs(), size_t{5});
    QCOMPARE(beginJob("Alpha").generatedName, std::string("A000006"));
}

} // namespace KOZAV::Test
