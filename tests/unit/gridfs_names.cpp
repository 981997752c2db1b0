// A name in GridFS has one content, whoever stores it, and nothing of a failed try stays.

#include "tests/support/GridFsBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <algorithm>
#include <future>
#include <memory>
#include <vector>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

class GridFsNamesTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup() { m_box.reset(); }
    void sameContentIsASuccess();
    void otherContentIsRefused();
    void manyPutOneContentAtOnce();
    void manyPutOtherContentsAtOnce();
    void removedNameIsFree();
    void unfitNamesAreRefused_data();
    void unfitNamesAreRefused();
    void unfitLocationsAreRefused_data();
    void unfitLocationsAreRefused();

private:
    std::vector<ErrorCode> putAtOnce(bool sameContent);
    void checkNothingLeft(int files);

    std::unique_ptr<GridFsBox> m_box;
};

namespace {

constexpr int clients = 8;
constexpr int size = 600'000; // three chunks

} // namespace

void GridFsNamesTest::init()
{
    m_box = std::make_unique<GridFsBox>();
    if (!m_box->peer().problem().isEmpty())
        QSKIP(qPrintable(m_box->peer().problem()));
}

void GridFsNamesTest::checkNothingLeft(int files)
{
    if (!m_box->peer().refusal().isEmpty())
        return; // a server that is not ours does not tell
    QCOMPARE(m_box->peer().files().size(), files);
    QCOMPARE(m_box->peer().orphanChunks(), 0);
    QCOMPARE(m_box->peer().incompleteFiles(), QStringList());
}

void GridFsNamesTest::sameContentIsASuccess()
{
    const QByteArray content = randomBytes(size, 1);
    const auto first = m_box->put("job.zip", content);
    QVERIFY2(first.ok(), qPrintable(first.message()));
    const auto second = m_box->put("job.zip", content);
    QVERIFY2(second.ok(), qPrintable(second.message()));
    QCOMPARE(second->sha256, first->sha256);
    checkNothingLeft(1);
}

void GridFsNamesTest::otherContentIsRefused()
{
    QVERIFY(m_box->put("job.zip", randomBytes(size, 1)).ok());
    QCOMPARE(m_box->put("job.zip", randomBytes(size, 2)).code(), ErrorCode::AlreadyExists);
    QCOMPARE(m_box->put("job.zip", randomBytes(size + 1, 1)).code(), ErrorCode::AlreadyExists);
    QCOMPARE(m_box->put("job.zip", QByteArray("")).code(), ErrorCode::AlreadyExists);
    QCOMPARE(m_box->contentOf("job.zip"), randomBytes(size, 1));
    checkNothingLeft(1);
}

std::vector<ErrorCode> GridFsNamesTest::putAtOnce(bool sameContent)
{
    std::vector<std::future<ErrorCode>> puts;
    for (int client = 0; client < clients; ++client) {
        const std::string source = m_box->beside("source" + std::to_string(client));
        writeFile(source, randomBytes(size, sameContent ? 1 : static_cast<quint32>(client)));
        puts.push_back(std::async(std::launch::async, [this, source] {
            return m_box->store().put(m_box->location(), "job.zip", source).code();
        }));
    }
    std::vector<ErrorCode> codes;
    codes.reserve(puts.size());
    for (auto& put : puts)
        codes.push_back(put.get());
    return codes;
}

void GridFsNamesTest::manyPutOneContentAtOnce()
{
    for (const ErrorCode code : putAtOnce(true))
        QCOMPARE(code, ErrorCode::None);
    QCOMPARE(m_box->contentOf("job.zip"), randomBytes(size, 1));
    checkNothingLeft(1);
}

void GridFsNamesTest::manyPutOtherContentsAtOnce()
{
    const std::vector<ErrorCode> codes = putAtOnce(false);
    QCOMPARE(std::count(codes.begin(), codes.end(), ErrorCode::None), 1);
    QCOMPARE(std::count(codes.begin(), codes.end(), ErrorCode::AlreadyExists), clients - 1);
    const auto winner = std::find(codes.begin(), codes.end(), ErrorCode::None) - codes.begin();
    QCOMPARE(m_box->contentOf("job.zip"), randomBytes(size, static_cast<quint32>(winner)));
    checkNothingLeft(1);
}

void GridFsNamesTest::removedNameIsFree()
{
    QVERIFY(m_box->put("job.zip", randomBytes(size, 1)).ok());
    QVERIFY(m_box->store().remove(m_box->location(), "job.zip").ok());
    checkNothingLeft(0);
    QCOMPARE(m_box->get("job.zip").code(), ErrorCode::NotFound);
    QCOMPARE(m_box->store().remove(m_box->location(), "job.zip").code(), ErrorCode::NotFound);
    QVERIFY(m_box->put("job.zip", randomBytes(size, 2)).ok());
    QCOMPARE(m_box->contentOf("job.zip"), randomBytes(size, 2));
}

void GridFsNamesTest::unfitNamesAreRefused_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("empty") << QByteArray("");
    QTest::newRow("NUL") << QByteArray("job\0zip", 7);
    QTest::newRow("not UTF-8") << QByteArray("caf\xE9");
    QTest::newRow("slash") << QByteArray("a/b");
    QTest::newRow("dots") << QByteArray("..");
}

void GridFsNamesTest::unfitNamesAreRefused()
{
    QFETCH(QByteArray, name);
    QCOMPARE(m_box->put(name.toStdString(), "content").code(), ErrorCode::InvalidArgument);
    QCOMPARE(m_box->get(name.toStdString()).code(), ErrorCode::InvalidArgument);
    QCOMPARE(m_box->store().find(m_box->location(), name.toStdString()).code(), ErrorCode::InvalidArgument);
}

void GridFsNamesTest::unfitLocationsAreRefused_data()
{
    QTest::addColumn<QByteArray>("database");
    QTest::addColumn<QByteArray>("fileStore");
    QTest::newRow("no database") << QByteArray("") << QByteArray("odbpp");
    QTest::newRow("dot in the database") << QByteArray("a.b") << QByteArray("odbpp");
    QTest::newRow("blank in the database") << QByteArray("a b") << QByteArray("odbpp");
    QTest::newRow("long database") << QByteArray(64, 'a') << QByteArray("odbpp");
    QTest::newRow("NUL in the database") << QByteArray("a\0b", 3) << QByteArray("odbpp");
    QTest::newRow("no file store") << QByteArray("zav") << QByteArray("");
    QTest::newRow("dollar in the file store") << QByteArray("zav") << QByteArray("a$b");
    QTest::newRow("NUL in the file store") << QByteArray("zav") << QByteArray("a\0b", 3);
}

void GridFsNamesTest::unfitLocationsAreRefused()
{
    QFETCH(QByteArray, database);
    QFETCH(QByteArray, fileStore);
    const StoreLocation location{database.toStdString(), fileStore.toStdString()};
    const std::string source = m_box->beside("source");
    writeFile(source, "content");
    QCOMPARE(m_box->store().put(location, "job.zip", source).code(), ErrorCode::InvalidArgument);
    QCOMPARE(m_box->store().list(location).code(), ErrorCode::InvalidArgument);
}

ZAV_REGISTER_TEST(gridfs_names, GridFsNamesTest, QCoreApplication)

#include "gridfs_names.moc"
