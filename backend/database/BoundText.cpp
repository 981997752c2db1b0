#include "backend/database/BoundText.h"

#include <QSqlField>

namespace KOZAV::Backend {

namespace {

QString quoted(const QSqlDriver& driver, const QVariant& value)
{
    QSqlField field(QString(), value.type());
    field.setValue(value);
    return driver.formatValue(field);
}

} // namespace

Result<QString> boundText(const QSqlDriver& driver, const char* sql, const QVariantList& values)
{
    const QString text = QString::fromLatin1(sql);
    const QStringList pieces = text.split(QLatin1Char('?'));
    if (pieces.size() != values.size() + 1)
        return Status::internal(QStringLiteral("%1 values for the %2 places of a statement")
                                    .arg(values.size())
                                    .arg(pieces.size() - 1));
    QString bound = pieces.first();
    for (int i = 0; i < values.size(); ++i)
        bound += quoted(driver, values.at(i)) + pieces.at(i + 1);
    return bound;
}

} // namespace KOZAV::Backend
