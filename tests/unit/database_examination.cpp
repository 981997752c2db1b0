#include "tests/support/FlawText.h"
#include "tests/support/MariaDbServer.h"
#include "tests/support/TableLock.h"
#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

/// What the thorough look at a database finds, on both engines.
class DatabaseExaminationTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void wholeFileHasNoFlaw();
    void changesOfAFileAreFound_data();
    void changesOfAFileAreFound();
    void overwrittenPagesAreFound();
    void cutOffFileIsFoundBesideItsLog();
    void fileThatIsNoneIsAFailure();
    void writersAreNotInItsWay();

    void wholeServerDatabaseHasNoFlaw();
    void changesOnAServerAreFound_data();
    void changesOnAServerAreFound();
    void whatTheAccountMayNotSeeIsToldOf();
    void tableThatTakesTooLongIsNotLookedAt();

private:
    /// A database on a server whose account may see all of it.
    static DatabaseSettings makeServerDatabase(const char* rights);
};

namespace {

MariaDbServer& server()
{
    static MariaDbServer started;
    return started;
}

const QString insertOfADanglingRow =
    QStringLiteral("INSERT INTO pre_file (guid, flow_guid, job_name, first_text, second_text, third_text, "
                   "user_id, user_name,"
                   " created_time) VALUES ('g', 'none', '', '', '', '', 1, '', '')");

QStringList examined(const DatabaseSettings& settings, const ExaminationOptions& options = {})
{
    const auto flaws = Database::examine(settings, options);
    return flaws.ok() ? flawTexts(flaws.value()) : QStringList(flaws.message());
}

void addCompanies(Database& database, int count)
{
    const QString name(2000, QLatin1Char('x'));
    const Status added = database.transaction([&] {
        for (int i = 0; i < count; ++i)
            if (const auto row =
                    database.insert("INSERT INTO company (code, name, created_time, updated_time)"
                                    " VALUES (?, ?, '', '')",
                                    {QString::number(i), name + QString::number(i)}, Durability::Deferred);
                !row.ok())
                return row.status();
        return Status();
    });
    QVERIFY2(added.ok(), qPrintable(added.message()));
}

} // namespace

void DatabaseExaminationTest::wholeFileHasNoFlaw()
{
    const TemporaryDatabase place;
    const auto database = place.open();
    QVERIFY(database);
    addCompanies(*database, 100);
    QCOMPARE(flawTexts(database->examine().value()), QStringList());
    // Statistics for the engine's own use are an administrator's right.
    runElsewhere(place.file(), {QStringLiteral("ANALYZE")});
    QCOMPARE(examined(place.settings()), QStringList());
}

void DatabaseExaminationTest::changesOfAFileAreFound_data()
{
    QTest::addColumn<QString>("change");
    QTest::addColumn<QString>("flaw");
    QTest::newRow("trigger") << QStringLiteral("CREATE TRIGGER stealth AFTER INSERT ON company BEGIN"
                                               " UPDATE company SET job_count = 0; END")
                             << QStringLiteral("SchemaChanged trigger stealth: this system has made no");
    QTest::newRow("view") << QStringLiteral("CREATE VIEW glance AS SELECT * FROM company")
                          << QStringLiteral("SchemaChanged view glance: this system has made no");
    QTest::newRow("table") << QStringLiteral("CREATE TABLE song (title TEXT)")
                           << QStringLiteral("SchemaChanged table song: this system has made no");
    QTest::newRow("another index") << QStringLiteral("CREATE INDEX quicker ON company (job_count)")
                                   << QStringLiteral("SchemaChanged index quicker: this system has made no");
    QTest::newRow("column") << QStringLiteral("ALTER TABLE company ADD COLUMN colour TEXT")
                            << QStringLiteral(
                                   "SchemaChanged table company: it is not as this system makes it");
    QTest::newRow("missing index") << QStringLiteral("DROP INDEX job_flow_state")
                                   << QStringLiteral("SchemaChanged index job_flow_state: it is missing");
    QTest::newRow("missing table") << QStringLiteral("DROP TABLE event")
                                   << QStringLiteral("SchemaChanged table event: it is missing");
    QTest::newRow("dangling row") << insertOfADanglingRow
                                  << QStringLiteral("ReferenceBroken pre_file 1: the row refers to a row of "
                                                    "job_flow that does not exist");
    QTest::newRow("missing reference") << QStringLiteral("DROP TABLE company")
                                       << QStringLiteral("SchemaChanged table company: it is missing");
}

