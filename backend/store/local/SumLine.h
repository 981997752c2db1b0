#pragma once

#include "backend/store/DocumentStore.h"

#include <optional>
#include <string>

namespace KOZAV::Backend {

/// Longest text that a sum file can hold.
constexpr qint64 longestSumLine = 256;

/// What a sum file of the local store says of a stored file: "<sha256> <length> <stored at>\n".
std::string formatSumLine(const StoredFile& file);

/// The reverse, for the file of that name; nothing where the text is not exactly such a line.
std::optional<StoredFile> parseSumLine(const std::string& name, const std::string& line);

} // namespace KOZAV::Backend
