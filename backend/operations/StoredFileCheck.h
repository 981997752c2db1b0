#pragma once

#include "backend/Status.h"
#include "backend/store/DocumentStore.h"

#include <string>

namespace KOZAV::Backend {

/// The file store that the site's settings name.
Result<StoreLocation> configuredLocation();

/// Fails unless the site's document store holds a file of that name: to be asked before a row that points at
/// it.
Status requireStoredFile(const StoreLocation& location, const std::string& storedName);

} // namespace KOZAV::Backend
