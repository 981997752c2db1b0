#pragma once

#include "backend/Status.h"
#include "kozav_backend_export.h"

#include <string>

namespace KOZAV::Backend {

/// Gives a file a new name on the same file system; what had that name is replaced as a whole.
KOZAV_BACKEND_EXPORT Status renameReplacing(const std::string& from, const std::string& to);

/// The same, but AlreadyExists where the name is taken.
KOZAV_BACKEND_EXPORT Status renameWithoutReplacing(const std::string& from, const std::string& to);

/// Gives a file a second name; AlreadyExists where the name is taken.
KOZAV_BACKEND_EXPORT Status linkFile(const std::string& from, const std::string& to);

KOZAV_BACKEND_EXPORT Status removeFile(const std::string& path);

} // namespace KOZAV::Backend
