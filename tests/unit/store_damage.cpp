#include "tests/support/StoreBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QTest>

#include <unistd.h>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

const QByteArray content = featureLines(300000, 7);

QByteArray flipped(QByteArray bytes)
{
    bytes[bytes.size() / 2] = static_cast<char>(bytes.at(bytes.size() / 2) ^ 1);
    return bytes;
}

/// Gives a file an age of so many hours.
void age(const std::string& path, qint64 hours)
{
    QFile file(QString::fromStdString(path));
    const QDateTime time = QDateTime::currentDateTimeUtc().addSecs(-3600 * hours);
    if (!file.open(QIODevice::ReadWrite) || !file.setFileTime(time, QFile::FileModificationTime))
        qFatal("cannot set the time of %s", path.c_str());
}

} // namespace

class StoreDamageTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void isNeverHandedOut_data();
    void isNeverHandedOut();
    void dataWithoutSumIsNotStored();
    void sumWithoutDataIsNotStored();
    void oldLeftoversAreSwept();
};

void StoreDamageTest::isNeverHandedOut_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("sum");
    const QByteArray kept; // null: stays as it is
    const QByteArray zeros(64, '0');
    QTest::newRow("flipped bit") << flipped(content) << kept;
    QTest::newRow("truncated") << content.left(content.size() - 1) << kept;
    QTest::newRow("emptied") << QByteArray("") << kept;
    QTest::newRow("grown") << content + "x" << kept;
    QTest::newRow("empty sum") << kept << QByteArray("");
    QTest::newRow("sum of other content") << kept << zeros + " 300000 2026-01-02T03:04:05.678Z\n";
    QTest::newRow("sum of another length") << kept << zeros + " 300001 2026-01-02T03:04:05.678Z\n";
    QTest::newRow("sum without end") << kept << zeros + " 300000 2026-01-02T03:04:05.678Z";
    QTest::newRow("sum without date") << kept << zeros + " 300000 yesterday\n";
    QTest::newRow("sum with a sign") << kept << zeros + " +300000 2026-01-02T03:04:05.678Z\n";
    QTest::newRow("overlong sum") << kept << QByteArray(100000, 'a');
}

void StoreDamageTest::isNeverHandedOut()
{
    QFETCH(const QByteArray, data);
    QFETCH(const QByteArray, sum);
    StoreBox box;
    QVERIFY(box.put("job.zip", content).ok());
    if (!data.isNull())
        writeFile(box.data("job.zip"), data);
    if (!sum.isNull())
        writeFile(box.sum("job.zip"), sum);
    writeFile(box.beside("target"), "what was there before");

    const Status got = box.store().get(testLocation(), "job.zip", box.beside("target"));
    QCOMPARE(got.code(), ErrorCode::Corrupt);
    QCOMPARE(readFile(box.beside("target")), QByteArray("what was there before"));
    QCOMPARE(namesOf(QString::fromStdString(box.beside(""))),
             QStringList({QStringLiteral("source"), QStringLiteral("target")}));
    // A second put of what was stored must not be taken for a success while the stored file is damaged.
    const ErrorCode again = box.put("job.zip", content).code();
    QVERIFY(again == ErrorCode::Corrupt || again == ErrorCode::AlreadyExists);
    QCOMPARE(box.store().list(testLocation())->size(), size_t(1));
    QVERIFY(box.store().remove(testLocation(), "job.zip").ok());
    QVERIFY(box.put("job.zip", content).ok());
    QCOMPARE(box.get("job.zip"), content);
}

void StoreDamageTest::dataWithoutSumIsNotStored()
{
    StoreBox box;
    QVERIFY(box.put("job.zip", content).ok());
    QCOMPARE(::unlink(box.sum("job.zip").c_str()), 0);
    QCOMPARE(box.store().find(testLocation(), "job.zip").code(), ErrorCode::NotFound);
    QCOMPARE(box.store().get(testLocation(), "job.zip", box.beside("target")).code(), ErrorCode::NotFound);
    QCOMPARE(box.store().remove(testLocation(), "job.zip").code(), ErrorCode::NotFound);
    QVERIFY(box.store().list(testLocation())->empty());
    QVERIFY(box.put("job.zip", "other content").ok());
    QCOMPARE(box.get("job.zip"), QByteArray("other content"));
}

void StoreDamageTest::sumWithoutDataIsNotStored()
{
    StoreBox box;
    QVERIFY(box.put("job.zip", content).ok());
    QCOMPARE(::unlink(box.data("job.zip").c_str()), 0);
    QCOMPARE(box.store().find(testLocation(), "job.zip").code(), ErrorCode::NotFound);
    QVERIFY(box.store().list(testLocation())->empty());
    QVERIFY(box.put("job.zip", "other content").ok());
    QCOMPARE(box.get("job.zip"), QByteArray("other content"));
}

void StoreDamageTest::oldLeftoversAreSwept()
{
    StoreBox box;
    QVERIFY(box.put("job.zip", content).ok());
    const std::string old = box.temps() + "/.kozav-tmp-0123456789abcdef";
    const std::string young = box.temps() + "/.kozav-tmp-1123456789abcdef";
    const std::string foreign = box.temps() + "/other-tmp";
    for (const std::string& path : {old, young, foreign})
        writeFile(path, "left");
    age(old, 25);
    age(young, 23);
    age(foreign, 2500);
    age(box.data("job.zip"), 2500);
    box.reopen();
    QCOMPARE(readFile(old), QByteArray("left"));
    QVERIFY(box.put("next.zip", content).ok());
    QVERIFY(readFile(old).isNull());
    QCOMPARE(readFile(young), QByteArray("left"));
    QCOMPARE(readFile(foreign), QByteArray("left"));
    QCOMPARE(box.get("job.zip"), content);
}

ZAV_REGISTER_TEST(store_damage, StoreDamageTest, QCoreApplication)

#include "store_damage.moc"
