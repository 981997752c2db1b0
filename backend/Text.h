#pragma once

#include <QByteArray>
#include <QDateTime>

#include <cstddef>
#include <string>

namespace KOZAV::Backend {

// Texts as files, databases and their names have them.

/// Bytes of the UTF-8 character that starts at position at of bytes; 0 where there is no valid one: cut off,
/// overlong, a surrogate or beyond U+10FFFF.
std::size_t utf8SequenceLength(const std::string& bytes, std::size_t at);

/// Whether the whole text is UTF-8. A byte order mark and the characters that Unicode gives no meaning to are
/// accepted as any other.
bool isValidUtf8(const std::string& bytes);

/// A time in UTC as ISO 8601 with milliseconds and a trailing "Z", as QDateTime writes it for the years 0 to
/// 9999, in a small part of its time: rows and stored files carry many of them. Empty for an invalid time.
QByteArray isoTime(const QDateTime& time);

} // namespace KOZAV::Backend
