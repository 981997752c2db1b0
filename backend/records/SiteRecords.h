#pragma once

#include "backend/Status.h"
#include "services/model/Odbpp_Job_C.h"

#include <QString>

#include <optional>
#include <string>
#include <vector>

namespace KOZAV::Backend {

class Database;

/// Companies and listings beyond what the service operations offer: for administration and for the client's
/// tables.

struct CompanyRecord
{
    int companyId = 0;
    QString code;
    QString name;
    int jobCount = 0;
    int batchNumber = 0;
    QString createdTime;
    QString updatedTime;
};

/// Adds a company. Code: 1 to 32 characters without white space, control characters, '/' or '\\'; name: 1 to
/// 255 characters without control characters. Both unique, the code in
/// whatever case, as saved jobs go to the robot in lower case. AlreadyExists names what is taken.
Result<CompanyRecord> addCompany(Database& database, const QString& code, const QString& name);
/// Gives a company another name; the code stays, generated job names hold it. NotFound, AlreadyExists.
Status renameCompany(Database& database, const QString& code, const QString& newName);
/// In the order in which they were made.
Result<std::vector<CompanyRecord>> listCompanies(Database& database);

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
    bool complete = false; ///< the job-compress row exists: the import is durable
};

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

/// One original-file row with its company and the state of its flow; flow parts are absent where it has none.
struct OrigFileRecord
{
    int id = 0;
    QString guid;
    QString companyCode;
    QString companyName;
    QString jobName;
    QString generatedName;
    QString storedName;
    QString suffix;
    QString createdTime;
    std::optional<int> state;
    std::optional<int> subState;
};

/// Newest first; at most limit rows (0: all).
Result<std::vector<OrigFileRecord>> listOrigFiles(Database& database, int limit = 0);

/// One pre-processed file of a job.
struct PreFileRecord
{
    QString guid;
    QString flowGuid;
    QString jobName;
    QString firstText;
    QString secondText;
    QString thirdText;
    int userId = 0;
    QString userName;
    QString createdTime;
};

/// The pre-processed files of a job, oldest first.
Result<std::vector<PreFileRecord>> listPreFiles(Database& database, const QString& flowGuid);

/// The job flows in state (0, 0), oldest first, with the generated job name.
Result<std::vector<DataLib::Model::Odbpp_Job_C>> listWaitingJobs(Database& database);

} // namespace KOZAV::Backend
