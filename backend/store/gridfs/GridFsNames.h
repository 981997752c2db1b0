#pragma once

#include "backend/Status.h"
#include "backend/store/DocumentStore.h"

#include <string>

namespace KOZAV::Backend {

/// Whether both texts of a location can be names of MongoDB, which accepts less than a file system.
Status checkGridFsLocation(const StoreLocation& location);

/// Whether a file can be stored under the name: that of a file everywhere, and valid UTF-8, which BSON wants.
Status checkGridFsName(const std::string& name);

} // namespace KOZAV::Backend
