#pragma once

#include "admin/Command.h"

namespace KOZAV::Admin {

/// The help of the program, or of the verb that the words name.
Backend::Result<Report> helpReport(QStringList words);

Report versionReport();

} // namespace KOZAV::Admin
