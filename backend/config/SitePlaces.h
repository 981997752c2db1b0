#pragma once

#include "backend/Status.h"
#include "backend/config/Settings.h"

#include <QString>

namespace KOZAV::Backend {

/// Whether a server that is named so can only be on this machine: localhost, an address of the loopback
/// network, or the path of a socket. Names are not looked up. An address of IPv6 may stand in brackets, as in
/// a URI.
bool isLoopback(const QString& host);

/// Where the rows or the stored files of a site lie, in words; holds no password.
QString placeOf(const DatabaseSettings& settings);
QString placeOf(const DocumentStoreSettings& settings);

/// Whether both settings lead to the same rows, or to the same stored files, as far as the settings tell:
/// links between paths are followed, other names of a server are not looked up.
bool isSamePlace(const DatabaseSettings& one, const DatabaseSettings& other);
bool isSamePlace(const DocumentStoreSettings& one, const DocumentStoreSettings& other);

} // namespace KOZAV::Backend
