// Imports at the edges of what a site meets: names, companies, robots, stores that refuse.

#include "tests/support/FolderTree.h"
#include "tests/support/FreshSite.h"
#include "tests/support/OperatedPanel.h"
#include "tests/support/RobotPeer.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTest>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

void writeFile(const QString& path, const QByteArray& content)
{
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(path));
    QCOMPARE(file.write(content), qint64(content.size()));
}

/// A UTF-8 name of exactly 255 bytes.
QString longName()
{
    return QString(85, QChar(0x6599));
}

} // namespace

class ImportEdges : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void namesComeBack_data();
    void namesComeBack();
    void companyNamesAreOnlyText_data();
    void companyNamesAreOnlyText();
    void robotThatCannotBeReached_data();
    void robotThatCannotBeReached();
    void folderThatCannotBePackedLeavesNoWaitingJob();
    void emptyFolderIsImported();
    void unknownCompanyLeavesOnlyStoredFiles();
};

void ImportEdges::namesComeBack_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("quotes") << QStringLiteral("it's \"so\"");
    QTest::newRow("percent") << QStringLiteral("100%1%2 %s");
    QTest::newRow("semicolon") << QStringLiteral("a;b--c");
    QTest::newRow("emoji") << QStringLiteral("板子😀");
    QTest::newRow("newline") << QStringLiteral("two\nlines");
    QTest::newRow("blanks") << QStringLiteral(" a  b ");
    QTest::newRow("backslash") << QStringLiteral("a\\b");
    QTest::newRow("255 bytes") << longName();
}

void ImportEdges::namesComeBack()
{
    QFETCH(QString, name);
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    const QString folder = site.path(QStringLiteral("batch/甲/")) + name;
    writeFile(folder + QLatin1Char('/') + name, "content of a file named like the job");
    writeFile(folder + QStringLiteral("/sub/.hidden"), "hidden");
    const auto files = filesOf(folder);

    OperatedPanel panel;
    panel.importBatch(site.path(QStringLiteral("batch")));
    QCOMPARE(panel.complaint(), QString());

    const auto jobs = site.jobs();
    QCOMPARE(int(jobs.size()), 1);
    QVERIFY(jobs.front().complete);
    QCOMPARE(jobs.front().jobName, name);
    // Unpacked by a reader that takes names as they are; others turn a backslash into a slash.
    const QString unpacked = site.path(QStringLiteral("unpacked"));
    const QString script =
        QStringLiteral("import sys, zipfile; zipfile.ZipFile(sys.argv[1]).extractall(sys.argv[2])");
    run(QStringLiteral("python3"), {QStringLiteral("-c"), script, site.fetch(jobs.front()), unpacked});
    QCOMPARE(filesOf(unpacked), files);
}

void ImportEdges::companyNamesAreOnlyText_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("statement") << QStringLiteral("'; DROP TABLE company;--");
    QTest::newRow("quotes") << QStringLiteral("O'Neil \"Boards\"");
    QTest::newRow("wildcards") << QStringLiteral("100%_");
    QTest::newRow("emoji") << QStringLiteral("😀电路");
    QTest::newRow("case") << QStringLiteral("acme BOARDS");
}

void ImportEdges::companyNamesAreOnlyText()
{
    QFETCH(QString, name);
    const FreshSite site;
    site.addCompany(QStringLiteral("OTHER"), QStringLiteral("ACME boards"));
    site.addCompany(QStringLiteral("AB"), name);
    writeFile(site.path(QStringLiteral("batch/")) + name + QStringLiteral("/job.tgz"), "archive");

    OperatedPanel panel;
    panel.importBatch(site.path(QStringLiteral("batch")));
    QCOMPARE(panel.complaint(), QString());

    QCOMPARE(int(site.jobs().size()), 1);
    QCOMPARE(site.jobs().front().companyName, name);
    QCOMPARE(site.company(QStringLiteral("AB")).jobCount, 1);
    QCOMPARE(site.company(QStringLiteral("AB")).batchNumber, 1);
    QCOMPARE(site.company(QStringLiteral("OTHER")).jobCount, 0);
    QCOMPARE(site.company(QStringLiteral("OTHER")).batchNumber, 0);
}

void ImportEdges::robotThatCannotBeReached_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<int>("mode"); // of the peer; -1: nobody listens
    QTest::addColumn<int>("requests");
    QTest::newRow("a name") << QStringLiteral("localhost") << int(RobotPeer::Mode::Answer) << 0;
    QTest::newRow("nobody listens") << QStringLiteral("127.0.0.1") << -1 << 0;
    QTest::newRow("never answers") << QStringLiteral("127.0.0.1") << int(RobotPeer::Mode::Silent) << 1;
    QTest::newRow("answers late") << QStringLiteral("127.0.0.1") << int(RobotPeer::Mode::AnswerLate) << 1;
    QTest::newRow("answers") << QStringLiteral("127.0.0.1") << int(RobotPeer::Mode::Answer) << 1;
}

