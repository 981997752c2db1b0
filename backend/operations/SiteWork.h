#pragma once

#include "backend/Operation.h"
#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/store/DocumentStore.h"

namespace KOZAV::Backend {

// The ways of an operation to the site that the services work on. What fails on one of them says which part
// of the site it came from, and the operation learns which part has answered: nothing else tells it.

/// Runs work(Database&), which returns a Status. Only what the database says belongs into it.
template <typename Work>
Status withRows(Operation& call, const Work& work)
{
    const auto database = Site::current().database();
    if (!database.ok())
        return database.status();
    const auto status = work(*database.value());
    if (status.ok())
        call.answeredBy(SitePart::Rows);
    return status.from(SitePart::Rows);
}

/// Runs work(DocumentStore&, const StoreLocation&), which returns a Status; the location is the configured
/// one. Only what the store says belongs into it.
template <typename Work>
Status withFiles(Operation& call, const Work& work)
{
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return settings.status();
    const auto store = Site::current().documentStore();
    if (!store.ok())
        return store.status();
    const auto status = work(*store.value(), storeLocation(settings->documentStore));
    if (status.ok())
        call.answeredBy(SitePart::Files);
    return status.from(SitePart::Files);
}

} // namespace KOZAV::Backend
