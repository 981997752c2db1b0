#pragma once

#include "backend/Status.h"
#include "backend/store/DocumentStore.h"

#include <memory>

namespace KOZAV::Backend {

/// The store that files come from and the one that they go to.
struct StorePair
{
    std::unique_ptr<DocumentStore> source;
    std::unique_ptr<DocumentStore> target;

    static Result<StorePair> open(const DocumentStoreSettings& source, const DocumentStoreSettings& target);
};

} // namespace KOZAV::Backend