void ImportEdges::robotThatCannotBeReached()
{
    QFETCH(QString, host);
    QFETCH(int, mode);
    QFETCH(int, requests);
    const RobotPeer::Mode peerMode = mode < 0 ? RobotPeer::Mode::Silent : RobotPeer::Mode(mode);
    RobotPeer peer(peerMode);
    const FreshSite site;
    site.configure(QStringLiteral("robot/host"), host);
    site.configure(QStringLiteral("robot/port"),
                   QString::number(mode < 0 ? RobotPeer::closedPort() : peer.port()));
    site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    writeFile(site.path(QStringLiteral("batch/甲/saved.kos")), "saved job");

    OperatedPanel panel;
    QElapsedTimer timer;
    timer.start();
    panel.importBatch(site.path(QStringLiteral("batch")));
    QVERIFY2(timer.elapsed() < 10000, "the import waited for the robot");
    QCOMPARE(panel.complaint(), QString());

    QCOMPARE(int(site.jobs().size()), 1);
    QVERIFY(site.jobs().front().complete);
    QCOMPARE(site.jobs().front().state, 1);
    QVERIFY(peer.barrier());
    const auto received = peer.received();
    QCOMPARE(int(std::count_if(received.begin(), received.end(),
                               [](const QByteArray& bytes) { return bytes.contains("ab000001"); })),
             requests);
}

void ImportEdges::folderThatCannotBePackedLeavesNoWaitingJob()
{
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    const QString folder = site.path(QStringLiteral("batch/甲/job"));
    writeFile(folder + QStringLiteral("/matrix/matrix"), "STEP {}");
    // A link that leads out of the job: what it points at is not part of the job.
    QVERIFY(QFile::link(QStringLiteral("/etc/hostname"), folder + QStringLiteral("/out")));

    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("FoldersCompressSave2MongoDb.*out")));
    for (const char* refused : {"inputOrigFile", "UpdateOrigFileGuid", "inputJobCompressByFolder"})
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QString::fromLatin1(refused)));
    OperatedPanel panel;
    panel.importBatch(site.path(QStringLiteral("batch")));
    QCOMPARE(panel.complaint(), QString());

    QCOMPARE(site.storedNames(), QStringList());
    QCOMPARE(int(site.origFiles().size()), 0);
    for (const auto& job : site.jobs()) {
        QVERIFY(!job.complete);
        QVERIFY2(!(job.state == 0 && job.subState == 0), "a job that is not in the store waits for import");
    }
}

void ImportEdges::emptyFolderIsImported()
{
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    QVERIFY(QDir().mkpath(site.path(QStringLiteral("batch/甲/empty"))));

    OperatedPanel panel;
    panel.importBatch(site.path(QStringLiteral("batch")));
    QCOMPARE(panel.complaint(), QString());
    QCOMPARE(int(site.jobs().size()), 1);
    QVERIFY(site.jobs().front().complete);
    const QString zip = site.fetch(site.jobs().front());
    QCOMPARE(
        run(QStringLiteral("python3"),
            {QStringLiteral("-c"),
             QStringLiteral("import sys,zipfile; print(len(zipfile.ZipFile(sys.argv[1]).namelist()))"), zip}),
        QByteArray("0\n"));
}

void ImportEdges::unknownCompanyLeavesOnlyStoredFiles()
{
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    writeFile(site.path(QStringLiteral("batch/乙/one.tgz")), "one");
    writeFile(site.path(QStringLiteral("batch/乙/two/file")), "two");

    OperatedPanel panel;
    panel.importBatch(site.path(QStringLiteral("batch")), 2);
    QCOMPARE(panel.complaint(), QString());
    QCOMPARE(panel.messages(),
             QStringList({QStringLiteral("公司名 乙 不存在"), QStringLiteral("公司名 乙 不存在"),
                          QStringLiteral("原始数据导入完成"), QStringLiteral("当前批号：0")}));
    QCOMPARE(int(site.jobs().size()), 0);
    QCOMPARE(int(site.origFiles().size()), 0);
    QCOMPARE(site.storedNames().size(), 2);
}

ZAV_REGISTER_TEST(import_edges, ImportEdges, QApplication)

#include "import_edges.moc"
