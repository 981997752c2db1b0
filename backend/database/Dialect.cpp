#include "backend/database/Dialect.h"

#include "backend/database/SqliteDialect.h"

#include <QSqlQuery>

namespace KOZAV::Backend {

Dialect::~Dialect() = default;

Result<std::unique_ptr<Dialect>> Dialect::forDriver(const QString& driver)
{
    if (driver != QLatin1String("QSQLITE"))
        return Status(
            ErrorCode::Configuration,
            QStringLiteral("the database driver \"%1\" is not one that this program knows").arg(driver));
    if (!QSqlDatabase::isDriverAvailable(driver))
        return Status(ErrorCode::Configuration,
                      QStringLiteral("the Qt SQL driver %1 is not installed").arg(driver));
    return std::unique_ptr<Dialect>(std::make_unique<SqliteDialect>());
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
        return Status(
            classify(statement.lastError()),
            QStringLiteral("%1: %2").arg(QString::fromLatin1(sql), statement.lastError().databaseText()));
    return statement.next() ? statement.value(0) : QVariant();
}

} // namespace KOZAV::Backend
