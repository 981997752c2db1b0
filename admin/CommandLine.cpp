#include "admin/CommandLine.h"

#include <QCommandLineParser>

#include <algorithm>

namespace KOZAV::Admin {

using Backend::Result;
using Backend::Status;

namespace {

/// As it is written on a command line.
QString dashed(const QString& name)
{
    return (name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--")) + name;
}

/// What is wrong with a line of known options: the parser says it in words alone, and those are not ours.
Status unfitValue(const QStringList& arguments, const std::vector<CommandOption>& known, const QString& words)
{
    for (const CommandOption& option : known) {
        const QString start = dashed(option.name) + QLatin1Char('=');
        const auto isGiven = [&start](const QString& argument) { return argument.startsWith(start); };
        if (option.valueName.isEmpty() && std::any_of(arguments.cbegin(), arguments.cend(), isGiven))
            return Status::invalidArgument(QStringLiteral("option --%1 takes no value").arg(option.name));
    }
    for (const CommandOption& option : known)
        if (!option.valueName.isEmpty() && arguments.last() == dashed(option.name))
            return Status::invalidArgument(
                QStringLiteral("option --%1 needs a value: --%1 %2").arg(option.name, option.valueName));
    return Status::invalidArgument(words);
}

Status checkOptions(const QCommandLineParser& parser, const std::vector<CommandOption>& known)
{
    const QStringList unknown = parser.unknownOptionNames();
    if (!unknown.isEmpty())
        return Status::invalidArgument(QStringLiteral("unknown option %1").arg(dashed(unknown.first())));
    for (const CommandOption& option : known)
        if (parser.optionNames().count(option.name) > 1)
            return Status::invalidArgument(QStringLiteral("option --%1 is given twice").arg(option.name));
    return {};
}

} // namespace

std::optional<QString> CommandLine::value(const QString& option) const
{
    if (!has(option))
        return std::nullopt;
    return options.value(option);
}

Result<CommandLine> parseCommandLine(const QStringList& arguments, const std::vector<CommandOption>& known)
{
    QCommandLineParser parser;
    for (const CommandOption& option : known)
        parser.addOption(Terminal::parserOption(option));
    // The parser passes over the first word, the program's name.
    const bool parsed = parser.parse(QStringList(QString()) + arguments);
    if (const auto checked = checkOptions(parser, known); !checked.ok())
        return checked;
    if (!parsed)
        return unfitValue(arguments, known, parser.errorText());

    CommandLine line;
    line.words = parser.positionalArguments();
    for (const CommandOption& option : known)
        if (parser.isSet(option.name))
            line.options.insert(option.name, parser.value(option.name));
    return line;
}

} // namespace KOZAV::Admin
