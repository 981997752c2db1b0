#pragma once

#include <QString>

namespace KOZAV::Terminal {

/// Columns that a text takes in a terminal: East Asian wide and fullwidth characters take two, combining
/// marks none.
int displayWidth(const QString& text);

/// The text with what has no shape of its own as escapes ("\n", "\x1b", "\u{202e}"): control and format
/// characters, line separators, code points for private use or for nothing. So a stored or received name can
/// neither drive a terminal nor look like another. Halves of surrogate pairs become U+FFFD; backslashes stay.
QString printable(const QString& text);

} // namespace KOZAV::Terminal
