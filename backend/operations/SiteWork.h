#pragma once

#include "backend/Operation.h"
#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/operations/FailedFlows.h"
#include "backend/operations/ImportRoad.h"
#include "backend/operations/Patience.h"
#include "backend/store/DocumentStore.h"

namespace KOZAV::Backend {

// The ways of an operation to the site that the services work on. What fails on one of them says which part
// of the site it came from, and the operation learns which part has answered: nothing else tells it. In a
// batch a server that does not answer is waited for here (Patience.h).

/// A part that could not be opened. A configuration that is not usable is no part's failure.
inline Status ofOpening(const Status& failed, SitePart part)
{
    return failed.code() == ErrorCode::Configuration ? failed : failed.from(part);
}

/// Runs attempt, and settles what it came to where it has failed.
template <typename Attempt>
Status patiently(Operation& call, const Attempt& attempt)
{
    if (auto refused = refusalOf(call); !refused.ok())
        return refused;
    auto status = attempt();
    return status.ok() ? status : settle(call, status, attempt);
}

/// Runs work(Database&), which returns a Status. Only what the database says belongs into it. It may run
/// again (Operation::isRepeated).
template <typename Work>
Status withRows(Operation& call, const Work& work)
{
    return patiently(call, [&]() -> Status {
        const auto database = Site::current().database();
        if (!database.ok())
            return ofOpening(database.status(), SitePart::Rows);
        const auto worked = work(*database.value());
        if (worked.ok()) {
            call.answeredBy(SitePart::Rows);
            ImportRoad::ofThisThread().noteRows(true);
            withdrawPendingFlows(*database.value());
        }
        return worked.from(SitePart::Rows);
    });
}

/// Runs work(DocumentStore&, const StoreLocation&), which returns a Status; the location is the configured
/// one. Only what the store says belongs into it. It may run again.
template <typename Work>
Status withFiles(Operation& call, const Work& work)
{
    return patiently(call, [&]() -> Status {
        const auto settings = Site::current().settings();
        if (!settings.ok())
            return settings.status();
        const auto store = Site::current().documentStore();
        if (!store.ok())
            return ofOpening(store.status(), SitePart::Files);
        const auto status = work(*store.value(), storeLocation(settings->documentStore));
        if (status.ok())
            call.answeredBy(SitePart::Files);
        return status.from(SitePart::Files);
    });
}

} // namespace KOZAV::Backend
