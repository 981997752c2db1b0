#include "backend/store/StoreNames.h"
#include "tests/support/StoreBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

class StoreNamesTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void areKeptByteForByte_data();
    void areKeptByteForByte();
    void thatCouldLeaveTheirPlaceAreRefused_data();
    void thatCouldLeaveTheirPlaceAreRefused();
    void ofLocationsAreCheckedToo_data();
    void ofLocationsAreCheckedToo();
};

void StoreNamesTest::areKeptByteForByte_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("plain") << QByteArray("5f0c.zip");
    QTest::newRow("hidden") << QByteArray(".zip");
    QTest::newRow("three dots") << QByteArray("...");
    QTest::newRow("quotes") << QByteArray("o'brien \"x\" `y`");
    QTest::newRow("percent and semicolon") << QByteArray("100%;drop table %2F");
    QTest::newRow("backslash") << QByteArray("a\\b");
    QTest::newRow("blanks") << QByteArray("  two  ");
    QTest::newRow("dash") << QByteArray("-rf");
    QTest::newRow("newline") << QByteArray("a\nb\tc");
    QTest::newRow("Chinese") << QByteArray("电路板.zip");
    QTest::newRow("emoji") << QByteArray("\xf0\x9f\x98\x80.zip");
    QTest::newRow("decomposed") << QByteArray("u\xcc\x88");
    QTest::newRow("255 bytes") << QByteArray(255, 'n');
    QTest::newRow("255 bytes in three-byte characters") << QByteArray("\xe7\x94\xb5").repeated(85);
    QTest::newRow("not UTF-8") << QByteArray("caf\xe9.zip");
}

void StoreNamesTest::areKeptByteForByte()
{
    QFETCH(const QByteArray, name);
    StoreBox box;
    const auto stored = box.put(name.toStdString(), name);
    QVERIFY2(stored.ok(), qPrintable(stored.message()));
    QCOMPARE(box.get(name.toStdString()), name);
    QCOMPARE(readFile(box.data(name.toStdString())), name);
    const auto files = box.store().list(testLocation());
    QVERIFY(files.ok());
    QCOMPARE(files->size(), size_t(1));
    QCOMPARE(QByteArray::fromStdString(files->front().name), name);
    QVERIFY(box.store().remove(testLocation(), name.toStdString()).ok());
}

void StoreNamesTest::thatCouldLeaveTheirPlaceAreRefused_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("empty") << QByteArray("");
    QTest::newRow("dot") << QByteArray(".");
    QTest::newRow("parent") << QByteArray("..");
    QTest::newRow("slash") << QByteArray("a/b");
    QTest::newRow("absolute") << QByteArray("/etc/passwd");
    QTest::newRow("through the parent") << QByteArray("../sums/x");
    QTest::newRow("NUL") << QByteArray("a\0b", 3);
    QTest::newRow("256 bytes") << QByteArray(256, 'n');
}

void StoreNamesTest::thatCouldLeaveTheirPlaceAreRefused()
{
    QFETCH(const QByteArray, name);
    StoreBox box;
    const std::string bytes = name.toStdString();
    DocumentStore& store = box.store();
    QCOMPARE(box.put(bytes, "content").code(), ErrorCode::InvalidArgument);
    QCOMPARE(store.adopt(testLocation(), bytes, box.beside("source")).code(), ErrorCode::InvalidArgument);
    QCOMPARE(store.get(testLocation(), bytes, box.beside("target")).code(), ErrorCode::InvalidArgument);
    QCOMPARE(store.find(testLocation(), bytes).code(), ErrorCode::InvalidArgument);
    QCOMPARE(store.remove(testLocation(), bytes).code(), ErrorCode::InvalidArgument);
    QCOMPARE(readFile(box.beside("source")), QByteArray("content"));
    QCOMPARE(namesOf(QString::fromStdString(box.root())), QStringList(QStringLiteral("marked")));
}

void StoreNamesTest::ofLocationsAreCheckedToo_data()
{
    thatCouldLeaveTheirPlaceAreRefused_data();
    QTest::newRow("backslash") << QByteArray("..\\x");
}

void StoreNamesTest::ofLocationsAreCheckedToo()
{
    QFETCH(const QByteArray, name);
    StoreBox box;
    writeFile(box.beside("source"), "content");
    const std::string bytes = name.toStdString();
    for (const StoreLocation& location : {StoreLocation{bytes, "archives"}, StoreLocation{"jobs", bytes}}) {
        QCOMPARE(checkStoreLocation(location).code(), ErrorCode::InvalidArgument);
        QCOMPARE(box.store().put(location, "x", box.beside("source")).code(), ErrorCode::InvalidArgument);
        QCOMPARE(box.store().find(location, "x").code(), ErrorCode::InvalidArgument);
        QCOMPARE(box.store().list(location).code(), ErrorCode::InvalidArgument);
    }
    QCOMPARE(namesOf(QString::fromStdString(box.root())), QStringList(QStringLiteral("marked")));
}

ZAV_REGISTER_TEST(store_names, StoreNamesTest, QCoreApplication)

#include "store_names.moc"
