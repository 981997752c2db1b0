#pragma once

#include "terminal/CommandDescription.h"

#include <QString>

namespace KOZAV::Host {

/// Exit code of a client that did not start: its command line, configuration or site is at fault.
constexpr int notStarted = 2;

/// What zav_client was asked to do.
struct CommandLine
{
    enum class Task { ShowWindow, ImportBatch, CheckBatch, ImportJob };

    Task task = Task::ShowWindow;
    QString configuration;  ///< absolute path; empty: the usual places
    QString batchDirectory; ///< absolute path
    bool json = false;      ///< for ImportBatch, as the three that follow: see BatchOptions
    bool skipKnown = false;
    bool allowLinks = false;
    QString report;              ///< absolute path; empty: none
    QString importJob;           ///< generated job name
    int mode = -1;               ///< the job list panel's, for ImportJob
    QString screenshots;         ///< absolute path of a directory; empty: none
    bool robot = false;          ///< start a robot's stand-in inside
    bool platformChosen = false; ///< Qt's own option -platform is given

    [[nodiscard]] bool unattended() const { return task != Task::ShowWindow; }
};

/// What zav_client says of its command line.
Terminal::CommandDescription commandDescription();

/// Reads the command line before there is a QApplication, and so without a display. Options of Qt's start-up
/// are left to it. Ends the program after --help and --version, and where the line cannot be followed: then
/// with notStarted and the reason on the standard error.
CommandLine readCommandLine(int argc, char** argv);

} // namespace KOZAV::Host
