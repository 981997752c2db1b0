#include "backend/records/KnownContent.h"
#include "backend/records/SiteRecords.h"
#include "tests/support/FlawText.h"
#include "tests/support/MariaDbServer.h"
#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QTest>

#include <future>
#include <vector>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

/// The dialect of MariaDB on a real server: its tables, its texts, and what becomes of lost connections.
class DatabaseMariaDbTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void opensAndMakesTheTables();
    void manyProgramsMakeTheTablesAtOnce();
    void interruptedStepIsFinished_data();
    void interruptedStepIsFinished();
    void tablesOfAnotherProgramAreRefused_data();
    void tablesOfAnotherProgramAreRefused();
    void newerTablesAreRefused();
    void keysCompareByCodePoint();
    void textsKeepEveryCharacter();
    void textThatIsTooLongIsRefused();
    void strictModeDoesNotDependOnTheServer();
    void unchangedRowCountsAsFound();
    void referencesHold();
    void rowLockedByAnotherIsAnAnswer();
    void nodeThatIsNotPreparedIsNoAnswer();
    void readAfterALossIsRepeated();
    void writeAfterALossIsNotRepeated();
    void idleConnectionIsReplacedUnseen();
    void newConnectionHasAWholeSession();
    void transactionIsUndoneByALoss();
    void commitWithoutAnAnswerIsUnknown();
    void writesTogetherAreOneStatement();
    void writesTogetherLeaveNoTransactionOpen();
    void writesTogetherWithoutAnAnswerAreUnknown();
    void databaseIsMadeOnTheServer();
    void healthTellsTheEngine();
    void knownContentIsFoundByItsIndex();

private:
    std::unique_ptr<Database> open();
    int companies();

    DatabaseSettings m_settings;
    std::unique_ptr<Database> m_database;
};

namespace {

MariaDbServer& server()
{
    static MariaDbServer started;
    return started;
}

constexpr const char* insertCompany =
    "INSERT INTO company (code, name, created_time, updated_time) VALUES (?, ?, '', '')";

QVariantList company(const QString& text)
{
    return {text, text};
}

QVariantList company(int number)
{
    return company(QString::number(number));
}

} // namespace

void DatabaseMariaDbTest::init()
{
    m_settings = server().makeDatabase();
    m_database = open();
    QVERIFY(m_database);
}

void DatabaseMariaDbTest::cleanup()
{
    m_database.reset();
}

std::unique_ptr<Database> DatabaseMariaDbTest::open()
{
    Result<std::unique_ptr<Database>> opened = Database::create(m_settings);
    if (!opened.ok())
        qWarning("%s", qPrintable(opened.message()));
    return opened.ok() ? std::move(opened.value()) : nullptr;
}

int DatabaseMariaDbTest::companies()
{
    return valueOf(*m_database, "SELECT COUNT(*) FROM company").toInt();
}

void DatabaseMariaDbTest::opensAndMakesTheTables()
{
    QCOMPARE(m_database->schemaVersion().value(), 4);
    QVERIFY(m_database->insert(insertCompany, company(1), Durability::Immediate).ok());
    m_database = open();
    QVERIFY(m_database);
    QCOMPARE(m_database->schemaVersion().value(), 4);
    QCOMPARE(companies(), 1);
    QCOMPARE(flawsOf(*m_database), QString());
}

void DatabaseMariaDbTest::manyProgramsMakeTheTablesAtOnce()
{
    const DatabaseSettings fresh = server().makeDatabase();
    std::vector<std::future<QString>> openings;
    for (int i = 0; i < 8; ++i)
        openings.push_back(std::async(std::launch::async, [&fresh] {
            const auto opened = Database::create(fresh);
            return opened.ok() ? QString::number(opened.value()->schemaVersion().value()) : opened.message();
        }));
    for (auto& opening : openings)
        QCOMPARE(opening.get(), QStringLiteral("4"));
}

void DatabaseMariaDbTest::interruptedStepIsFinished_data()
{
    QTest::addColumn<QString>("done");
    QTest::newRow("some tables made") << QStringLiteral("UPDATE schema_version SET version = 0");
    QTest::newRow("the first table made") << QStringLiteral("DELETE FROM schema_version");
}

