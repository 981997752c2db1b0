#pragma once

#include "backend/database/Dialect.h"

#include <QStringList>

#include <functional>

class QDeadlineTimer;

namespace KOZAV::Backend {

/// SQLite through QSQLITE: one file, write-ahead log.
///
/// Durability: with synchronous=NORMAL a commit appends to the write-ahead log and syncs nothing; with FULL
/// the commit ends with one sync of that log. The log is one sequential file, so the sync of an Immediate
/// commit makes every Deferred commit before it durable too, and recovery after a crash never keeps a later
/// commit without the earlier ones. The sync counts are pinned by DatabaseDurabilityTest.
class SqliteDialect final : public Dialect
{
public:
    [[nodiscard]] QString describe(const DatabaseSettings& settings) const override;
    /// The file of a connection, whose name may be a URI.
    static QString fileOf(const QSqlDatabase& connection);

    Status prepare(const DatabaseSettings& settings, MissingDatabase missing) const override;
    Status configure(QSqlDatabase& connection, const DatabaseSettings& settings) const override;
    [[nodiscard]] Status identify(const QSqlDatabase& connection) const override;
    Status startSession(const QSqlDatabase& connection, const DatabaseSettings& settings) override;
    [[nodiscard]] Status checkOpened(const QSqlDatabase& connection) const override;
    [[nodiscard]] Status readThrough(const QSqlDatabase& connection) const override;
    [[nodiscard]] Status examine(const QSqlDatabase& connection, const ExaminationOptions& options,
                                 DatabaseFlaws& flaws) const override;
    [[nodiscard]] const std::vector<MigrationStep>& migrations() const override;
    [[nodiscard]] const char* beginSql() const override;
    [[nodiscard]] const char* beginReadSql() const override;
    [[nodiscard]] const char* durabilitySql(Durability durability) const override;
    [[nodiscard]] const char* versionTableSql() const override;
    [[nodiscard]] const char* engineVersionSql() const override;
    [[nodiscard]] const char* dataVersionSql() const override { return "PRAGMA data_version"; }
    [[nodiscard]] Status failure(const QSqlError& error) const override;
    [[nodiscard]] ErrorCode classify(const QSqlError& error) const override;

private:
    /// "KOZA" in the header of a database file: what tells this system's files from others.
    static constexpr int applicationId = 0x4B4F5A41;

    Status switchToWriteAheadLog(const QSqlDatabase& connection, int busyTimeoutMs) const;

    /// What the steps of the schema up to a version make.
    struct OwnSchema
    {
        SchemaObjects objects;
        QStringList ends; ///< statements that read the first or the last entry of a table or an index
    };
    [[nodiscard]] Result<OwnSchema> ownSchema(int version) const;
    [[nodiscard]] Result<SchemaObjects> objectsOf(const QSqlDatabase& connection) const;
    [[nodiscard]] Result<int> storedVersion(const QSqlDatabase& connection) const;

    [[nodiscard]] Status inSnapshot(const QSqlDatabase& connection,
                                    const std::function<Status()>& work) const;
    [[nodiscard]] Status checkLength(const QSqlDatabase& connection) const;
    [[nodiscard]] Status checkEnds(const QSqlDatabase& connection, const QDeadlineTimer& deadline) const;

    [[nodiscard]] Status lookAtLength(const QSqlDatabase& connection, DatabaseFlaws& flaws) const;
    [[nodiscard]] Status lookAtPages(const QSqlDatabase& connection, DatabaseFlaws& flaws) const;
    [[nodiscard]] Status lookAtReferences(const QSqlDatabase& connection, DatabaseFlaws& flaws) const;
    [[nodiscard]] Status lookAtSchema(const QSqlDatabase& connection, DatabaseFlaws& flaws) const;
};

} // namespace KOZAV::Backend
