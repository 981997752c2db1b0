// What an operator sees when things go wrong, and how he gets a job to the robot: each once, in a real
// window.

#include "samples/JobGenerator.h"
#include "tests/support/DesktopOperator.h"
#include "tests/support/FreshSite.h"
#include "tests/support/RobotPeer.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

const QString messages = QStringLiteral("messageDock > QTableView");

/// A site with a company, and a client of it on the desktop that all stories share.
class Story final
{
public:
    explicit Story(const Desktop& desktop)
        : client(desktop)
        , operatorHand(client)
    {
        site.addCompany(QStringLiteral("HX"), QStringLiteral("华兴"));
        site.configure(QStringLiteral("robot/port"), QString::number(RobotPeer::closedPort()));
    }

    bool start(const QStringList& arguments = {})
    {
        return client.start(QStringList{QStringLiteral("--config"), site.configuration()} + arguments);
    }

    [[nodiscard]] QString batch() const { return site.path(QStringLiteral("batch")); }
    [[nodiscard]] QString entry(const QString& name) const { return batch() + QLatin1Char('/') + name; }
    void put(const QString& name, const QByteArray& content) const { writeFile(local(entry(name)), content); }

    void putJob(const QString& company, const QString& name,
                const std::optional<Samples::ArchiveKind>& archive = std::nullopt) const
    {
        Samples::JobRequest request;
        request.directory = entry(company);
        request.name = name;
        request.archive = archive;
        const auto made = Samples::generateJob(request);
        if (!made.ok())
            qFatal("%s", qUtf8Printable(made.error));
    }

    /// Turns to the page of the results, and looks for the entry there.
    bool showsResult(const QString& name)
    {
        return client.clickItem(QStringLiteral("pages > QTabBar"), QStringLiteral("Results")) &&
               client.showsText(QStringLiteral("resultsPage > QTableView"), name);
    }

    FreshSite site;
    DesktopClient client;
    DesktopOperator operatorHand;
};

} // namespace

class DesktopStoriesTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void mixedBatch();
    void fullDisk();
    void lockedDatabase();
    void robotOff();
    void waitingJobToTheRobotInTwoActions();
    void killedClient();
    void companyAddedElsewhere();

private:
    std::unique_ptr<Desktop> m_desktop;
};

void DesktopStoriesTest::initTestCase()
{
    m_desktop = std::make_unique<Desktop>(QSize(1366, 768));
}

