#include "admin/Application.h"

#include "admin/CommandRegistry.h"
#include "admin/Help.h"
#include "admin/Workplace.h"
#include "backend/config/Redaction.h"
#include "backend/config/Settings.h"
#include "terminal/PrintableText.h"

#include <QFileDevice>
#include <QJsonDocument>

#include <algorithm>
#include <exception>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

Status misused(const QString& message)
{
    return Status::invalidArgument(message);
}

/// The options of all verbs, so that a line can be taken apart before its verb is known.
std::vector<CommandOption> allOptions()
{
    std::vector<CommandOption> all = commonOptions();
    for (const auto& command : commands()) {
        for (const CommandOption& option : command->options())
            all.push_back(option);
    }
    return all;
}

bool names(const std::vector<CommandOption>& options, const QString& name)
{
    return std::any_of(options.cbegin(), options.cend(),
                       [&name](const auto& option) { return option.name == name; });
}

Status checkOptions(const Command& command, const CommandLine& line)
{
    const std::vector<CommandOption> own = command.options();
    for (auto given = line.options.cbegin(); given != line.options.cend(); ++given) {
        if (!names(own, given.key()) && !names(commonOptions(), given.key()))
            return misused(QStringLiteral("\"%1\" has no option --%2").arg(command.verb(), given.key()));
    }
    for (const CommandOption& option : own) {
        if (option.required && !line.has(option.name))
            return misused(
                QStringLiteral("\"%1\" needs --%2 %3").arg(command.verb(), option.name, option.valueName));
    }
    return {};
}

Status checkOperands(const Command& command, const CommandLine& line)
{
    const std::vector<Operand> operands = command.operands();
    const int given = line.words.size();
    if (given > static_cast<int>(operands.size()))
        return misused(QStringLiteral("\"%1\" takes no \"%2\"; usage: zav_admin %3")
                           .arg(command.verb(), line.words.last(), usageOf(command)));
    for (int i = given; i < static_cast<int>(operands.size()); ++i) {
        const Operand& operand = operands[static_cast<size_t>(i)];
        if (operand.required)
            return misused(QStringLiteral("\"%1\" needs %2; usage: zav_admin %3")
                               .arg(command.verb(), operand.name, usageOf(command)));
    }
    return {};
}

Result<Report> runVerb(CommandLine line, QIODevice& err)
{
    const QString words = line.words.join(QLatin1Char(' '));
    const Command* command = takeCommand(line.words);
    if (command == nullptr && words.isEmpty())
        return misused(QStringLiteral("a verb is missing; \"zav_admin --help\" lists them"));
    if (command == nullptr)
        return misused(QStringLiteral("unknown verb \"%1\"; \"zav_admin --help\" lists them").arg(words));
    const Status options = checkOptions(*command, line);
    if (!options.ok())
        return options;
    const Status operands = checkOperands(*command, line);
    if (!operands.ok())
        return operands;
    Workplace workplace(configurationPath(line.options.value(QStringLiteral("config"))), &err);
    return command->run(line, workplace);
}

Result<Report> runLine(const QStringList& arguments, QIODevice& err)
{
    const Result<CommandLine> line = parseCommandLine(arguments, allOptions());
    if (!line.ok())
        return line.status();
    if (line->has(QStringLiteral("version")))
        return versionReport();
    if (line->has(QStringLiteral("help")))
        return helpReport(line->words);
    return runVerb(line.value(), err);
}

Result<Report> runGuarded(const QStringList& arguments, QIODevice& err)
{
    try {
        return runLine(arguments, err);
    } catch (const std::exception& exception) {
        return Status::internal(QString::fromLocal8Bit(exception.what()));
    }
}

/// JSON text with the controls escaped that the writer leaves as they are: they only ever stand in strings.
QByteArray jsonText(const QJsonObject& object)
{
    QString text;
    const QString compact = QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
    for (const QChar c : compact) {
        const bool harmless = c.category() != QChar::Other_Control && c.category() != QChar::Other_Format;
        text += harmless ? QString(c) : QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
    }
    return text.toUtf8() + '\n';
}

QByteArray failureText(const Status& status, bool json)
{
    const QString message = withoutPassword(status.message());
    if (!json)
        return QStringLiteral("zav_admin: %1\n").arg(printable(message)).toUtf8();
    return jsonText({{QStringLiteral("error"), message},
                     {QStringLiteral("code"), static_cast<int>(exitCodeOf(status.code()))}});
}

bool writeWhole(QIODevice& device, const QByteArray& bytes)
{
    auto* file = qobject_cast<QFileDevice*>(&device);
    return device.write(bytes) == bytes.size() && (file == nullptr || file->flush());
}

/// Also where the line cannot be taken apart, the failure must come in the form that was asked for.
bool wantsJson(const QStringList& arguments)
{
    const int end = arguments.indexOf(QStringLiteral("--"));
    return arguments.mid(0, end).contains(QStringLiteral("--json"));
}

} // namespace

ExitCode runCommandLine(const QStringList& arguments, QIODevice& out, QIODevice& err)
{
    const bool json = wantsJson(arguments);
    const Result<Report> report = runGuarded(arguments, err);
    if (!report.ok()) {
        writeWhole(err, failureText(report.status(), json));
        return exitCodeOf(report.code());
    }
    Status outcome = report->outcome;
    if (!writeWhole(out, json ? jsonText(report->json) : report->text.toUtf8()))
        outcome = Status::io(QStringLiteral("the report cannot be written: %1").arg(out.errorString()));
    if (!outcome.ok())
        writeWhole(err, failureText(outcome, json));
    return exitCodeOf(outcome.code());
}

} // namespace KOZAV::Admin
