#include "backend/database/sqlite/SqliteDialect.h"

#include <QSqlQuery>
#include <QStringList>
#include <QUuid>

// The thorough look at a database file, and what of the schema it shares with the look at opening.
//
// What the schema has to be is not written down a second time: the steps that make a database run once more,
// in a database in memory, and the two are compared object by object, by the statements that made them.

namespace KOZAV::Backend {

namespace {

using Kind = DatabaseFlaw::Kind;

/// A page that is gone can leave thousands of rows without what they need; nobody reads them all.
constexpr int mostOfOneKind = 1000;

/// A connection to an empty database in memory, which ends with it.
class MemoryDatabase final
{
public:
    MemoryDatabase()
        : m_name(QStringLiteral("kozav-") + QUuid::createUuid().toString(QUuid::WithoutBraces))
        , m_handle(QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name))
    {
        m_handle.setDatabaseName(QStringLiteral(":memory:"));
        m_handle.open();
    }
    ~MemoryDatabase()
    {
        m_handle = QSqlDatabase();
        QSqlDatabase::removeDatabase(m_name);
    }
    Q_DISABLE_COPY(MemoryDatabase)

    [[nodiscard]] const QSqlDatabase& handle() const { return m_handle; }

private:
    QString m_name;
    QSqlDatabase m_handle;
};

/// Tables of statistics come from an administrator's ANALYZE and change nothing but the engine's choices.
constexpr const char* objectsSql = "SELECT type || ' ' || name, COALESCE(sql, 'made with the table') || ' of "
                                   "' || tbl_name FROM sqlite_master"
                                   " WHERE name NOT LIKE 'sqlite\\_stat%' ESCAPE '\\'";

/// Has the engine write the statements that read the first and the last row of each table, and the first and
/// the last entry of each index.
constexpr const char* endsSql =
    "WITH entry AS (SELECT name AS place, tbl_name AS owner,"
    "  (SELECT group_concat(name, ', ') FROM pragma_index_info(m.name)) AS forward,"
    "  (SELECT group_concat(name || ' DESC', ', ') FROM pragma_index_info(m.name)) AS backward,"
    "  (SELECT group_concat(name, ', ') FROM pragma_index_info(m.name)) AS columns"
    "  FROM sqlite_master m WHERE type = 'index'),"
    " turn AS (SELECT 'SELECT ' || columns || ' FROM ' || owner || ' INDEXED BY ' || place || ' ORDER BY ' AS"
    "  text, forward, backward FROM entry"
    "  UNION ALL SELECT 'SELECT * FROM ' || name || ' ORDER BY ', 'rowid', 'rowid DESC' FROM sqlite_master"
    "  WHERE type = 'table')"
    " SELECT text || forward || ' LIMIT 1' FROM turn UNION ALL SELECT text || backward || ' LIMIT 1' FROM "
    "turn";

} // namespace

Status SqliteDialect::examine(const QSqlDatabase& connection, const ExaminationOptions& /*options*/,
                              DatabaseFlaws& flaws) const
{
    for (const char* setting : {"PRAGMA trusted_schema = OFF", "PRAGMA cell_size_check = ON"})
        if (auto status = run(connection, setting); !status.ok())
            return status;
    using Look = Status (SqliteDialect::*)(const QSqlDatabase&, DatabaseFlaws&) const;
    return inSnapshot(connection, [&]() -> Status {
        for (const Look look : {&SqliteDialect::lookAtLength, &SqliteDialect::lookAtPages,
                                &SqliteDialect::lookAtReferences, &SqliteDialect::lookAtSchema}) {
            auto looked = (this->*look)(connection, flaws);
            // What keeps one look from its end may leave another one something to tell.
            if (looked.code() == ErrorCode::Corrupt)
                flaws.push_back({Kind::Damaged, fileOf(connection), looked.message()});
            else if (!looked.ok())
                return looked;
        }
        return {};
    });
}