void DatabaseExaminationTest::changesOfAFileAreFound()
{
    QFETCH(const QString, change);
    QFETCH(const QString, flaw);
    const TemporaryDatabase place;
    QVERIFY(place.open());
    runElsewhere(place.file(), {change});
    const QStringList flaws = examined(place.settings());
    QVERIFY2(!flaws.filter(flaw).isEmpty(), qPrintable(flaws.join(QLatin1Char('\n'))));
}

void DatabaseExaminationTest::overwrittenPagesAreFound()
{
    const TemporaryDatabase place;
    addCompanies(*place.open(), 200);
    QFile file(place.file());
    QVERIFY(file.open(QIODevice::ReadWrite));
    constexpr int pageSize = 4096;
    for (const qint64 page : {60, 80}) {
        QVERIFY(file.seek(page * pageSize));
        QCOMPARE(file.write(QByteArray(pageSize, '\x5a')), pageSize);
    }
    file.close();
    const QStringList flaws = examined(place.settings());
    QVERIFY2(flaws.filter(QStringLiteral("Damaged ")).size() > 1, qPrintable(flaws.join(QLatin1Char('\n'))));
    QCOMPARE(Database::open(place.settings()).code(), ErrorCode::Corrupt);
}

/// With a log beside it, the engine takes the length of the database from there and misses no page before it
/// needs it.
void DatabaseExaminationTest::cutOffFileIsFoundBesideItsLog()
{
    const TemporaryDatabase place;
    const auto database = place.open();
    QVERIFY(database);
    addCompanies(*database, 2500); // More than the log holds before it goes into the file,
    QVERIFY(
        database->change("UPDATE company SET job_count = 1 WHERE id = 1", {}, Durability::Immediate).ok());
    const auto second = place.open(); // and is begun anew.
    QVERIFY(second);
    QCOMPARE(flawsOf(*second), QString());
    const qint64 length = QFileInfo(place.file()).size();
    QVERIFY(length > 5LL * 1024 * 1024);
    QVERIFY(QFile::resize(place.file(), length / 2));
    const auto refused = Database::open(place.settings());
    QCOMPARE(refused.code(), ErrorCode::Corrupt);
    QVERIFY2(refused.message().contains(QLatin1String("cut off")), qPrintable(refused.message()));
    QVERIFY(!examined(place.settings()).filter(QStringLiteral("the file is cut off")).isEmpty());
}

void DatabaseExaminationTest::fileThatIsNoneIsAFailure()
{
    const TemporaryDatabase place;
    QCOMPARE(Database::examine(place.settings()).code(), ErrorCode::Configuration);
    QVERIFY(!QFileInfo::exists(place.file()));
    runElsewhere(place.file(), {QStringLiteral("CREATE TABLE song (title TEXT)")});
    QCOMPARE(Database::examine(place.settings()).code(), ErrorCode::Configuration);
}

void DatabaseExaminationTest::writersAreNotInItsWay()
{
    const TemporaryDatabase place;
    const auto database = place.open();
    QVERIFY(database);
    const Status held = database->transaction([&] {
        auto added = database->insert("INSERT INTO company (code, name, created_time, updated_time)"
                                      " VALUES ('a', 'a', '', '')",
                                      {}, Durability::Immediate);
        const auto flaws = Database::examine(place.settings());
        return flaws.ok() && flaws->empty() ? added.status() : Status::internal(flaws.message());
    });
    QVERIFY2(held.ok(), qPrintable(held.message()));
}

DatabaseSettings DatabaseExaminationTest::makeServerDatabase(const char* rights)
{
    DatabaseSettings settings = server().makeDatabase();
    const bool granted =
        server().run(settings, QStringLiteral("GRANT %1 ON %2.* TO '%3'@'127.0.0.1'")
                                   .arg(QLatin1String(rights), settings.name, settings.user));
    if (!granted || !Database::create(settings).ok())
        qFatal("the database cannot be made");
    return settings;
}

void DatabaseExaminationTest::wholeServerDatabaseHasNoFlaw()
{
    const DatabaseSettings settings = makeServerDatabase("ALL");
    QCOMPARE(examined(settings), QStringList());
}

