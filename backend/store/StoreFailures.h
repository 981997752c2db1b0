#pragma once

#include "backend/Status.h"
#include "backend/store/DocumentStore.h"

#include <QString>

#include <string>

namespace KOZAV::Backend {

/// Nothing is stored under the name.
Status notStored(const StoreLocation& location, const std::string& name);

/// The name is taken by other content.
Status otherContent(const StoreLocation& location, const std::string& name);

/// What is stored under the name is not what was stored.
Status damagedFile(const StoreLocation& location, const std::string& name, const QString& reason);

/// The same, where the content has another SHA-256.
Status otherSha256(const StoreLocation& location, const StoredFile& file, const QByteArray& found);

} // namespace KOZAV::Backend
