#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

constexpr const char* insertCompany =
    "INSERT INTO company (code, name, created_time, updated_time) VALUES (?, ?, 't', 't')";

} // namespace

class DatabaseStatementsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void textsComeBackAsTheyWere_data();
    void textsComeBackAsTheyWere();
    void aNullTextIsEmptyAndAnInvalidValueIsNull();
    void textsThatWouldChangeAreRefused_data();
    void textsThatWouldChangeAreRefused();
    void equalityIsThatOfBytes_data();
    void equalityIsThatOfBytes();
    void changesAreCounted();
    void insertGivesTheRowsNumber();
    void failuresAreTold_data();
    void failuresAreTold();
    void afterAFailureTheSameTextWorks();
    void aVisitorMayRunTheSameTextAgain();
    void aVisitorMayEndTheQuery();
    void anEndedQueryHoldsNoLock();
    void rowTimeIsIso8601InUtc();

private:
    std::unique_ptr<TemporaryDatabase> m_place;
    std::unique_ptr<Database> m_database;
};

void DatabaseStatementsTest::init()
{
    m_database.reset();
    m_place = std::make_unique<TemporaryDatabase>();
    m_database = m_place->open();
    QVERIFY(m_database);
}

void DatabaseStatementsTest::textsComeBackAsTheyWere_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("quotes") << QStringLiteral("O'Neil \"and\" `sons`");
    QTest::newRow("statement") << QStringLiteral("'; DROP TABLE company;--");
    QTest::newRow("wildcards") << QStringLiteral("100%_?*[a]\\");
    QTest::newRow("place holders") << QStringLiteral(":name ?1 @x $y");
    QTest::newRow("four-byte characters") << QString::fromUtf8("\xF0\x9F\x93\xA6\xF0\xA0\x80\x8B");
    QTest::newRow("Chinese") << QString::fromUtf8("\xE6\x96\x99\xE5\x8F\xB7");
    QTest::newRow("control characters") << QStringLiteral("a\nb\tc\r\x01");
    QTest::newRow("blanks") << QStringLiteral("  a  ");
    QTest::newRow("number-like") << QStringLiteral("007");
    QTest::newRow("long") << QString(100000, QLatin1Char('x'));
    QTest::newRow("mark inside") << QStringLiteral("a") + QChar(QChar::ByteOrderMark);
}

void DatabaseStatementsTest::textsComeBackAsTheyWere()
{
    QFETCH(const QString, text);
    QVERIFY(m_database->insert(insertCompany, {QStringLiteral("C"), text}, Durability::Deferred).ok());
    QCOMPARE(valueOf(*m_database, "SELECT name FROM company WHERE name = ?", {text}).toString(), text);
    QCOMPARE(valueOf(*m_database, "SELECT typeof(name) FROM company").toString(), QStringLiteral("text"));
}

void DatabaseStatementsTest::aNullTextIsEmptyAndAnInvalidValueIsNull()
{
    constexpr const char* kind = "SELECT typeof(?)";
    QCOMPARE(valueOf(*m_database, kind, {QString()}).toString(), QStringLiteral("text"));
    QCOMPARE(valueOf(*m_database, kind, {QStringLiteral("")}).toString(), QStringLiteral("text"));
    QCOMPARE(valueOf(*m_database, kind, {QVariant()}).toString(), QStringLiteral("null"));
}

void DatabaseStatementsTest::textsThatWouldChangeAreRefused_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("NUL") << QStringLiteral("a") + QChar(QChar::Null) + QStringLiteral("b");
    QTest::newRow("byte order mark") << QChar(QChar::ByteOrderMark) + QStringLiteral("a");
    QTest::newRow("swapped mark") << QChar(QChar::ByteOrderSwapped) + QStringLiteral("a");
}

