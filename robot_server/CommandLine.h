#pragma once

#include "robot_server/RobotServer.h"
#include "terminal/CommandDescription.h"
#include "terminal/LogFile.h"

#include <QString>
#include <QStringList>

namespace KOZAV::Robot {

/// How the program ends.
enum ExitCode : int {
    EndedAsAskedFor = 0,
    WriteFailure = 1, ///< a line could not be printed or logged
    StartFailure = 2  ///< wrong option, port taken, log not to be opened, too few files
};

/// A command line taken apart. Where it asks for help or the version, nothing else of it is looked at.
struct CommandLine
{
    RobotServerOptions server;
    QString logFile; ///< empty: none
    Terminal::LogLimits log;
    QString information; ///< to print instead of serving: the help or the version
    QString failure;     ///< why the command line cannot be taken; empty where it can
};

/// What zav_robot says of its command line.
[[nodiscard]] Terminal::CommandDescription commandDescription();

/// @param arguments  with the program's name first
/// @return the options over their defaults; with a failure they count for nothing
[[nodiscard]] CommandLine parseCommandLine(const QStringList& arguments);

} // namespace KOZAV::Robot
