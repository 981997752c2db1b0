#include "terminal/CommandDescription.h"

#include <algorithm>

namespace KOZAV::Terminal {

CommandOption helpOption()
{
    return {QStringLiteral("help"), {}, QStringLiteral("show this help"), false, QStringLiteral("h")};
}

CommandOption versionOption()
{
    return {QStringLiteral("version"), {}, QStringLiteral("show the version"), false, QStringLiteral("v")};
}

std::vector<NamedText> siteEnvironment()
{
    return {
        {QStringLiteral("ZAV_CONFIG"),
         QStringLiteral("the configuration file, where --config does not name one")},
        {QStringLiteral("ZAV_DATABASE_PASSWORD"),
         QStringLiteral("the password of the database server, where database/password_file names no file")},
        {QStringLiteral("ZAV_DOCUMENT_STORE_PASSWORD"),
         QStringLiteral("the password of the document server, where neither document_store/password_file nor "
                        "the URI has it")},
        {QStringLiteral("XDG_CONFIG_HOME"),
         QStringLiteral("the user's configuration folder; otherwise ~/.config")},
        {QStringLiteral("XDG_DATA_HOME"),
         QStringLiteral("the user's data folder, where a new site lies; otherwise ~/.local/share")},
        colourVariable(),
    };
}

std::vector<NamedText> siteFiles()
{
    return {
        {QStringLiteral("~/.config/zav_import/zav.ini"),
         QStringLiteral("the user's configuration, described in zav.ini(5)")},
        {QStringLiteral("/etc/zav_import/zav.ini"),
         QStringLiteral("the configuration for all users of the machine, where the user has none")},
        {QStringLiteral("~/.local/share/zav_import"), QStringLiteral("the data of a new site")},
    };
}

NamedText colourVariable()
{
    return {QStringLiteral("NO_COLOR"),
            QStringLiteral("asks for texts without colours (https://no-color.org); there are none, whether "
                           "it is set or not")};
}

QString writtenOption(const CommandOption& option)
{
    const QString name = QStringLiteral("--") + option.name;
    return option.valueName.isEmpty() ? name : name + QLatin1Char(' ') + option.valueName;
}

QString writtenOperand(const CommandOperand& operand)
{
    const QString name = operand.repeated ? operand.name + QStringLiteral("...") : operand.name;
    return operand.optional ? QLatin1Char('[') + name + QLatin1Char(']') : name;
}

QStringList usagePieces(const CommandVerb& verb)
{
    QStringList pieces = verb.name.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (const CommandOperand& operand : verb.operands)
        pieces << writtenOperand(operand);
    for (const CommandOption& option : verb.options) {
        const QString written = writtenOption(option);
        pieces << (option.required ? written : QLatin1Char('[') + written + QLatin1Char(']'));
    }
    return pieces;
}

std::vector<CommandOption> allOptions(const CommandDescription& program)
{
    std::vector<CommandOption> all = program.options;
    for (const CommandVerb& verb : program.verbs) {
        for (const CommandOption& option : verb.options) {
            const auto same = [&option](const CommandOption& other) { return other.name == option.name; };
            if (std::none_of(all.cbegin(), all.cend(), same))
                all.push_back(option);
        }
    }
    return all;
}

std::vector<NamedText> verbWords(const CommandDescription& program, const QString& first)
{
    std::vector<NamedText> words;
    for (const CommandVerb& verb : program.verbs) {
        const QStringList name = verb.name.split(QLatin1Char(' '));
        const bool isSecond = name.size() > 1;
        const QString word = first.isEmpty() ? name.front() : name.back();
        if (!first.isEmpty() && (!isSecond || name.front() != first))
            continue;
        const auto same = [&word](const NamedText& other) { return other.name == word; };
        const auto known = std::find_if(words.begin(), words.end(), same);
        if (known != words.end())
            known->text += QStringLiteral(", ") + name.back();
        else
            words.push_back({word, first.isEmpty() && isSecond ? name.back() : verb.summary});
    }
    return words;
}

QCommandLineOption parserOption(const CommandOption& option)
{
    QStringList names = {option.name};
    if (!option.letter.isEmpty())
        names << option.letter;
    return QCommandLineOption(names, option.help, option.valueName);
}

} // namespace KOZAV::Terminal
