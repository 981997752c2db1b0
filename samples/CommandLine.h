#pragma once

#include "samples/BatchGenerator.h"
#include "samples/JobGenerator.h"

#include <QString>
#include <QStringList>

namespace KOZAV::Samples {

/// What the arguments ask for.
struct CommandLine
{
    enum class Verb { Help, Job, Batch, Invalid };

    Verb verb = Verb::Help;
    /// Why the arguments are invalid.
    QString error;
    JobRequest job;
    BatchRequest batch;
    bool json = false;
};

/// The first argument is the program's name. A request that is returned is a valid one.
[[nodiscard]] CommandLine parseCommandLine(const QStringList& arguments);

[[nodiscard]] QString usageText();

} // namespace KOZAV::Samples
