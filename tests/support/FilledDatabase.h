#pragma once

#include "backend/database/Database.h"

namespace KOZAV::Test {

/// Adds a company and the rows of so many of its imports to a new database, the same in every run: about 1.1
/// KB each.
Backend::Status addJobs(Backend::Database& database, int count);

} // namespace KOZAV::Test
