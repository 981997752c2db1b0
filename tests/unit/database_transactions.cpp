#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <stdexcept>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

class DatabaseTransactionsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void successIsCommitted();
    void failureIsRolledBackAndReturned();
    void aFailedStatementLeavesTheOthersToTheWork();
    void anExceptionRollsBack();
    void transactionsDoNotNest();
    void othersSeeNothingBeforeTheEnd();
    void writesTogetherAreAllThereOrNone_data();
    void writesTogetherAreAllThereOrNone();
    void whatGoesFirstGoesBeforeEverything();

private:
    Result<qint64> add(const char* code);
    int count(Database& database);

    std::unique_ptr<TemporaryDatabase> m_place;
    std::unique_ptr<Database> m_database;
};

void DatabaseTransactionsTest::init()
{
    m_database.reset();
    m_place = std::make_unique<TemporaryDatabase>();
    m_database = m_place->open();
    QVERIFY(m_database);
}

Result<qint64> DatabaseTransactionsTest::add(const char* code)
{
    return m_database->insert(
        "INSERT INTO company (code, name, created_time, updated_time) VALUES (?, ?, 't', 't')",
        {QLatin1String(code), QLatin1String(code)}, Durability::Deferred);
}

int DatabaseTransactionsTest::count(Database& database)
{
    return valueOf(database, "SELECT count(*) FROM company").toInt();
}

void DatabaseTransactionsTest::successIsCommitted()
{
    QVERIFY(m_database->transaction([&] { return add("A").ok() ? add("B").status() : Status(); }).ok());
    QCOMPARE(count(*m_place->open()), 2);
}

void DatabaseTransactionsTest::failureIsRolledBackAndReturned()
{
    const Status outcome = m_database->transaction([&] {
        (void)add("A");
        return Status(ErrorCode::NoSpace, QStringLiteral("as the work says"));
    });
    QCOMPARE(outcome.code(), ErrorCode::NoSpace);
    QCOMPARE(outcome.message(), QStringLiteral("as the work says"));
    QCOMPARE(count(*m_database), 0);
    QVERIFY(add("A").ok());
}

void DatabaseTransactionsTest::aFailedStatementLeavesTheOthersToTheWork()
{
    const Status outcome = m_database->transaction([&] {
        (void)add("A");
        return add("A").code() == ErrorCode::AlreadyExists ? add("B").status()
                                                           : Status(ErrorCode::Internal, {});
    });
    QVERIFY2(outcome.ok(), qPrintable(outcome.message()));
    QCOMPARE(count(*m_database), 2);
}

void DatabaseTransactionsTest::anExceptionRollsBack()
{
    QVERIFY_EXCEPTION_THROWN((void)m_database->transaction([&]() -> Status {
        (void)add("A");
        throw std::runtime_error("no memory");
    }),
                             std::runtime_error);
    QCOMPARE(count(*m_database), 0);
    QVERIFY(m_database->transaction([&] { return add("A").status(); }).ok());
}

void DatabaseTransactionsTest::transactionsDoNotNest()
{
    const Status outcome = m_database->transaction([&] {
        (void)add("A");
        return m_database->transaction([] { return Status(); });
    });
    QCOMPARE(outcome.code(), ErrorCode::Internal);
    QCOMPARE(count(*m_database), 0);
}

void DatabaseTransactionsTest::othersSeeNothingBeforeTheEnd()
{
    const auto other = m_place->open();
    int seenInside = -1;
    const Status outcome = m_database->transaction([&] {
        Status added = add("A").status();
        seenInside = count(*other);
        return added;
    });
    QVERIFY(outcome.ok());
    QCOMPARE(seenInside, 0);
    QCOMPARE(count(*other), 1);
}

void DatabaseTransactionsTest::writesTogetherAreAllThereOrNone_data()
{
    QTest::addColumn<QStringList>("codes");
    QTest::addColumn<QString>("renamed");
    QTest::addColumn<ErrorCode>("code");
    QTest::addColumn<int>("failedAt");
    QTest::addColumn<int>("companies");
    const QStringList good = {QStringLiteral("A"), QStringLiteral("B")};
    const QStringList twice = {QStringLiteral("A"), QStringLiteral("A")};
    QTest::newRow("whole") << good << QStringLiteral("B") << ErrorCode::None << 3 << 2;
    QTest::newRow("a key twice") << twice << QStringLiteral("A") << ErrorCode::AlreadyExists << 1 << 0;
    QTest::newRow("no row to update") << good << QStringLiteral("C") << ErrorCode::NotFound << 2 << 0;
    QTest::newRow("a text with a NUL")
        << good << QString(QChar(QChar::Null)) << ErrorCode::InvalidArgument << 3 << 0;
}

void DatabaseTransactionsTest::writesTogetherAreAllThereOrNone()
{
    QFETCH(const QStringList, codes);
    QFETCH(const QString, renamed);
    std::vector<RowWrite> writes;
    for (const QString& code : codes)
        writes.push_back({"INSERT INTO company (code, name, created_time, updated_time)"
                          " VALUES (?, ?, 't', 't')",
                          {code, QString(code + code)}});
    writes.push_back({"UPDATE company SET name = 'new' WHERE code = ?", {renamed}});
    const TogetherOutcome outcome = m_database->changeTogether(writes, Durability::Immediate);
    QTEST(outcome.status.code(), "code");
    QTEST(int(outcome.failedAt), "failedAt");
    const auto other = m_place->open();
    QTEST(count(*other), "companies");
}

void DatabaseTransactionsTest::whatGoesFirstGoesBeforeEverything()
{
    int runs = 0;
    Status outcome;
    Database::Occasion last = Database::Occasion::Statement;
    m_database->runFirst([&](Database::Occasion occasion) {
        last = occasion;
        ++runs;
        return outcome.ok() ? add(qPrintable(QString::number(runs))).status() : outcome;
    });
    QCOMPARE(count(*m_database), 1);
    QVERIFY(m_database->transaction([] { return Status(); }).ok());
    QVERIFY(m_database->snapshot([] { return Status(); }).ok());
    QVERIFY(add("A").ok());
    QCOMPARE(runs, 4);
    outcome = Status(ErrorCode::NoSpace, QStringLiteral("as the work says"));
    QCOMPARE(add("B").code(), ErrorCode::NoSpace);
    QCOMPARE(m_database->value("SELECT 1").status().message(), outcome.message());
    QCOMPARE(m_database->transaction([] { return Status(); }).code(), ErrorCode::NoSpace);
    QCOMPARE(last, Database::Occasion::Statement);
    m_database.reset();
    QCOMPARE(last, Database::Occasion::End);
    const auto other = m_place->open();
    QCOMPARE(count(*other), 5);
}

ZAV_REGISTER_TEST(database_transactions, DatabaseTransactionsTest, QCoreApplication)

#include "database_transactions.moc"
