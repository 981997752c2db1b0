#pragma once

#include "backend/Status.h"
#include "backend/store/DocumentStore.h"

#include <string>

namespace KOZAV::Backend {

/// Whether a file may be stored under the name in every kind of store: it has to be usable as one file name.
Status checkStoredName(const std::string& name);

/// The same for both texts of a location. These come from configurations that sites share between systems, so
/// a backslash is refused as well.
Status checkStoreLocation(const StoreLocation& location);

/// The location as text for messages: "database/fileStore".
QString locationText(const StoreLocation& location);

} // namespace KOZAV::Backend
