#pragma once

#include "backend/Status.h"

#include <QString>

namespace KOZAV::Backend {

/// Checks that a path names a writable regular file, or makes an empty one there: mode 0600, missing folders
/// 0700. A file that exists is left as it is, also where another program makes it at the same time.
Status prepareSqliteFile(const QString& path);

} // namespace KOZAV::Backend
