#pragma once

#include "kozav_backend_export.h"

namespace KOZAV::Backend {

/// Whether an open file of the operating system is a terminal that a person may look at.
KOZAV_BACKEND_EXPORT bool isTerminal(int descriptor);

/// How many columns that terminal has; 80 where it does not tell.
KOZAV_BACKEND_EXPORT int terminalColumns(int descriptor);

} // namespace KOZAV::Backend
