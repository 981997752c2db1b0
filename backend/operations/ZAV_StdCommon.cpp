#include "services/ui/ZAV_StdCommon.h"

#include "backend/operations/SiteWork.h"
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
    QString place;
    QString revision;
    std::vector<Odbpp_Job_C> jobs;
};

Status readWaitingJobs(Database& database, std::vector<Odbpp_Job_C>& jobs)
{
    static thread_local LastWaitingJobs last;
    const auto revision = database.revision();
    if (!revision.ok())
        return revision.status();
    if (revision->isEmpty() || revision.value() != last.revision) {
        if (last.place != database.place())
            last = {};
        auto waiting = listWaitingJobs(database, last.jobs);
        if (!waiting.ok())
            return waiting.status();
        last = {database.place(), revision.value(), std::move(waiting.value())};
    }
    jobs = last.jobs;
    return {};
}

Status readUser(Kozav_User& user)
{
    const auto settings = Site::current().settings();
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
    std::vector<Odbpp_Job_C> jobs;
    const auto listed = Operation::run(ServiceOperation::GetInputJobList, [&](Operation& call) {
        return withRows(call, [&](Database& database) { return readWaitingJobs(database, jobs); });
    });
    if (!listed.ok())
        jobs.clear();
    return jobs;
}

Kozav_User ZAV_StdCommon::getCurrentUser()
{
    Kozav_User user;
    const auto read =
        Operation::run(ServiceOperation::GetCurrentUser, [&](Operation& /*call*/) { return readUser(user); });
    return read.ok() ? user : Kozav_User();
}

} // namespace KOZAV::UI
