#pragma once

#include "backend/Status.h"
#include "backend/config/Settings.h"
#include "backend/database/Database.h"
#include "backend/database/DatabaseExamination.h"
#include "backend/database/Migrations.h"

#include <QSqlDatabase>
#include <QSqlError>

#include <functional>
#include <memory>
#include <vector>

namespace KOZAV::Backend {

/// Everything in which one database engine differs from another: how it is reached and set up, the text of
/// its tables, when its writes are durable, and what its error numbers mean.
class Dialect
{
public:
    /// The dialect of a Qt SQL driver; Configuration where the driver is not one of ours or not installed.
    static Result<std::unique_ptr<Dialect>> forDriver(const QString& driver);

    virtual ~Dialect();
    Dialect() = default;
    Q_DISABLE_COPY(Dialect)

    /// The database in words for messages; holds no password.
    [[nodiscard]] virtual QString describe(const DatabaseSettings& settings) const = 0;

    /// Checks what the settings name before anything is opened. Where a missing database is to be made, makes
    /// what an engine needs to begin with.
    virtual Status prepare(const DatabaseSettings& settings, MissingDatabase missing) const = 0;

    /// Puts the settings into a connection that is not open yet.
    virtual Status configure(QSqlDatabase& connection, const DatabaseSettings& settings) const = 0;

    /// Refuses a connection that was just opened and is not protected as the settings ask for.
    [[nodiscard]] virtual Status checkTransport(const QSqlDatabase& connection,
                                                const DatabaseSettings& settings) const;

    /// Refuses a database that is not one of this system's. Changes nothing.
    [[nodiscard]] virtual Status identify(const QSqlDatabase& connection) const = 0;

    /// Sets the session up; to be called once after every open, before the first write.
    virtual Status startSession(const QSqlDatabase& connection, const DatabaseSettings& settings) = 0;

    /// A short look at a database that was just opened: Corrupt where it is damaged. Changes nothing.
    [[nodiscard]] virtual Status checkOpened(const QSqlDatabase& connection) const;

    /// Reads a whole database through; Corrupt where it is damaged. Changes nothing.
    [[nodiscard]] virtual Status readThrough(const QSqlDatabase& connection) const;

    /// Adds what a thorough look at the database finds wrong (Database::examine). The connection is
    /// identified, and used for nothing else. Corrupt where the damage does not let it go on.
    [[nodiscard]] virtual Status examine(const QSqlDatabase& connection, const ExaminationOptions& options,
                                         DatabaseFlaws& flaws) const = 0;

    /// Fills in what the connection tells of the engine: remote, encryption, topology.
    virtual Status inspect(const QSqlDatabase& connection, ServiceHealth& health) const;

    /// Makes the database that the settings name where a server does not have it; the connection is
    /// configured and not open. @return whether it was made
    virtual Result<bool> createDatabase(QSqlDatabase& connection, const DatabaseSettings& settings) const;

    [[nodiscard]] virtual const std::vector<MigrationStep>& migrations() const = 0;

    /// Selects that take (1: it is ours) and give back a lock against others who change the schema: for
    /// engines that commit each such change by itself. Null where a transaction keeps the others out.
    struct SchemaLock
    {
        const char* takeSql;
        const char* giveBackSql;
    };
    [[nodiscard]] virtual SchemaLock schemaLock() const { return {nullptr, nullptr}; }

    /// Statements on the table company_hold, of one row each, by the server's clock; a lease is in
    /// microseconds. Each may be repeated where its answer was lost, but for insertSql, which then finds its
    /// row there already.
    struct HoldStatements
    {
        const char* takeSql;     ///< key, user, host, process, lease, company, key: 1 row where it was free
        const char* insertSql;   ///< company, key, user, host, process, lease: for a company never held
        const char* renewSql;    ///< lease, company, key: 1 row where it is still held by that key
        const char* giveBackSql; ///< company, key
        const char* holderSql;   ///< company; user, host, process, since, whether it is held
        const char* heldSql;     ///< company, user, host, process, since of all that are held
    };
    /// Null where holds are locks of the operating system.
    [[nodiscard]] virtual const HoldStatements* holdStatements() const { return nullptr; }

    /// Begins a transaction that may write: one that cannot fail later because another writer was faster.
    [[nodiscard]] virtual const char* beginSql() const = 0;

    /// Begins a transaction that only reads: it sees the rows of one moment and keeps nobody from writing.
    [[nodiscard]] virtual const char* beginReadSql() const { return "START TRANSACTION READ ONLY"; }

    /// Statement to run outside a transaction before writes of that durability; null where none is needed.
    [[nodiscard]] virtual const char* durabilitySql(Durability durability) const = 0;

    /// Counts the tables named schema_version: 0 or 1.
    [[nodiscard]] virtual const char* versionTableSql() const = 0;

    /// Selects name and version of the engine as one text.
    [[nodiscard]] virtual const char* engineVersionSql() const = 0;

    /// Selects a number that changes when another connection has changed the database; null where an engine
    /// has none.
    [[nodiscard]] virtual const char* dataVersionSql() const = 0;

    /// Whether values travel within the text of a statement, quoted by the driver, and not beside it: for
    /// drivers that ask the server twice to run a prepared statement.
    [[nodiscard]] virtual bool writesValuesIntoText() const { return false; }

    /// What a server runs as one statement, of one exchange.
    struct CompoundParts
    {
        const char* begin;   ///< before the first write; begins a transaction
        const char* mustHit; ///< after a write that fails unless it has found a row
        const char* end;     ///< after the last one; commits
    };
    /// Null where the engine of the session has no such statements, or does not need them. One that fails
    /// leaves a transaction, which is to be rolled back.
    [[nodiscard]] virtual const CompoundParts* compoundParts() const { return nullptr; }

    /// Statement that tells whether a connection that was idle is still there; null where it cannot be lost.
    [[nodiscard]] virtual const char* idleProbeSql() const { return nullptr; }

    [[nodiscard]] virtual ErrorCode classify(const QSqlError& error) const = 0;

    /// What a failure leaves of the statement and of the connection.
    enum class FailureKind {
        Definite,      ///< not carried out; trying again would give the same
        Contended,     ///< not carried out because of others; may be tried again
        LostUnsent,    ///< the connection is lost, and the server has not seen the statement
        LostRefused,   ///< the server has refused the statement and ended the connection
        LostUnanswered ///< the connection is lost; the statement may have been carried out
    };
    [[nodiscard]] virtual FailureKind kindOf(const QSqlError& error) const;

    /// A failed call of the driver in the words of the engine.
    [[nodiscard]] virtual Status failure(const QSqlError& error) const;

protected:
    /// Runs one statement without the statement cache: for settings that an engine takes while it prepares.
    Status run(const QSqlDatabase& connection, const char* sql) const;

    /// The first column of the first row; an invalid value where there is no row.
    [[nodiscard]] Result<QVariant> scalar(const QSqlDatabase& connection, const char* sql) const;

    /// Runs a query and has visit look at each of its rows.
    Status rows(const QSqlDatabase& connection, const QString& sql,
                const std::function<void(const QSqlQuery& row)>& visit) const;
};

} // namespace KOZAV::Backend
