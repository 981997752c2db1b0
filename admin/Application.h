#pragma once

#include "backend/Status.h"
#include "terminal/CommandDescription.h"

#include <QIODevice>
#include <QJsonObject>
#include <QStringList>

#include <vector>

namespace KOZAV::Admin {

/// Exit codes of zav_admin. Scripts rely on them: a number once given keeps its meaning.
enum class ExitCode {
    Success = 0,
    Failure = 1,
    Usage = 2,
    NotFound = 3,
    AlreadyExists = 4,
    Configuration = 5,
    Unavailable = 6,
    NotPermitted = 7,
    NoSpace = 8,
    Corrupt = 9,
    Findings = 11,
    HungUp = 129,
    Interrupted = 130,
    Terminated = 143
};

ExitCode exitCodeOf(Backend::ErrorCode code);

/// What the exit codes mean, in their order.
std::vector<Terminal::ExitCodeMeaning> exitCodeMeanings();

/// One line of JSON, with the controls escaped that Qt's writer leaves as they are.
QByteArray jsonLine(const QJsonObject& object);

/// Writes all of the bytes, past the device's buffer. @return whether they are out
bool writeWhole(QIODevice& device, const QByteArray& bytes);

/// Runs one command line.
/// @param arguments  without the program's name
/// @param out, err   where the report and a failure go, UTF-8
ExitCode runCommandLine(const QStringList& arguments, QIODevice& out, QIODevice& err);

} // namespace KOZAV::Admin
