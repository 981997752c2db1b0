#include "admin/Command.h"

namespace KOZAV::Admin {

Command::~Command() = default;

QString usageOf(const Command& command)
{
    QStringList parts = {command.verb()};
    for (const Operand& operand : command.operands())
        parts << (operand.required ? operand.name : QLatin1Char('[') + operand.name + QLatin1Char(']'));
    for (const CommandOption& option : command.options()) {
        QString part = QStringLiteral("--") + option.name;
        if (!option.valueName.isEmpty())
            part += QLatin1Char(' ') + option.valueName;
        parts << (option.required ? part : QLatin1Char('[') + part + QLatin1Char(']'));
    }
    return parts.join(QLatin1Char(' '));
}

} // namespace KOZAV::Admin
