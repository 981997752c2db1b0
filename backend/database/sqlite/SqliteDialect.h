#pragma once

#include "backend/database/Dialect.h"

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
    Status prepare(const DatabaseSettings& settings) const override;
    Status configure(QSqlDatabase& connection, const DatabaseSettings& settings) const override;
    [[nodiscard]] Status identify(const QSqlDatabase& connection) const override;
    Status startSession(const QSqlDatabase& connection, const DatabaseSettings& settings) const override;
    [[nodiscard]] Status checkIntegrity(const QSqlDatabase& connection) const override;
    [[nodiscard]] const std::vector<MigrationStep>& migrations() const override;
    [[nodiscard]] const char* beginSql() const override;
    [[nodiscard]] const char* beginReadSql() const override;
    [[nodiscard]] const char* durabilitySql(Durability durability) const override;
    [[nodiscard]] const char* versionTableSql() const override;
    [[nodiscard]] const char* engineVersionSql() const override;
    [[nodiscard]] const char* dataVersionSql() const override { return "PRAGMA data_version"; }
    [[nodiscard]] ErrorCode classify(const QSqlError& error) const override;

private:
    /// "KOZA" in the header of a database file: what tells this system's files from others.
    static constexpr int applicationId = 0x4B4F5A41;

    Status switchToWriteAheadLog(const QSqlDatabase& connection, int busyTimeoutMs) const;
    [[nodiscard]] Status quickCheck(const QSqlDatabase& connection, const DatabaseSettings& settings) const;
};

} // namespace KOZAV::Backend
