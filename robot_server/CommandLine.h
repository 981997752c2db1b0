#pragma once

#include "robot_server/RobotServerOptions.h"

#include <QString>
#include <QStringList>

namespace KOZAV::Robot {

/// A command line taken apart.
struct CommandLine
{
    RobotServerOptions server;
    QString logFile;     ///< empty: none
    QString information; ///< to print instead of serving: the help or the version
    QString failure;     ///< why the command line cannot be taken; empty where it can
};

/// @param arguments  with the program's name first
[[nodiscard]] CommandLine parseCommandLine(const QStringList& arguments);

} // namespace KOZAV::Robot
