#include "ImportSteps.h"

#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobCompressBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"
#include "services/common/Common.h"
#include "services/ui/ZAV_StdCommon.h"

#include <QString>

namespace KOZAV::Test {

using namespace DataLib;

namespace {

int currentUser()
{
    return UI::ZAV_StdCommon::interface()->getCurrentUser().userId;
}

std::string generatedName(const std::string& code, int number)
{
    return code + QStringLiteral("%1").arg(number, 6, 10, QLatin1Char('0')).toStdString();
}

} // namespace

std::string storeFile(const std::string& localPath, const std::string& suffix)
{
    Common* common = Common::commonInterface();
    const Model::KOZAV_Config config = common->getConfig();
    const std::string name = common->getGUID() + "." + suffix;
    return Common::MongodbPut(config.mongoDbName, config.mongoFsName, localPath, name) == 0 ? name
                                                                                            : std::string();
}

ImportedJob beginJob(const std::string& companyName)
{
    ImportedJob job;
    std::vector<Model::Odbpp_Company> companies;
    BLL::Odbpp_CompanyBll companyBll;
    if (!companyBll.select({{"CompanyName", companyName}}, {}, companies) || companies.empty())
        return job;
    job.companyName = companies.front().companyLabel;
    job.companyCode = companies.front().companyCode;
    job.companyId = companies.front().companyId;
    job.jobNumber = companies.front().jobCount + 1;
    if (!companyBll.inputCompanies(job.companyName, currentUser(), job.jobNumber))
        return job;
    job.generatedName = generatedName(job.companyCode, job.jobNumber);
    job.flowGuid = BLL::Odbpp_JobFlowBll().insertflowbeforeorigfile(
        "board", currentUser(), "F" + Common::GetTimeStr(), job.generatedName);
    return job;
}

ImportedJob importArchive(const std::string& companyName, const std::string& localPath)
{
    const std::string storedName = storeFile(localPath, "tgz");
    ImportedJob job = beginJob(companyName);
    job.suffix = "tgz";
    job.storedName = storedName;
    job.origFileGuid = Common::commonInterface()->getGUID();
    BLL::Odbpp_JobFlowBll flowBll;
    job.complete = BLL::Odbpp_OrigFilesBll().inputOrigFile(job.origFileGuid, "board", storedName, job.suffix,
                                                           job.companyCode, 0, currentUser()) &&
                   flowBll.UpdateOrigFileGuid(job.origFileGuid, job.flowGuid) &&
                   flowBll.updateUploadBatchNum(3, job.flowGuid) && addCompressRow(job);
    return job;
}

bool addCompressRow(const ImportedJob& job)
{
    return BLL::Odbpp_JobCompressBll().inputJobCompress(
        job.companyName, job.companyCode, job.companyId, "board", job.flowGuid, job.storedName, job.suffix,
        "", Common::commonInterface()->getConfig().mongoFsName, currentUser(), job.jobNumber);
}

} // namespace KOZAV::Test
