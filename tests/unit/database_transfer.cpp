#include "backend/records/RowTransfer.h"
#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QSqlRecord>
#include <QTest>

#include <algorithm>
#include <limits>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

/// The rows as values: what is listed, how it is read and written, how it is compared.
class DatabaseTransferTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyTableIsListed();
    void everyColumnIsListedWithItsType();
    void referencesLeadBackOrAreLater();
    void rowsComeByNumber();
    void valuesThatAreNoneAreRefused_data();
    void valuesThatAreNoneAreRefused();
    void refusedRowIsNamed();
    void refusedBatchIsNotThere();
    void numbersContinueBehindTheHighest();
    void likeness_data();
    void likeness();
    void digestTellsEveryDifference_data();
    void digestTellsEveryDifference();
    void digestIsTheSameForTheSameRows();
    void fileStoresOfRows();
    void snapshotShowsOneMoment();
};

namespace {

const TransferTable& tableNamed(const char* name)
{
    for (const TransferTable& table : transferTables())
        if (qstrcmp(table.name, name) == 0)
            return table;
    qFatal("no table %s", name);
}

/// The rows of a query, their values by the columns' names.
QVector<QMap<QString, QString>> ask(Database& database, const QByteArray& sql)
{
    QVector<QMap<QString, QString>> answers;
    const Status status = database.query(sql.constData(), {}, [&answers](const QSqlQuery& row) {
        QMap<QString, QString> answer;
        const QSqlRecord record = row.record();
        for (int i = 0; i < record.count(); ++i)
            answer.insert(record.fieldName(i), row.value(i).toString());
        answers.append(answer);
        return true;
    });
    if (!status.ok())
        qFatal("%s", qPrintable(status.message()));
    return answers;
}

QString of(const char* text)
{
    return QString::fromUtf8(text);
}

TransferRow company(qint64 number, const QString& code, const QString& name = {})
{
    return {number, code, name.isEmpty() ? code : name, 0LL, 0LL, of("then"), 0LL, of("now")};
}

std::vector<TransferRow> companies(int first, int last)
{
    std::vector<TransferRow> rows;
    for (int number = first; number <= last; ++number)
        rows.push_back(company(number, QStringLiteral("C%1").arg(number)));
    return rows;
}

constexpr qint64 beforeAll = std::numeric_limits<qint64>::min();

} // namespace

void DatabaseTransferTest::everyTableIsListed()
{
    const TemporaryDatabase place;
    const auto database = place.open();
    QStringList actual;
    for (const auto& table : ask(*database, "SELECT name FROM sqlite_master WHERE type = 'table'"
                                            " AND name NOT LIKE 'sqlite%'"))
        actual << table[of("name")];
    QStringList listed = {of("schema_version"), of("site")}; // made by every site for itself
    for (const TransferTable& table : transferTables())
        listed << of(table.name);
    actual.sort();
    listed.sort();
    QCOMPARE(listed, actual);
}

void DatabaseTransferTest::everyColumnIsListedWithItsType()
{
    const TemporaryDatabase place;
    const auto database = place.open();
    for (const TransferTable& table : transferTables()) {
        QStringList actual;
        for (const auto& column : ask(*database, QByteArray("PRAGMA table_info(") + table.name + ')'))
            actual << column[of("name")] + QLatin1Char(' ') + column[of("type")];
        QStringList listed;
        for (const TransferColumn& column : table.columns)
            listed << of(column.name) + (column.type == ColumnType::Number ? of(" INTEGER") : of(" TEXT"));
        QCOMPARE(listed.first(), of("id INTEGER"));
        actual.sort();
        listed.sort();
        QCOMPARE(listed, actual);
    }
}

