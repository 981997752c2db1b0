#pragma once

#include "backend/Status.h"
#include "backend/database/Database.h"
#include "backend/operations/RowValues.h"

#include <string>

namespace KOZAV::Backend {

/// State pair of a job flow whose import failed: the row is kept, but nobody waits for it.
constexpr int importFailedState = -1;
constexpr int importFailedSubState = -1;

/// Runs an UPDATE of one job-flow row whose last bound value is the flow key. NotFound where no row has that
/// key or the update refers to an original file that does not exist; InvalidArgument for an empty key.
/// Repeated where its answer is lost: the update has to set values that do not depend on the row.
Status changeFlow(const char* sql, RowValues values, const std::string& flowGuid, Durability durability);

} // namespace KOZAV::Backend
