#pragma once

#include "backend/Status.h"

#include <string>

namespace KOZAV::Backend {

/// Gives a file a new name on the same file system; what had that name is replaced as a whole.
Status renameReplacing(const std::string& from, const std::string& to);

/// The same, but AlreadyExists where the name is taken.
Status renameWithoutReplacing(const std::string& from, const std::string& to);

/// Gives a file a second name; AlreadyExists where the name is taken.
Status linkFile(const std::string& from, const std::string& to);

Status removeFile(const std::string& path);

} // namespace KOZAV::Backend
