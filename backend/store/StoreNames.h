#pragma once

#include "backend/Status.h"
#include "backend/store/DocumentStore.h"

#include <QString>

#include <string>

namespace KOZAV::Backend {

/// Whether a file may be stored under the name in every kind of store: it has to be usable as one file name.
Status checkStoredName(const std::string& name);

/// The same for both texts of a location. These come from configurations that sites share between systems, so
/// a backslash is refused as well.
Status checkStoreLocation(const StoreLocation& location);

/// The location as text for messages: "database/fileStore".
QString locationText(const StoreLocation& location);

/// Whether a text can be the identity that marks a location: up to 64 letters, digits and hyphens.
Status checkSiteIdentity(const QString& identity);

// The failures that every kind of store tells of alike.

/// Nothing is stored under the name.
Status notStored(const StoreLocation& location, const std::string& name);

/// The quarantine has no file of the name.
Status notQuarantined(const StoreLocation& location, const std::string& name);

/// A file is in quarantine under the name already.
Status quarantinedAlready(const StoreLocation& location, const std::string& name);

/// A file cannot be put back: another one is stored under its name.
Status storedAnew(const StoreLocation& location, const std::string& name);

/// The location is marked as one of another site.
Status otherSite(const StoreLocation& location, const QString& identity);

/// The flaw is damage, which cannot be mended from what the store has.
Status notMendable(const StoreLocation& location, const StoreFlaw& flaw);

/// The name is taken by other content.
Status otherContent(const StoreLocation& location, const std::string& name);

/// What is stored under the name is not what was stored.
Status damagedFile(const StoreLocation& location, const std::string& name, const QString& reason);

/// The same, where the content has another SHA-256.
Status otherSha256(const StoreLocation& location, const StoredFile& file, const QByteArray& found);

} // namespace KOZAV::Backend
