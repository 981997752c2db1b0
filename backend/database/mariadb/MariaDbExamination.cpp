#include "backend/database/mariadb/MariaDbDialect.h"

#include <QElapsedTimer>
#include <QSet>
#include <QSqlQuery>
#include <QStringList>

#include <algorithm>

// The thorough look at a database on a server. The server checks its tables, one statement each, and gives up
// when a table has taken its time: what it had found by then is worth nothing, so the table counts as not
// looked at. Others may read and write meanwhile.
//
// A server shows an account only what it has rights to, and an empty list is then no answer. So the account's
// rights are read as well: what they do not cover is not looked at either. Rights that come by a role or for
// single tables are not counted, which errs on the careful side.

namespace KOZAV::Backend {

namespace {

using Kind = DatabaseFlaw::Kind;

#define IN_THIS_DATABASE " WHERE table_schema = DATABASE()"

// The server's own tables, each row as the name of an object and its form. What every table of ours has is
// left out of the form: InnoDB, the collation, columns that are not null. MySQL and MariaDB agree in these
// words.
constexpr const char* tablesSql =
    "SELECT CONCAT(IF(table_type LIKE '%VIEW', 'view ', 'table '), table_name), CONCAT(COALESCE(engine, ''),"
    " IF(table_collation IN ('utf8mb4_nopad_bin', 'utf8mb4_0900_bin'), '', CONCAT(' ', table_collation)))"
    " FROM information_schema.tables" IN_THIS_DATABASE;

constexpr const char* columnsSql =
    "SELECT CONCAT('column ', table_name, '.', column_name), CONCAT(data_type,"
    " IF(data_type = 'varchar', CONCAT('(', character_maximum_length, ')'), ''),"
    " IF(is_nullable = 'YES', ' NULL', IF(column_default IS NULL, '', ' DEFAULT')),"
    " IF(extra LIKE '%auto_increment%', ' AUTO', ''),"
    " IF(collation_name IS NULL OR collation_name IN ('utf8mb4_nopad_bin', 'utf8mb4_0900_bin'), '',"
    "  CONCAT(' ', collation_name)))"
    " FROM information_schema.columns" IN_THIS_DATABASE
    " AND table_name IN (SELECT table_name FROM information_schema.tables WHERE table_schema = DATABASE()"
    "  AND table_type = 'BASE TABLE')";

constexpr const char* indexesSql =
    "SELECT CONCAT('index ', table_name, '.', index_name), CONCAT(IF(MAX(non_unique) = 0, 'UNIQUE ', ''),"
    " GROUP_CONCAT(CONCAT(column_name, IF(sub_part IS NULL, '', CONCAT('(', sub_part, ')')))"
    "  ORDER BY seq_in_index SEPARATOR '+'))"
    " FROM information_schema.statistics" IN_THIS_DATABASE " GROUP BY table_name, index_name";

constexpr const char* referencesSql =
    "SELECT CONCAT('reference ', k.table_name, '.', k.constraint_name), CONCAT(k.column_name, '>',"
    " k.referenced_table_name, '.', k.referenced_column_name,"
    " IF(r.delete_rule IN ('RESTRICT', 'NO ACTION'), '', CONCAT(' on delete ', r.delete_rule)),"
    " IF(r.update_rule IN ('RESTRICT', 'NO ACTION'), '', CONCAT(' on update ', r.update_rule)))"
    " FROM information_schema.key_column_usage k JOIN information_schema.referential_constraints r"
    " ON r.constraint_schema = k.constraint_schema AND r.constraint_name = k.constraint_name"
    " AND r.table_name = k.table_name"
    " WHERE k.table_schema = DATABASE() AND k.referenced_table_name IS NOT NULL";

constexpr const char* conditionsSql = "SELECT CONCAT('conditions of ', table_name), CONCAT(COUNT(*), '')"
                                      " FROM information_schema.table_constraints" IN_THIS_DATABASE
                                      " AND constraint_type = 'CHECK' GROUP BY table_name";

constexpr const char* triggersSql = "SELECT CONCAT('trigger ', trigger_name, ' of ', event_object_table), ''"
                                    " FROM information_schema.triggers WHERE trigger_schema = DATABASE()";

constexpr const char* routinesSql = "SELECT CONCAT(LOWER(routine_type), ' ', routine_name), ''"
                                    " FROM information_schema.routines WHERE routine_schema = DATABASE()";

constexpr const char* eventsSql = "SELECT CONCAT('event ', event_name), ''"
                                  " FROM information_schema.events WHERE event_schema = DATABASE()";

#undef IN_THIS_DATABASE

#define THIS_ACCOUNT "CONCAT('''', REPLACE(CURRENT_USER(), '@', '''@'''), '''')"

constexpr const char* rightsSql =
    "SELECT privilege_type FROM information_schema.user_privileges WHERE grantee = " THIS_ACCOUNT
    " UNION SELECT privilege_type FROM information_schema.schema_privileges WHERE grantee = " THIS_ACCOUNT
    " AND DATABASE() LIKE table_schema";

#undef THIS_ACCOUNT

/// What an account sees whole with any of these rights.
struct Sight
{
    const char* what;
    std::vector<const char*> rights;
};

const std::vector<Sight>& sights()
{
    static const std::vector<Sight> all = {
        {"tables and views", {"SELECT"}},
        {"triggers", {"TRIGGER"}},
        {"routines", {"EXECUTE", "ALTER ROUTINE"}},
        {"events of the server's scheduler", {"EVENT"}},
    };
    return all;
}

} // namespace

/// One examination under way.
struct MariaDbDialect::Examination
{
    const QSqlDatabase& connection;
    std::chrono::milliseconds longest;
    DatabaseFlaws& flaws;
    SchemaObjects found;
    QElapsedTimer sinceStart;

