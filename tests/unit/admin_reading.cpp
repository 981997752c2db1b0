// Verbs that only read: beside a writer, on a file system that is read-only, and as a user who may only read.
// And a verb that writes, under a limit for files.

#include "backend/Site.h"
#include "backend/database/Database.h"
#include "tests/support/AdminSession.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTest>

#include <unistd.h>

using namespace KOZAV;
using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

/// A site with one job, as the built program finds it.
class ReadSite final
{
public:
    ReadSite()
    {
        const AdminOutcome made =
            m_session.run({text("init"), text("--data-root"), m_session.file().inFolder(text("data"))});
        const AdminOutcome company =
            m_session.run({text("company"), text("add"), text("--code=HX"), text("--name=N")});
        Site::current().setConfigurationPath(configuration());
        if (!made.err.isEmpty() || !company.err.isEmpty() ||
            m_session.importJob("HX", "board", "content", 1) != "HX000001")
            qFatal("no site was made");
        // The last one to close a database puts its log into it.
        Site::current().close();
    }
    ~ReadSite() { Site::current().close(); }
    Q_DISABLE_COPY(ReadSite)

    [[nodiscard]] QString configuration() const { return m_session.file().path(); }
    [[nodiscard]] QString folder() const { return m_session.file().folder(); }

    /// Runs the program under a tool.
    [[nodiscard]] ProgramEnd run(const QStringList& tool, const QStringList& verb) const
    {
        const QStringList all =
            tool + QStringList{QStringLiteral(ZAV_ADMIN_PROGRAM), text("--config"), configuration()} + verb;
        return runProgram(all.first(), all.mid(1));
    }

private:
    AdminSession m_session;
};

void addReadingVerbs(bool writesCache)
{
    QTest::addColumn<QStringList>("verb");
    const QList<QStringList> verbs = {{text("jobs")},
                                      {text("job"), text("show"), text("HX000001")},
                                      {text("company"), text("list")},
                                      {text("status")},
                                      {text("ping")},
                                      {text("check")},
                                      {text("config"), text("get")}};
    for (const QStringList& verb : verbs)
        QTest::newRow(qPrintable(verb.join(QLatin1Char(' ')))) << verb;
    // A file is fetched by way of the download cache.
    if (writesCache)
        QTest::newRow("get") << QStringList{text("get"), text("HX000001"), text("-")};
}

} // namespace

class AdminReadingTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void writersAreNotInTheWay_data() { addReadingVerbs(true); }
    void writersAreNotInTheWay();
    void fileSystemMayBeReadOnly_data() { addReadingVerbs(false); }
    void fileSystemMayBeReadOnly();
    void readingIsRightEnough_data() { addReadingVerbs(false); }
    void readingIsRightEnough();
    void writingNeedsMore();
    void fileSizeLimitIsTold();
};

void AdminReadingTest::writersAreNotInTheWay()
{
    QFETCH(const QStringList, verb);
    const ReadSite site;
    const auto database = Site::current().database();
    QVERIFY2(database.ok(), qPrintable(database.message()));
    ProgramEnd end;
    const Status held = database.value()->transaction([&] {
        end = site.run({}, verb);
        return Status();
    });
    QVERIFY2(held.ok(), qPrintable(held.message()));
    QVERIFY2(end.exitCode == 0, end.output.constData());
}

void AdminReadingTest::fileSystemMayBeReadOnly()
{
    QFETCH(const QStringList, verb);
    const ReadSite site;
    const QString script =
        QStringLiteral(
            "mount --bind \"$0\" \"$0\" && mount -o remount,ro,bind \"$0\" || exit %1; exec \"$@\"")
            .arg(cannotMount);
    const ProgramEnd end =
        site.run({text("unshare"), text("-m"), text("sh"), text("-c"), script, site.folder()}, verb);
    if (end.exitCode == cannotMount)
        QSKIP("no file system can be mounted here");
    QVERIFY2(end.exitCode == 0, end.output.constData());
}

void AdminReadingTest::readingIsRightEnough()
{
    QFETCH(const QStringList, verb);
    if (::geteuid() != 0)
        QSKIP("only root can be another user");
    const ReadSite site;
    QCOMPARE(runProgram(text("chmod"), {text("-R"), text("a+rX"), site.folder()}).exitCode, 0);
    const ProgramEnd end = site.run(
        {text("setpriv"), text("--reuid=65534"), text("--regid=65534"), text("--clear-groups")}, verb);
    QVERIFY2(end.exitCode == 0, end.output.constData());
}

void AdminReadingTest::writingNeedsMore()
{
    if (::geteuid() != 0)
        QSKIP("only root can be another user");
    const ReadSite site;
    QCOMPARE(runProgram(text("chmod"), {text("-R"), text("a+rX"), site.folder()}).exitCode, 0);
    const QStringList nobody = {text("setpriv"), text("--reuid=65534"), text("--regid=65534"),
                                text("--clear-groups")};
    const ProgramEnd add =
        site.run(nobody, {text("company"), text("add"), text("--code=B"), text("--name=B")});
    QCOMPARE(add.exitCode, 7);
    QVERIFY2(add.output.contains("it may not be written"), add.output.constData());
    QCOMPARE(runProgram(text("chmod"), {text("600"), site.configuration()}).exitCode, 0);
    const ProgramEnd unread = site.run(nobody, {text("jobs")});
    QCOMPARE(unread.exitCode, 5);
    QVERIFY2(unread.output.contains("zav.ini") && unread.output.contains("Permission denied"),
             unread.output.constData());
}

void AdminReadingTest::fileSizeLimitIsTold()
{
    const ReadSite site;
    const ProgramEnd end = site.run({text("prlimit"), text("--fsize=8192")},
                                    {text("company"), text("add"), text("--code=B"), text("--name=B")});
    QCOMPARE(end.exitCode, 1);
    QVERIFY2(end.output.contains("a file size limit of 8192 bytes holds for this process"),
             end.output.constData());
    const ProgramEnd after = site.run({}, {text("company"), text("add"), text("--code=B"), text("--name=B")});
    QVERIFY2(after.exitCode == 0, after.output.constData());
}

ZAV_REGISTER_TEST(admin_reading, AdminReadingTest, QCoreApplication)

#include "admin_reading.moc"