void DatabaseMariaDbTest::interruptedStepIsFinished()
{
    QFETCH(QString, done);
    QVERIFY(server().run(m_settings, QStringLiteral("SET foreign_key_checks = 0; DROP TABLE pre_file, "
                                                    "job_compress, job_flow; ") +
                                         done));
    QVERIFY(!server().run(m_settings, QStringLiteral("SELECT 1 FROM job_flow")));
    m_database = open();
    QVERIFY(m_database);
    QCOMPARE(m_database->schemaVersion().value(), 4);
    QCOMPARE(valueOf(*m_database, "SELECT COUNT(*) FROM job_flow").toInt(), 0);
    QCOMPARE(flawsOf(*m_database), QString());
}

void DatabaseMariaDbTest::tablesOfAnotherProgramAreRefused_data()
{
    QTest::addColumn<QString>("table");
    QTest::newRow("another name") << QStringLiteral("CREATE TABLE parts (id INTEGER)");
    QTest::newRow("the same name") << QStringLiteral("CREATE TABLE schema_version (version INTEGER)");
}

void DatabaseMariaDbTest::tablesOfAnotherProgramAreRefused()
{
    QFETCH(QString, table);
    m_settings = server().makeDatabase();
    QVERIFY(server().run(m_settings, table));
    const auto opened = Database::open(m_settings);
    QCOMPARE(opened.code(), ErrorCode::Configuration);
    QVERIFY2(opened.message().contains(QLatin1String("another program")), qPrintable(opened.message()));
    QVERIFY2(!server().run(m_settings, QStringLiteral("SELECT 1 FROM company")), "a table was made");
}

void DatabaseMariaDbTest::newerTablesAreRefused()
{
    QVERIFY(server().run(m_settings, QStringLiteral("UPDATE schema_version SET version = 99")));
    const auto opened = Database::open(m_settings);
    QCOMPARE(opened.code(), ErrorCode::Configuration);
    QVERIFY2(opened.message().contains(QLatin1String("99")), qPrintable(opened.message()));
}

void DatabaseMariaDbTest::keysCompareByCodePoint()
{
    const QStringList texts = {QStringLiteral("a"),  QStringLiteral("A"), QStringLiteral("a "),
                               QStringLiteral("ä"),  QStringLiteral("á"), QStringLiteral("a\u0301"),
                               QStringLiteral("ss"), QStringLiteral("ß"), QStringLiteral("公司")};
    for (const QString& text : texts) {
        const auto added = m_database->insert(insertCompany, company(text), Durability::Immediate);
        QVERIFY2(added.ok(), qPrintable(text + added.message()));
    }
    for (const QString& text : texts)
        QCOMPARE(valueOf(*m_database, "SELECT name FROM company WHERE code = ?", {text}).toString(), text);
    QCOMPARE(m_database->insert(insertCompany, company(texts.first()), Durability::Immediate).code(),
             ErrorCode::AlreadyExists);
}

void DatabaseMariaDbTest::textsKeepEveryCharacter()
{
    const QString text = QStringLiteral("板😀\u00a0\\'\"%_`\t\u200b𝄞");
    QVERIFY(m_database->insert(insertCompany, company(text), Durability::Immediate).ok());
    QCOMPARE(valueOf(*m_database, "SELECT name FROM company").toString(), text);
}

void DatabaseMariaDbTest::textThatIsTooLongIsRefused()
{
    const QString text(300, QLatin1Char('x'));
    const auto added = m_database->insert(insertCompany, company(text), Durability::Immediate);
    QCOMPARE(added.code(), ErrorCode::InvalidArgument);
    QCOMPARE(companies(), 0);
}

void DatabaseMariaDbTest::strictModeDoesNotDependOnTheServer()
{
    QVERIFY(server().run(m_settings, QStringLiteral("SET GLOBAL sql_mode = ''")));
    m_database = open();
    textThatIsTooLongIsRefused();
    QVERIFY(server().run(m_settings, QStringLiteral("SET GLOBAL sql_mode = DEFAULT")));
}

void DatabaseMariaDbTest::unchangedRowCountsAsFound()
{
    QVERIFY(m_database->insert(insertCompany, company(1), Durability::Immediate).ok());
    const auto changed = [this](const char* code) {
        return m_database->change("UPDATE company SET job_count = 0 WHERE code = ?", {QLatin1String(code)},
                                  Durability::Immediate);
    };
    QCOMPARE(changed("1").value(), 1);
    QCOMPARE(changed("2").value(), 0);
}

