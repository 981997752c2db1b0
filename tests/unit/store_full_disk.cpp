#include "tests/support/StoreBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

/// Shell text that leaves so many free pages of 4 KiB on the disk it runs on.
QString fillUpTo(int freePages)
{
    return QStringLiteral("head -c $(( ($(stat -f -c %a .) - %1) * 4096 )) /dev/zero > filler")
        .arg(freePages);
}

QStringList role(const QString& verb, const QString& root, const QString& path)
{
    return {QStringLiteral("--store"), verb, root, QStringLiteral("job.zip"), path};
}

/// A store takes files where its root has the mark of a site; this one needs three inodes and no block.
const QString markedRoot = QStringLiteral("mkdir -p marked/site; touch marked/site/site; ");

} // namespace

class StoreFullDiskTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void failsAPut_data();
    void failsAPut();
    void failsAGetAndKeepsItsTarget();
};

void StoreFullDiskTest::failsAPut_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<QString>("preparation");
    QTest::addColumn<int>("length");
    QTest::addColumn<ErrorCode>("code");
    QTest::addColumn<QString>("told");
    const QString nothing = QStringLiteral("true");
    QTest::newRow("far too small") << QStringLiteral("size=4m") << nothing << 10'000'000 << ErrorCode::NoSpace
                                   << QStringLiteral("(10000000 bytes needed, 4194304 bytes free)");
    QTest::newRow("too small by little")
        << QStringLiteral("size=1m") << fillUpTo(3) << 15'000 << ErrorCode::NoSpace
        << QStringLiteral("(15000 bytes needed, 12288 bytes free)");
    QTest::newRow("full") << QStringLiteral("size=1m") << fillUpTo(0) << 1 << ErrorCode::NoSpace
                          << QStringLiteral("(1 bytes needed, 0 bytes free)");
    QTest::newRow("data fits, sum does not") << QStringLiteral("size=1m") << fillUpTo(1) << 4096
                                             << ErrorCode::NoSpace << QStringLiteral("bytes needed");
    QTest::newRow("inodes used up") << QStringLiteral("size=4m,nr_inodes=8") << nothing << 1000
                                    << ErrorCode::NoSpace << QStringLiteral("inodes");
    QTest::newRow("no inode for the sum") << QStringLiteral("size=4m,nr_inodes=11") << nothing << 1000
                                          << ErrorCode::NoSpace << QStringLiteral("inodes");
    QTest::newRow("read-only") << QStringLiteral("size=4m") << QStringLiteral("mount -o remount,ro .") << 1000
                               << ErrorCode::NotPermitted << QStringLiteral("Read-only");
}

void StoreFullDiskTest::failsAPut()
{
    QFETCH(const QString, options);
    QFETCH(const QString, preparation);
    QFETCH(const int, length);
    QFETCH(const ErrorCode, code);
    QFETCH(const QString, told);
    const QTemporaryDir place;
    const QString root = place.filePath(QStringLiteral("store"));
    const QString source = place.filePath(QStringLiteral("source"));
    makeFolder(local(root));
    const QByteArray content = randomBytes(length, 1);
    writeFile(local(source), content);
    const ProgramEnd end =
        runRoleOnTmpfs(root, options, markedRoot + preparation, role(QStringLiteral("put"), root, source));
    if (end.exitCode != 1)
        QSKIP("a small disk cannot be mounted here");
    QCOMPARE(reportedCode(end.output), code);
    QVERIFY2(end.output.contains(told.toUtf8()), end.output.constData());
    QVERIFY2(!end.output.contains("files/job.zip\n"), end.output.constData());
    QVERIFY2(!end.output.contains(".kozav-tmp"), end.output.constData());
    QCOMPARE(readFile(local(source)), content);
}

void StoreFullDiskTest::failsAGetAndKeepsItsTarget()
{
    StoreBox box;
    QVERIFY(box.put("job.zip", randomBytes(15'000, 1)).ok());
    const QString disk = QString::fromStdString(box.beside("disk"));
    makeFolder(local(disk));
    const QString preparation = QStringLiteral("echo before > target; ") + fillUpTo(3);
    const ProgramEnd end = runRoleOnTmpfs(
        disk, QStringLiteral("size=1m"), preparation,
        role(QStringLiteral("get"), QString::fromStdString(box.root()), disk + QStringLiteral("/target")));
    if (end.exitCode != 1)
        QSKIP("a small disk cannot be mounted here");
    QCOMPARE(reportedCode(end.output), ErrorCode::NoSpace);
    QVERIFY2(end.output.contains("left: target\n"), end.output.constData());
    QVERIFY2(!end.output.contains(".kozav-tmp"), end.output.constData());
}

ZAV_REGISTER_ROLE("--store", runStoreRole, QCoreApplication)
ZAV_REGISTER_TEST(store_full_disk, StoreFullDiskTest, QCoreApplication)

#include "store_full_disk.moc"