    [[nodiscard]] double seconds() const { return std::chrono::duration<double>(longest).count(); }
    void begin() { sinceStart.start(); }
    /// The two clocks need not agree to the millisecond.
    [[nodiscard]] bool tookTooLong() const { return sinceStart.elapsed() >= longest.count() * 9 / 10; }
    void add(Kind kind, const QString& subject, const QString& text)
    {
        flaws.push_back({kind, subject, text});
    }
    void addUnseen(const QString& subject, const Status& why)
    {
        add(Kind::NotLookedAt, subject,
            tookTooLong() ? QStringLiteral("the look at it did not end within %1 s").arg(seconds())
                          : why.message());
    }
};

Status MariaDbDialect::examine(const QSqlDatabase& connection, const ExaminationOptions& options,
                               DatabaseFlaws& flaws) const
{
    if (auto status = run(connection, "SET NAMES utf8mb4"); !status.ok())
        return status;
    // MySQL has no such bound for the check of a table: there the wait for the answer ends the examination.
    Examination examination{connection, options.longestTable, flaws, {}, {}};
    const QString bound = QStringLiteral("SET SESSION max_statement_time = %1").arg(examination.seconds());
    (void)run(connection, bound.toLatin1().constData());
    if (auto schema = lookAtSchema(examination); !schema.ok())
        return schema;
    if (auto rights = lookAtRights(examination); !rights.ok())
        return rights;
    for (const auto& [name, form] : ownObjects())
        if (name.startsWith(QLatin1String("table ")) && examination.found.count(name) > 0)
            if (auto table = lookAtTable(examination, name.section(QLatin1Char(' '), 1)); !table.ok())
                return table;
    return lookAtReferences(examination);
}

Status MariaDbDialect::lookAtSchema(Examination& examination) const
{
    for (const char* sql : {tablesSql, columnsSql, indexesSql, referencesSql, conditionsSql, triggersSql,
                            routinesSql, eventsSql}) {
        auto read = rows(examination.connection, QString::fromLatin1(sql), [&](const QSqlQuery& row) {
            examination.found[row.value(0).toString()] = row.value(1).toString();
        });
        if (!read.ok())
            return read;
    }
    const DatabaseFlaws differences = compareSchemas(ownObjects(), examination.found);
    examination.flaws.insert(examination.flaws.end(), differences.begin(), differences.end());
    return {};
}

Status MariaDbDialect::lookAtRights(Examination& examination) const
{
    QSet<QString> rights;
    auto read = rows(examination.connection, QString::fromLatin1(rightsSql),
                     [&rights](const QSqlQuery& row) { rights << row.value(0).toString().toUpper(); });
    if (!read.ok())
        return read;
    for (const Sight& sight : sights()) {
        const auto has = [&rights](const char* right) { return rights.contains(QLatin1String(right)); };
        if (std::none_of(sight.rights.begin(), sight.rights.end(), has))
            examination.add(
                Kind::NotLookedAt, QLatin1String(sight.what),
                QStringLiteral("the account may not see all of them: it has no right %1 in this database")
                    .arg(QLatin1String(sight.rights.front())));
    }
    return read;
}

Status MariaDbDialect::lookAtTable(Examination& examination, const QString& table) const
{
    QStringList complaints;
    bool whole = false;
    examination.begin();
    auto checked =
        rows(examination.connection, QStringLiteral("CHECK TABLE %1").arg(table), [&](const QSqlQuery& row) {
            const QString kind = row.value(2).toString().toLower();
            const QString text = row.value(3).toString();
            if (kind == QLatin1String("status") && text == QLatin1String("OK"))
                whole = true;
            else
                complaints << text;
        });
    if (checked.ok() && whole)
        return checked;
    const QString subject = QStringLiteral("table %1").arg(table);
    if (checked.ok() && !examination.tookTooLong())
        examination.add(Kind::Damaged, subject, complaints.join(QStringLiteral("; ")));
    else if (checked.ok() || examination.tookTooLong() || checked.code() == ErrorCode::NotPermitted)
        examination.addUnseen(subject, checked);
    else
        return checked;
    return {};
}

Status MariaDbDialect::lookAtReferences(Examination& examination) const
{
    for (const Reference& reference : references()) {
        examination.begin();
        const auto dangling = scalar(examination.connection, reference.countSql);
        const QString subject = QStringLiteral("table %1").arg(QLatin1String(reference.table));
        if (dangling.ok()) {
            if (dangling->toLongLong() > 0)
                examination.add(Kind::ReferenceBroken, subject,
                                QStringLiteral("%1 of its rows refer to a row that does not exist")
                                    .arg(dangling->toLongLong()));
            continue;
        }
        // Internal: a table or a column that it asks for is not there, which the look at the schema has told.
        const ErrorCode code = dangling.code();
        if (code == ErrorCode::Corrupt || code == ErrorCode::Io)
            examination.add(Kind::Damaged, subject, dangling.message());
        else if (examination.tookTooLong() || code == ErrorCode::NotPermitted || code == ErrorCode::Internal)
            examination.addUnseen(QStringLiteral("references of ") + subject, dangling.status());
        else
            return dangling.status();
    }
    return {};
}

} // namespace KOZAV::Backend