void DatabaseMariaDbTest::referencesHold()
{
    const auto added = m_database->insert(
        "INSERT INTO orig_file (guid, job_name, stored_name, suffix, company_code, user_id, created_time)"
        " VALUES ('g', '', 's', '', 'none', 1, '')",
        {}, Durability::Immediate);
    QCOMPARE(added.code(), ErrorCode::NotFound);
    QCOMPARE(m_database->insert(insertCompany, company(QString()), Durability::Immediate).code(),
             ErrorCode::InvalidArgument);
}

void DatabaseMariaDbTest::rowLockedByAnotherIsAnAnswer()
{
    m_settings.readTimeoutSeconds = 2;
    QVERIFY(m_database->insert(insertCompany, company(1), Durability::Immediate).ok());
    const auto other = open();
    QVERIFY(other);
    const char* const update = "UPDATE company SET job_count = job_count + 1";
    const Status held = m_database->transaction([&] {
        if (const auto changed = m_database->change(update, {}, Durability::Immediate); !changed.ok())
            return changed.status();
        return other->change(update, {}, Durability::Immediate).code() == ErrorCode::Unavailable
                   ? Status()
                   : Status(ErrorCode::Internal, QStringLiteral("not told that the row is locked"));
    });
    QVERIFY2(held.ok(), qPrintable(held.message()));
    QCOMPARE(other->change(update, {}, Durability::Immediate).value(), 1);
    QCOMPARE(valueOf(*m_database, "SELECT job_count FROM company").toInt(), 2);
}

/// What a node of a cluster says while it is without the others.
void DatabaseMariaDbTest::nodeThatIsNotPreparedIsNoAnswer()
{
    const auto refused =
        m_database->change("SIGNAL SQLSTATE '08S01' SET MYSQL_ERRNO = 1047,"
                           " MESSAGE_TEXT = 'WSREP has not yet prepared node for application use'",
                           {}, Durability::Immediate);
    QCOMPARE(refused.code(), ErrorCode::Unavailable);
    QVERIFY2(refused.message().contains(QStringLiteral("has not yet prepared")),
             qPrintable(refused.message()));
    QVERIFY(m_database->insert(insertCompany, company(1), Durability::Immediate).ok());
    QCOMPARE(companies(), 1);
}

void DatabaseMariaDbTest::readAfterALossIsRepeated()
{
    QVERIFY(m_database->insert(insertCompany, company(1), Durability::Immediate).ok());
    server().killConnections();
    QCOMPARE(companies(), 1);
}

void DatabaseMariaDbTest::writeAfterALossIsNotRepeated()
{
    QVERIFY(m_database->insert(insertCompany, company(1), Durability::Immediate).ok());
    server().killConnections();
    const auto lost = m_database->insert(insertCompany, company(2), Durability::Immediate);
    QCOMPARE(lost.code(), ErrorCode::OutcomeUnknown);
    QVERIFY2(lost.message().contains(QLatin1String("not known")), qPrintable(lost.message()));
    QCOMPARE(companies(), 1);
    QVERIFY(m_database->insert(insertCompany, company(2), Durability::Immediate).ok());
    QCOMPARE(companies(), 2);
}

void DatabaseMariaDbTest::idleConnectionIsReplacedUnseen()
{
    QVERIFY(m_database->insert(insertCompany, company(1), Durability::Immediate).ok());
    server().killConnections();
    const QDeadlineTimer idle(1100); // Longer than a connection is trusted without a question.
    QTRY_VERIFY(idle.hasExpired());
    const auto added = m_database->insert(insertCompany, company(2), Durability::Immediate);
    QVERIFY2(added.ok(), qPrintable(added.message()));
    QCOMPARE(companies(), 2);
}

void DatabaseMariaDbTest::newConnectionHasAWholeSession()
{
    server().killConnections();
    QCOMPARE(companies(), 0);
    textsKeepEveryCharacter();
    QCOMPARE(valueOf(*m_database, "SELECT @@SESSION.sql_mode LIKE '%STRICT_ALL_TABLES%'").toInt(), 1);
}