void DatabaseExaminationTest::changesOnAServerAreFound_data()
{
    QTest::addColumn<QString>("change");
    QTest::addColumn<QString>("flaw");
    const auto row = [](const char* name, const char* change, const char* flaw) {
        QTest::newRow(name) << QString::fromLatin1(change) << QString::fromLatin1(flaw);
    };
    row("trigger", "CREATE TRIGGER stealth BEFORE INSERT ON company FOR EACH ROW SET NEW.job_count = 0",
        "SchemaChanged trigger stealth of company: this system has made no");
    row("view", "CREATE VIEW glance AS SELECT * FROM company",
        "SchemaChanged view glance: this system has made");
    row("routine", "CREATE PROCEDURE clean_up() DELETE FROM event", "SchemaChanged procedure clean_up: this");
    row("event", "CREATE EVENT nightly ON SCHEDULE EVERY 1 DAY DO DELETE FROM event",
        "SchemaChanged event nightly: this system has made no");
    row("table", "CREATE TABLE song (title TEXT)", "SchemaChanged table song: this system has made no");
    row("column", "ALTER TABLE company ADD COLUMN colour TEXT", "SchemaChanged column company.colour: this");
    row("changed column", "ALTER TABLE company MODIFY name VARCHAR(20) NOT NULL",
        "SchemaChanged column company.name: it is not as this system makes it");
    row("collation", "ALTER TABLE job_flow MODIFY job_name MEDIUMTEXT COLLATE utf8mb4_general_ci NOT NULL",
        "SchemaChanged column job_flow.job_name: it is not as this system makes it");
    row("engine", "ALTER TABLE site ENGINE = Aria",
        "SchemaChanged table site: it is not as this system makes it");
    row("missing index", "DROP INDEX job_flow_state ON job_flow",
        "SchemaChanged index job_flow.job_flow_state: it is missing");
    row("missing reference", "ALTER TABLE pre_file DROP FOREIGN KEY pre_file_flow",
        "SchemaChanged reference pre_file.pre_file_flow: it is missing");
    row("missing condition", "ALTER TABLE company MODIFY job_count INTEGER NOT NULL DEFAULT 0",
        "SchemaChanged conditions of company: it is not as this system makes it");
    row("missing table", "DROP TABLE event", "SchemaChanged table event: it is missing");
    QTest::newRow("dangling row") << QStringLiteral("SET foreign_key_checks = 0; ") + insertOfADanglingRow
                                  << QStringLiteral("ReferenceBroken table pre_file: 1 of its rows");
}

void DatabaseExaminationTest::changesOnAServerAreFound()
{
    QFETCH(const QString, change);
    QFETCH(const QString, flaw);
    const DatabaseSettings settings = makeServerDatabase("ALL");
    QVERIFY(server().run(settings, change));
    const QStringList flaws = examined(settings);
    QVERIFY2(!flaws.filter(flaw).isEmpty(), qPrintable(flaws.join(QLatin1Char('\n'))));
    QVERIFY2(flaws.filter(QStringLiteral("Damaged")).isEmpty(), qPrintable(flaws.join(QLatin1Char('\n'))));
}

void DatabaseExaminationTest::whatTheAccountMayNotSeeIsToldOf()
{
    const DatabaseSettings settings = makeServerDatabase("SELECT");
    const QStringList flaws = examined(settings);
    QCOMPARE(flaws.filter(QStringLiteral("NotLookedAt ")).size(), 3);
    QVERIFY2(flaws.size() == 3, qPrintable(flaws.join(QLatin1Char('\n'))));
    QVERIFY2(flaws.first().startsWith(QLatin1String("NotLookedAt triggers: ")), qPrintable(flaws.first()));
}

void DatabaseExaminationTest::tableThatTakesTooLongIsNotLookedAt()
{
    const DatabaseSettings settings = makeServerDatabase("ALL");
    const TableLock lock(server(), settings.name);
    ExaminationOptions options;
    options.longestTable = std::chrono::milliseconds(100);
    const QStringList flaws = examined(settings, options);
    QVERIFY2(
        !flaws.filter(QStringLiteral("NotLookedAt table job_flow: the look at it did not end")).isEmpty(),
        qPrintable(flaws.join(QLatin1Char('\n'))));
    QVERIFY2(flaws.filter(QStringLiteral("Damaged")).isEmpty(), qPrintable(flaws.join(QLatin1Char('\n'))));
}

ZAV_REGISTER_TEST(database_examination, DatabaseExaminationTest, QCoreApplication)

#include "database_examination.moc"
