#pragma once

#include "backend/Status.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>
#include <string>
#include <vector>

namespace KOZAV::Backend {

class Database;

/// What a check asks of the rows of a site. Long answers come in pages, each of them the rows of one moment:
/// nobody is kept from writing, and no more than a page is held.

/// Where the pages of file rows continue.
struct FileRowPlace
{
    QString storedName;
    qint64 id = 0;
};

/// One original-file row with the job that it belongs to; parts of a job are absent where it has none.
struct FileRow
{
    qint64 id = 0;
    QString guid;
    QString storedName;
    QString suffix;
    std::optional<QString> companyCode; ///< absent or empty for a robot archive of a job without a file
    std::optional<qint64> storedLength;
    std::optional<QByteArray> storedSha256;
    bool lacksContent = false; ///< of a packed folder whose content the row does not hold yet
    QString createdTime;
    bool isLinked = false; ///< a job has it as its original file
    QString job;           ///< generated name of its job, or of the job that a robot archive belongs to
    QString flowGuid;
    int state = 0; ///< of the linked job
    int subState = 0;
    bool complete = false;            ///< the linked job has its last row
    std::optional<QString> fileStore; ///< that the last row of the linked job names

    /// Whether the row does not hold all that a row has today.
    [[nodiscard]] bool isUnfilled() const { return !storedSha256 || lacksContent; }
};

/// At most limit rows behind the place, in the order of the bytes of their stored names.
Result<std::vector<FileRow>> listFileRows(Database& database, const FileRowPlace& behind, int limit);

/// The rows that name the stored file, oldest first; at most a hundred, which nobody has.
Result<std::vector<FileRow>> listFileRowsOf(Database& database, const QString& storedName);

/// Whether any original-file row names the stored file.
Result<bool> isFileNamed(Database& database, const std::string& storedName);

/// The file stores that last rows of jobs name, each once.
Result<QStringList> fileStoresNamed(Database& database);

/// A complete job whose last row names another stored file than its original-file row, or that is linked to
/// no original-file row.
struct OddJob
{
    qint64 id = 0;
    QString flowGuid;
    QString job;
    QString fileStore;
    QString storedName;                    ///< of the last row
    std::optional<QString> origStoredName; ///< absent where it is not linked
};
Result<std::vector<OddJob>> listOddJobs(Database& database, qint64 afterId, int limit);

/// Links a job that is linked to no original-file row to the only one of that stored name that no job refers
/// to. NotFound where there is not exactly one.
Status linkOrigFile(Database& database, const QString& flowGuid, const QString& storedName);

/// A job without its last row that is neither voided nor told as failed.
struct HalfImport
{
    qint64 id = 0;
    QString flowGuid;
    QString job;
    QString jobName;
    int state = 0;
    int subState = 0;
    QString companyCode; ///< empty where no original file is linked
    QString createdTime;
    bool failed = false; ///< in the state of an import that failed
};
Result<std::vector<HalfImport>> listHalfImports(Database& database, qint64 afterId, int limit);

/// An original-file row that no job refers to and that belongs to no job. One whose stored file is that of a
/// job with a last row has lost its link instead (OddJob).
struct UnusedOrigFile
{
    qint64 id = 0;
    QString guid;
    QString jobName;
    QString storedName;
    QString createdTime;
};
Result<std::vector<UnusedOrigFile>> listUnusedOrigFiles(Database& database, qint64 afterId, int limit);

/// Removes the row if still no job refers to it. @return whether it was there and unused
Result<bool> removeUnusedOrigFile(Database& database, const QString& guid);

/// What was given out to a company, and what its row says.
struct CompanyCounters
{
    qint64 id = 0;
    QString code;
    QString name;
    qint64 jobCount = 0;
    qint64 batchNumber = 0;
    qint64 highestJobNumber = 0; ///< of the jobs that have their last row
    qint64 highestBatch = 0;
    QString
        newestBatchTime; ///< of the newest job of a batch above the company's batch number; empty for none
};
Result<std::vector<CompanyCounters>> listCompanyCounters(Database& database);

/// Raise a counter to at least the number; one that is there already stays.
Status raiseJobCount(Database& database, qint64 companyId, qint64 number);
Status raiseBatchNumber(Database& database, qint64 companyId, qint64 number);

Result<qint64> countJobs(Database& database);
Result<qint64> countOrigFiles(Database& database);

} // namespace KOZAV::Backend
