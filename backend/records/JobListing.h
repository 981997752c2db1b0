#pragma once

#include "backend/Status.h"
#include "backend/io/FileCopy.h"
#include "services/model/Odbpp_Job_C.h"

#include <QString>

#include <functional>
#include <optional>
#include <vector>

namespace KOZAV::Backend {

class Database;

/// One imported job: its flow row with what is linked to it. Absent parts are empty texts or 0.
struct JobRecord
{
    int jobId = 0;
    QString flowGuid;
    QString generatedName;
    QString jobName;
    QString flowNo;
    int state = 0;
    int subState = 0;
    int batchNumber = 0;
    int userId = 0;
    QString createdTime;
    QString origFileGuid;
    QString companyCode;
    QString companyName;
    QString storedName;
    QString suffix;
    QString fileStore;
    QString resource;
    QString customer2;
    QString customer3;
    std::optional<ContentDigest> stored;  ///< the stored file, as it was put; absent in a row that was not
                                          ///< filled yet (docs/schema.md)
    std::optional<ContentDigest> content; ///< of a packed folder: its content
    bool complete = false;                ///< the job-compress row exists: the import is durable
};

/// State pair of a job that was taken back (JobVoiding.h).
constexpr int voidedState = -2;
constexpr int voidedSubState = -2;
[[nodiscard]] bool isVoided(const JobRecord& job);

/// Whether its import was found to have failed (FailedImport.h), complete or not.
[[nodiscard]] bool hasFailed(const JobRecord& job);

/// All given conditions must hold.
struct JobFilter
{
    std::optional<QString> companyCode;
    std::optional<QString> companyName;
    std::optional<QString> generatedName;
    std::optional<QString> flowGuid;
    std::optional<int> state;
    std::optional<int> subState;
    std::optional<int> batchNumber;
};

/// Oldest first.
Result<std::vector<JobRecord>> listJobs(Database& database, const JobFilter& filter);

/// The same one by one, of those with a greater number than a given one, until visit returns false. Without a
/// company, a batch or a key in the filter no more than some hundred of them are in memory at a time, and
/// each of these lots is of a moment of its own.
Status visitJobs(Database& database, const JobFilter& filter, int after,
                 const std::function<bool(const JobRecord& job)>& visit);

/// The job with that generated name; NotFound.
Result<JobRecord> jobNamed(Database& database, const QString& generatedName);

/// The job flows in state (0, 0) whose import is complete, oldest first, with the generated job name.
Result<std::vector<DataLib::Model::Odbpp_Job_C>> listWaitingJobs(Database& database);

/// The same in less time, where it was read from the same database before: an import that was complete stays
/// so, and only jobs that were not on the list are asked for their last row.
Result<std::vector<DataLib::Model::Odbpp_Job_C>>
listWaitingJobs(Database& database, const std::vector<DataLib::Model::Odbpp_Job_C>& before);

/// Whether a complete import of that stored file is there that did not fail, voided or not.
Result<bool> isImported(Database& database, const QString& storedName);

} // namespace KOZAV::Backend
