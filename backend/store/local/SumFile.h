#pragma once

#include "backend/Status.h"
#include "backend/store/DocumentStore.h"

#include <optional>
#include <string>

namespace KOZAV::Backend {

class File;

// What a local store keeps beside the contents (docs/store-layout.md): the sum line of a file, as an
// attribute of its content and as a small file, and the other small files.

/// Longest text that a sum can be.
constexpr qint64 longestSumLine = 256;

/// What a sum says of a stored file: "<sha256> <length> <stored at>\n".
std::string formatSumLine(const StoredFile& file);

/// The reverse, for the file of that name; nothing where the text is not exactly such a line.
std::optional<StoredFile> parseSumLine(const std::string& name, const std::string& line);

/// Gives an open content its sum, which is on the disk with it after sync(). False where the file system
/// cannot: the content then has none. A failure where it has an older one that stays.
Result<bool> attachSum(const File& data, const StoredFile& file);

/// The sum that the content at path carries; nothing where it has none. Corrupt where it is too long.
Result<std::optional<std::string>> attachedSum(const std::string& dataPath);

/// What is known of the content at dataPath: the sum that it carries or, where it carries none, the text of
/// the sum file. Nothing where neither is there; Corrupt where it is too long.
Result<std::optional<std::string>> knownSum(const std::string& dataPath, const std::string& sumPath);

/// Gives the file at path the text, complete and on the disk before it has its name; that is durable after
/// syncFolder() of its folder. A regular file of the name is replaced.
/// @param tempFolder  on the same file system
Status writeSmallFile(const std::string& path, const std::string& text, const std::string& tempFolder);

/// The same without bringing anything to the disk: a crash may leave any part of it, or what was there
/// before.
Status writeUnflushed(const std::string& path, const std::string& text);

} // namespace KOZAV::Backend
