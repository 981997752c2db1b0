#pragma once

#include "backend/Status.h"

#include <QString>

namespace KOZAV::Backend {

/// Reads the text to the right of a "=". A failure's message says what is wrong with it, as in "holds ...".
Result<QString> decodeIniValue(const QString& text);

/// The text that decodeIniValue() reads as value, in one line.
QString encodeIniValue(const QString& value);

} // namespace KOZAV::Backend
