#pragma once

#include "services/model/KOZAV_Config.h"
#include "services/model/Kozav_User.h"
#include "services/model/Odbpp_Company.h"
#include "services/model/Odbpp_JobFlow.h"
#include "services/model/Odbpp_Job_C.h"

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace KOZAV::Test {

/// What the recording double answers. A queue gives its first entry to the next call; where it is empty the
/// plain default beside it holds.
struct ServiceResults
{
    /// Answer of getConfig(); nextConfigs goes before it.
    DataLib::Model::KOZAV_Config config;
    std::deque<DataLib::Model::KOZAV_Config> nextConfigs;
    /// Answer of getCurrentUser().
    DataLib::Model::Kozav_User user;

    /// Rows of the company table: select gives those that meet the "CompanyName" condition, in this order.
    std::vector<DataLib::Model::Odbpp_Company> companies;
    /// Rows that the next company select gives whatever it asks for; goes before the table.
    std::deque<std::vector<DataLib::Model::Odbpp_Company>> nextCompanies;
    std::deque<bool> inputCompaniesResults; ///< then true

    /// Rows of the job-flow table: select gives those that meet the "KoSerialName" and "FlowGuid" conditions.
    std::vector<DataLib::Model::Odbpp_JobFlow> flows;
    /// Answers of insertflowbeforeorigfile; then "flow-1", "flow-2", ...
    std::deque<std::string> flowGuids;

    std::deque<std::string> guids; ///< then "guid-1", "guid-2", ...
    std::string timeText = "20240102030405678";
    /// Archive identifiers of FoldersCompressSave2MongoDb; then "archive-1", "archive-2", ...
    std::deque<std::string> archiveIds;

    std::string prefileResult = "1"; ///< of kozav_upload_prefile2mysql
    std::vector<DataLib::Model::Odbpp_Job_C> inputJobs;

    /// Run inside the named operation, after it has been recorded and before it answers.
    std::map<std::string, std::function<void()>> hooks;

    int storeStatus = 0; ///< of MongodbPut, MongodbGet and FoldersCompressSave2MongoDb
    bool companySelectResult = true;
    bool flowSelectResult = true;
    bool updateBatchNumberResult = true;
    bool rowWriteResult = true; ///< of every other write of a row
    bool reuploadResult = true; ///< of kozav_reupload_robot_tgz
    /// Whether a successful inputCompanies or UpdateBatchNumber changes the company rows.
    bool writesChangeCompanies = true;
};

} // namespace KOZAV::Test