void DatabaseTransferTest::referencesLeadBackOrAreLater()
{
    const TemporaryDatabase place;
    const auto database = place.open();
    QStringList before;
    int later = 0;
    for (const TransferTable& table : transferTables()) {
        for (const auto& reference :
             ask(*database, QByteArray("PRAGMA foreign_key_list(") + table.name + ')'))
            for (const TransferColumn& column : table.columns) {
                if (of(column.name) != reference[of("from")])
                    continue;
                QVERIFY2((column.role == ColumnRole::LaterReference) !=
                             before.contains(reference[of("table")]),
                         column.name);
                later += column.role == ColumnRole::LaterReference ? 1 : 0;
            }
        QCOMPARE(hasLaterReferences(table), of(table.name) == of("orig_file"));
        before << of(table.name);
    }
    QCOMPARE(later, 1);
}

void DatabaseTransferTest::rowsComeByNumber()
{
    const TemporaryDatabase place;
    const auto database = place.open();
    const TransferTable& table = tableNamed("company");
    std::vector<TransferRow> rows = companies(1, 100);
    rows[49] = company(5000, of("far"));
    QVERIFY(insertRows(*database, table, rows).ok());
    const auto first = readRows(*database, table, beforeAll, 60);
    QVERIFY2(first.ok(), qPrintable(first.message()));
    QCOMPARE(static_cast<int>(first->size()), 60);
    QCOMPARE(rowNumber(first->front()), 1);
    QCOMPARE(rowNumber(first->back()), 61);
    const auto rest = readRows(*database, table, 61, 60);
    QCOMPARE(static_cast<int>(rest->size()), 40);
    QCOMPARE(rest->back(), company(5000, of("far")));
}

void DatabaseTransferTest::valuesThatAreNoneAreRefused_data()
{
    QTest::addColumn<QString>("change");
    QTest::addColumn<QString>("message");
    QTest::newRow("text for a number") << of("UPDATE company SET job_count = 'many' WHERE id = 2")
                                       << of("the value of job_count in row 2 of company is no number");
    QTest::newRow("fraction") << of("UPDATE company SET updated_user_id = 1.5 WHERE id = 2")
                              << of("the value of updated_user_id in row 2 of company is no number");
    QTest::newRow("bytes for a text") << of("UPDATE company SET updated_time = x'ff00' WHERE id = 2")
                                      << of("the value of updated_time in row 2 of company is no text");
}

void DatabaseTransferTest::valuesThatAreNoneAreRefused()
{
    QFETCH(const QString, change);
    QFETCH(const QString, message);
    const TemporaryDatabase place;
    const auto database = place.open();
    QVERIFY(insertRows(*database, tableNamed("company"), companies(1, 3)).ok());
    runElsewhere(place.file(), {change});
    const auto rows = readRows(*database, tableNamed("company"), beforeAll, 10);
    QCOMPARE(rows.code(), ErrorCode::Corrupt);
    QCOMPARE(rows.message(), message);
}

void DatabaseTransferTest::refusedRowIsNamed()
{
    const TemporaryDatabase place;
    const auto database = place.open();
    std::vector<TransferRow> rows = companies(1, 80);
    rows[57] = company(58, of("C3"), of("taken"));
    const Status status = insertRows(*database, tableNamed("company"), rows);
    QCOMPARE(status.code(), ErrorCode::AlreadyExists);
    QVERIFY2(status.message().startsWith(of("row 58 of company (code \"C3\"): ")),
             qPrintable(status.message()));
}

void DatabaseTransferTest::refusedBatchIsNotThere()
{
    const TemporaryDatabase place;
    const auto database = place.open();
    std::vector<TransferRow> rows = companies(1, 200);
    rows.back() = company(200, of(""), of("without a code"));
    QCOMPARE(insertRows(*database, tableNamed("company"), rows).code(), ErrorCode::InvalidArgument);
    QCOMPARE(valueOf(*database, "SELECT count(*) FROM company").toInt(), 0);
    rows.pop_back();
    QVERIFY(insertRows(*database, tableNamed("company"), rows).ok());
    QVERIFY(updateRows(*database, tableNamed("company"), {company(7, of("C7"), of("other"))}).ok());
    QCOMPARE(updateRows(*database, tableNamed("company"),
                        {company(8, of("C8"), of("other 8")), company(9, of("C9"), of("other"))})
                 .code(),
             ErrorCode::AlreadyExists);
    QCOMPARE(valueOf(*database, "SELECT name FROM company WHERE id = 7").toString(), of("other"));
    QCOMPARE(valueOf(*database, "SELECT name FROM company WHERE id = 8").toString(), of("C8"));
}