void DatabaseStatementsTest::textsThatWouldChangeAreRefused()
{
    QFETCH(const QString, text);
    QCOMPARE(m_database->insert(insertCompany, {QStringLiteral("C"), text}, Durability::Deferred).code(),
             ErrorCode::InvalidArgument);
    QCOMPARE(
        m_database
            ->query("SELECT 1 FROM company WHERE name = ?", {text}, [](const QSqlQuery&) { return true; })
            .code(),
        ErrorCode::InvalidArgument);
    QCOMPARE(valueOf(*m_database, "SELECT count(*) FROM company").toInt(), 0);
}

void DatabaseStatementsTest::equalityIsThatOfBytes_data()
{
    QTest::addColumn<QString>("other");
    QTest::newRow("case") << QStringLiteral("JOB");
    QTest::newRow("trailing blank") << QStringLiteral("Job ");
    QTest::newRow("accent") << QString::fromUtf8("J\xC3\xB6"
                                                 "b");
    QTest::newRow("decomposed") << QString::fromUtf8("Jo\xCC\x88"
                                                     "b");
}

void DatabaseStatementsTest::equalityIsThatOfBytes()
{
    QFETCH(const QString, other);
    QVERIFY(
        m_database->insert(insertCompany, {QStringLiteral("A"), QStringLiteral("Job")}, Durability::Deferred)
            .ok());
    QVERIFY(!valueOf(*m_database, "SELECT id FROM company WHERE name = ?", {other}).isValid());
    QVERIFY(m_database->insert(insertCompany, {QStringLiteral("B"), other}, Durability::Deferred).ok());
}

void DatabaseStatementsTest::changesAreCounted()
{
    for (const char* code : {"A", "B", "C"})
        QCOMPARE(m_database
                     ->change(insertCompany, {QLatin1String(code), QLatin1String(code)}, Durability::Deferred)
                     .value(),
                 1);
    QCOMPARE(m_database
                 ->change("UPDATE company SET job_count = 1 WHERE code <> ?", {QStringLiteral("A")},
                          Durability::Deferred)
                 .value(),
             2);
    QCOMPARE(m_database
                 ->change("UPDATE company SET job_count = 1 WHERE code = ?", {QStringLiteral("X")},
                          Durability::Deferred)
                 .value(),
             0);
}

void DatabaseStatementsTest::insertGivesTheRowsNumber()
{
    const Result<qint64> id =
        m_database->insert(insertCompany, {QStringLiteral("A"), QStringLiteral("a")}, Durability::Immediate);
    QCOMPARE(id.value(), valueOf(*m_database, "SELECT id FROM company WHERE code = 'A'").toLongLong());
}

void DatabaseStatementsTest::failuresAreTold_data()
{
    QTest::addColumn<QByteArray>("sql");
    QTest::addColumn<ErrorCode>("code");
    QTest::addColumn<QString>("text");
    QTest::newRow("unique key") << QByteArray("INSERT INTO company (code, name, created_time, updated_time) "
                                              "VALUES ('A', 'b', 't', 't')")
                                << ErrorCode::AlreadyExists << QStringLiteral("company.code");
    QTest::newRow("reference")
        << QByteArray("INSERT INTO pre_file (guid, flow_guid, job_name, first_text, second_text, "
                      "third_text, user_id, user_name, created_time) "
                      "VALUES ('g', 'nowhere', '', '', '', '', 1, '', 't')")
        << ErrorCode::NotFound << QStringLiteral("FOREIGN KEY");
    QTest::newRow("negative count") << QByteArray("UPDATE company SET job_count = -1")
                                    << ErrorCode::InvalidArgument << QStringLiteral("job_count >= 0");
    QTest::newRow("empty key") << QByteArray("UPDATE company SET code = ''") << ErrorCode::InvalidArgument
                               << QStringLiteral("code <> ''");
    QTest::newRow("no value") << QByteArray("UPDATE company SET name = NULL") << ErrorCode::InvalidArgument
                              << QStringLiteral("NOT NULL");
    QTest::newRow("unknown table") << QByteArray("UPDATE absent SET a = 1") << ErrorCode::Internal
                                   << QStringLiteral("no such table");
    QTest::newRow("two statements") << QByteArray("UPDATE company SET job_count = 1; DROP TABLE company")
                                    << ErrorCode::Internal << QString();
}

