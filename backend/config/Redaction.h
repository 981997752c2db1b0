#pragma once

#include <QString>

namespace KOZAV::Backend {

/// The text with the password of every connection URI in it shown as "***": what may reach a log or a screen.
QString withoutPassword(const QString& text);

/// Whether the text holds a connection URI with a password.
bool holdsPassword(const QString& text);

} // namespace KOZAV::Backend
