#include "import/JobRegistration.h"

#include "import/ImportRules.h"
#include "services/common/Common.h"

#include <utility>
#include <vector>

namespace KOZAV::Import {

JobRegistration::JobRegistration(std::string jobName, std::string storedName, std::string suffix, int userId)
    : m_jobName(std::move(jobName))
    , m_storedName(std::move(storedName))
    , m_suffix(std::move(suffix))
    , m_userId(userId)
{
}

bool JobRegistration::findCompany(const std::string& companyName)
{
    std::vector<DataLib::Model::Odbpp_Company> found;
    m_companies.select({{"CompanyName", companyName}}, {}, found);
    if (found.empty())
        return false;
    m_company = found.front();
    return true;
}

bool JobRegistration::countJob(std::string companyName)
{
    return m_companies.inputCompanies(companyName, m_userId, jobNumber());
}

void JobRegistration::makeOrigFileGuid()
{
    m_origFileGuid = Common::commonInterface()->getGUID();
}

void JobRegistration::makeFlowNo()
{
    m_flowNo = "F" + Common::GetTimeStr();
}

std::string JobRegistration::generatedName() const
{
    return generatedJobName(m_company.companyCode, jobNumber());
}

void JobRegistration::inputOrigFile()
{
    m_origFiles.inputOrigFile(m_origFileGuid, m_jobName, m_storedName, m_suffix, m_company.companyCode, 0,
                              m_userId);
}

void JobRegistration::insertFlow()
{
    m_flowGuid = m_flows.insertflowbeforeorigfile(m_jobName, m_userId, m_flowNo, generatedName());
}

void JobRegistration::linkOrigFile()
{
    m_flows.UpdateOrigFileGuid(m_origFileGuid, m_flowGuid);
}

void JobRegistration::startFlow()
{
    m_flows.UpdateLastOdbppImportMongoFsGuid(m_origFileGuid, m_flowGuid);
    m_flows.UpdateState(m_userId, 1, 2, m_flowGuid);
}

void JobRegistration::setBatchNumber(int batchNumber)
{
    m_flows.updateUploadBatchNum(batchNumber, m_flowGuid);
}

void JobRegistration::inputCompress()
{
    const std::string fsName = Common::commonInterface()->getConfig().mongoFsName;
    m_compresses.inputJobCompress(m_company.companyLabel, m_company.companyCode, m_company.companyId,
                                  m_jobName, m_flowGuid, m_storedName, m_suffix, std::string(), fsName,
                                  m_userId, jobNumber());
}

void JobRegistration::inputCompress(const ManifestTexts& manifest)
{
    const std::string fsName = Common::commonInterface()->getConfig().mongoFsName;
    m_compresses.inputJobCompressByFolder(m_company.companyLabel, m_company.companyCode, m_company.companyId,
                                          m_jobName, m_flowGuid, m_storedName, m_suffix, std::string(),
                                          fsName, m_userId, jobNumber(), manifest.resource,
                                          manifest.customer2, manifest.customer3);
}

} // namespace KOZAV::Import
