#pragma once

#include "backend/Status.h"
#include "backend/io/FileCopy.h"

#include <QString>
#include <QStringList>

#include <vector>

namespace KOZAV::Backend {

class Database;

/// Content that a site has already, by what the rows of original files say of it.

enum class KnownBy {
    StoredFile,   ///< the file as it is stored: of archives as they came
    FolderContent ///< what a packed folder holds, whose archive depends on times
};

/// Of these lengths those of which anything is there, as far as rows know: of another length nothing needs to
/// be hashed to be looked for. It may belong to no job that findKnownContent() would tell. One query for some
/// dozens of lengths.
Result<std::vector<qint64>> findKnownLengths(Database& database, KnownBy by,
                                             const std::vector<qint64>& lengths);

/// One job with that content.
struct KnownJob
{
    QString flowGuid;
    QString generatedName;
    QString jobName; ///< name the job came with
    int companyId = 0;
    QString companyCode;
    QString companyName; ///< at the time of the import
    int state = 0;
    int subState = 0;
    QString createdTime;
};

/// The jobs whose import is complete and was not taken back, oldest first. Found by an index, however many
/// rows there are.
Result<std::vector<KnownJob>> findKnownContent(Database& database, KnownBy by, const ContentDigest& content);

/// A content, and a job that has it.
struct KnownContent
{
    ContentDigest content;
    KnownJob job;
};

/// The same for many contents: of each, and of each company that has it, the oldest such job. One query
/// for some dozens of contents.
Result<std::vector<KnownContent>> findKnownContents(Database& database, KnownBy by,
                                                    const std::vector<ContentDigest>& contents);

/// What the row of a job's original file says of its content.
struct JobContent
{
    QString flowGuid;
    KnownBy by = KnownBy::StoredFile; ///< of a packed folder: FolderContent
    ContentDigest content;
};

/// Of the jobs with these flow keys; those are missing whose rows do not know it. One query for some dozens.
Result<std::vector<JobContent>> contentsOfJobs(Database& database, const QStringList& flowGuids);

} // namespace KOZAV::Backend
