// A batch by a client whose surroundings are narrow or odd: few open files, a home that is not there, masks
// of permissions, a clock that is put back.

#include "admin/Application.h"
#include "services/ui/ZAV_StdCommon.h"
#include "tests/support/AdminSession.h"
#include "tests/support/ClientProgram.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QTest>

#include <algorithm>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

constexpr int jobsOfABatch = 3;

/// A batch of two folders and an archive; each has another content.
QString makeBatch(const FreshSite& site, const QString& name, quint32 seed)
{
    const QString batch = site.path(QStringLiteral("batches/") + name);
    for (quint32 job = 1; job < jobsOfABatch; ++job)
        writeFile(local(batch + QStringLiteral("/公司/job%1/features").arg(job)),
                  featureLines(20'000, seed + job));
    writeFile(local(batch + QStringLiteral("/公司/archive.tgz")), randomBytes(10'000, seed));
    return batch;
}

/// Runs the client's batch under a tool that sets its surroundings.
ProgramEnd runBatch(const FreshSite& site, const QString& batch, const QStringList& tool)
{
    const QStringList client = {clientProgram(), QStringLiteral("--config"), site.configuration(),
                                QStringLiteral("--batch"), batch};
    const QStringList all = tool + client;
    return runProgram(all.front(), all.mid(1));
}

QStringList shell(const QString& preparation)
{
    return {QStringLiteral("sh"), QStringLiteral("-c"), preparation + QStringLiteral("; exec \"$@\""),
            QStringLiteral("sh")};
}

/// What others than this user may reach: files and folders that they have a right to, and that lie in no
/// folder that keeps them out.
QStringList openToOthers(const QString& folder)
{
    constexpr auto others = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup | QFile::ReadOther |
                            QFile::WriteOther | QFile::ExeOther;
    QStringList open;
    QDirIterator entries(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    while (entries.hasNext()) {
        const QFileInfo entry(entries.next());
        if (entry.fileName() == QLatin1String("batches") || !(entry.permissions() & others))
            continue;
        open << entry.fileName();
        if (entry.isDir())
            open << openToOthers(entry.filePath());
    }
    return open;
}

} // namespace

class ClientLimits final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void aBatchIsWhole_data();
    void aBatchIsWhole();
    void aDiskWithoutRoomIsTold_data();
    void aDiskWithoutRoomIsTold();
    void aLimitOfFileSizesIsTold();
    void masksOfPermissionsOpenNothing_data();
    void masksOfPermissionsOpenNothing();
    void aClockThatIsPutBackLosesNothing();

private:
    static void isWhole(const FreshSite& site, int jobs);
};

/// All jobs are complete and wait, each with a number of its own, and a check finds nothing.
void ClientLimits::isWhole(const FreshSite& site, int jobs)
{
    QStringList names;
    for (const Backend::JobRecord& job : site.jobs()) {
        QVERIFY2(job.complete, qPrintable(job.generatedName));
        names << job.generatedName;
    }
    QCOMPARE(names.size(), jobs);
    QCOMPARE(names.removeDuplicates(), 0);
    QCOMPARE(static_cast<int>(UI::ZAV_StdCommon::interface()->getInputJobList().size()), jobs);
    const AdminOutcome check = runAdmin(site.configuration(), {QStringLiteral("check")});
    QVERIFY2(check.code == Admin::ExitCode::Success, qPrintable(check.out + check.err));
}

void ClientLimits::aBatchIsWhole_data()
{
    QTest::addColumn<QStringList>("tool");
    QTest::newRow("32 open files") << QStringList{QStringLiteral("prlimit"), QStringLiteral("--nofile=32")};
    QTest::newRow("16 open files") << QStringList{QStringLiteral("prlimit"), QStringLiteral("--nofile=16")};
    QTest::newRow("no home") << QStringList{QStringLiteral("env"), QStringLiteral("HOME=/nonexistent")};
    QTest::newRow("home that cannot be written") << QStringList{
        QStringLiteral("env"), QStringLiteral("HOME=/proc/self"), QStringLiteral("XDG_CONFIG_HOME=")};
    QTest::newRow("C locale") << QStringList{QStringLiteral("env"), QStringLiteral("LC_ALL=C")};
    QStringList bare = {QStringLiteral("env"), QStringLiteral("-i"),
                        QStringLiteral("QT_QPA_PLATFORM=offscreen")};
    for (const char* const sanitizers : {"ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS"})
        if (qEnvironmentVariableIsSet(sanitizers))
            bare << QLatin1String(sanitizers) + QLatin1Char('=') + qEnvironmentVariable(sanitizers);
    QTest::newRow("no environment") << bare;
}

void ClientLimits::aBatchIsWhole()
{
    QFETCH(const QStringList, tool);
#ifdef ZAV_SANITIZED
    if (tool.contains(QStringLiteral("--nofile=16")))
        QSKIP("the sanitizers open files themselves to look at objects");
#endif
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("公司"));
    const ProgramEnd end = runBatch(site, makeBatch(site, QStringLiteral("one"), 1), tool);
    QVERIFY2(end.exitCode == 0, end.output.constData());
    isWhole(site, jobsOfABatch);
}

void ClientLimits::aDiskWithoutRoomIsTold_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("options");
    QTest::addColumn<QString>("then");
    QTest::addColumn<QString>("reason");
    QTest::addColumn<int>("exitCode");
    const QString small = QStringLiteral("size=128k");
    const QString nothing = QStringLiteral("true");
    QTest::newRow("store") << QStringLiteral("store") << small << nothing << QStringLiteral("bytes needed")
                           << 1;
    QTest::newRow("store without inodes") << QStringLiteral("store") << QStringLiteral("size=1m,nr_inodes=13")
                                          << nothing << QStringLiteral("inodes") << 1;
    QTest::newRow("store that is read-only")
        << QStringLiteral("store") << QStringLiteral("size=1m") << QStringLiteral("mount -o remount,ro .")
        << QStringLiteral("Read-only file system") << 2;
    QTest::newRow("staging") << QStringLiteral("upload") << small << nothing << QStringLiteral("bytes free")
                             << 1;
}

/// A batch on a site one of whose folders is a small disk of its own; then the same without.
void ClientLimits::aDiskWithoutRoomIsTold()
{
    QFETCH(const QString, folder);
    QFETCH(const QString, options);
    QFETCH(const QString, then);
    QFETCH(const QString, reason);
    QFETCH(const int, exitCode);
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("公司"));
    const QString batch = makeBatch(site, QStringLiteral("one"), 1);
    const QByteArray archive = randomBytes(300'000, 1);
    writeFile(local(batch + QStringLiteral("/公司/archive.tgz")), archive);
    const QString place = site.path(QStringLiteral("data/") + folder);
    // What is on the small disk is kept beside it: the disk goes with the shell.
    const QString mount = QStringLiteral("place=$1; shift; cp -a $place $place.copy && "
                                         "mount -t tmpfs -o %1 tmpfs $place && cd $place && "
                                         "cp -a $place.copy/. . && %2 || exit 77; "
                                         "\"$@\"; code=$?; cp -a . $place.copy; exit $code")
                              .arg(options, then);
    const QStringList tool = {QStringLiteral("unshare"),
                              QStringLiteral("-m"),
                              QStringLiteral("sh"),
                              QStringLiteral("-c"),
                              mount,
                              QStringLiteral("sh"),
                              place};
    const ProgramEnd end = runBatch(site, batch, tool);
    if (end.exitCode == cannotMount || end.output.startsWith("unshare:"))
        QSKIP("a small disk cannot be mounted here");
    QVERIFY2(end.exitCode == exitCode, end.output.constData());
    QVERIFY2(end.output.contains(reason.toUtf8()), end.output.constData());
    QCOMPARE(readFile(local(batch + QStringLiteral("/公司/archive.tgz"))), archive);

    QVERIFY(QDir(place).removeRecursively() && QDir().rename(place + QStringLiteral(".copy"), place));
    const AdminOutcome check = runAdmin(site.configuration(), {QStringLiteral("check")});
    QVERIFY2(check.code == Admin::ExitCode::Success, qPrintable(check.out + check.err));
    const ProgramEnd again = runBatch(site, batch, {});
    QVERIFY2(again.exitCode == 0, again.output.constData());
}

/// The signal that comes with it ends no program.
void ClientLimits::aLimitOfFileSizesIsTold()
{
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("公司"));
    const QString batch = makeBatch(site, QStringLiteral("one"), 1);
    writeFile(local(batch + QStringLiteral("/公司/archive.tgz")), randomBytes(3'000'000, 1));
    const ProgramEnd end =
        runBatch(site, batch, {QStringLiteral("prlimit"), QStringLiteral("--fsize=2000000")});
    QVERIFY2(end.exitCode == 1, end.output.constData());
    QVERIFY2(end.output.contains("Not imported: 1"), end.output.constData());
    QVERIFY2(end.output.contains("2000000 bytes"), end.output.constData());
    const AdminOutcome check = runAdmin(site.configuration(), {QStringLiteral("check")});
    QVERIFY2(check.code == Admin::ExitCode::Success, qPrintable(check.out + check.err));
    const ProgramEnd again = runBatch(site, batch, {});
    QVERIFY2(again.exitCode == 0, again.output.constData());
}