void DatabaseTransferTest::numbersContinueBehindTheHighest()
{
    const TemporaryDatabase place;
    const auto database = place.open();
    QVERIFY(insertRows(*database, tableNamed("company"), {company(41, of("A")), company(7, of("B"))}).ok());
    const auto number = database->insert(
        "INSERT INTO company (code, name, created_time, updated_time) VALUES ('N', 'N', '', '')", {},
        Durability::Immediate);
    QCOMPARE(number.value(), 42);
}

void DatabaseTransferTest::likeness_data()
{
    QTest::addColumn<int>("column");
    QTest::addColumn<QVariant>("source");
    QTest::addColumn<QVariant>("target");
    QTest::addColumn<int>("likeness");
    const auto row = [](const char* name, int column, const QVariant& source, const QVariant& target,
                        RowLikeness likeness) {
        QTest::newRow(name) << column << source << target << static_cast<int>(likeness);
    };
    row("same", 2, of("a"), of("a"), RowLikeness::Same);
    row("both without", 10, QVariant(), QVariant(), RowLikeness::Same);
    row("key", 1, of("a"), of("b"), RowLikeness::Other);
    row("time of making", 11, of("a"), of("b"), RowLikeness::Other);
    row("content", 2, of("a"), of("A"), RowLikeness::Outdated);
    row("blank", 2, of("a"), of("a "), RowLikeness::Outdated);
    row("number", 7, 1LL, 2LL, RowLikeness::Outdated);
    row("empty and NULL", 5, of(""), QVariant(), RowLikeness::Outdated);
    row("not linked yet", 10, of("f"), QVariant(), RowLikeness::Unlinked);
    row("linked otherwise", 10, of("f"), of("g"), RowLikeness::Outdated);
    row("link taken away", 10, QVariant(), of("f"), RowLikeness::Outdated);
}

void DatabaseTransferTest::likeness()
{
    QFETCH(const int, column);
    QFETCH(const QVariant, source);
    QFETCH(const QVariant, target);
    QFETCH(const int, likeness);
    const TransferTable& table = tableNamed("orig_file");
    TransferRow row = {1LL, of("guid"), of("job"),  of("file"), of(".zip"), of("K"),
                       0LL, 1LL,        of(""),     of(""),     QVariant(), of("then"),
                       4LL, of("sum"),  QVariant(), QVariant()};
    TransferRow other = row;
    row[column] = source;
    other[column] = target;
    QCOMPARE(static_cast<int>(compareRows(table, row, other)), likeness);
    QVERIFY(!withoutLaterReferences(table, row)[10].isValid());
    QCOMPARE(withoutLaterReferences(table, row).mid(0, 10), row.mid(0, 10));
}

void DatabaseTransferTest::digestTellsEveryDifference_data()
{
    QTest::addColumn<QString>("change");
    QTest::newRow("value") << of("UPDATE company SET job_count = 1 WHERE id = 2");
    QTest::newRow("case") << of("UPDATE company SET name = 'c2' WHERE id = 2");
    QTest::newRow("missing row") << of("DELETE FROM company WHERE id = 3");
    QTest::newRow("number") << of("UPDATE company SET id = 9 WHERE id = 3");
    QTest::newRow("characters moved over")
        << of("UPDATE company SET created_time = 'thenn', updated_time = 'ow' WHERE id = 3");
    QTest::newRow("swapped rows") << of(
        "UPDATE company SET code = CASE id WHEN 1 THEN 'C2' ELSE 'x' END WHERE id = 1 AND 0 OR id = 2");
}

