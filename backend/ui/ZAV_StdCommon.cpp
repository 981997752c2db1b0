#include "services/ui/ZAV_StdCommon.h"

#include "backend/Guarded.h"
#include "backend/Operation.h"
#include "backend/Site.h"
#include "backend/database/SiteRecords.h"

namespace KOZAV::UI {

using namespace Backend;
using DataLib::Model::Kozav_User;
using DataLib::Model::Odbpp_Job_C;

namespace {

Status readWaitingJobs(std::vector<Odbpp_Job_C>& jobs)
{
    const Result<Database*> database = Site::current().database();
    if (!database.ok())
        return database.status();
    const Result<std::vector<WaitingJob>> waiting = listWaitingJobs(*database.value());
    if (!waiting.ok())
        return waiting.status();
    jobs.reserve(waiting->size());
    for (const WaitingJob& job : waiting.value())
        jobs.push_back({job.flowGuid, job.jobId, job.generatedName});
    return {};
}

Status readUser(Kozav_User& user)
{
    const Result<Settings> settings = Site::current().settings();
    if (!settings.ok())
        return settings.status();
    user.loginName = settings->userLogin.toStdString();
    user.userId = settings->userId;
    user.userName = settings->userName.toStdString();
    return {};
}

} // namespace

ZAV_StdCommon* ZAV_StdCommon::interface()
{
    static ZAV_StdCommon common;
    return &common;
}

std::vector<Odbpp_Job_C> ZAV_StdCommon::getInputJobList()
{
    Operation operation(logUi, "getInputJobList", {});
    std::vector<Odbpp_Job_C> jobs;
    if (!operation.finish(guarded([&jobs] { return readWaitingJobs(jobs); })))
        jobs.clear();
    return jobs;
}

Kozav_User ZAV_StdCommon::getCurrentUser()
{
    Operation operation(logUi, "getCurrentUser", {});
    Kozav_User user;
    if (!operation.finish(guarded([&user] { return readUser(user); })))
        return {};
    return user;
}

} // namespace KOZAV::UI
