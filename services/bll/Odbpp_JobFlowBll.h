#pragma once

#include "services/ServicesExport.h"
#include "services/model/Odbpp_JobFlow.h"

#include <map>
#include <string>
#include <vector>

namespace KOZAV::DataLib::BLL {

/// Data access for job-flow rows. Texts are UTF-8; a false result is a failure that has been logged.
/// Every write with an empty or unknown flow key returns false and changes nothing.
class KOZAV_SERVICES_API Odbpp_JobFlowBll
{
public:
    Odbpp_JobFlowBll();
    ~Odbpp_JobFlowBll(); // NOLINT(performance-trivially-destructible): belongs to the binary interface

    /// Finds job flows, oldest first. Columns: "KoSerialName", "FlowGuid"; otherwise as
    /// Odbpp_CompanyBll::select.
    bool select(const std::map<std::string, std::string>& textConditions,
                const std::map<std::string, int>& intConditions, std::vector<Model::Odbpp_JobFlow>& flows);

    /// Creates a job-flow row in state (0, 0).
    /// @return its flow key; an empty text where generatedJobName is taken, or on a failure
    std::string insertflowbeforeorigfile(std::string jobName, int userId, std::string flowNo,
                                         std::string generatedJobName);

    /// Sets the batch number of the upload.
    bool updateUploadBatchNum(int batchNumber, std::string flowGuid);

    /// Links the row to its original-file row. False also where there is no such original file.
    bool UpdateOrigFileGuid(std::string origFileGuid, std::string flowGuid);

    /// Records the original-file row of the last ODB++ import. False also where there is no such original
    /// file.
    bool UpdateLastOdbppImportMongoFsGuid(std::string origFileGuid, std::string flowGuid);

    /// Sets the state pair; (1, 2) takes the flow off the list of waiting jobs. False also for a flow that an
    /// administrator has taken back (-2, -2): it keeps that state.
    bool UpdateState(int userId, int state, int subState, std::string flowGuid);

    /// Stamps the time of pre-import or check, with who did it.
    bool UpdatePreImportOrCheckTime(std::string flowGuid, int preImportUserId, int preImportFlag,
                                    std::string preImportNote, int checkUserId, std::string checkUserName,
                                    int checkFlag, std::string checkNote);
};

} // namespace KOZAV::DataLib::BLL