void DatabaseTransferTest::digestTellsEveryDifference()
{
    QFETCH(const QString, change);
    const TemporaryDatabase place;
    const auto database = place.open();
    const TransferTable& table = tableNamed("company");
    QVERIFY(insertRows(*database, table, companies(1, 3)).ok());
    const auto before = digestOfTable(*database, table);
    QCOMPARE(before->rows, 3);
    runElsewhere(place.file(), {change});
    QVERIFY(digestOfTable(*database, table).value() != before.value());
}

void DatabaseTransferTest::digestIsTheSameForTheSameRows()
{
    const TemporaryDatabase place;
    const TemporaryDatabase otherPlace;
    const auto database = place.open();
    const auto other = otherPlace.open();
    const TransferTable& table = tableNamed("company");
    std::vector<TransferRow> rows = companies(1, 1500); // more than one read
    QVERIFY(insertRows(*database, table, rows).ok());
    std::reverse(rows.begin(), rows.end());
    QVERIFY(insertRows(*other, table, rows).ok());
    const auto digest = digestOfTable(*database, table);
    QVERIFY(digest.value() == digestOfTable(*other, table).value());
    QCOMPARE(digest->rows, 1500);
    QCOMPARE(digest->sha256.size(), 64);
    // Empty tables differ by their names and columns.
    QVERIFY(digestOfTable(*other, tableNamed("pre_file")).value() !=
            digestOfTable(*other, tableNamed("orig_file")).value());
}

void DatabaseTransferTest::fileStoresOfRows()
{
    const TemporaryDatabase place;
    const auto database = place.open();
    QCOMPARE(fileStoresInRows(*database).value(), QStringList());
    QVERIFY(insertRows(*database, tableNamed("company"), companies(1, 1)).ok());
    for (const char* key : {"a", "b", "c"}) {
        QVERIFY(database
                    ->change("INSERT INTO job_flow (guid, job_name, ko_serial_name, flow_no, user_id, "
                             "created_time) VALUES (?, '', ?, '', 1, '')",
                             {of(key), of(key)}, Durability::Deferred)
                    .ok());
        QVERIFY(database
                    ->change("INSERT INTO job_compress (flow_guid, company_name, company_code, company_id,"
                             " job_name, stored_name, suffix, remark, file_store, user_id, job_number,"
                             " created_time) VALUES (?, '', 'C1', 1, '', 'x', '', '', ?, 1, 1, '')",
                             {of(key), of(key[0] == 'b' ? "older" : "odbpp")}, Durability::Deferred)
                    .ok());
    }
    QStringList names = fileStoresInRows(*database).value();
    names.sort();
    QCOMPARE(names, QStringList({of("odbpp"), of("older")}));
}

void DatabaseTransferTest::snapshotShowsOneMoment()
{
    const TemporaryDatabase place;
    const auto database = place.open();
    const auto other = place.open();
    const TransferTable& table = tableNamed("company");
    QVERIFY(insertRows(*database, table, companies(1, 3)).ok());
    const Status shown = database->snapshot([&] {
        const auto before = digestOfTable(*database, table);
        // Nobody is kept from writing.
        if (Status added = insertRows(*other, table, companies(4, 5)); !added.ok())
            return added;
        const auto after = digestOfTable(*database, table);
        if (after.value() != before.value() || after->rows != 3)
            return Status(ErrorCode::Corrupt, of("the snapshot has changed"));
        return database->snapshot([] { return Status(); }).code() == ErrorCode::Internal
                   ? Status()
                   : Status(ErrorCode::Corrupt, of("a snapshot within a snapshot"));
    });
    QVERIFY2(shown.ok(), qPrintable(shown.message()));
    QCOMPARE(digestOfTable(*database, table)->rows, 5);
    QVERIFY(insertRows(*database, table, companies(6, 6)).ok());
}

ZAV_REGISTER_TEST(database_transfer, DatabaseTransferTest, QCoreApplication)

#include "database_transfer.moc"