Status SqliteDialect::lookAtLength(const QSqlDatabase& connection, DatabaseFlaws& /*flaws*/) const
{
    return checkLength(connection);
}

Status SqliteDialect::lookAtPages(const QSqlDatabase& connection, DatabaseFlaws& flaws) const
{
    QStringList findings;
    auto checked =
        rows(connection, QStringLiteral("PRAGMA integrity_check(1000)"), [&findings](const QSqlQuery& row) {
            findings += row.value(0).toString().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        });
    for (const QString& finding : qAsConst(findings))
        if (finding != QLatin1String("ok") && !finding.startsWith(QLatin1String("*** in database")))
            flaws.push_back({Kind::Damaged, fileOf(connection), finding});
    return checked;
}

Status SqliteDialect::lookAtReferences(const QSqlDatabase& connection, DatabaseFlaws& flaws) const
{
    int found = 0;
    auto checked = rows(connection, QStringLiteral("PRAGMA foreign_key_check"), [&](const QSqlQuery& row) {
        if (++found <= mostOfOneKind)
            flaws.push_back({Kind::ReferenceBroken,
                             QStringLiteral("%1 %2").arg(row.value(0).toString(), row.value(1).toString()),
                             QStringLiteral("the row refers to a row of %1 that does not exist")
                                 .arg(row.value(2).toString())});
    });
    if (found > mostOfOneKind)
        flaws.push_back(
            {Kind::ReferenceBroken, fileOf(connection),
             QStringLiteral("%1 rows refer to rows that do not exist; the first are named").arg(found)});
    // Where a table is missing that others refer to, the engine does not look at all.
    if (checked.code() != ErrorCode::Internal)
        return checked;
    flaws.push_back({Kind::NotLookedAt, QStringLiteral("references between rows"), checked.message()});
    return {};
}

Status SqliteDialect::lookAtSchema(const QSqlDatabase& connection, DatabaseFlaws& flaws) const
{
    const auto version = storedVersion(connection);
    if (!version.ok())
        return version.status();
    const auto ours = ownSchema(version.value());
    const auto found = objectsOf(connection);
    for (const Status& status : {ours.status(), found.status()})
        if (!status.ok())
            return status;
    const DatabaseFlaws differences = compareSchemas(ours->objects, found.value());
    flaws.insert(flaws.end(), differences.begin(), differences.end());
    return {};
}

/// The version by which a schema is judged: the last one where the database tells none.
Result<int> SqliteDialect::storedVersion(const QSqlDatabase& connection) const
{
    const auto tables = scalar(connection, versionTableSql());
    if (!tables.ok())
        return tables.status();
    QVariant version;
    if (tables->toInt() > 0) {
        const auto stored = scalar(connection, "SELECT version FROM schema_version");
        if (!stored.ok())
            return stored.status();
        version = stored.value();
    }
    return version.toInt() > 0 ? version.toInt() : migrations().back().version;
}

Result<SchemaObjects> SqliteDialect::objectsOf(const QSqlDatabase& connection) const
{
    SchemaObjects objects;
    const auto read = rows(connection, QString::fromLatin1(objectsSql), [&objects](const QSqlQuery& row) {
        objects[row.value(0).toString()] = row.value(1).toString();
    });
    return read.ok() ? Result(objects) : read;
}

Result<SqliteDialect::OwnSchema> SqliteDialect::ownSchema(int version) const
{
    const MemoryDatabase memory;
    for (const MigrationStep& step : migrations())
        if (step.version <= version)
            for (const char* statement : step.statements)
                if (auto made = run(memory.handle(), statement); !made.ok())
                    return made;
    auto objects = objectsOf(memory.handle());
    if (!objects.ok())
        return objects.status();
    OwnSchema schema{std::move(objects.value()), {}};
    const auto read = rows(memory.handle(), QString::fromLatin1(endsSql),
                           [&schema](const QSqlQuery& row) { schema.ends << row.value(0).toString(); });
    return read.ok() ? Result(schema) : read;
}

} // namespace KOZAV::Backend