void DatabaseMariaDbTest::transactionIsUndoneByALoss()
{
    const auto work = [this](bool loseIt) {
        return m_database->transaction([this, loseIt] {
            if (const auto first = m_database->insert(insertCompany, company(1), Durability::Immediate);
                !first.ok())
                return first.status();
            if (loseIt)
                server().killConnections();
            return m_database->insert(insertCompany, company(2), Durability::Immediate).status();
        });
    };
    QCOMPARE(work(true).code(), ErrorCode::Unavailable);
    QCOMPARE(companies(), 0);
    QVERIFY(work(false).ok());
    QCOMPARE(companies(), 2);
}

void DatabaseMariaDbTest::commitWithoutAnAnswerIsUnknown()
{
    const Status outcome = m_database->transaction([this] {
        const auto added = m_database->insert(insertCompany, company(1), Durability::Immediate);
        server().killConnections();
        return added.status();
    });
    QCOMPARE(outcome.code(), ErrorCode::OutcomeUnknown);
    QCOMPARE(companies(), 0);
}

void DatabaseMariaDbTest::writesTogetherAreOneStatement()
{
    const char* const asked = "SELECT VARIABLE_VALUE FROM information_schema.SESSION_STATUS"
                              " WHERE VARIABLE_NAME = 'QUESTIONS'";
    const QString odd = QStringLiteral("a'; -- \\ \"华兴\U0001F600 ?");
    const int before = valueOf(*m_database, asked).toInt();
    const auto outcome =
        m_database->changeTogether({{insertCompany, company(1)},
                                    {insertCompany, company(odd)},
                                    {"UPDATE company SET job_count = 7 WHERE code = ?", {odd}}},
                                   Durability::Immediate);
    QVERIFY2(outcome.status.ok(), qPrintable(outcome.status.message()));
    QCOMPARE(valueOf(*m_database, asked).toInt() - before, 2); // with the question itself
    QCOMPARE(companies(), 2);
    QCOMPARE(m_database->value("SELECT job_count FROM company WHERE code = ?", {odd})->toInt(), 7);
}

void DatabaseMariaDbTest::writesTogetherLeaveNoTransactionOpen()
{
    const auto outcome =
        m_database->changeTogether({{insertCompany, company(1)},
                                    {"UPDATE company SET job_count = 7 WHERE code = ?", {company(2).at(0)}}},
                                   Durability::Immediate);
    QCOMPARE(outcome.status.code(), ErrorCode::NotFound);
    QCOMPARE(outcome.failedAt, std::size_t(1));
    QCOMPARE(valueOf(*m_database, "SELECT @@in_transaction").toInt(), 0);
    QVERIFY(m_database->insert(insertCompany, company(3), Durability::Immediate).ok());
    const auto other = open();
    QCOMPARE(valueOf(*other, "SELECT GROUP_CONCAT(code) FROM company").toString(), QStringLiteral("3"));
}

void DatabaseMariaDbTest::writesTogetherWithoutAnAnswerAreUnknown()
{
    QVERIFY(m_database->insert(insertCompany, company(1), Durability::Immediate).ok());
    const std::vector<RowWrite> writes = {{insertCompany, company(2)}, {insertCompany, company(3)}};
    server().killConnections();
    QCOMPARE(m_database->changeTogether(writes, Durability::Immediate).status.code(),
             ErrorCode::OutcomeUnknown);
    QCOMPARE(companies(), 1);
    QVERIFY(m_database->changeTogether(writes, Durability::Immediate).status.ok());
    QCOMPARE(companies(), 3);
}

void DatabaseMariaDbTest::databaseIsMadeOnTheServer()
{
    DatabaseSettings fresh = m_settings;
    fresh.name = m_settings.name + QStringLiteral("_`quoted");
    const Result<bool> refused = Database::createOnServer(fresh);
    QCOMPARE(refused.code(), ErrorCode::NotPermitted);
    QVERIFY(server().run(m_settings, QStringLiteral("GRANT ALL ON *.* TO '%1'@'%'").arg(m_settings.user)) ||
            server().run(m_settings,
                         QStringLiteral("GRANT ALL ON *.* TO '%1'@'127.0.0.1'").arg(m_settings.user)));
    const Result<bool> made = Database::createOnServer(fresh);
    QVERIFY2(made.ok(), qPrintable(made.message()));
    QCOMPARE(made.value(), true);
    QCOMPARE(Database::createOnServer(fresh).value(), false);
    QVERIFY(Database::create(fresh).ok());
    QVERIFY(Database::open(fresh).ok());
}

