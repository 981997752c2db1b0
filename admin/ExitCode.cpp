#include "admin/ExitCode.h"

namespace KOZAV::Admin {

using Backend::ErrorCode;

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
};

} // namespace

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
        break;
    }
    return ExitCode::Failure;
}

QString exitCodeHelp()
{
    QString help;
    for (const Meaning& meaning : meanings)
        help +=
            QStringLiteral("  %1  %2\n").arg(static_cast<int>(meaning.code)).arg(QLatin1String(meaning.text));
    return help;
}

} // namespace KOZAV::Admin
