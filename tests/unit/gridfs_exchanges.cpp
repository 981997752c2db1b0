// How many requests the operations of the store make: over a network, each takes its latency.

#include "backend/io/GrowingFile.h"
#include "tests/support/GridFsBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <functional>
#include <future>
#include <memory>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

class GridFsExchangesTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup() { m_box.reset(); }
    void aFreshNameIsNotLookedFor();
    void aNameThatMayBeTakenIsLookedFor();
    void aFreshNameThatIsTakenIsFoundOut();
    void theSameContentIsConfirmedWhereTheFileLies();
    void aSmallFileIsFetchedByTwoRequests();
    void aFileIsSentBehindItsWriter();

private:
    Result<StoredFile> put(const QByteArray& content, NameUse use);
    QString requestsOf(const std::function<void()>& work);

    std::unique_ptr<GridFsBox> m_box;
};

namespace {

constexpr int smallSize = 100'000;
constexpr int threeChunks = 600'000;

} // namespace

void GridFsExchangesTest::init()
{
    m_box = std::make_unique<GridFsBox>();
    if (const QString refusal = m_box->peer().refusal(); !refusal.isEmpty())
        QSKIP(qPrintable(refusal));
    QVERIFY(m_box->put("first", randomBytes(smallSize, 1)).ok()); // connects, and makes the indexes
}

Result<StoredFile> GridFsExchangesTest::put(const QByteArray& content, NameUse use)
{
    writeFile(m_box->beside("source"), content);
    return m_box->store().put(m_box->location(), "job.zip", m_box->beside("source"), use);
}

/// The commands that the work sends, by name, with their numbers.
QString GridFsExchangesTest::requestsOf(const std::function<void()>& work)
{
    const auto counts = [this] { return m_box->peer().counters()[QStringLiteral("commands")].toObject(); };
    const QJsonObject before = counts();
    work();
    const QJsonObject after = counts();
    QStringList requests;
    for (const QString& name : after.keys()) {
        const int count = after[name].toInt() - before[name].toInt();
        if (count > 0)
            requests << QStringLiteral("%1 %2").arg(count).arg(name);
    }
    return requests.join(QStringLiteral(", "));
}

void GridFsExchangesTest::aFreshNameIsNotLookedFor()
{
    const QByteArray content = randomBytes(threeChunks, 2);
    QCOMPARE(requestsOf([&] { QVERIFY(put(content, NameUse::Fresh).ok()); }), QStringLiteral("2 insert"));
    QVERIFY(m_box->contentOf("job.zip") == content);
}

void GridFsExchangesTest::aNameThatMayBeTakenIsLookedFor()
{
    const QByteArray content = randomBytes(threeChunks, 2);
    QCOMPARE(requestsOf([&] { QVERIFY(put(content, NameUse::MayBeTaken).ok()); }),
             QStringLiteral("1 find, 2 insert"));
}

/// The index decides, not what the caller knows of the name.
void GridFsExchangesTest::aFreshNameThatIsTakenIsFoundOut()
{
    const QByteArray content = randomBytes(threeChunks, 2);
    QVERIFY(put(content, NameUse::Fresh).ok());
    const auto same = put(content, NameUse::Fresh);
    QVERIFY2(same.ok(), qPrintable(same.message()));
    QCOMPARE(put(randomBytes(threeChunks, 3), NameUse::Fresh).code(), ErrorCode::AlreadyExists);
    QVERIFY(m_box->contentOf("job.zip") == content);
    QCOMPARE(m_box->peer().orphanChunks(), 0);
    QCOMPARE(m_box->peer().files().size(), 2);
}

/// A look, its chunks, and a write that changes nothing to the files document.
void GridFsExchangesTest::theSameContentIsConfirmedWhereTheFileLies()
{
    const QByteArray content = randomBytes(smallSize, 1);
    QVERIFY(put(content, NameUse::MayBeTaken).ok());
    QCOMPARE(requestsOf([&] { QVERIFY(put(content, NameUse::MayBeTaken).ok()); }),
             QStringLiteral("2 find, 1 update"));
}

void GridFsExchangesTest::aSmallFileIsFetchedByTwoRequests()
{
    QCOMPARE(requestsOf([this] { QVERIFY(m_box->get("first").ok()); }), QStringLiteral("2 find"));
    QVERIFY(put(randomBytes(threeChunks, 2), NameUse::Fresh).ok());
    QCOMPARE(requestsOf([this] { QVERIFY(m_box->get("job.zip").ok()); }), QStringLiteral("2 find"));
}

/// The first batch has arrived before the writer goes on.
void GridFsExchangesTest::aFileIsSentBehindItsWriter()
{
    constexpr int length = 5'000'000; // twenty chunks, sixteen in a batch
    constexpr qint64 firstPart = 4'500'000;
    const QByteArray content = randomBytes(length, 4);
    const std::string source = m_box->beside("source");
    writeFile(source, content);
    const int before = m_box->peer().counters()[QStringLiteral("insertedChunks")].toInt();
    GrowingFile growing;
    QVERIFY(growing.begin(source, source).ok());
    growing.advance(firstPart);
    const auto sent = std::async(std::launch::async, [&] {
        return m_box->store().adoptGrowing(m_box->location(), "job.zip", source, growing, NameUse::Fresh);
    });
    const auto arrived = [&] {
        return m_box->peer().counters()[QStringLiteral("insertedChunks")].toInt() - before;
    };
    const bool sentBefore = QTest::qWaitFor([&] { return arrived() == 16; }, 20'000);
    growing.finish(length);
    sent.wait();
    QVERIFY(sentBefore);
    QVERIFY(m_box->contentOf("job.zip") == content);
}

ZAV_REGISTER_TEST(gridfs_exchanges, GridFsExchangesTest, QCoreApplication)

#include "gridfs_exchanges.moc"
