#pragma once

#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobCompressBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"
#include "services/model/Odbpp_Company.h"

#include <string>

namespace KOZAV::Import {

/// The three texts of a job manifest. UTF-8.
struct ManifestTexts
{
    std::string resource;
    std::string customer2;
    std::string customer3;
};

/// Registers one stored job: holds what its rows are made of, and the data-access objects that write them,
/// for the duration of one import. The pipelines call the steps; the order of the calls is theirs.
class JobRegistration final
{
public:
    /// @param jobName     name the job came with
    /// @param storedName  name in the document store
    /// @param suffix      suffix of an archive; empty for a folder
    JobRegistration(std::string jobName, std::string storedName, std::string suffix, int userId);

    /// Looks the company up by name and keeps the first match. @return whether there is one
    bool findCompany(const std::string& companyName);
    /// Writes the company's job count for this job. @return false where the data layer refuses
    bool countJob(std::string companyName);

    void makeOrigFileGuid();
    void makeFlowNo();
    [[nodiscard]] std::string generatedName() const;

    void inputOrigFile();
    void insertFlow();
    void linkOrigFile();
    /// For a saved job: records its original file as the last import and takes the flow into state (1, 2).
    void startFlow();
    void setBatchNumber(int batchNumber);
    /// The job-compress row; fetches the configuration for the file store's name.
    void inputCompress();
    void inputCompress(const ManifestTexts& manifest);

private:
    [[nodiscard]] int jobNumber() const { return m_company.jobCount + 1; }

    DataLib::BLL::Odbpp_CompanyBll m_companies;
    DataLib::BLL::Odbpp_OrigFilesBll m_origFiles;
    DataLib::BLL::Odbpp_JobFlowBll m_flows;
    DataLib::BLL::Odbpp_JobCompressBll m_compresses;

    std::string m_jobName;
    std::string m_storedName;
    std::string m_suffix;
    int m_userId;
    DataLib::Model::Odbpp_Company m_company;
    std::string m_origFileGuid;
    std::string m_flowNo;
    std::string m_flowGuid;
};

} // namespace KOZAV::Import
