#include "tests/support/PackBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

QStringList role(const QString& folder, const QString& archive)
{
    return {QStringLiteral("--pack"), folder, archive};
}

constexpr int mostSteps = 40;

} // namespace

class PackFaultsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void ofTheDiskAreToldAndLeaveNothing_data();
    void ofTheDiskAreToldAndLeaveNothing();
    void ofACallAreToldAndLeaveNothing_data();
    void ofACallAreToldAndLeaveNothing();
    void ofReadingAFileAreToldAndLeaveNothing_data();
    void ofReadingAFileAreToldAndLeaveNothing();
};

void PackFaultsTest::ofTheDiskAreToldAndLeaveNothing_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<QString>("preparation");
    QTest::addColumn<ErrorCode>("code");
    QTest::addColumn<QByteArray>("left");
    const QByteArray nothing;
    const QString fill = QStringLiteral("head -c $(( ($(stat -f -c %a .) - %1) * 4096 )) /dev/zero > filler");
    QTest::newRow("far too small") << QStringLiteral("size=1m") << QStringLiteral("true")
                                   << ErrorCode::NoSpace << nothing;
    QTest::newRow("full") << QStringLiteral("size=4m") << fill.arg(0) << ErrorCode::NoSpace
                          << QByteArray("left: filler\n");
    QTest::newRow("too small by little")
        << QStringLiteral("size=4m") << fill.arg(730) << ErrorCode::NoSpace << QByteArray("left: filler\n");
    QTest::newRow("read-only") << QStringLiteral("size=4m") << QStringLiteral("mount -o remount,ro .")
                               << ErrorCode::NotPermitted << nothing;
}

void PackFaultsTest::ofTheDiskAreToldAndLeaveNothing()
{
    QFETCH(const QString, options);
    QFETCH(const QString, preparation);
    QFETCH(const ErrorCode, code);
    QFETCH(const QByteArray, left);
    PackBox box;
    writeFile(box.in("file"), randomBytes(3'000'000, 1)); // some more than 732 pages
    const ProgramEnd end = runRoleOnTmpfs(box.archiveFolder(), options, preparation,
                                          role(QString::fromStdString(box.folder()), box.archive()));
    if (end.exitCode != 1)
        QSKIP("a small disk cannot be mounted here");
    QCOMPARE(reportedCode(end.output), code);
    QVERIFY2(end.output.contains(box.archiveFolder().toUtf8()), end.output.constData());
    QCOMPARE(end.output.mid(end.output.indexOf('\n') + 1), left);
}

void PackFaultsTest::ofACallAreToldAndLeaveNothing_data()
{
    QTest::addColumn<QString>("calls");
    QTest::addColumn<QString>("what");
    QTest::newRow("fsync fails") << QStringLiteral("fsync") << QStringLiteral("error=EIO");
    QTest::newRow("rename fails") << QStringLiteral("renameat2") << QStringLiteral("error=EIO");
    QTest::newRow("write fails") << QStringLiteral("pwrite64") << QStringLiteral("error=EIO");
    QTest::newRow("read fails") << QStringLiteral("openat2") << QStringLiteral("error=EIO");
    QTest::newRow("folder cannot be listed") << QStringLiteral("getdents64") << QStringLiteral("error=EIO");
}

void PackFaultsTest::ofACallAreToldAndLeaveNothing()
{
    QFETCH(const QString, calls);
    QFETCH(const QString, what);
    if (!canInject())
        QSKIP("strace cannot inject faults here");
    // Libraries make such calls too before the work begins, and do without their success.
    constexpr int quietCallsAtTheEnd = 5;
    int failures = 0;
    int quiet = 0;
    int number = 1;
    for (; number < mostSteps && quiet < quietCallsAtTheEnd; ++number) {
        PackBox box;
        writeFile(box.in("file"), randomBytes(3'000'000, 1));
        writeFile(box.in("sub/file"), "content");
        const ProgramEnd end = runRole({QStringLiteral("strace"), QStringLiteral("-f"), QStringLiteral("-o"),
                                        QStringLiteral("/dev/null"), QStringLiteral("-e"),
                                        QStringLiteral("trace=") + calls, QStringLiteral("-e"),
                                        QStringLiteral("inject=%1:%2:when=%3").arg(calls, what).arg(number)},
                                       role(QString::fromStdString(box.folder()), box.archive()));
        quiet = end.exitCode == 0 ? quiet + 1 : 0;
        if (end.exitCode == 0)
            continue;
        ++failures;
        QCOMPARE(reportedCode(end.output), ErrorCode::Io);
        QVERIFY2(namesOf(box.archiveFolder()).isEmpty(), end.output.constData());
    }
    QVERIFY(failures > 0);
    QVERIFY(number < mostSteps);
}

void PackFaultsTest::ofReadingAFileAreToldAndLeaveNothing_data()
{
    QTest::addColumn<QString>("which");
    QTest::newRow("at the beginning") << QStringLiteral("1");
    QTest::newRow("further on") << QStringLiteral("2");
    QTest::newRow("from then on") << QStringLiteral("1+");
}

void PackFaultsTest::ofReadingAFileAreToldAndLeaveNothing()
{
    QFETCH(const QString, which);
    if (!canInject())
        QSKIP("strace cannot inject faults here");
    PackBox box;
    const QByteArray content = randomBytes(20'000'000, 1); // of several pieces
    writeFile(box.in("file"), content);
    writeFile(box.in("sub/file"), "content");
    const QString calls = QStringLiteral("read,pread64");
    const ProgramEnd end =
        runRole({QStringLiteral("strace"), QStringLiteral("-f"), QStringLiteral("-o"),
                 QStringLiteral("/dev/null"), QStringLiteral("-e"), QStringLiteral("trace=") + calls,
                 QStringLiteral("-e"), QStringLiteral("inject=%1:error=EIO:when=%2").arg(calls, which),
                 QStringLiteral("-P"), QString::fromStdString(box.in("file"))},
                role(QString::fromStdString(box.folder()), box.archive()));
    QCOMPARE(end.exitCode, 1);
    QCOMPARE(reportedCode(end.output), ErrorCode::Io);
    QVERIFY2(end.output.contains("job/file"), end.output.constData());
    QVERIFY(namesOf(box.archiveFolder()).isEmpty());
    QCOMPARE(readFile(box.in("file")), content);
}

ZAV_REGISTER_ROLE("--pack", runPackRole, QCoreApplication)
ZAV_REGISTER_TEST(pack_faults, PackFaultsTest, QCoreApplication)

#include "pack_faults.moc"
