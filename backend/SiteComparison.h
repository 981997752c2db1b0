#pragma once

#include "backend/Status.h"
#include "backend/config/Settings.h"

namespace KOZAV::Backend {

class Database;
class DocumentStore;

/// The three parts of a site, open: the settings, and the database and the store that these name.
struct SiteParts
{
    const Settings& settings;
    Database& database;
    DocumentStore& store;
};

// Refusals are of the code Configuration and say what to do. Whatever keeps a part from answering is told as
// the part tells it.

/// Refuses a database that is not of this site.
Status compareDatabase(Database& database, const QString& identity);

/// Refuses a store whose configured location is not of this site.
Status compareStore(DocumentStore& store, const DocumentStoreSettings& settings, const QString& identity);

/// What became of the files that the newest rows name.
struct NewestFiles
{
    int looked = 0;  ///< at so many files, 100 at most
    int missing = 0; ///< so many of these are not in the store
    QString example; ///< a name of those
};

/// Looks for the files of the jobs that were imported last, with one question to the store.
Result<NewestFiles> lookForNewestFiles(const SiteParts& parts);

/// Refuses a store in which a tenth or more of these files are missing.
Status judge(const NewestFiles& files, const SiteParts& parts);

// The refusals of a part that is not there, or is empty, beside one with content.
Status databaseLost(const Settings& settings);
Status storeLost(const DocumentStoreSettings& settings);

/// Who asks for an identity that not all parts have yet.
enum class Asker {
    Opening,  ///< takes over what was begun or what all parts agree on, and refuses the rest
    Creation, ///< also gives the site's identity to a part without one that the other part fits
    Filling   ///< the same for a part that is empty beside one with content, and will be filled
};

/// The identity of the site, which database and store have when this succeeds: the one that they have, or a
/// new one, once they were compared by their contents. It goes to the store first and to the database
/// afterwards; the caller writes it to the configuration last.
Result<QString> settleIdentity(const SiteParts& parts, Asker asker);

} // namespace KOZAV::Backend
