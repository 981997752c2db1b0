// Real jobs through the real panel into a real database and store, and back.

#include "services/common/Common.h"
#include "tests/support/FolderTree.h"
#include "tests/support/FreshSite.h"
#include "tests/support/OperatedPanel.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QDir>
#include <QTest>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

const QString company = QStringLiteral("深圳华兴电路");

QStringList realJobs()
{
    return QDir(QStringLiteral(ZAV_TEST_ODBPP_DIR))
        .entryList({QStringLiteral("*.tgz")}, QDir::Files, QDir::Name);
}

QString realJob(const QString& name)
{
    return QStringLiteral(ZAV_TEST_ODBPP_DIR "/") + name;
}

/// Unpacks a real job below target. @return its folder
QString unpack(const QString& job, const QString& target)
{
    QDir().mkpath(target);
    run(QStringLiteral("tar"), {QStringLiteral("xzf"), realJob(job), QStringLiteral("-C"), target});
    return target + QLatin1Char('/') + QDir(target).entryList(QDir::Dirs | QDir::NoDotAndDotDot).constFirst();
}

void writeManifest(const QString& folder)
{
    QFile file(folder + QStringLiteral("/readme.json"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    const char manifest[] = R"({"resource": "网页", "customer2": "二", "customer3": "三"})";
    QCOMPARE(file.write(manifest), qint64(sizeof(manifest) - 1));
}

/// The files in a zip archive, as a second tool unpacks it.
QMap<QString, QByteArray> filesInZip(const QString& archive, const QString& scratch)
{
    run(QStringLiteral("unzip"), {QStringLiteral("-tq"), archive});
    QDir().mkpath(scratch);
    run(QStringLiteral("unzip"), {QStringLiteral("-qo"), archive, QStringLiteral("-d"), scratch});
    return filesOf(scratch);
}

} // namespace

class ImportRealJobs : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        if (realJobs().isEmpty())
            QSKIP("no real ODB++ jobs in " ZAV_TEST_ODBPP_DIR);
    }

    void batchOfFoldersAndArchives();
    void singleFolderKeepsItsManifest();
    void singleArchives_data();
    void singleArchives();
};

void ImportRealJobs::batchOfFoldersAndArchives()
{
    const FreshSite site;
    site.addCompany(QStringLiteral("HX"), company);
    const QString batch = site.path(QStringLiteral("batch"));
    const QString companyPath = batch + QLatin1Char('/') + company;
    QDir().mkpath(companyPath);

    QMap<QString, QMap<QString, QByteArray>> folders;
    QMap<QString, QByteArray> archives;
    for (const QString& job : realJobs()) {
        const QString name = job.chopped(4);
        const QString unpacked = unpack(job, site.path(QStringLiteral("unpacked-") + name));
        const QString folder = companyPath + QLatin1Char('/') + name;
        folders.insert(name, filesOf(unpacked));
        QVERIFY(QFile::copy(realJob(job), folder + QStringLiteral(".tgz")));
        QVERIFY(QFile::copy(realJob(job), folder + QStringLiteral(".kos")));
        run(QStringLiteral("zip"),
            {QStringLiteral("-qr"), folder + QStringLiteral(".zip"), QStringLiteral(".")}, unpacked);
        for (const char* suffix : {"tgz", "kos", "zip"}) {
            const QString file = name + QLatin1Char('.') + QLatin1String(suffix);
            archives.insert(file, contentOf(companyPath + QLatin1Char('/') + file));
        }
        QVERIFY(QDir().rename(unpacked, folder));
        writeManifest(folder);
    }

    OperatedPanel panel;
    panel.importBatch(batch);
    QCOMPARE(panel.complaint(), QString());
    QCOMPARE(panel.messages(),
             QStringList({QStringLiteral("原始数据导入完成"), QStringLiteral("当前批号：1")}));

    const auto jobs = site.jobs();
    QCOMPARE(int(jobs.size()), 4 * realJobs().size());
    QCOMPARE(int(site.origFiles().size()), int(jobs.size()));
    QCOMPARE(site.storedNames().size(), int(jobs.size()));
    QCOMPARE(site.company(QStringLiteral("HX")).jobCount, int(jobs.size()));
    QCOMPARE(site.company(QStringLiteral("HX")).batchNumber, 1);

    int number = 0;
    for (const auto& job : jobs) {
        QVERIFY(job.complete);
        QCOMPARE(job.generatedName, QStringLiteral("HX%1").arg(++number, 6, 10, QLatin1Char('0')));
        QCOMPARE(job.companyName, company);
        QCOMPARE(job.companyCode, QStringLiteral("HX"));
        QCOMPARE(job.batchNumber, 1);
        QVERIFY(!job.origFileGuid.isEmpty());
        QVERIFY(job.flowNo.startsWith(QLatin1Char('F')));
        const bool saved = job.suffix == QLatin1String("kos");
        QCOMPARE(job.state, saved ? 1 : 0);
        QCOMPARE(job.subState, saved ? 2 : 0);

        const QString fetched = site.fetch(job);
        QVERIFY(!fetched.isEmpty());
        if (!job.suffix.isEmpty()) {
            const QString source = job.jobName + QLatin1Char('.') + job.suffix;
            QVERIFY(archives.contains(source));
            QCOMPARE(contentOf(fetched), archives.take(source));
            QVERIFY(job.resource.isEmpty() && job.customer2.isEmpty() && job.customer3.isEmpty());
            continue;
        }
        QCOMPARE(job.storedName.right(4), QStringLiteral(".zip"));
        QVERIFY(folders.contains(job.jobName));
        QCOMPARE(filesInZip(fetched, site.path(QStringLiteral("zip-") + job.jobName)),
                 folders.take(job.jobName));
        QCOMPARE(job.resource, QStringLiteral("网页"));
        QCOMPARE(job.customer2, QStringLiteral("二"));
        QCOMPARE(job.customer3, QStringLiteral("三"));
        QVERIFY(
            !QFile::exists(companyPath + QLatin1Char('/') + job.jobName + QStringLiteral("/readme.json")));
    }
    QVERIFY(archives.isEmpty());
    QVERIFY(folders.isEmpty());
}

