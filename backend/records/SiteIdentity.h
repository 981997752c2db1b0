#pragma once

#include "backend/Status.h"

#include <QString>

#include <vector>

namespace KOZAV::Backend {

class Database;

/// What a database tells of the site that it belongs to: its identity, and which files have to be in the
/// store beside it.

/// The identity of the site; empty where the database has none.
Result<QString> siteIdentity(Database& database);

/// Gives the database its identity, durably, and for good: AlreadyExists where it has another one.
Status setSiteIdentity(Database& database, const QString& identity);

/// Gives the database another identity in the place of the present one; AlreadyExists where it has a third.
/// Durable, or with the transaction that it is called in.
Status replaceSiteIdentity(Database& database, const QString& present, const QString& identity);

/// A stored file that a job's last row names.
struct NamedFile
{
    QString fileStore;
    QString storedName;
};

/// The files of the jobs that were imported last, newest first, at most limit: jobs whose import is complete
/// and was not voided.
Result<std::vector<NamedFile>> newestFiles(Database& database, int limit);

/// Whether the database knows of any original file, of whatever job.
Result<bool> hasOrigFiles(Database& database);

} // namespace KOZAV::Backend
