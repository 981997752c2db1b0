#include "admin/Application.h"

#include "admin/Stopping.h"
#include "admin/Verbs.h"
#include "backend/Guarded.h"
#include "backend/config/Redaction.h"
#include "terminal/Interruption.h"
#include "terminal/PrintableText.h"

#include <QCoreApplication>
#include <QFileDevice>
#include <QJsonDocument>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

struct Meaning
{
    ExitCode code;
    const char* text;
};

constexpr Meaning meanings[] = {
    {ExitCode::Success, "success"},
    {ExitCode::Failure, "failure that has no number of its own, such as an error of the disk"},
    {ExitCode::Usage, "unknown verb or option, missing argument, or a value that is not accepted"},
    {ExitCode::NotFound, "no such company, job or stored file"},
    {ExitCode::AlreadyExists, "the code, name or file exists already"},
    {ExitCode::Configuration, "the configuration is missing, broken or not usable"},
    {ExitCode::Unavailable, "server or locked database not reached in time; a change may or may not be made"},
    {ExitCode::NotPermitted, "the operating system or the server refuses access"},
    {ExitCode::NoSpace, "no space left"},
    {ExitCode::Corrupt, "stored data is not what was stored"},
    {ExitCode::Findings, "the check has findings: the site is not clean"},
    {ExitCode::HungUp, "stopped by SIGHUP; it is told which command goes on"},
    {ExitCode::Interrupted, "the same by SIGINT (Ctrl-C)"},
    {ExitCode::Terminated, "the same by SIGTERM"},
};

Result<Report> runVerb(CommandLine line, const QStringList& arguments, QIODevice& out, QIODevice& err)
{
    const QString words = line.words.join(QLatin1Char(' '));
    const Verb* verb = takeVerb(line.words);
    if (verb == nullptr && words.isEmpty())
        return Status::invalidArgument(QStringLiteral("a verb is missing; \"zav_admin --help\" lists them"));
    if (verb == nullptr)
        return Status::invalidArgument(
            QStringLiteral("unknown verb \"%1\"; \"zav_admin --help\" lists them").arg(words));
    if (const auto checked = checkLine(*verb, line); !checked.ok())
        return checked;
    Site site(line.options.value(QStringLiteral("config")), verb->use);
    return verb->run({line, site, out, err, arguments});
}

Report versionReport()
{
    const QString version = QCoreApplication::applicationVersion();
    return {{{QStringLiteral("version"), version}}, QStringLiteral("zav_admin %1\n").arg(version)};
}

Result<Report> runLine(const QStringList& arguments, QIODevice& out, QIODevice& err)
{
    const auto line = parseCommandLine(arguments, allOptions(commandDescription()));
    if (!line.ok())
        return line.status();
    if (line->has(QStringLiteral("version")))
        return versionReport();
    if (line->has(QStringLiteral("help")))
        return helpReport(line->words);
    return runVerb(line.value(), arguments, out, err);
}

QByteArray failureText(const Status& status, bool json)
{
    const QString message = withoutPassword(status.message());
    if (!json)
        return QStringLiteral("zav_admin: %1\n").arg(printable(message)).toUtf8();
    return jsonLine({{QStringLiteral("error"), message},
                     {QStringLiteral("code"), static_cast<int>(exitCodeOf(status.code()))}});
}

/// Also where the line cannot be taken apart, the failure must come in the form that was asked for.
bool wantsJson(const QStringList& arguments)
{
    const int end = arguments.indexOf(QStringLiteral("--"));
    return arguments.mid(0, end).contains(QStringLiteral("--json"));
}

} // namespace

QByteArray jsonLine(const QJsonObject& object)
{
    QString text;
    const QString compact = QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
    // They only ever stand in strings.
    for (const QChar c : compact) {
        const bool harmless = c.category() != QChar::Other_Control && c.category() != QChar::Other_Format;
        text += harmless ? QString(c) : QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
    }
    return text.toUtf8() + '\n';
}

ExitCode exitCodeOf(ErrorCode code)
{
    switch (code) {
    case ErrorCode::None:
        return ExitCode::Success;
    case ErrorCode::InvalidArgument:
        return ExitCode::Usage;
    case ErrorCode::NotFound:
        return ExitCode::NotFound;
    case ErrorCode::AlreadyExists:
        return ExitCode::AlreadyExists;
    case ErrorCode::NotPermitted:
        return ExitCode::NotPermitted;
    case ErrorCode::NoSpace:
        return ExitCode::NoSpace;
    case ErrorCode::Corrupt:
        return ExitCode::Corrupt;
    case ErrorCode::Configuration:
        return ExitCode::Configuration;
    case ErrorCode::Unavailable:
    case ErrorCode::OutcomeUnknown:
        return ExitCode::Unavailable;
    case ErrorCode::Io:
    case ErrorCode::ChangedWhileRead:
    case ErrorCode::Internal:
    case ErrorCode::Stopped:
        break;
    }
    return ExitCode::Failure;
}

std::vector<Terminal::ExitCodeMeaning> exitCodeMeanings()
{
    std::vector<Terminal::ExitCodeMeaning> all;
    for (const Meaning& meaning : meanings)
        all.push_back({static_cast<int>(meaning.code), QLatin1String(meaning.text)});
    return all;
}

bool writeWhole(QIODevice& device, const QByteArray& bytes)
{
    auto* file = qobject_cast<QFileDevice*>(&device);
    return device.write(bytes) == bytes.size() && (file == nullptr || file->flush());
}

ExitCode runCommandLine(const QStringList& arguments, QIODevice& out, QIODevice& err)
{
    const bool json = wantsJson(arguments);
    auto report = guarded([&] { return runLine(arguments, out, err); });
    if (!report.ok())
        report = StoppableVerb::ended(report.status(), {});
    if (!report.ok()) {
        writeWhole(err, failureText(report.status(), json));
        return exitCodeOf(report.code());
    }
    Status outcome = report->outcome;
    QIODevice& device = report->besideContent ? err : out;
    if (!report->isWritten && !writeWhole(device, json ? jsonLine(report->json) : report->text.toUtf8()))
        outcome = Status::io(QStringLiteral("the report cannot be written: %1").arg(device.errorString()));
    const bool isStopped = outcome.code() == ErrorCode::Stopped;
    if (isStopped)
        writeWhole(err, stopText(report->stop, arguments, json));
    else if (!outcome.ok())
        writeWhole(err, failureText(outcome, json));
    if (isStopped)
        return static_cast<ExitCode>(Interruption::exitCode());
    return outcome.ok() ? report->success : exitCodeOf(outcome.code());
}

} // namespace KOZAV::Admin
