#pragma once

#include "backend/Status.h"
#include "services/model/Odbpp_Company.h"

#include <QString>

#include <optional>
#include <vector>

namespace KOZAV::Backend {

class Database;
struct DatabaseSettings;

/// Companies and the files beside a site's jobs, beyond what the service operations offer: for administration
/// and for the client's tables.

/// All given conditions must hold.
struct CompanyFilter
{
    std::optional<QString> name;
    std::optional<QString> code;
    std::optional<qint64> number; ///< identifier of the row
};

/// In the order in which they were made.
Result<std::vector<DataLib::Model::Odbpp_Company>> listCompanies(Database& database,
                                                                 const CompanyFilter& filter = {});

constexpr int longestCompanyCode = 32;  ///< characters
constexpr int longestCompanyName = 255; ///< characters
/// What addCompany() and renameCompany() accept; InvalidArgument.
Status checkCompanyCode(const QString& code);
Status checkCompanyName(const QString& name);

/// Adds a company. Code: 1 to 32 characters without white space, control characters, '/' or '\\'; name: 1 to
/// 255 characters without control characters. Both unique: AlreadyExists names the one that is taken.
Result<DataLib::Model::Odbpp_Company> addCompany(Database& database, const QString& code,
                                                 const QString& name);

/// Which company gets another name, and by whom.
struct CompanyRename
{
    QString code;
    QString newName;
    int userId = 0;
    QString userName;
};

/// Gives a company another name, with an event; the code stays, generated job names hold it, and rows that
/// tell the name at the time of their import keep that. The company is held meanwhile: Unavailable, naming
/// who has it, where an import holds it, since that looks for it by its name. NotFound, AlreadyExists. To the
/// name that it has it is not renamed, and no event is written.
/// @param settings  of this database
Status renameCompany(Database& database, const DatabaseSettings& settings, const CompanyRename& order);

/// Adds a number, not below 0, to the job count of every company: for numbers that were given and are not
/// known any more. Durable, or with the transaction that it is called in.
Status raiseJobCounts(Database& database, int number);

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

} // namespace KOZAV::Backend
