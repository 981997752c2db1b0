// Stored files are plain GridFS: another driver reads what the store writes, and the store what that one
// writes.

#include "tests/support/GridFsBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

constexpr int usualChunk = 255 * 1024;

/// The names and contents that both directions are tried with.
void addFiles()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("size");
    QTest::newRow("empty") << QByteArrayLiteral("empty.zip") << 0;
    QTest::newRow("one byte") << QByteArrayLiteral("one") << 1;
    QTest::newRow("a chunk less one byte") << QByteArrayLiteral("a.zip") << usualChunk - 1;
    QTest::newRow("exactly one chunk") << QByteArrayLiteral("b.zip") << usualChunk;
    QTest::newRow("a chunk and one byte") << QByteArrayLiteral("c.zip") << usualChunk + 1;
    QTest::newRow("exactly a batch") << QByteArrayLiteral("d.zip") << 16 * usualChunk;
    QTest::newRow("a batch and one byte") << QByteArrayLiteral("e.zip") << 16 * usualChunk + 1;
    QTest::newRow("20 MB") << QByteArrayLiteral("large.zip") << 20'000'000;
    QTest::newRow("Chinese name") << QByteArrayLiteral(
                                         "\xE7\x94\xB5\xE8\xB7\xAF\xE6\x9D\xBF \xE4\xB8\x80.zip")
                                  << 70'000;
    QTest::newRow("name with a quote") << QByteArrayLiteral("a 'quoted' \"name\" $x.zip") << 10;
}

} // namespace

class GridFsInterop final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init() { m_box = std::make_unique<GridFsBox>(); }
    void cleanup() { m_box.reset(); }

    void otherDriverReadsWhatIsStored_data() { addFiles(); }
    void otherDriverReadsWhatIsStored();
    void otherDriverFindsLengthAndSha256();
    void otherDriverFindsTheUsualIndexes();
    void storeReadsWhatOtherDriverWrote_data() { addFiles(); }
    void storeReadsWhatOtherDriverWrote();
    void storeReadsOtherChunkSizes_data();
    void storeReadsOtherChunkSizes();
    void storeReadsTheNewestRevision();
    void bothListTheSameNames();
    void sameContentOfOtherDriverIsASuccess();
    void otherContentThanOtherDriversIsRefused();
    void whatIsRemovedHereIsGoneThere();
    void whatIsRemovedThereIsGoneHere();

private:
    /// @return what the other driver prints
    QJsonDocument other(const QStringList& arguments);
    void otherPuts(const QByteArray& name, const QByteArray& content, int chunkSize = 0);
    QByteArray otherGets(const QByteArray& name);

    std::unique_ptr<GridFsBox> m_box;
};

void GridFsInterop::initTestCase()
{
    GridFsBox probe;
    if (const QString problem = probe.peer().problem(); !problem.isEmpty())
        QSKIP(qPrintable(problem));
}

QJsonDocument GridFsInterop::other(const QStringList& arguments)
{
    const StoreLocation& location = m_box->location();
    const ProgramEnd end = runProgram(QStringLiteral(ZAV_TEST_PYTHON),
                                      QStringList{QStringLiteral("-B"), QStringLiteral(ZAV_GRIDFS_INTEROP),
                                                  m_box->uri(), QString::fromStdString(location.database),
                                                  QString::fromStdString(location.fileStore)} +
                                          arguments);
    if (end.exitCode != 0)
        qFatal("The other driver fails: %s", end.output.constData());
    return QJsonDocument::fromJson(end.output);
}

void GridFsInterop::otherPuts(const QByteArray& name, const QByteArray& content, int chunkSize)
{
    writeFile(m_box->beside("theirs"), content);
    QStringList arguments{QStringLiteral("put"), QString::fromUtf8(name),
                          QString::fromStdString(m_box->beside("theirs"))};
    if (chunkSize > 0)
        arguments << QString::number(chunkSize);
    other(arguments);
}

QByteArray GridFsInterop::otherGets(const QByteArray& name)
{
    other({QStringLiteral("get"), QString::fromUtf8(name), QString::fromStdString(m_box->beside("theirs"))});
    return readFile(m_box->beside("theirs"));
}

void GridFsInterop::otherDriverReadsWhatIsStored()
{
    QFETCH(const QByteArray, name);
    QFETCH(const int, size);
    const QByteArray content = randomBytes(size, 1);
    const auto stored = m_box->put(name.toStdString(), content);
    QVERIFY2(stored.ok(), qPrintable(stored.message()));
    QVERIFY(otherGets(name) == content);
}

void GridFsInterop::otherDriverFindsLengthAndSha256()
{
    const QByteArray content = randomBytes(2 * usualChunk + 5, 2);
    QVERIFY(m_box->put("a.zip", content).ok());
    const QJsonObject found = other({QStringLiteral("describe"), QStringLiteral("a.zip")}).object();
    const QJsonObject metadata = found[QStringLiteral("metadata")].toObject();
    const QByteArray sha256 = QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex();
    QCOMPARE(found[QStringLiteral("length")].toInt(), content.size());
    QCOMPARE(metadata[QStringLiteral("length")].toInt(), content.size());
    QCOMPARE(metadata[QStringLiteral("sha256")].toString().toLatin1(), sha256);
    const int chunkSize = found[QStringLiteral("chunkSize")].toInt();
    QCOMPARE(found[QStringLiteral("chunks")].toInt(), (content.size() + chunkSize - 1) / chunkSize);
}

