#pragma once

#include "backend/Status.h"
#include "backend/store/DocumentStore.h"

#include <optional>
#include <string>

namespace KOZAV::Backend {

// The small files beside the contents of a local store (docs/store-layout.md).

/// Longest text that a sum file can hold.
constexpr qint64 longestSumLine = 256;

/// What a sum file says of a stored file: "<sha256> <length> <stored at>\n".
std::string formatSumLine(const StoredFile& file);

/// The reverse, for the file of that name; nothing where the text is not exactly such a line.
std::optional<StoredFile> parseSumLine(const std::string& name, const std::string& line);

/// Gives the file at path the text, complete and on the disk before it has its name; that is durable after
/// syncFolder() of its folder. A regular file of the name is replaced.
/// @param tempFolder  on the same file system
Status writeSmallFile(const std::string& path, const std::string& text, const std::string& tempFolder);

} // namespace KOZAV::Backend
