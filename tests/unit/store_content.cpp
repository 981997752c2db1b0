#include "tests/support/StoreBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QTest>

#include <sys/stat.h>

#include <thread>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

struct stat statOf(const std::string& path)
{
    struct stat data = {};
    if (::stat(path.c_str(), &data) != 0)
        qFatal("cannot examine %s", path.c_str());
    return data;
}

QByteArray sha256Of(const QByteArray& content)
{
    return QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex();
}

} // namespace

class StoreContentTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void comesBackByteForByte_data();
    void comesBackByteForByte();
    void isDocumentedInItsSumFile();
    void isForThisUserAlone();
    void isStoredOnceWhenPutAgain();
    void isNeverReplacedByOtherContent();
    void replacesTheTargetOfAGet();
    void isListedByName();
    void isGoneAfterRemove();
    void ofOneLocationIsNotSeenInAnother();
    void survivesARaceOfPuts();
};

void StoreContentTest::comesBackByteForByte_data()
{
    QTest::addColumn<QByteArray>("content");
    constexpr int block = 1 << 20;
    QTest::newRow("empty") << QByteArray("");
    QTest::newRow("one byte") << QByteArray("x");
    QTest::newRow("one less than a block") << randomBytes(block - 1, 1);
    QTest::newRow("a block") << randomBytes(block, 2);
    QTest::newRow("one more than a block") << randomBytes(block + 1, 3);
    QTest::newRow("several blocks") << randomBytes(5 * block + 17, 4);
    QTest::newRow("zeros") << QByteArray(3 * block, '\0');
}

void StoreContentTest::comesBackByteForByte()
{
    QFETCH(const QByteArray, content);
    StoreBox box;
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const auto stored = box.put("job.zip", content);
    QVERIFY2(stored.ok(), qPrintable(stored.message()));
    QCOMPARE(stored->name, std::string("job.zip"));
    QCOMPARE(stored->length, qint64(content.size()));
    QCOMPARE(stored->sha256, sha256Of(content));
    QVERIFY(stored->storedAt >= before && stored->storedAt <= QDateTime::currentDateTimeUtc());
    QCOMPARE(box.get("job.zip"), content);
    QCOMPARE(readFile(box.beside("source")), content);
    QVERIFY(namesOf(QString::fromStdString(box.temps())) == QStringList(QStringLiteral("lock")));
}

void StoreContentTest::isDocumentedInItsSumFile()
{
    StoreBox box;
    const auto stored = box.put("job.zip", "content");
    QVERIFY(stored.ok());
    const QByteArray expected =
        sha256Of("content") + " 7 " + stored->storedAt.toString(Qt::ISODateWithMs).toLatin1() + '\n';
    QVERIFY(expected.endsWith("Z\n"));
    QCOMPARE(readFile(box.sum("job.zip")), expected);
    QCOMPARE(readFile(box.data("job.zip")), QByteArray("content"));
    box.reopen();
    const auto found = box.store().find(testLocation(), "job.zip");
    QVERIFY(found.ok());
    QCOMPARE(found->storedAt, stored->storedAt);
    QCOMPARE(found->sha256, stored->sha256);
}

void StoreContentTest::isForThisUserAlone()
{
    StoreBox box;
    QVERIFY(box.put("job.zip", "content").ok());
    constexpr mode_t permissions = 07777;
    QCOMPARE(statOf(box.data("job.zip")).st_mode & permissions, mode_t(0600));
    QCOMPARE(statOf(box.sum("job.zip")).st_mode & permissions, mode_t(0600));
    QCOMPARE(statOf(box.temps()).st_mode & permissions, mode_t(0700));
    QCOMPARE(statOf(box.root() + "/jobs").st_mode & permissions, mode_t(0700));
    QVERIFY(!box.get("job.zip").isNull());
    const mode_t mask = ::umask(0);
    ::umask(mask);
    QCOMPARE(statOf(box.beside("fetched")).st_mode & permissions, mode_t(0666 & ~mask));
}

void StoreContentTest::isStoredOnceWhenPutAgain()
{
    StoreBox box;
    const auto first = box.put("job.zip", "content");
    QVERIFY(first.ok());
    const struct stat data = statOf(box.data("job.zip"));
    const struct stat sum = statOf(box.sum("job.zip"));
    const auto second = box.put("job.zip", "content");
    QVERIFY2(second.ok(), qPrintable(second.message()));
    QCOMPARE(second->storedAt, first->storedAt);
    QCOMPARE(statOf(box.data("job.zip")).st_ino, data.st_ino);
    QCOMPARE(statOf(box.data("job.zip")).st_ctim.tv_nsec, data.st_ctim.tv_nsec);
    QCOMPARE(statOf(box.sum("job.zip")).st_ino, sum.st_ino);
}

