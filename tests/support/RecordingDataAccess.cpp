#include "tests/support/RecordingServices.h"

#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobCompressBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"

#include <algorithm>
#include <iterator>
#include <utility>

using KOZAV::Test::RecordingServices;

namespace KOZAV::DataLib::BLL {

namespace {

using Conditions = std::map<std::string, std::string>;

RecordingServices& services()
{
    return RecordingServices::instance();
}

bool meets(const Conditions& conditions, const char* column, const std::string& value)
{
    const auto found = conditions.find(column);
    return found == conditions.end() || found->second == value;
}

} // namespace

Odbpp_CompanyBll::Odbpp_CompanyBll()
{
    services().objectMade("Odbpp_CompanyBll");
}

Odbpp_CompanyBll::~Odbpp_CompanyBll()
{
    services().objectDestroyed("Odbpp_CompanyBll");
}

bool Odbpp_CompanyBll::select(const Conditions& textConditions,
                              const std::map<std::string, int>& intConditions,
                              std::vector<Model::Odbpp_Company>& companies)
{
    services().record("Odbpp_CompanyBll::select", textConditions, intConditions);
    auto& queue = services().results.nextCompanies;
    if (!queue.empty()) {
        companies = std::move(queue.front());
        queue.pop_front();
        return services().results.companySelectResult;
    }
    const auto& rows = services().results.companies;
    companies.clear();
    std::copy_if(rows.cbegin(), rows.cend(), std::back_inserter(companies),
                 [&](const auto& row) { return meets(textConditions, "CompanyName", row.companyLabel); });
    return services().results.companySelectResult;
}

bool Odbpp_CompanyBll::inputCompanies(std::string& companyName, int userId, int jobCount)
{
    services().record("inputCompanies", companyName, userId, jobCount);
    auto& queue = services().results.inputCompaniesResults;
    const bool succeeds = queue.empty() || queue.front();
    if (!queue.empty())
        queue.pop_front();
    if (succeeds && services().results.writesChangeCompanies) {
        for (auto& row : services().results.companies) {
            if (row.companyLabel == companyName)
                row.jobCount = jobCount;
        }
    }
    return succeeds;
}

bool Odbpp_CompanyBll::UpdateBatchNumber(int batchNumber, int companyId)
{
    services().record("UpdateBatchNumber", batchNumber, companyId);
    if (services().results.updateBatchNumberResult && services().results.writesChangeCompanies) {
        for (auto& row : services().results.companies) {
            if (row.companyId == companyId)
                row.batchNumber = batchNumber;
        }
    }
    return services().results.updateBatchNumberResult;
}

Odbpp_JobFlowBll::Odbpp_JobFlowBll()
{
    services().objectMade("Odbpp_JobFlowBll");
}

Odbpp_JobFlowBll::~Odbpp_JobFlowBll()
{
    services().objectDestroyed("Odbpp_JobFlowBll");
}

bool Odbpp_JobFlowBll::select(const Conditions& textConditions,
                              const std::map<std::string, int>& intConditions,
                              std::vector<Model::Odbpp_JobFlow>& flows)
{
    services().record("Odbpp_JobFlowBll::select", textConditions, intConditions);
    const auto& rows = services().results.flows;
    flows.clear();
    std::copy_if(rows.cbegin(), rows.cend(), std::back_inserter(flows), [&](const auto& row) {
        return meets(textConditions, "KoSerialName", row.koSerialName) &&
               meets(textConditions, "FlowGuid", row.flowGuid);
    });
    return services().results.flowSelectResult;
}

std::string Odbpp_JobFlowBll::insertflowbeforeorigfile(std::string jobName, int userId, std::string flowNo,
                                                       std::string generatedJobName)
{
    services().record("insertflowbeforeorigfile", jobName, userId, flowNo, generatedJobName);
    return services().nextFlowGuid();
}

bool Odbpp_JobFlowBll::updateUploadBatchNum(int batchNumber, std::string flowGuid)
{
    services().record("updateUploadBatchNum", batchNumber, flowGuid);
    return services().results.rowWriteResult;
}

bool Odbpp_JobFlowBll::UpdateOrigFileGuid(std::string origFileGuid, std::string flowGuid)
{
    services().record("UpdateOrigFileGuid", origFileGuid, flowGuid);
    return services().results.rowWriteResult;
}

bool Odbpp_JobFlowBll::UpdateLastOdbppImportMongoFsGuid(std::string origFileGuid, std::string flowGuid)
{
    services().record("UpdateLastOdbppImportMongoFsGuid", origFileGuid, flowGuid);
    return services().results.rowWriteResult;
}

bool Odbpp_JobFlowBll::UpdateState(int userId, int state, int subState, std::string flowGuid)
{
    services().record("UpdateState", userId, state, subState, flowGuid);
    return services().results.rowWriteResult;
}

bool Odbpp_JobFlowBll::UpdatePreImportOrCheckTime(std::string flowGuid, int preImportUserId,
                                                  int preImportFlag, std::string preImportNote,
                                                  int checkUserId, std::string checkUserName, int checkFlag,
                                                  std::string checkNote)
{
    services().record("UpdatePreImportOrCheckTime", flowGuid, preImportUserId, preImportFlag, preImportNote,
                      checkUserId, checkUserName, checkFlag, checkNote);
    return services().results.rowWriteResult;
}

Odbpp_OrigFilesBll::Odbpp_OrigFilesBll()
{
    services().objectMade("Odbpp_OrigFilesBll");
}

Odbpp_OrigFilesBll::~Odbpp_OrigFilesBll()
{
    services().objectDestroyed("Odbpp_OrigFilesBll");
}

bool Odbpp_OrigFilesBll::inputOrigFile(std::string origFileGuid, std::string jobName, std::string storedName,
                                       std::string suffix, std::string companyCode, int fileType, int userId)
{
    services().record("inputOrigFile", origFileGuid, jobName, storedName, suffix, companyCode, fileType,
                      userId);
    return services().results.rowWriteResult;
}

Odbpp_JobCompressBll::Odbpp_JobCompressBll()
{
    services().objectMade("Odbpp_JobCompressBll");
}

Odbpp_JobCompressBll::~Odbpp_JobCompressBll()
{
    services().objectDestroyed("Odbpp_JobCompressBll");
}

bool Odbpp_JobCompressBll::inputJobCompress(std::string companyName, std::string companyCode, int companyId,
                                            std::string jobName, std::string flowGuid, std::string storedName,
                                            std::string suffix, std::string remark, std::string fsName,
                                            int userId, int jobNumber)
{
    services().record("inputJobCompress", companyName, companyCode, companyId, jobName, flowGuid, storedName,
                      suffix, remark, fsName, userId, jobNumber);
    return services().results.rowWriteResult;
}

bool Odbpp_JobCompressBll::inputJobCompressByFolder(std::string companyName, std::string companyCode,
                                                    int companyId, std::string jobName, std::string flowGuid,
                                                    std::string storedName, std::string suffix,
                                                    std::string remark, std::string fsName, int userId,
                                                    int jobNumber, std::string resource,
                                                    std::string customer2, std::string customer3)
{
    services().record("inputJobCompressByFolder", companyName, companyCode, companyId, jobName, flowGuid,
                      storedName, suffix, remark, fsName, userId, jobNumber, resource, customer2, customer3);
    return services().results.rowWriteResult;
}

} // namespace KOZAV::DataLib::BLL