void GridFsInterop::otherDriverFindsTheUsualIndexes()
{
    QVERIFY(m_box->put("a.zip", "content").ok());
    const QJsonObject found = other({QStringLiteral("indexes")}).object();
    const auto index = [](const char* first, const char* second, bool unique) {
        const QJsonArray key{QJsonArray{QLatin1String(first), 1}, QJsonArray{QLatin1String(second), 1}};
        return QJsonObject{{QStringLiteral("key"), key}, {QStringLiteral("unique"), unique}};
    };
    QVERIFY(found[QStringLiteral("files")].toArray().contains(index("filename", "uploadDate", false)));
    QVERIFY(found[QStringLiteral("chunks")].toArray().contains(index("files_id", "n", true)));
}

void GridFsInterop::storeReadsWhatOtherDriverWrote()
{
    QFETCH(const QByteArray, name);
    QFETCH(const int, size);
    const QByteArray content = randomBytes(size, 3);
    otherPuts(name, content);
    const auto found = m_box->store().find(m_box->location(), name.toStdString());
    QVERIFY2(found.ok(), qPrintable(found.message()));
    QCOMPARE(found->length, qint64(size));
    const Status fetched = m_box->get(name.toStdString());
    QVERIFY2(fetched.ok(), qPrintable(fetched.message()));
    QVERIFY(readFile(m_box->beside("fetched")) == content);
}

void GridFsInterop::storeReadsOtherChunkSizes_data()
{
    QTest::addColumn<int>("chunkSize");
    QTest::newRow("one byte") << 1;
    QTest::newRow("1000") << 1000;
    QTest::newRow("larger than the file") << 4'000'000;
    QTest::newRow("15 MB") << 15'000'000;
}

void GridFsInterop::storeReadsOtherChunkSizes()
{
    QFETCH(const int, chunkSize);
    const QByteArray content = randomBytes(chunkSize == 1 ? 1500 : 17 * qMin(chunkSize, 1'200'000) + 3, 4);
    otherPuts("a.zip", content, chunkSize);
    QVERIFY(m_box->contentOf("a.zip") == content);
}

void GridFsInterop::storeReadsTheNewestRevision()
{
    otherPuts("same.zip", "first");
    otherPuts("same.zip", "second revision");
    QCOMPARE(m_box->contentOf("same.zip"), QByteArrayLiteral("second revision"));
    const auto found = m_box->store().find(m_box->location(), "same.zip");
    QVERIFY(found.ok());
    QCOMPARE(found->length, qint64(15));
    const auto listed = m_box->store().list(m_box->location());
    QVERIFY(listed.ok());
    QCOMPARE(listed->size(), size_t(1));
    QCOMPARE(listed->front().length, qint64(15));
}

void GridFsInterop::bothListTheSameNames()
{
    QVERIFY(m_box->put("ours.zip", "1").ok());
    otherPuts("theirs.zip", "22");
    QCOMPARE(other({QStringLiteral("list")}).array(),
             (QJsonArray{QStringLiteral("ours.zip"), QStringLiteral("theirs.zip")}));
    const auto listed = m_box->store().list(m_box->location());
    QVERIFY(listed.ok());
    QCOMPARE(listed->size(), size_t(2));
    QCOMPARE(listed->at(0).name, std::string("ours.zip"));
    QCOMPARE(listed->at(1).name, std::string("theirs.zip"));
}

void GridFsInterop::sameContentOfOtherDriverIsASuccess()
{
    const QByteArray content = randomBytes(300'000, 5);
    otherPuts("a.zip", content);
    const auto stored = m_box->put("a.zip", content);
    QVERIFY2(stored.ok(), qPrintable(stored.message()));
    QCOMPARE(stored->sha256, QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex());
    const QJsonObject found = other({QStringLiteral("describe"), QStringLiteral("a.zip")}).object();
    QCOMPARE(found[QStringLiteral("revisions")].toInt(), 1);
}

void GridFsInterop::otherContentThanOtherDriversIsRefused()
{
    otherPuts("a.zip", "theirs");
    QCOMPARE(m_box->put("a.zip", "ours").code(), ErrorCode::AlreadyExists);
    QCOMPARE(m_box->put("a.zip", "theirS").code(), ErrorCode::AlreadyExists);
    QCOMPARE(otherGets("a.zip"), QByteArrayLiteral("theirs"));
}

void GridFsInterop::whatIsRemovedHereIsGoneThere()
{
    otherPuts("a.zip", randomBytes(600'000, 6));
    otherPuts("a.zip", randomBytes(600'001, 7));
    QVERIFY(m_box->store().remove(m_box->location(), "a.zip").ok());
    QVERIFY(other({QStringLiteral("list")}).array().isEmpty());
    if (m_box->peer().refusal().isEmpty())
        QCOMPARE(m_box->peer().orphanChunks(), 0);
}

void GridFsInterop::whatIsRemovedThereIsGoneHere()
{
    QVERIFY(m_box->put("a.zip", randomBytes(600'000, 8)).ok());
    other({QStringLiteral("remove"), QStringLiteral("a.zip")});
    QCOMPARE(m_box->store().find(m_box->location(), "a.zip").code(), ErrorCode::NotFound);
    QCOMPARE(m_box->get("a.zip").code(), ErrorCode::NotFound);
    QVERIFY(m_box->put("a.zip", "another one").ok());
    QCOMPARE(otherGets("a.zip"), QByteArrayLiteral("another one"));
}

ZAV_REGISTER_TEST(gridfs_interop, GridFsInterop, QCoreApplication)

#include "gridfs_interop.moc"
