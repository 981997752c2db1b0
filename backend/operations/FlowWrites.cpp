#include "backend/operations/FlowWrites.h"

#include "backend/Site.h"

#include <utility>

namespace KOZAV::Backend {

Status changeFlow(const char* sql, RowValues values, const std::string& flowGuid, Durability durability)
{
    if (flowGuid.empty())
        return Status::invalidArgument(QStringLiteral("the flow key is empty"));
    values.text("flow key", flowGuid);
    if (!values.status().ok())
        return values.status();
    const Result<Database*> database = Site::current().database();
    if (!database.ok())
        return database.status();
    Result<int> changed = database.value()->change(sql, values.list(), durability);
    // The same values again: whether the first write was carried out makes no difference then.
    if (changed.code() == ErrorCode::OutcomeUnknown)
        changed = database.value()->change(sql, values.list(), durability);
    if (changed.ok() && changed.value() == 0)
        return Status::notFound(QStringLiteral("there is no job flow with that key"));
    if (changed.code() == ErrorCode::NotFound)
        return Status::notFound(QStringLiteral("the original file does not exist: ") + changed.message());
    return changed.status();
}

} // namespace KOZAV::Backend
