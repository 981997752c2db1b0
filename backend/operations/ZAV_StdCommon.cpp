#include "services/ui/ZAV_StdCommon.h"

#include "backend/Guarded.h"
#include "backend/Operation.h"
#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/records/JobListing.h"

#include <utility>

namespace KOZAV::UI {

using namespace Backend;
using DataLib::Model::Kozav_User;
using DataLib::Model::Odbpp_Job_C;

namespace {

/// The list as it was read last, with the revision of the database that it was read at or after: the list is
/// asked for at every key press in a filter line, and seldom has anything changed between two.
struct LastWaitingJobs
{
    QString revision;
    std::vector<Odbpp_Job_C> jobs;
};

Status readWaitingJobs(std::vector<Odbpp_Job_C>& jobs)
{
    static thread_local LastWaitingJobs last;
    const Result<Database*> database = Site::current().database();
    if (!database.ok())
        return database.status();
    const Result<QString> revision = database.value()->revision();
    if (!revision.ok())
        return revision.status();
    if (revision->isEmpty() || revision.value() != last.revision) {
        Result<std::vector<Odbpp_Job_C>> waiting = listWaitingJobs(*database.value());
        if (!waiting.ok())
            return waiting.status();
        last = {revision.value(), std::move(waiting.value())};
    }
    jobs = last.jobs;
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
