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
    void sumFileMeansNothingBesideACarriedSum_data();
    void sumFileMeansNothingBesideACarriedSum();
    void copyWithoutAttributesIsWhole();
    void sumWithoutDataIsNotStored();
    void oldLeftoversAreSwept();
};

void StoreDamageTest::isNeverHandedOut_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("sum");
    QTest::addColumn<bool>("isCarried");
    const QByteArray kept; // null: stays as it is
    const QByteArray zeros(64, '0');
    QTest::newRow("flipped bit") << flipped(content) << kept << true;
    QTest::newRow("truncated") << content.left(content.size() - 1) << kept << true;
    QTest::newRow("emptied") << QByteArray("") << kept << true;
    QTest::newRow("grown") << content + "x" << kept << true;
    const std::pair<const char*, QByteArray> sums[] = {
        {"sum of blanks", " "},
        {"sum of other content", zeros + " 300000 2026-01-02T03:04:05.678Z\n"},
        {"sum of another length", zeros + " 300001 2026-01-02T03:04:05.678Z\n"},
        {"sum without end", zeros + " 300000 2026-01-02T03:04:05.678Z"},
        {"sum without date", zeros + " 300000 yesterday\n"},
        {"sum with a sign", zeros + " +300000 2026-01-02T03:04:05.678Z\n"},
        {"overlong sum", QByteArray(1000, 'a')},
    };
    for (const auto& [what, sum] : sums) {
        QTest::addRow("%s, carried", what) << kept << sum << true;
        QTest::addRow("%s, beside", what) << kept << sum << false;
    }
    QTest::newRow("empty sum file") << kept << QByteArray("") << false;
}

void StoreDamageTest::isNeverHandedOut()
{
    QFETCH(const QByteArray, data);
    QFETCH(const QByteArray, sum);
    QFETCH(const bool, isCarried);
    StoreBox box;
    QVERIFY(box.put("job.zip", content).ok());
    if (!data.isNull())
        writeFile(box.data("job.zip"), data);
    if (!sum.isNull() && !box.setAttached("job.zip", isCarried ? sum : QByteArray()))
        QSKIP("this file system keeps no attributes");
    if (!sum.isNull() && !isCarried)
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
    box.setAttached("job.zip", {});
    QCOMPARE(box.store().find(testLocation(), "job.zip").code(), ErrorCode::NotFound);
    QCOMPARE(box.store().get(testLocation(), "job.zip", box.beside("target")).code(), ErrorCode::NotFound);
    QCOMPARE(box.store().remove(testLocation(), "job.zip").code(), ErrorCode::NotFound);
    QVERIFY(box.store().list(testLocation())->empty());
    QVERIFY(box.put("job.zip", "other content").ok());
    QCOMPARE(box.get("job.zip"), QByteArray("other content"));
}

void StoreDamageTest::sumFileMeansNothingBesideACarriedSum_data()
{
    QTest::addColumn<QByteArray>("sum");
    QTest::newRow("missing") << QByteArray();
    QTest::newRow("empty") << QByteArray("");
    QTest::newRow("torn") << QByteArray(30, 'a');
    QTest::newRow("of another content") << QByteArray(64, '0') + " 5 2026-01-02T03:04:05.678Z\n";
}

/// As a crash may leave it: the file is stored and whole, and a survey brings the sum file back.
void StoreDamageTest::sumFileMeansNothingBesideACarriedSum()
{
    QFETCH(const QByteArray, sum);
    StoreBox box;
    const auto stored = box.put("job.zip", content);
    const QByteArray line = readFile(box.sum("job.zip"));
    if (!box.setAttached("job.zip", line))
        QSKIP("this file system keeps no attributes");
    QCOMPARE(::unlink(box.sum("job.zip").c_str()), 0);
    if (!sum.isNull())
        writeFile(box.sum("job.zip"), sum);

    QCOMPARE(box.store().find(testLocation(), "job.zip")->sha256, stored->sha256);
    QCOMPARE(box.store().list(testLocation())->front().storedAt, stored->storedAt);
    QCOMPARE(box.get("job.zip"), content);
    QVERIFY(box.put("job.zip", content).ok());
    QCOMPARE(box.put("job.zip", "other").code(), ErrorCode::AlreadyExists);
    const auto flaws = box.store().survey(testLocation());
    QCOMPARE(flaws->size(), size_t(1));
    QCOMPARE(flaws->front().kind, StoreFlaw::Kind::SumFileDiffers);
    QVERIFY(box.store().removeFlaw(testLocation(), flaws->front()).ok());
    QCOMPARE(readFile(box.sum("job.zip")), line);
    QVERIFY(box.store().survey(testLocation())->empty());

    // The quarantine takes what the content carries, not what lies beside.
    writeFile(box.sum("job.zip"), sum);
    QVERIFY(box.store().quarantine(testLocation(), "job.zip").ok());
    QCOMPARE(box.store().listQuarantine(testLocation())->front().file.sha256, stored->sha256);
    QVERIFY(box.store().restoreQuarantined(testLocation(), "job.zip").ok());
    QCOMPARE(readFile(box.sum("job.zip")), line);
    QCOMPARE(box.get("job.zip"), content);
}

void StoreDamageTest::copyWithoutAttributesIsWhole()
{
    StoreBox box;
    const auto stored = box.put("job.zip", content);
    QVERIFY(stored.ok());
    detachSum(box.data("job.zip"));
    QCOMPARE(box.store().find(testLocation(), "job.zip")->sha256, stored->sha256);
    QCOMPARE(box.get("job.zip"), content);
    QVERIFY(box.store().survey(testLocation())->empty());
    QVERIFY(box.store().quarantine(testLocation(), "job.zip").ok());
    QVERIFY(box.store().restoreQuarantined(testLocation(), "job.zip").ok());
    QCOMPARE(box.get("job.zip"), content);
    QVERIFY(box.store().remove(testLocation(), "job.zip").ok());
    QVERIFY(box.store().survey(testLocation())->empty());
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
