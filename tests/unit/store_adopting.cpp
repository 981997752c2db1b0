#include "tests/support/StoreBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

ino_t inodeOf(const std::string& path)
{
    struct stat data = {};
    return ::lstat(path.c_str(), &data) == 0 ? data.st_ino : 0;
}

dev_t deviceOf(const std::string& path)
{
    struct stat data = {};
    return ::stat(path.c_str(), &data) == 0 ? data.st_dev : 0;
}

bool exists(const std::string& path)
{
    return inodeOf(path) != 0;
}

} // namespace

class StoreAdoptingTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void movesTheFileIn();
    void removesAFileThatIsStoredAlready();
    void leavesTheFileWhereItFails();
    void copiesAFileThatHasAnotherName();
    void copiesWhatASymbolicLinkLeadsTo();
    void copiesFromAnotherFileSystem();
};

void StoreAdoptingTest::movesTheFileIn()
{
    StoreBox box;
    const QByteArray content = randomBytes(3 << 20, 1);
    writeFile(box.beside("source"), content);
    const ino_t inode = inodeOf(box.beside("source"));
    const auto stored = box.store().adopt(testLocation(), "job.zip", box.beside("source"));
    QVERIFY2(stored.ok(), qPrintable(stored.message()));
    QCOMPARE(stored->length, qint64(content.size()));
    QVERIFY(!exists(box.beside("source")));
    QCOMPARE(inodeOf(box.data("job.zip")), inode);
    QCOMPARE(box.get("job.zip"), content);
}

void StoreAdoptingTest::removesAFileThatIsStoredAlready()
{
    StoreBox box;
    const auto first = box.put("job.zip", "content");
    QVERIFY(first.ok());
    const auto second = box.store().adopt(testLocation(), "job.zip", box.beside("source"));
    QVERIFY2(second.ok(), qPrintable(second.message()));
    QCOMPARE(second->storedAt, first->storedAt);
    QVERIFY(!exists(box.beside("source")));
    QCOMPARE(box.get("job.zip"), QByteArray("content"));
}

void StoreAdoptingTest::leavesTheFileWhereItFails()
{
    StoreBox box;
    QVERIFY(box.put("job.zip", "content").ok());
    writeFile(box.beside("other"), "other content");
    QCOMPARE(box.store().adopt(testLocation(), "job.zip", box.beside("other")).code(),
             ErrorCode::AlreadyExists);
    QCOMPARE(readFile(box.beside("other")), QByteArray("other content"));
    QCOMPARE(box.get("job.zip"), QByteArray("content"));
    QCOMPARE(box.store().adopt(testLocation(), "new.zip", box.beside("missing")).code(), ErrorCode::NotFound);
    QCOMPARE(box.store().find(testLocation(), "new.zip").code(), ErrorCode::NotFound);
}

void StoreAdoptingTest::copiesAFileThatHasAnotherName()
{
    StoreBox box;
    writeFile(box.beside("source"), "content");
    QCOMPARE(::link(box.beside("source").c_str(), box.beside("other").c_str()), 0);
    QVERIFY(box.store().adopt(testLocation(), "job.zip", box.beside("source")).ok());
    QVERIFY(!exists(box.beside("source")));
    writeFile(box.beside("other"), "changed"); // keeps the inode
    QCOMPARE(box.get("job.zip"), QByteArray("content"));
}

void StoreAdoptingTest::copiesWhatASymbolicLinkLeadsTo()
{
    StoreBox box;
    writeFile(box.beside("real"), "content");
    QCOMPARE(::symlink("real", box.beside("source").c_str()), 0);
    QVERIFY(box.store().adopt(testLocation(), "job.zip", box.beside("source")).ok());
    QVERIFY(!exists(box.beside("source")));
    QCOMPARE(readFile(box.beside("real")), QByteArray("content"));
    QCOMPARE(box.get("job.zip"), QByteArray("content"));
}

void StoreAdoptingTest::copiesFromAnotherFileSystem()
{
    StoreBox box;
    const QTemporaryDir elsewhere(QStringLiteral("/dev/shm/zav-test-XXXXXX"));
    if (!elsewhere.isValid() || deviceOf(local(elsewhere.path())) == deviceOf(box.root()))
        QSKIP("there is no second file system to adopt from");
    const std::string source = local(elsewhere.filePath(QStringLiteral("source")));
    writeFile(source, "content");
    QVERIFY(box.store().adopt(testLocation(), "job.zip", source).ok());
    QVERIFY(!exists(source));
    QCOMPARE(box.get("job.zip"), QByteArray("content"));
}

ZAV_REGISTER_TEST(store_adopting, StoreAdoptingTest, QCoreApplication)

#include "store_adopting.moc"
