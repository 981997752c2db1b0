#pragma once

#include <QStringList>
#include <QTextStream>

namespace KOZAV::Samples {

/// Exit codes of zav_samples.
constexpr int kExitDone = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

/// The program zav_samples; the first argument is the program's name. Returns the exit code.
int runProgram(const QStringList& arguments, QTextStream& out, QTextStream& errors);

} // namespace KOZAV::Samples