void DatabaseStatementsTest::failuresAreTold()
{
    QFETCH(const QByteArray, sql);
    QFETCH(const ErrorCode, code);
    QFETCH(const QString, text);
    QVERIFY(
        m_database->insert(insertCompany, {QStringLiteral("A"), QStringLiteral("a")}, Durability::Deferred)
            .ok());
    const Result<int> outcome = m_database->change(sql.constData(), {}, Durability::Deferred);
    QCOMPARE(outcome.code(), code);
    QVERIFY2(outcome.message().contains(text), qPrintable(outcome.message()));
    QVERIFY2(outcome.message().contains(m_place->file()), qPrintable(outcome.message()));
    QVERIFY2(outcome.message().contains(QString::fromLatin1(sql.left(20))), qPrintable(outcome.message()));
    QCOMPARE(valueOf(*m_database, "SELECT job_count || code || name FROM company").toString(),
             QStringLiteral("0Aa"));
}

void DatabaseStatementsTest::afterAFailureTheSameTextWorks()
{
    const QVariantList row = {QStringLiteral("A"), QStringLiteral("a")};
    QVERIFY(m_database->insert(insertCompany, row, Durability::Deferred).ok());
    QCOMPARE(m_database->insert(insertCompany, row, Durability::Deferred).code(), ErrorCode::AlreadyExists);
    QVERIFY(
        m_database->insert(insertCompany, {QStringLiteral("B"), QStringLiteral("b")}, Durability::Deferred)
            .ok());
}

void DatabaseStatementsTest::aVisitorMayRunTheSameTextAgain()
{
    for (const char* code : {"A", "B", "C"})
        QVERIFY(m_database
                    ->insert(insertCompany, {QLatin1String(code), QLatin1String(code)}, Durability::Deferred)
                    .ok());
    constexpr const char* codes = "SELECT code FROM company ORDER BY id";
    QStringList seen;
    const Status status = m_database->query(codes, {}, [&](const QSqlQuery& outer) {
        seen << outer.value(0).toString() + valueOf(*m_database, codes).toString();
        return true;
    });
    QVERIFY(status.ok());
    QCOMPARE(seen, QStringList({QStringLiteral("AA"), QStringLiteral("BA"), QStringLiteral("CA")}));
}

void DatabaseStatementsTest::aVisitorMayEndTheQuery()
{
    for (const char* code : {"A", "B"})
        QVERIFY(m_database
                    ->insert(insertCompany, {QLatin1String(code), QLatin1String(code)}, Durability::Deferred)
                    .ok());
    int visited = 0;
    QVERIFY(m_database->query("SELECT code FROM company", {}, [&](const QSqlQuery&) { return ++visited < 1; })
                .ok());
    QCOMPARE(visited, 1);
}

void DatabaseStatementsTest::anEndedQueryHoldsNoLock()
{
    for (const char* code : {"A", "B"})
        QVERIFY(m_database
                    ->insert(insertCompany, {QLatin1String(code), QLatin1String(code)}, Durability::Deferred)
                    .ok());
    QVERIFY(m_database->query("SELECT code FROM company", {}, [](const QSqlQuery&) { return false; }).ok());
    const auto other = m_place->open();
    QVERIFY(other);
    // A reader that still held its place in the log would make this busy (first column 1).
    QCOMPARE(valueOf(*other, "PRAGMA wal_checkpoint(TRUNCATE)").toInt(), 0);
}

void DatabaseStatementsTest::rowTimeIsIso8601InUtc()
{
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const QString time = rowTime();
    const QRegularExpression form(
        QStringLiteral("\\A\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z\\z"));
    QVERIFY2(form.match(time).hasMatch(), qPrintable(time));
    const QDateTime parsed = QDateTime::fromString(time, Qt::ISODateWithMs);
    QVERIFY(before <= parsed && parsed <= QDateTime::currentDateTimeUtc());
}

ZAV_REGISTER_TEST(database_statements, DatabaseStatementsTest, QCoreApplication)

#include "database_statements.moc"
