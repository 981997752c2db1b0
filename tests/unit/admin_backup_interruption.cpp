#include "tests/support/SiteContent.h"
#include "tests/support/SitePair.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Test;
using Admin::ExitCode;

/// Backups and restores that are killed, or whose disk fails, at one step after another: the last complete
/// backup is whole, a site is whole or nobody's, and the next run ends what was begun.
class AdminBackupInterruptionTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void killedBackupLeavesTheLastOne_data();
    void killedBackupLeavesTheLastOne();
    void failedCallLeavesTheLastOne_data();
    void failedCallLeavesTheLastOne();
    void killedRestoreIsContinued_data();
    void killedRestoreIsContinued();

private:
    void makeFolder();
    void tryBackups(const QString& calls, const QString& what);
    void checkLastBackup(const QString& at);
    /// Runs the program with the n-th of some system calls failing or deadly.
    [[nodiscard]] static ProgramEnd runWith(const QString& calls, const QString& what, int number,
                                            const QStringList& line);
    [[nodiscard]] QStringList backupLine() const;
    [[nodiscard]] QStringList restoreLine(const AdminSession& place) const;
    [[nodiscard]] QString folder() const { return m_site->file().inFolder(text("backup")); }
    [[nodiscard]] QString firstFolder() const { return m_site->file().inFolder(text("first")); }

    std::unique_ptr<AdminSession> m_site;
    SiteContent m_first; ///< of the site when it was first backed up
    SiteContent m_content;
};

namespace {

constexpr int firstJobs = 6;
constexpr int laterJobs = 5;
constexpr int mostCalls = 4000;

/// Steps grow, so that the first and the last calls of a run are hit and the number of runs stays small.
int stepBehind(int number)
{
    return number < 5 ? number + 1 : number + number / 2;
}

} // namespace

void AdminBackupInterruptionTest::initTestCase()
{
    if (!canInject())
        QSKIP("strace cannot inject faults here");
    m_site = std::make_unique<AdminSession>();
    makeEmbeddedSite(*m_site);
    fillSite(m_site->file().path(), firstJobs);
    m_first = readSite(m_site->file().path());
    QCOMPARE(m_site->run({text("backup"), firstFolder()}).code, ExitCode::Success);
    fillSite(m_site->file().path(), laterJobs, firstJobs + 1);
    m_content = readSite(m_site->file().path());
}

/// The folder as it was after the first backup.
void AdminBackupInterruptionTest::makeFolder()
{
    QVERIFY(QDir(folder()).removeRecursively());
    QCOMPARE(runProgram(text("cp"), {text("-a"), firstFolder(), folder()}).exitCode, 0);
}

ProgramEnd AdminBackupInterruptionTest::runWith(const QString& calls, const QString& what, int number,
                                                const QStringList& line)
{
    return runProgram(text("strace"), QStringList({text("-f"), text("-o"), text("/dev/null"), text("-e"),
                                                   text("trace=") + calls, text("-e"),
                                                   text("inject=%1:%2:when=%3").arg(calls, what).arg(number),
                                                   text(ZAV_ADMIN_PROGRAM)}) +
                                          line);
}

QStringList AdminBackupInterruptionTest::backupLine() const
{
    return {text("--config"), m_site->file().path(), text("backup"), folder()};
}

QStringList AdminBackupInterruptionTest::restoreLine(const AdminSession& place) const
{
    return {text("--config"),
            place.file().path(),
            text("restore"),
            firstFolder(),
            text("--data-root"),
            place.file().inFolder(text("data")),
            text("--raise-counters=0"),
            text("--json")};
}

/// Either the one before or the new one, with every file that its rows name.
void AdminBackupInterruptionTest::checkLastBackup(const QString& at)
{
    const SiteContent there = readSite(folder() + text("/zav.ini"));
    QVERIFY2(there.tables == m_first.tables || there.tables == m_content.tables, qPrintable(at));
    const SiteContent& expected = there.tables == m_first.tables ? m_first : m_content;
    for (const QString& name : expected.files.keys())
        QVERIFY2(there.files.value(name) == expected.files.value(name), qPrintable(at + name));
    for (const QString& name : there.files.keys())
        QVERIFY2(there.files.value(name) == m_content.files.value(name), qPrintable(at + name));
}

