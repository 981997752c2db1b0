#pragma once

#include "kozav_backend_export.h"

#include <QString>

namespace KOZAV::Backend {

/// The text with the password of every connection URI in it shown as "***": what may reach a log or a screen.
KOZAV_BACKEND_EXPORT QString withoutPassword(const QString& text);

/// Whether the text holds a connection URI with a password.
KOZAV_BACKEND_EXPORT bool holdsPassword(const QString& text);

} // namespace KOZAV::Backend
