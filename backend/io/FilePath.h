#pragma once

#include <cstddef>
#include <string>

namespace KOZAV::Backend {

/// Longest name of a single file or folder, in bytes.
constexpr std::size_t longestFileName = 255;

/// The folder that holds path; "." for a bare name.
std::string parentFolder(const std::string& path);

/// The path of name inside folder.
std::string joinPath(const std::string& folder, const std::string& name);

/// Whether name can be one entry of a folder and nothing else: not empty, ".", "..", no '/', no NUL, not too
/// long.
bool isPlainFileName(const std::string& name);

/// Bytes of the UTF-8 character that starts at position at; 0 where there is no valid one.
std::size_t utf8SequenceLength(const std::string& bytes, std::size_t at);

bool isValidUtf8(const std::string& bytes);

} // namespace KOZAV::Backend
