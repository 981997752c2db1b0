#include "backend/migrate/StorePair.h"

#include <utility>

namespace KOZAV::Backend {

Result<StorePair> StorePair::open(const DocumentStoreSettings& source, const DocumentStoreSettings& target)
{
    Result<std::unique_ptr<DocumentStore>> from = openDocumentStore(source);
    if (!from.ok())
        return from.status();
    Result<std::unique_ptr<DocumentStore>> to = openDocumentStore(target);
    if (!to.ok())
        return to.status();
    return StorePair{std::move(from.value()), std::move(to.value())};
}

} // namespace KOZAV::Backend
