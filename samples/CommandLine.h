#pragma once

#include "terminal/CommandDescription.h"

namespace KOZAV::Samples {

/// How the program ends.
enum ExitCode : int { Done = 0, Failed = 1, WrongUse = 2 };

/// What zav_samples says of its command line.
Terminal::CommandDescription commandDescription();

} // namespace KOZAV::Samples