void ClientLimits::masksOfPermissionsOpenNothing_data()
{
    QTest::addColumn<QString>("mask");
    QTest::newRow("000") << QStringLiteral("umask 000");
    QTest::newRow("077") << QStringLiteral("umask 077");
}

void ClientLimits::masksOfPermissionsOpenNothing()
{
    QFETCH(const QString, mask);
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("公司"));
    const ProgramEnd end = runBatch(site, makeBatch(site, QStringLiteral("one"), 1), shell(mask));
    QVERIFY2(end.exitCode == 0, end.output.constData());
    isWhole(site, jobsOfABatch);
    QCOMPARE(openToOthers(site.path(QString())), QStringList());
}

void ClientLimits::aClockThatIsPutBackLosesNothing()
{
#ifdef ZAV_SANITIZED
    QSKIP("nothing is loaded before a sanitizer");
#endif
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("公司"));
    constexpr int twoDays = 2 * 24 * 3600;
    int jobs = 0;
    for (const int shift : {twoDays, 0, -twoDays}) {
        const QStringList clock = {QStringLiteral("env"), QStringLiteral("LD_PRELOAD=" ZAV_SHIFTED_CLOCK),
                                   QStringLiteral("ZAV_TEST_CLOCK_SHIFT=%1").arg(shift)};
        const QString batch = makeBatch(site, QString::number(shift), 1 + quint32(jobs));
        const ProgramEnd end = runBatch(site, batch, clock);
        QVERIFY2(end.exitCode == 0, end.output.constData());
        jobs += jobsOfABatch;
        isWhole(site, jobs);
    }
    QCOMPARE(site.company(QStringLiteral("AB")).jobCount, jobs);
    const auto records = site.jobs();
    const auto [first, last] =
        std::minmax_element(records.begin(), records.end(),
                            [](const auto& a, const auto& b) { return a.generatedName < b.generatedName; });
    QVERIFY2(first->createdTime > last->createdTime, "the clock was not put back");
}

ZAV_REGISTER_TEST(client_limits, ClientLimits, QCoreApplication)

#include "client_limits.moc"
