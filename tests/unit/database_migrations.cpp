#include "backend/database/Migrations.h"
#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

constexpr const char* tablesNamedExtra = "SELECT count(*) FROM sqlite_master WHERE name = 'extra'";

/// Steps as later versions of the program could have them; the first four are in every database already.
std::vector<MigrationStep> laterSteps()
{
    return {{1, {"DROP TABLE company"}},
            {2, {"DROP TABLE company"}},
            {3, {"DROP TABLE company"}},
            {4, {"DROP TABLE company"}},
            {5,
             {"CREATE TABLE extra (id INTEGER PRIMARY KEY, note TEXT)",
              "INSERT INTO extra (note) VALUES ('five')"}},
            {6, {"ALTER TABLE extra ADD COLUMN more TEXT", "UPDATE extra SET more = note || ' six'"}}};
}

} // namespace

class DatabaseMigrationsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void missingStepsAreRunInOrder();
    void knownStepsAreNotRunAgain();
    void stepsContinueWhereAnOlderProgramStopped();
    void aFailingStepLeavesTheDatabaseAsItWas();
    void aDatabaseThatIsAheadIsRefused();
    void lostVersionRowIsCorrupt();
};

void DatabaseMigrationsTest::missingStepsAreRunInOrder()
{
    const TemporaryDatabase place;
    const auto database = place.open();
    const Status status = migrate(*database, laterSteps());
    QVERIFY2(status.ok(), qPrintable(status.message()));
    QCOMPARE(database->schemaVersion().value(), 6);
    QCOMPARE(valueOf(*database, "SELECT more FROM extra").toString(), QStringLiteral("five six"));
}

void DatabaseMigrationsTest::knownStepsAreNotRunAgain()
{
    const TemporaryDatabase place;
    const auto database = place.open();
    QVERIFY(migrate(*database, laterSteps()).ok());
    QVERIFY(migrate(*database, laterSteps()).ok());
    QCOMPARE(valueOf(*database, "SELECT count(*) FROM extra").toInt(), 1);
    QCOMPARE(valueOf(*database, "SELECT count(*) FROM company").toInt(), 0);
}

void DatabaseMigrationsTest::stepsContinueWhereAnOlderProgramStopped()
{
    const TemporaryDatabase place;
    const auto database = place.open();
    std::vector<MigrationStep> older = laterSteps();
    older.pop_back();
    QVERIFY(migrate(*database, older).ok());
    QCOMPARE(database->schemaVersion().value(), 5);
    QVERIFY(
        database
            ->change("INSERT INTO extra (note) VALUES (?)", {QStringLiteral("kept")}, Durability::Deferred)
            .ok());
    QVERIFY(migrate(*database, laterSteps()).ok());
    QCOMPARE(valueOf(*database, "SELECT more FROM extra WHERE note = 'kept'").toString(),
             QStringLiteral("kept six"));
}

void DatabaseMigrationsTest::aFailingStepLeavesTheDatabaseAsItWas()
{
    const TemporaryDatabase place;
    const auto database = place.open();
    std::vector<MigrationStep> broken = laterSteps();
    broken.back().statements.push_back("UPDATE extra SET absent = 1");
    const Status status = migrate(*database, broken);
    QVERIFY(!status.ok());
    QVERIFY2(status.message().contains(QStringLiteral("no such column: absent")),
             qPrintable(status.message()));
    QCOMPARE(database->schemaVersion().value(), 4);
    QCOMPARE(valueOf(*database, tablesNamedExtra).toInt(), 0);
}

void DatabaseMigrationsTest::aDatabaseThatIsAheadIsRefused()
{
    const TemporaryDatabase place;
    QVERIFY(migrate(*place.open(), laterSteps()).ok());
    const QByteArray before = bytesOf(place.file());
    const Result<std::unique_ptr<Database>> reopened = Database::open(place.settings());
    QCOMPARE(reopened.code(), ErrorCode::Configuration);
    QVERIFY2(reopened.message().contains(QStringLiteral("schema version 6, this program knows up to 4")),
             qPrintable(reopened.message()));
    QCOMPARE(bytesOf(place.file()), before);
}

void DatabaseMigrationsTest::lostVersionRowIsCorrupt()
{
    const TemporaryDatabase place;
    QVERIFY(place.open());
    runElsewhere(place.file(), {QStringLiteral("DELETE FROM schema_version")});
    const Result<std::unique_ptr<Database>> reopened = Database::open(place.settings());
    QCOMPARE(reopened.code(), ErrorCode::Corrupt);
}

ZAV_REGISTER_TEST(database_migrations, DatabaseMigrationsTest, QCoreApplication)

#include "database_migrations.moc"