void StoreContentTest::isNeverReplacedByOtherContent()
{
    StoreBox box;
    QVERIFY(box.put("job.zip", "content").ok());
    const auto refused = box.put("job.zip", "Content");
    QCOMPARE(refused.code(), ErrorCode::AlreadyExists);
    QVERIFY2(refused.message().contains(QStringLiteral("job.zip")), qPrintable(refused.message()));
    QCOMPARE(box.get("job.zip"), QByteArray("content"));
}

void StoreContentTest::replacesTheTargetOfAGet()
{
    StoreBox box;
    QVERIFY(box.put("job.zip", "content").ok());
    writeFile(box.beside("target"), "something longer that was there before");
    QVERIFY(box.store().get(testLocation(), "job.zip", box.beside("target")).ok());
    QCOMPARE(readFile(box.beside("target")), QByteArray("content"));
}

void StoreContentTest::isListedByName()
{
    StoreBox box;
    QVERIFY(box.store().list(testLocation()).ok());
    QVERIFY(box.store().list(testLocation())->empty());
    for (const char* name : {"b.zip", "a.zip", "c.tgz"})
        QVERIFY(box.put(name, name).ok());
    const auto files = box.store().list(testLocation());
    QVERIFY(files.ok());
    QCOMPARE(files->size(), size_t(3));
    QCOMPARE(files->at(0).name, std::string("a.zip"));
    QCOMPARE(files->at(1).sha256, sha256Of("b.zip"));
    QCOMPARE(files->at(2).length, qint64(5));
}

void StoreContentTest::isGoneAfterRemove()
{
    StoreBox box;
    QVERIFY(box.put("job.zip", "content").ok());
    QVERIFY(box.store().remove(testLocation(), "job.zip").ok());
    QCOMPARE(box.store().find(testLocation(), "job.zip").code(), ErrorCode::NotFound);
    QCOMPARE(box.store().remove(testLocation(), "job.zip").code(), ErrorCode::NotFound);
    QVERIFY(readFile(box.sum("job.zip")).isNull());
    QVERIFY(box.put("job.zip", "other content").ok());
    QCOMPARE(box.get("job.zip"), QByteArray("other content"));
}

void StoreContentTest::ofOneLocationIsNotSeenInAnother()
{
    StoreBox box;
    QVERIFY(box.put("job.zip", "content").ok());
    for (const StoreLocation& other : {StoreLocation{"jobs", "other"}, StoreLocation{"other", "archives"}}) {
        QCOMPARE(box.store().find(other, "job.zip").code(), ErrorCode::NotFound);
        QCOMPARE(box.store().remove(other, "job.zip").code(), ErrorCode::NotFound);
        QVERIFY(box.store().list(other)->empty());
        QVERIFY(box.store().put(other, "job.zip", box.beside("source")).ok());
    }
}

void StoreContentTest::survivesARaceOfPuts()
{
    constexpr int rounds = 10;
    constexpr int racers = 6;
    StoreBox box;
    const QByteArray contents[] = {randomBytes(70000, 1), randomBytes(70000, 2)};
    writeFile(box.beside("0"), contents[0]);
    writeFile(box.beside("1"), contents[1]);
    for (int round = 0; round < rounds; ++round) {
        const std::string name = "job" + std::to_string(round);
        ErrorCode codes[racers] = {};
        std::vector<std::thread> threads;
        threads.reserve(racers);
        for (int racer = 0; racer < racers; ++racer) {
            threads.emplace_back([&, racer] {
                const auto store = openLocalStore(box.root());
                codes[racer] = store->put(testLocation(), name, box.beside(std::to_string(racer % 2))).code();
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        const int winner = codes[0] == ErrorCode::None ? 0 : 1;
        for (int racer = 0; racer < racers; ++racer)
            QCOMPARE(codes[racer], racer % 2 == winner ? ErrorCode::None : ErrorCode::AlreadyExists);
        QCOMPARE(box.get(name), contents[winner]);
    }
}

ZAV_REGISTER_TEST(store_content, StoreContentTest, QCoreApplication)

#include "store_content.moc"
