#pragma once

#include "backend/database/Database.h"

namespace KOZAV::Test {

/// Adds a company and the rows of so many of its imports to a new database, the same in every run: about 1.1
/// KB each.
Backend::Status addJobs(Backend::Database& database, int count);

/// Adds seven companies, of which one's code begins with another's, and so many jobs of all states, in
/// batches and by themselves, some with the same name and some whose import did not end, to a new database.
/// Their times go back and forth as those of several machines do. The same in every run.
Backend::Status addVariedJobs(Backend::Database& database, int count);

} // namespace KOZAV::Test
