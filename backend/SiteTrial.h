#pragma once

#include "backend/Status.h"

namespace KOZAV::Backend {

class DocumentStore;
struct StoreLocation;

/// Tries whether files can be kept at a location: stores a small file under a new name, finds and fetches it,
/// has other content refused under that name, and removes it. The first of these that does not succeed is the
/// failure, and nothing is left as far as it can be removed. What the store needs at the location, such as
/// the indexes of a bucket, is made by it.
Status tryStore(DocumentStore& store, const StoreLocation& location);

/// The same of a location that holds next to nothing: looks as well whether all indexes are there, which
/// takes as long as a survey.
Status tryNewStore(DocumentStore& store, const StoreLocation& location);

} // namespace KOZAV::Backend
