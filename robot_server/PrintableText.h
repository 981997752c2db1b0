#pragma once

#include <QString>

namespace KOZAV::Robot {

/// A peer's text on one line of a terminal, in quotes: control and format characters, line separators, quotes
/// and backslashes are escaped, halves of surrogate pairs are replaced, and what is longer than 200
/// characters is cut off, with "..." behind the quote.
[[nodiscard]] QString printableText(const QString& text);

/// The same without quotes around it and escaped quotes in it, for a sentence that holds text of a peer.
[[nodiscard]] QString printableLine(const QString& text);

} // namespace KOZAV::Robot
