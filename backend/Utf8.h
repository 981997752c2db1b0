#pragma once

#include <cstddef>
#include <string>

namespace KOZAV::Backend {

/// Bytes of the UTF-8 character that starts at position at of bytes; 0 where there is no valid one: cut off,
/// overlong, a surrogate or beyond U+10FFFF.
std::size_t utf8SequenceLength(const std::string& bytes, std::size_t at);

/// Whether the whole text is UTF-8. A byte order mark and the characters that Unicode gives no meaning to are
/// accepted as any other.
bool isValidUtf8(const std::string& bytes);

} // namespace KOZAV::Backend
