#pragma once

#include <QString>

namespace KOZAV::Backend {

/// The text with the password of every connection URI in it shown as "***": what may reach a log or a screen.
/// A password is found however it is written (with "/", "@", ":" or blanks, after a scheme without its
/// slashes or in capitals, percent-encoded); where its end is not certain, more of the line is hidden.
QString withoutPassword(const QString& text);

/// Whether the text holds a connection URI with a password.
bool holdsPassword(const QString& text);

} // namespace KOZAV::Backend
