#pragma once

#include <QString>

namespace KOZAV::Terminal {

/// Columns that a text takes in a terminal: East Asian wide and fullwidth characters take two, combining
/// marks none.
int displayWidth(const QString& text);

/// The text with control characters written as escapes ("\n", "\x1b"), so that a stored name cannot drive a
/// terminal.
QString printable(const QString& text);

} // namespace KOZAV::Terminal
