#include "tests/support/RecordingServices.h"

#include "services/common/Common.h"
#include "services/dbs_api/DBS_API.h"
#include "services/ui/ZAV_StdCommon.h"
#include "services/ui/ZAV_UICommon.h"

#include <utility>

using KOZAV::Test::RecordingServices;

namespace KOZAV {

namespace {

RecordingServices& services()
{
    return RecordingServices::instance();
}

} // namespace

Common* Common::commonInterface()
{
    static Common common;
    return &common;
}

DataLib::Model::KOZAV_Config Common::getConfig()
{
    services().record("getConfig");
    auto& queue = services().results.nextConfigs;
    if (queue.empty())
        return services().results.config;
    DataLib::Model::KOZAV_Config first = std::move(queue.front());
    queue.pop_front();
    return first;
}

std::string Common::getGUID()
{
    services().record("getGUID");
    return services().nextGuid();
}

std::string Common::GetTimeStr()
{
    services().record("GetTimeStr");
    return services().results.timeText;
}

int Common::MongodbPut(const std::string& dbName, const std::string& fsName, const std::string& localPath,
                       const std::string& storedName)
{
    services().record("MongodbPut", dbName, fsName, localPath, storedName);
    return services().results.storeStatus;
}

int Common::MongodbGet(const std::string& dbName, const std::string& fsName, const std::string& localPath,
                       const std::string& storedName)
{
    services().record("MongodbGet", dbName, fsName, localPath, storedName);
    return services().results.storeStatus;
}

int Common::FoldersCompressSave2MongoDb(const std::string& folder, const std::string& stagingDir,
                                        std::string& archiveId)
{
    services().record("FoldersCompressSave2MongoDb", folder, stagingDir);
    archiveId = services().nextArchiveId();
    return services().results.storeStatus;
}

bool DBS_API::kozav_reupload_robot_tgz(std::string archivePath, std::string jobName, int userId,
                                       std::string userName)
{
    services().record("kozav_reupload_robot_tgz", archivePath, jobName, userId, userName);
    return services().results.reuploadResult;
}

std::string DBS_API::kozav_upload_prefile2mysql(std::string flowGuid, std::string jobName,
                                                std::string firstText, std::string secondText,
                                                std::string thirdText, int userId, std::string userName)
{
    services().record("kozav_upload_prefile2mysql", flowGuid, jobName, firstText, secondText, thirdText,
                      userId, userName);
    return services().results.prefileResult;
}

namespace UI {

ZAV_StdCommon* ZAV_StdCommon::interface()
{
    static ZAV_StdCommon common;
    return &common;
}

std::vector<DataLib::Model::Odbpp_Job_C> ZAV_StdCommon::getInputJobList()
{
    services().record("getInputJobList");
    return services().results.inputJobs;
}

DataLib::Model::Kozav_User ZAV_StdCommon::getCurrentUser()
{
    services().record("getCurrentUser");
    return services().results.user;
}

ZAV_UICommon::ZAV_UICommon(QObject* parent)
    : QObject(parent)
{
}

ZAV_UICommon* ZAV_UICommon::interface()
{
    static ZAV_UICommon common;
    return &common;
}

void ZAV_UICommon::refreshOrigFileTable()
{
    services().record("refreshOrigFileTable");
    Q_EMIT origFileTableRefreshRequested();
}

void ZAV_UICommon::sendemitCAMImportJobInfo(const QString& jobInfo)
{
    services().record("sendemitCAMImportJobInfo", jobInfo);
    Q_EMIT emitCAMImportJobInfo(jobInfo);
}

} // namespace UI

} // namespace KOZAV
