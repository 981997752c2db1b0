#pragma once

#include "backend/Status.h"
#include "backend/io/FileCopy.h"

#include <QString>

#include <vector>

namespace KOZAV::Backend {

class Database;

/// Content that a site has already, by what the rows of original files say of it.

enum class KnownBy {
    StoredFile,   ///< the file as it is stored: of archives as they came
    FolderContent ///< what a packed folder holds, whose archive depends on times
};

/// Whether anything of that length is there, as far as rows know: where it is not, nothing needs to be hashed
/// to be looked for. It may belong to no job that findKnownContent() would tell.
Result<bool> hasKnownLength(Database& database, KnownBy by, qint64 length);

/// One job with that content.
struct KnownJob
{
    QString flowGuid;
    QString generatedName;
    QString jobName; ///< name the job came with
    QString companyCode;
    QString companyName; ///< at the time of the import
    int state = 0;
    int subState = 0;
    QString createdTime;
};

/// The jobs whose import is complete and was not taken back, oldest first. Found by an index, however many
/// rows there are.
Result<std::vector<KnownJob>> findKnownContent(Database& database, KnownBy by, const ContentDigest& content);

} // namespace KOZAV::Backend
