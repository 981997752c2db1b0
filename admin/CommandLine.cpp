#include "admin/CommandLine.h"

#include <algorithm>

namespace KOZAV::Admin {

using Backend::ErrorCode;
using Backend::Result;
using Backend::Status;

namespace {

Status refused(const QString& message)
{
    return Status::invalidArgument(message);
}

class Parser final
{
public:
    Parser(const QStringList& arguments, const std::vector<CommandOption>& known)
        : m_arguments(arguments)
        , m_known(known)
    {
    }

    Result<CommandLine> parse()
    {
        bool onlyWords = false;
        while (m_at < m_arguments.size()) {
            const QString argument = m_arguments.at(m_at++);
            if (!onlyWords && argument == QLatin1String("--")) {
                onlyWords = true;
            } else if (onlyWords || !argument.startsWith(QLatin1String("--"))) {
                m_line.words << argument;
            } else {
                const Status status = takeOption(argument.mid(2));
                if (!status.ok())
                    return status;
            }
        }
        return m_line;
    }

private:
    Status takeOption(const QString& argument)
    {
        const int equals = argument.indexOf(QLatin1Char('='));
        const QString name = argument.left(equals);
        const auto same = [&name](const CommandOption& option) { return option.name == name; };
        const auto option = std::find_if(m_known.cbegin(), m_known.cend(), same);
        if (option == m_known.cend())
            return refused(QStringLiteral("unknown option --%1").arg(name));
        if (m_line.has(name))
            return refused(QStringLiteral("option --%1 is given twice").arg(name));
        if (option->valueName.isEmpty())
            return takeFlag(name, equals >= 0);
        if (equals < 0 && m_at == m_arguments.size())
            return refused(QStringLiteral("option --%1 needs a value: --%1 %2").arg(name, option->valueName));
        m_line.options.insert(name, equals < 0 ? m_arguments.at(m_at++) : argument.mid(equals + 1));
        return {};
    }

    Status takeFlag(const QString& name, bool hasValue)
    {
        if (hasValue)
            return refused(QStringLiteral("option --%1 takes no value").arg(name));
        m_line.options.insert(name, {});
        return {};
    }

    const QStringList& m_arguments;
    const std::vector<CommandOption>& m_known;
    CommandLine m_line;
    int m_at = 0;
};

} // namespace

std::optional<QString> CommandLine::value(const QString& option) const
{
    if (!has(option))
        return std::nullopt;
    return options.value(option);
}

Result<CommandLine> parseCommandLine(const QStringList& arguments, const std::vector<CommandOption>& known)
{
    return Parser(arguments, known).parse();
}

} // namespace KOZAV::Admin
