#pragma once

#include "backend/database/Dialect.h"

namespace KOZAV::Backend {

/// MariaDB, or a MySQL server of version 8.0.17 or later, through QMYSQL.
///
/// Every write is durable when its commit is answered, as far as the server syncs its log at each commit
/// (innodb_flush_log_at_trx_commit = 1, the default); another setting is logged as a warning.
class MariaDbDialect final : public Dialect
{
public:
    [[nodiscard]] QString describe(const DatabaseSettings& settings) const override;
    Status prepare(const DatabaseSettings& settings, MissingDatabase missing) const override;
    Status configure(QSqlDatabase& connection, const DatabaseSettings& settings) const override;
    [[nodiscard]] Status checkTransport(const QSqlDatabase& connection,
                                        const DatabaseSettings& settings) const override;
    [[nodiscard]] Status identify(const QSqlDatabase& connection) const override;
    Status startSession(const QSqlDatabase& connection, const DatabaseSettings& settings) override;
    [[nodiscard]] Status examine(const QSqlDatabase& connection, const ExaminationOptions& options,
                                 DatabaseFlaws& flaws) const override;
    Status inspect(const QSqlDatabase& connection, ServiceHealth& health) const override;
    Result<bool> createDatabase(QSqlDatabase& connection, const DatabaseSettings& settings) const override;
    [[nodiscard]] const std::vector<MigrationStep>& migrations() const override;
    [[nodiscard]] SchemaLock schemaLock() const override;
    [[nodiscard]] const HoldStatements* holdStatements() const override;
    [[nodiscard]] const char* beginSql() const override { return "START TRANSACTION"; }
    [[nodiscard]] const char* durabilitySql(Durability durability) const override;
    [[nodiscard]] const char* versionTableSql() const override;
    [[nodiscard]] const char* engineVersionSql() const override;
    [[nodiscard]] const char* dataVersionSql() const override { return nullptr; }
    [[nodiscard]] bool writesValuesIntoText() const override { return true; }
    [[nodiscard]] const CompoundParts* compoundParts() const override;
    [[nodiscard]] const char* idleProbeSql() const override { return "DO 0"; }
    [[nodiscard]] ErrorCode classify(const QSqlError& error) const override;
    [[nodiscard]] Status failure(const QSqlError& error) const override;
    [[nodiscard]] FailureKind kindOf(const QSqlError& error) const override;

private:
    /// One reference between rows, and how the rows are counted that refer to nothing.
    struct Reference
    {
        const char* table;
        const char* countSql;
    };
    static const std::vector<Reference>& references();

    /// What the steps of the schema make, in the words of the server's own tables.
    static const SchemaObjects& ownObjects();

    struct Examination;

    [[nodiscard]] Status checkSession(const QSqlDatabase& connection);
    [[nodiscard]] Status lookAtSchema(Examination& examination) const;
    [[nodiscard]] Status lookAtRights(Examination& examination) const;
    [[nodiscard]] Status lookAtTable(Examination& examination, const QString& table) const;
    [[nodiscard]] Status lookAtReferences(Examination& examination) const;

    bool m_hasCompounds = false; ///< the server of the session is a MariaDB
};

} // namespace KOZAV::Backend
