#include "backend/operations/RowValues.h"

#include "backend/database/Database.h"

namespace KOZAV::Backend {

RowValues& RowValues::text(const char* what, const std::string& utf8)
{
    const QString value = QString::fromStdString(utf8);
    if (m_status.ok() && value.toStdString() != utf8)
        m_status = Status::invalidArgument(QStringLiteral("the %1 is not UTF-8 text, or begins with a byte order mark")
                              .arg(QLatin1String(what)));
    return text(value);
}

RowValues& RowValues::text(const QString& value)
{
    m_values.append(value);
    return *this;
}

RowValues& RowValues::number(int value)
{
    m_values.append(value);
    return *this;
}

RowValues& RowValues::time()
{
    return text(rowTime());
}

} // namespace KOZAV::Backend
