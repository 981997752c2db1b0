#pragma once

#include "backend/io/FileCopy.h"

#include <cstddef>
#include <optional>
#include <string>

namespace KOZAV::Backend {

// What this process knows of the content of the folders that it has packed, by the name of the stored
// archive, until the row of the original file keeps it: the operation that packs knows the digest, the one
// that writes the row knows the name alone. Any thread.

/// Of so many folders; the one that has been kept longest goes first.
constexpr std::size_t mostPackedContents = 256;

void keepPackedContent(const std::string& storedName, const ContentDigest& content);

/// Nothing where another process has packed it, or no row was written for too long.
std::optional<ContentDigest> packedContent(const std::string& storedName);

/// To be called once the row is written.
void forgetPackedContent(const std::string& storedName);

} // namespace KOZAV::Backend