void ImportRealJobs::singleFolderKeepsItsManifest()
{
    const FreshSite site;
    site.addCompany(QStringLiteral("HX"), company);
    const QString folder = unpack(realJobs().constFirst(), site.path(QStringLiteral("jobs")));
    writeManifest(folder);
    const auto files = filesOf(folder);
    QVERIFY(files.contains(QStringLiteral("readme.json")));

    OperatedPanel panel;
    panel.importFolder(company, folder);
    QCOMPARE(panel.complaint(), QString());
    QCOMPARE(panel.messages(), QStringList({QStringLiteral("公司名  不存在"), QStringLiteral("导入成功!")}));

    const auto jobs = site.jobs();
    QCOMPARE(int(jobs.size()), 1);
    QVERIFY(jobs.front().complete);
    QCOMPARE(jobs.front().generatedName, QStringLiteral("HX000001"));
    QCOMPARE(jobs.front().batchNumber, 0);
    QCOMPARE(jobs.front().resource, QString());
    QCOMPARE(filesInZip(site.fetch(jobs.front()), site.path(QStringLiteral("zip"))), files);
    QCOMPARE(filesOf(folder), files);
}

void ImportRealJobs::singleArchives_data()
{
    QTest::addColumn<QString>("suffix");
    for (const char* suffix : {"tgz", "zip", "rar", "kos"})
        QTest::newRow(suffix) << QString::fromLatin1(suffix);
}

void ImportRealJobs::singleArchives()
{
    QFETCH(QString, suffix);
    const FreshSite site;
    site.addCompany(QStringLiteral("HX"), company);
    const QString file = site.path(QStringLiteral("board.rev.2.") + suffix);
    QVERIFY(QFile::copy(realJob(realJobs().constFirst()), file));

    OperatedPanel panel;
    panel.importArchive(company, file);
    QCOMPARE(panel.complaint(), QString());

    const auto jobs = site.jobs();
    QCOMPARE(int(jobs.size()), 1);
    QVERIFY(jobs.front().complete);
    QCOMPARE(jobs.front().jobName, QStringLiteral("board.rev.2"));
    QCOMPARE(jobs.front().suffix, suffix);
    QCOMPARE(contentOf(site.fetch(jobs.front())), contentOf(file));
    // The copy in the staging directory stays.
    const auto config = Common::commonInterface()->getConfig();
    QCOMPARE(contentOf(QString::fromStdString(config.uploadCacheDir) + jobs.front().storedName),
             contentOf(file));
}

ZAV_REGISTER_TEST(import_real_jobs, ImportRealJobs, QApplication)

#include "import_real_jobs.moc"
