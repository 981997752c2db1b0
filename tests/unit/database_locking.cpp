#include "tests/support/FlawText.h"
#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTest>

#include <cstdio>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

constexpr const char* insertCompany =
    "INSERT INTO company (code, name, created_time, updated_time) VALUES (?, ?, 't', 't')";
constexpr int shortTimeoutMs = 300;

/// Role of another process: writes a row and keeps the transaction open until it is released.
int holdWriteLock(const QStringList& arguments)
{
    const QString& file = arguments.at(2);
    DatabaseSettings settings;
    settings.file = file;
    const Result<std::unique_ptr<Database>> database = Database::open(settings);
    const Status status = database.value()->transaction([&] {
        const Status added = database.value()
                                 ->insert(insertCompany, {QStringLiteral("H"), QStringLiteral("holder")},
                                          Durability::Immediate)
                                 .status();
        std::printf("locked\n");
        std::fflush(stdout);
        while (std::getchar() != EOF) {
        }
        return added;
    });
    return status.ok() ? 0 : 1;
}

} // namespace

class DatabaseLockingTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void aWriterIsToldWithinTheTimeout();
    void aReaderIsNotHeldUp();
    void openingIsToldWithinTheTimeout();
    void aWriterWaitsForAShortLock();
    void aKilledWriterLeavesNothingBehind();

private:
    Result<qint64> add(Database& database);

    std::unique_ptr<TemporaryDatabase> m_place;
    DatabaseSettings m_settings;
    std::unique_ptr<Database> m_database;
    std::unique_ptr<OtherProcess> m_holder;
};

void DatabaseLockingTest::init()
{
    m_holder.reset();
    m_database.reset();
    m_place = std::make_unique<TemporaryDatabase>();
    m_settings = m_place->settings();
    m_settings.busyTimeoutMs = shortTimeoutMs;
    Result<std::unique_ptr<Database>> database = Database::create(m_settings);
    QVERIFY2(database.ok(), qPrintable(database.message()));
    m_database = std::move(database.value());
    m_holder =
        std::make_unique<OtherProcess>(QStringList{QStringLiteral("--hold-write-lock"), m_place->file()});
    QCOMPARE(m_holder->readLine(), QStringLiteral("locked"));
}

Result<qint64> DatabaseLockingTest::add(Database& database)
{
    return database.insert(insertCompany, {QStringLiteral("A"), QStringLiteral("a")}, Durability::Immediate);
}

void DatabaseLockingTest::aWriterIsToldWithinTheTimeout()
{
    QElapsedTimer timer;
    timer.start();
    const Result<qint64> outcome = add(*m_database);
    QCOMPARE(outcome.code(), ErrorCode::Unavailable);
    QVERIFY2(outcome.message().contains(QStringLiteral("locked")), qPrintable(outcome.message()));
    QVERIFY(timer.elapsed() >= shortTimeoutMs / 2);
    QVERIFY(timer.elapsed() < 2000);
    QCOMPARE(m_database->transaction([] { return Status(); }).code(), ErrorCode::Unavailable);

    m_holder->release();
    QCOMPARE(m_holder->wait(), 0);
    QVERIFY(add(*m_database).ok());
}

void DatabaseLockingTest::aReaderIsNotHeldUp()
{
    QCOMPARE(valueOf(*m_database, "SELECT count(*) FROM company").toInt(), 0);
}

void DatabaseLockingTest::openingIsToldWithinTheTimeout()
{
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(Database::open(m_settings).code(), ErrorCode::Unavailable);
    QVERIFY(timer.elapsed() < 2000);
    m_holder->release();
    QCOMPARE(m_holder->wait(), 0);
    QVERIFY(Database::open(m_settings).ok());
}

void DatabaseLockingTest::aWriterWaitsForAShortLock()
{
    DatabaseSettings patient = m_settings;
    patient.busyTimeoutMs = 30000;
    Result<std::unique_ptr<Database>> database(Status(ErrorCode::Internal, {}));
    m_holder->release();
    database = Database::open(patient);
    QVERIFY2(database.ok(), qPrintable(database.message()));
    QVERIFY(add(*database.value()).ok());
    QCOMPARE(m_holder->wait(), 0);
    QCOMPARE(valueOf(*m_database, "SELECT count(*) FROM company").toInt(), 2);
}

void DatabaseLockingTest::aKilledWriterLeavesNothingBehind()
{
    m_holder->kill();
    QVERIFY(add(*m_database).ok());
    QCOMPARE(valueOf(*m_database, "SELECT group_concat(code) FROM company").toString(), QStringLiteral("A"));
    QCOMPARE(flawsOf(*m_database), QString());
}

ZAV_REGISTER_ROLE("--hold-write-lock", holdWriteLock, QCoreApplication)
ZAV_REGISTER_TEST(database_locking, DatabaseLockingTest, QCoreApplication)

#include "database_locking.moc"
