#pragma once

#include "terminal/CommandDescription.h"

#include <QString>

namespace KOZAV::Terminal {

/// Columns of a terminal that holds every line of a help.
constexpr int helpColumns = 80;

/// How the program is called: "Usage: ...", a line or more for each way.
QString programUsage(const CommandDescription& program);

/// The whole help of a program: usage, description, verbs, options and exit codes. Lines, each ended.
QString programHelp(const CommandDescription& program);

/// The help of one verb of a program.
QString verbHelp(const CommandDescription& program, const CommandVerb& verb);

} // namespace KOZAV::Terminal
