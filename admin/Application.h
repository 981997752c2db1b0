#pragma once

#include "admin/ExitCode.h"

#include <QIODevice>
#include <QStringList>

namespace KOZAV::Admin {

/// Runs one command line.
/// @param arguments  without the program's name
/// @param out, err   where the report and a failure go, UTF-8
ExitCode runCommandLine(const QStringList& arguments, QIODevice& out, QIODevice& err);

} // namespace KOZAV::Admin
