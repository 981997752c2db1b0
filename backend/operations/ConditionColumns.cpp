#include "backend/operations/ConditionColumns.h"

#include <QRegularExpression>

#include <algorithm>

namespace KOZAV::Backend {

namespace {

using Wanted = std::map<std::string, std::vector<std::string>>;

Wanted collect(const std::map<std::string, std::string>& textConditions,
               const std::map<std::string, int>& intConditions)
{
    Wanted wanted;
    for (const auto& [name, value] : textConditions)
        wanted[name].push_back(value);
    for (const auto& [name, value] : intConditions)
        wanted[name].push_back(std::to_string(value));
    return wanted;
}

Status refuseUnknown(const std::vector<ConditionColumn>& columns, const Wanted& wanted)
{
    for (const auto& condition : wanted) {
        const auto isNamed = [&](const ConditionColumn& column) { return condition.first == column.name; };
        if (std::none_of(columns.begin(), columns.end(), isNamed))
            return Status::invalidArgument(QStringLiteral("there is no condition column \"%1\"")
                                               .arg(QString::fromStdString(condition.first)));
    }
    return {};
}

/// An invalid value where no row can hold what is wanted.
QVariant columnValue(ConditionColumn::Kind kind, const std::string& wanted)
{
    const QString text = QString::fromStdString(wanted);
    if (kind == ConditionColumn::Kind::Text)
        return text.toStdString() == wanted ? QVariant(text) : QVariant();
    static const QRegularExpression decimal(QStringLiteral("\\A(0|-?[1-9][0-9]*)\\z"));
    bool fits = false;
    const qlonglong number = text.toLongLong(&fits);
    return fits && decimal.match(text).hasMatch() ? QVariant(number) : QVariant();
}

} // namespace

Result<Conditions> matchConditions(const std::vector<ConditionColumn>& columns,
                                   const std::map<std::string, std::string>& textConditions,
                                   const std::map<std::string, int>& intConditions)
{
    const Wanted wanted = collect(textConditions, intConditions);
    if (auto status = refuseUnknown(columns, wanted); !status.ok())
        return status;
    Conditions conditions;
    for (size_t i = 0; i < columns.size(); ++i) {
        const auto found = wanted.find(columns[i].name);
        if (found == wanted.end())
            continue;
        const QVariant value = columnValue(columns[i].kind, found->second.front());
        const bool agree = found->second.front() == found->second.back();
        conditions.satisfiable = conditions.satisfiable && value.isValid() && agree;
        conditions.columns |= 1U << i;
        conditions.values.append(value);
    }
    return conditions;
}

QString describeConditions(const std::map<std::string, std::string>& textConditions,
                           const std::map<std::string, int>& intConditions)
{
    QStringList parts;
    for (const auto& [name, value] : textConditions)
        parts.append(QString::fromStdString(name) + QLatin1Char('=') + QString::fromStdString(value));
    for (const auto& [name, value] : intConditions)
        parts.append(QString::fromStdString(name) + QLatin1Char('=') + QString::number(value));
    return parts.isEmpty() ? QStringLiteral("all") : parts.join(QStringLiteral(", "));
}

} // namespace KOZAV::Backend