/// A good folder and a good archive; a suffix that is refused, an archive that is cut short, a company that
/// the site does not have.
void DesktopStoriesTest::mixedBatch()
{
    Story story(*m_desktop);
    story.putJob(QStringLiteral("华兴"), QStringLiteral("folder-job"));
    story.putJob(QStringLiteral("华兴"), QStringLiteral("packed-job"), Samples::ArchiveKind::Zip);
    story.putJob(QStringLiteral("华兴"), QStringLiteral("cut-job"), Samples::ArchiveKind::Tgz);
    const QString cut = story.entry(QStringLiteral("华兴/cut-job.tgz"));
    story.put(QStringLiteral("华兴/cut-job.tgz"), contentOf(cut).left(20'000));
    story.put(QStringLiteral("华兴/notes.txt"), "no job");
    story.putJob(QStringLiteral("某公司"), QStringLiteral("stranger"), Samples::ArchiveKind::Zip);
    QVERIFY(story.start());
    QVERIFY(story.operatorHand.chooseBatch(story.batch()));
    QVERIFY(story.operatorHand.pressImport());
    QVERIFY(story.client.find(QStringLiteral("QMessageBox")));
    story.client.takePicture(QStringLiteral("story-unknown-company"));
    const QStringList texts = story.operatorHand.answerBatch();
    QVERIFY2(texts.contains(QStringLiteral("公司名 某公司 不存在")),
             qPrintable(texts.join(QLatin1Char('|'))));
    QCOMPARE(story.site.jobs().size(), std::size_t{3});
    for (const char* entry : {"notes.txt", "stranger.zip", "cut-job.tgz"}) {
        QVERIFY2(story.client.showsText(messages, QString::fromLatin1(entry)), entry);
        QVERIFY2(story.showsResult(QString::fromLatin1(entry)), entry);
    }
    story.client.takePicture(QStringLiteral("story-mixed-batch"));
    QCOMPARE(story.client.quit(), 0);
}

void DesktopStoriesTest::fullDisk()
{
    Story story(*m_desktop);
    for (int job = 0; job < 3; ++job)
        story.put(QStringLiteral("华兴/job%1.zip").arg(job),
                  emptyZip(randomBytes(60'000, 1)) + randomBytes(2'000'000, static_cast<quint32>(job)));
    // The store on a disk of its own, which is too small; it goes with the client.
    const QString place = story.site.path(QStringLiteral("data/store"));
    const QString mount = QStringLiteral("place=$1; shift; cp -a $place $place.copy && "
                                         "mount -t tmpfs -o size=3m tmpfs $place && "
                                         "cp -a $place.copy/. $place || exit %1; exec \"$@\"")
                              .arg(cannotMount);
    const QStringList tool = {QStringLiteral("unshare"),
                              QStringLiteral("-m"),
                              QStringLiteral("sh"),
                              QStringLiteral("-c"),
                              mount,
                              QStringLiteral("sh"),
                              place};
    if (runProgram(tool.first(), tool.mid(1, 3) + QStringList{QStringLiteral("mount -t tmpfs tmpfs /mnt")})
            .exitCode != 0)
        QSKIP("a small disk cannot be mounted here");
    QVERIFY(story.client.startBy(tool, {QStringLiteral("--config"), story.site.configuration()}));
    QVERIFY(!story.operatorHand.importBatch(story.batch()).isEmpty());
    QVERIFY(story.client.showsText(messages, QStringLiteral("no space left on the disk")));
    QVERIFY(story.showsResult(QStringLiteral("job2.zip")));
    story.client.takePicture(QStringLiteral("story-full-disk"));
    QCOMPARE(story.client.quit(), 0);
}

void DesktopStoriesTest::lockedDatabase()
{
    Story story(*m_desktop);
    story.site.configure(QStringLiteral("database/busy_timeout"), QStringLiteral("100"));
    story.putJob(QStringLiteral("华兴"), QStringLiteral("board"), Samples::ArchiveKind::Zip);
    QVERIFY(story.start());
    QVERIFY(story.operatorHand.chooseBatch(story.batch()));
    const QString connection = QStringLiteral("lock");
    {
        auto database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        database.setDatabaseName(story.site.path(QStringLiteral("data/site.db")));
        QVERIFY(database.open());
        QVERIFY(QSqlQuery(database).exec(QStringLiteral("BEGIN IMMEDIATE")));
        QVERIFY(story.operatorHand.pressImport());
        QVERIFY(!story.operatorHand.answerBatch().isEmpty());
        database.close();
    }
    QSqlDatabase::removeDatabase(connection);
    QVERIFY(story.client.showsText(messages, QStringLiteral("board.zip")));
    QVERIFY(story.showsResult(QStringLiteral("board.zip")));
    story.client.takePicture(QStringLiteral("story-locked-database"));
    QVERIFY(story.site.jobs().empty());
    // With the lock gone the same batch is imported.
    QVERIFY(story.operatorHand.pressImport());
    QVERIFY(!story.operatorHand.answerBatch().isEmpty());
    QCOMPARE(story.site.jobs().size(), std::size_t{1});
    QCOMPARE(story.client.quit(), 0);
}

void DesktopStoriesTest::robotOff()
{
    Story story(*m_desktop);
    story.putJob(QStringLiteral("华兴"), QStringLiteral("board"), Samples::ArchiveKind::Zip);
    QVERIFY(story.start());
    QVERIFY(!story.operatorHand.importBatch(story.batch()).isEmpty());
    QVERIFY(
        story.client.clickItem(QStringLiteral("waitingDock > QTableView"), QStringLiteral("HX000001"), 1, 2));
    QVERIFY(story.client.click(QStringLiteral("jobListDock > QPushButton=导入")));
    QVERIFY(story.client.answer(QStringLiteral("Yes")).contains(QStringLiteral("HX000001")));
    QCOMPARE(story.client.answer(QStringLiteral("OK")), QStringLiteral("Server connect failed!"));
    QVERIFY(story.client.clickItem(QStringLiteral("pages > QTabBar"), QStringLiteral("Robot")));
    QVERIFY(story.client.showsText(QStringLiteral("robotPage > QTableView"), QStringLiteral("HX000001")));
    story.client.takePicture(QStringLiteral("story-robot-off"));
    QCOMPARE(story.client.quit(), 0);
}

/// And the docks of a job keep their room however often the client is started.
void DesktopStoriesTest::waitingJobToTheRobotInTwoActions()
{
    Story story(*m_desktop);
    story.putJob(QStringLiteral("华兴"), QStringLiteral("board"), Samples::ArchiveKind::Zip);
    QVERIFY(story.start({QStringLiteral("--robot")}));
    QVERIFY(!story.operatorHand.importBatch(story.batch()).isEmpty());
    const QString list = QStringLiteral("jobListDock > QTableWidget");
    QSize size;
    for (int start = 0; start < 3; ++start) {
        if (start > 0)
            QVERIFY(story.start({QStringLiteral("--robot")}));
        QVERIFY(!story.client.shows(QStringLiteral("jobListDock")));
        QVERIFY(story.client.clickItem(QStringLiteral("waitingDock > QTableView"), QStringLiteral("HX000001"),
                                       1, 2));
        // The job is selected and the button has the keyboard.
        QVERIFY(story.client.find(list, [](const SeenWidget& seen) { return seen.current == 0; }));
        QVERIFY(story.client.find(QStringLiteral("jobListDock > QPushButton=导入"),
                                  [](const SeenWidget& seen) { return seen.focus; }));
        const auto table = story.client.find(
            list, [&size](const SeenWidget& seen) { return size.isEmpty() || seen.rect.size() == size; });
        QVERIFY(table);
        size = table->rect.size();
        // Eight rows and the header.
        QVERIFY2(table->seen.height() >= 9 * table->items.front().rect.height(),
                 qPrintable(QString::number(table->seen.height())));
        if (start < 2)
            QCOMPARE(story.client.quit(), 0);
    }
    story.client.takePicture(QStringLiteral("story-job-list"));
    m_desktop->press(QStringLiteral("space"));
    QVERIFY(story.client.answer(QStringLiteral("Yes")).contains(QStringLiteral("HX000001")));
    QVERIFY(story.client.find(QStringLiteral("jobDock > KOZAV::Host::LayerStackView")));
    QVERIFY(story.client.waitUntilGone(QStringLiteral("jobListDock > QTableWidget")));
    QTRY_COMPARE(story.site.jobs().front().subState, 2);
    story.client.takePicture(QStringLiteral("story-job-opened"));
    QCOMPARE(story.client.quit(), 0);
}

void DesktopStoriesTest::killedClient()
{
    Story story(*m_desktop);
    story.putJob(QStringLiteral("某公司"), QStringLiteral("stranger"));
    const QByteArray manifest = "{\"odbpp_name\":\"stranger\"}";
    const QString path = QStringLiteral("某公司/stranger/readme.json");
    story.put(path, manifest);
    QVERIFY(story.start());
    QVERIFY(story.operatorHand.chooseBatch(story.batch()));
    QVERIFY(story.operatorHand.pressImport());
    // The panel has used the manifest up, and asks.
    QVERIFY(story.client.find(QStringLiteral("QMessageBox")));
    QVERIFY(!QFile::exists(story.entry(path)));
    story.client.kill();
    QVERIFY(story.start());
    QTRY_COMPARE(contentOf(story.entry(path)), manifest);
    QVERIFY(story.client.showsText(messages, QStringLiteral("stranger")));
    story.client.takePicture(QStringLiteral("story-killed-and-restarted"));
    QCOMPARE(story.client.quit(), 0);
}

/// Another client adds a company; this one offers it, and says what has to be chosen again.
void DesktopStoriesTest::companyAddedElsewhere()
{
    Story story(*m_desktop);
    story.putJob(QStringLiteral("华兴"), QStringLiteral("board"));
    QVERIFY(story.start());
    QVERIFY(story.operatorHand.chooseBatch(story.batch()));
    story.site.addCompany(QStringLiteral("LX"), QStringLiteral("蓝星"));
    m_desktop->press(QStringLiteral("F5"));
    QVERIFY(story.client.find(QStringLiteral("panelNotice"), [&story](const SeenWidget& seen) {
        return seen.text.contains(story.batch());
    }));
    story.client.takePicture(QStringLiteral("story-company-added"));
    QVERIFY(!story.operatorHand.importBatch(story.batch()).isEmpty());
    QCOMPARE(story.site.jobs().size(), std::size_t{1});
    QCOMPARE(story.client.quit(), 0);
}

ZAV_REGISTER_TEST(desktop_stories, DesktopStoriesTest, QCoreApplication)
#include "desktop_stories.moc"
