#include "admin/Help.h"

#include "admin/CommandRegistry.h"
#include "admin/ExitCode.h"

#include <QCoreApplication>

#include <algorithm>

namespace KOZAV::Admin {

namespace {

QString optionLines(const std::vector<CommandOption>& options)
{
    QStringList left;
    int width = 0;
    for (const CommandOption& option : options) {
        left << QStringLiteral("--") + option.name +
                    (option.valueName.isEmpty() ? QString() : QLatin1Char(' ') + option.valueName);
        width = std::max(width, left.last().size());
    }
    QString lines;
    for (int i = 0; i < left.size(); ++i)
        lines += QStringLiteral("  ") + left.at(i).leftJustified(width) + QStringLiteral("  ") +
                 options[static_cast<size_t>(i)].help + QLatin1Char('\n');
    return lines;
}

QString programHelp()
{
    QString help = QStringLiteral(
        "Usage: zav_admin [--config FILE] [--json] VERB ...\n\n"
        "Administers a site: its configuration, companies, jobs and stored files.\n\nVerbs:\n");
    for (const auto& command : commands())
        help += QStringLiteral("  %1\n      %2\n").arg(usageOf(*command), command->summary());
    help += QStringLiteral("\nOptions, before or after the verb:\n") + optionLines(commonOptions());
    help += QStringLiteral("\nExit codes:\n") + exitCodeHelp();
    return help;
}

QString verbHelp(const Command& command)
{
    QString help = QStringLiteral("Usage: zav_admin %1\n\n%2\n").arg(usageOf(command), command.summary());
    if (!command.options().empty())
        help += QStringLiteral("\nOptions:\n") + optionLines(command.options());
    return help;
}

} // namespace

Backend::Result<Report> helpReport(QStringList words)
{
    const QString asked = words.join(QLatin1Char(' '));
    const Command* command = takeCommand(words);
    if (command == nullptr && !asked.isEmpty())
        return Backend::Status::invalidArgument(
            QStringLiteral("unknown verb \"%1\"; \"zav_admin --help\" lists them").arg(asked));
    const QString text = command != nullptr ? verbHelp(*command) : programHelp();
    return Report{{{QStringLiteral("help"), text}}, text};
}

Report versionReport()
{
    const QString version = QCoreApplication::applicationVersion();
    return {{{QStringLiteral("version"), version}}, QStringLiteral("zav_admin %1\n").arg(version)};
}

} // namespace KOZAV::Admin