void DatabaseMariaDbTest::healthTellsTheEngine()
{
    const Result<ServiceHealth> health = m_database->health();
    QVERIFY2(health.ok(), qPrintable(health.message()));
    QVERIFY2(health->engine.startsWith(QLatin1String("MariaDB ")), qPrintable(health->engine));
    QVERIFY(health->remote);
    QCOMPARE(health->encryption, QString());
    QVERIFY(health->latencyMs > 0);
    QVERIFY(health->place.startsWith(QLatin1String("127.0.0.1:")));
}

/// The server counts the rows that the product's own statements read, of as many as a site has.
void DatabaseMariaDbTest::knownContentIsFoundByItsIndex()
{
    constexpr int jobs = 3000;
    QVERIFY(m_database->insert(insertCompany, company(QStringLiteral("A")), Durability::Immediate).ok());
    // Each has an archive of its own, and two of them are folders of one content.
    for (const char* const rows : {
             "INSERT INTO orig_file (guid, job_name, stored_name, suffix, company_code, user_id, "
             "created_time,"
             " stored_length, stored_sha256, content_length, content_sha256)"
             " SELECT CONCAT('o', seq), 'j', CONCAT('s', seq), '', 'A', 5, '', 1000, SHA2(seq, 256),"
             " IF(seq % 1500 = 0, 7, NULL), IF(seq % 1500 = 0, SHA2('c', 256), NULL) FROM seq_1_to_3000",
             "INSERT INTO job_flow (guid, job_name, ko_serial_name, flow_no, user_id, orig_file_guid,"
             " created_time) SELECT CONCAT('f', id), 'j', CONCAT('A', id), '', 5, guid, '' FROM orig_file",
             "INSERT INTO job_compress (flow_guid, company_name, company_code, company_id, job_name, "
             "stored_name,"
             " suffix, remark, file_store, user_id, job_number, created_time)"
             " SELECT f.guid, 'A', 'A', 1, 'j', CONCAT('s', f.id), '', '', 'f', 5, f.id, '' FROM job_flow f",
         })
        QCOMPARE(m_database->change(rows, {}, Durability::Immediate).value(), jobs);
    // The server takes its own statistics on a thread that may come seconds later; until then it
    // holds the tables for empty and reads them whole.
    QVERIFY(m_database
                ->query("ANALYZE TABLE orig_file, job_flow, job_compress", {},
                        [](const QSqlQuery&) { return true; })
                .ok());
    const auto rowsRead = [this] {
        int rows = 0;
        const Status asked =
            m_database->query("SHOW SESSION STATUS LIKE 'Handler_read%'", {}, [&rows](const QSqlQuery& row) {
                rows += row.value(1).toInt();
                return true;
            });
        return asked.ok() ? rows : -1;
    };
    std::vector<ContentDigest> contents;
    for (int i = 1; i <= 64; ++i)
        contents.push_back(
            {1000, QCryptographicHash::hash(QByteArray::number(i), QCryptographicHash::Sha256).toHex()});
    const ContentDigest folder{7, QCryptographicHash::hash("c", QCryptographicHash::Sha256).toHex()};

    const int before = rowsRead();
    QVERIFY(before >= 0);
    QCOMPARE(findKnownContents(*m_database, KnownBy::StoredFile, contents)->size(), size_t{64});
    QCOMPARE(findKnownContents(*m_database, KnownBy::FolderContent, {folder})->size(), size_t{1});
    QCOMPARE(findKnownContent(*m_database, KnownBy::FolderContent, folder)->size(), size_t{2});
    QCOMPARE(contentsOfJobs(*m_database, {QStringLiteral("f1"), QStringLiteral("f1500")})->size(), size_t{2});
    const int read = rowsRead() - before;
    QVERIFY2(read > 0 && read < jobs / 3, qPrintable(QString::number(read)));
}

ZAV_REGISTER_TEST(database_mariadb, DatabaseMariaDbTest, QCoreApplication)

#include "database_mariadb.moc"
