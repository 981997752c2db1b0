#include "backend/database/Dialect.h"

#include "backend/database/mariadb/MariaDbDialect.h"
#include "backend/database/sqlite/SqliteDialect.h"

#include <QSqlQuery>

namespace KOZAV::Backend {

Dialect::~Dialect() = default;

Result<std::unique_ptr<Dialect>> Dialect::forDriver(const QString& driver)
{
    std::unique_ptr<Dialect> dialect;
    if (driver == QLatin1String("QSQLITE"))
        dialect = std::make_unique<SqliteDialect>();
    else if (driver == QLatin1String("QMYSQL"))
        dialect = std::make_unique<MariaDbDialect>();
    else
        return Status::configuration(
            QStringLiteral("the database driver \"%1\" is not one that this program knows").arg(driver));
    if (!QSqlDatabase::isDriverAvailable(driver))
        return Status::configuration(QStringLiteral("the Qt SQL driver %1 is not installed").arg(driver));
    return dialect;
}

Status Dialect::checkTransport(const QSqlDatabase& /*connection*/, const DatabaseSettings& /*settings*/) const
{
    return {};
}

Status Dialect::checkOpened(const QSqlDatabase& /*connection*/) const
{
    return {};
}

Status Dialect::readThrough(const QSqlDatabase& /*connection*/) const
{
    return {};
}

Status Dialect::inspect(const QSqlDatabase& /*connection*/, ServiceHealth& /*health*/) const
{
    return {};
}

Result<bool> Dialect::createDatabase(QSqlDatabase& /*connection*/, const DatabaseSettings& /*settings*/) const
{
    return false;
}

Dialect::FailureKind Dialect::kindOf(const QSqlError& /*error*/) const
{
    return FailureKind::Definite;
}

Status Dialect::failure(const QSqlError& error) const
{
    return Status(classify(error), error.databaseText());
}

Status Dialect::run(const QSqlDatabase& connection, const char* sql) const
{
    return scalar(connection, sql).status();
}

Result<QVariant> Dialect::scalar(const QSqlDatabase& connection, const char* sql) const
{
    QSqlQuery statement(connection);
    statement.setForwardOnly(true);
    if (!statement.exec(QString::fromLatin1(sql)))
        return failure(statement.lastError()).in(QString::fromLatin1(sql));
    return statement.next() ? statement.value(0) : QVariant();
}

Status Dialect::rows(const QSqlDatabase& connection, const QString& sql,
                     const std::function<void(const QSqlQuery& row)>& visit) const
{
    QSqlQuery statement(connection);
    statement.setForwardOnly(true);
    if (!statement.exec(sql))
        return failure(statement.lastError()).in(sql);
    while (statement.next())
        visit(statement);
    const QSqlError error = statement.lastError();
    return error.type() == QSqlError::NoError ? Status() : failure(error).in(sql);
}

} // namespace KOZAV::Backend