void AdminBackupInterruptionTest::tryBackups(const QString& calls, const QString& what)
{
    int failures = 0;
    int number = 1;
    for (; number < mostCalls; number = stepBehind(number)) {
        makeFolder();
        const ProgramEnd end = runWith(calls, what, number, backupLine());
        checkLastBackup(text("%1 %2 ").arg(calls).arg(number));
        if (QTest::currentTestFailed())
            return;
        if (end.exitCode == 0) {
            // What fails once is tried once more: that a call was met shows in the runs before and behind.
            if (what.startsWith(text("signal")) || number > 60)
                break;
            continue;
        }
        ++failures;
        const AdminOutcome again = m_site->run({text("backup"), folder(), text("--json")});
        QCOMPARE(again.err, QString());
        QCOMPARE(difference(m_content, readSite(folder() + text("/zav.ini"))), QString());
    }
    QVERIFY2(failures > 0, "no call was met");
    QVERIFY(number < mostCalls);
}

void AdminBackupInterruptionTest::killedBackupLeavesTheLastOne_data()
{
    QTest::addColumn<QString>("calls");
    for (const char* calls : {"rename", "renameat2", "fsync", "unlink", "pwrite64", "fdatasync", "write"})
        QTest::newRow(calls) << text(calls);
}

void AdminBackupInterruptionTest::killedBackupLeavesTheLastOne()
{
    QFETCH(const QString, calls);
    tryBackups(calls, text("signal=KILL"));
}

void AdminBackupInterruptionTest::failedCallLeavesTheLastOne_data()
{
    QTest::addColumn<QString>("calls");
    QTest::addColumn<QString>("error");
    QTest::newRow("rename") << text("rename") << text("EIO");
    QTest::newRow("write") << text("write") << text("ENOSPC");
    QTest::newRow("pwrite64") << text("pwrite64") << text("ENOSPC");
}

void AdminBackupInterruptionTest::failedCallLeavesTheLastOne()
{
    QFETCH(const QString, calls);
    QFETCH(const QString, error);
    tryBackups(calls, text("error=") + error);
}

void AdminBackupInterruptionTest::killedRestoreIsContinued_data()
{
    QTest::addColumn<QString>("calls");
    for (const char* calls : {"rename", "renameat2", "fsync", "pwrite64", "fdatasync"})
        QTest::newRow(calls) << text(calls);
}

void AdminBackupInterruptionTest::killedRestoreIsContinued()
{
    QFETCH(const QString, calls);
    int killed = 0;
    int number = 1;
    for (; number < mostCalls; number = stepBehind(number)) {
        const AdminSession place;
        const ProgramEnd end = runWith(calls, text("signal=KILL"), number, restoreLine(place));
        const AdminOutcome used = place.run({text("jobs"), text("--json")});
        const QString at = text("%1 %2: ").arg(calls).arg(number) + used.err;
        if (end.exitCode == 0)
            break;
        ++killed;
        if (used.code != ExitCode::Success) {
            QVERIFY2(used.code == ExitCode::Configuration, qPrintable(at));
            const AdminOutcome again = place.run(restoreLine(place).mid(2));
            QVERIFY2(again.err.isEmpty(), qPrintable(at + again.err));
        }
        SiteContent restored = readSite(place.file().path());
        for (SiteContent::Row& row : restored.tables[text("company")])
            row[text("updated_time")] = m_first.tables[text("company")].front()[text("updated_time")];
        QVERIFY2(difference(m_first, restored).isEmpty(), qPrintable(at + difference(m_first, restored)));
    }
    QVERIFY2(killed > 0, "no call was met");
    QVERIFY(number < mostCalls);
}

ZAV_REGISTER_TEST(admin_backup_interruption, AdminBackupInterruptionTest, QCoreApplication)

#include "admin_backup_interruption.moc"
