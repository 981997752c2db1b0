#pragma once

#include "backend/Status.h"

#include <optional>
#include <string>

namespace KOZAV::Backend {

class File;

// Extended attributes: small values that some file systems keep with a file. They move with it, and sync()
// brings them to the disk with its content.

/// Gives the open file an attribute ("user." in front of the name). False where that cannot be kept: the file
/// then has none of the name. A failure where it has an older one that cannot be taken away.
[[nodiscard]] Result<bool> setFileAttribute(const File& file, const char* name, const std::string& value);

/// The attribute of the file at path; nothing where it has none, or where this user or the file system cannot
/// tell. NotFound where there is no file; Corrupt where the value is longer than limit.
[[nodiscard]] Result<std::optional<std::string>> fileAttribute(const std::string& path, const char* name,
                                                               std::size_t limit);

} // namespace KOZAV::Backend
