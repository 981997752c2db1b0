#pragma once

#include "backend/Status.h"
#include "backend/io/FileCopy.h"

#include <QString>

#include <optional>
#include <vector>

namespace KOZAV::Backend {

class Database;
class RowReader;
struct JobRecord;

/// What the rows of original files say of the content of stored files (docs/schema.md): whoever fetches one
/// compares it with its row, so that files that changed places together with their sums are found.

/// Reads two columns, a length and a SHA-256; nothing where one is NULL.
std::optional<ContentDigest> readContent(RowReader& row);

/// The row of one stored file that knows its content.
struct FileClaim
{
    QString job; ///< generated name, or, of a file that belongs to no job, the name it came with
    QString storedName;
    QString fileStore; ///< empty where no row says it: the configured one
    ContentDigest stored;
};

/// All of them, in the order in which they were made.
Result<std::vector<FileClaim>> listFileClaims(Database& database);

/// Corrupt, naming job and stored file, where the content found is not the claimed one.
Status checkClaim(const FileClaim& claim, const ContentDigest& found);

/// The same for the stored file of a job; a success where its row knows no content.
Status checkContent(const JobRecord& job, const ContentDigest& found);

/// Gives a row what it lacks, and leaves alone what it has. Deferred: after a crash of the machine it may
/// have to be done again.
/// @param content  of the archive of a folder; nothing for other files
/// @return whether the row lacked any of it
Result<bool> fillContent(Database& database, qint64 number, const ContentDigest& stored,
                         const std::optional<ContentDigest>& content);

} // namespace KOZAV::Backend
