#include "host/site/RobotRecords.h"

#include "backend/Site.h"
#include "backend/Text.h"
#include "backend/database/Database.h"
#include "backend/io/PrivateFile.h"
#include "backend/records/RobotRequests.h"
#include "host/site/SiteRows.h"
#include "robot_call/RobotResending.h"

#include <type_traits>
#include <utility>

namespace KOZAV::Host {

using Backend::RobotOrigin;
using Backend::RobotOutcome;
using Backend::Site;
using RequestOutcome = RobotRequest::Outcome;

namespace {

constexpr int answerTimeoutMs = 30'000; ///< as "zav_admin job resend" waits without being told otherwise

// Both sides list the same in the same order.
template <typename Enum>
constexpr int number(Enum value)
{
    return static_cast<int>(value);
}
static_assert(number(RobotOutcome::Sent) == number(RequestOutcome::Sent));
static_assert(number(RobotOutcome::Unknown) == number(RequestOutcome::Unknown));
static_assert(number(RobotOutcome::NotSent) == number(RequestOutcome::NotSent));
static_assert(number(RobotOutcome::Answered) == number(RequestOutcome::Answered));
static_assert(number(RobotOutcome::Refused) == number(RequestOutcome::Refused));
static_assert(number(RobotOutcome::NoAnswer) == number(RequestOutcome::NoAnswer));
static_assert(number(RobotOrigin::Saved) == number(RobotRequest::Origin::Saved));
static_assert(number(RobotOrigin::Confirmed) == number(RobotRequest::Origin::Confirmed));
static_assert(number(RobotOrigin::Resent) == number(RobotRequest::Origin::Resent));

Backend::RobotRequestRecord recordOf(const RobotRequest& request, const Backend::Settings& settings)
{
    Backend::RobotRequestRecord record;
    record.origin = static_cast<RobotOrigin>(request.origin);
    record.outcome = static_cast<RobotOutcome>(request.outcome);
    record.flowGuid = request.flowKey;
    record.generatedName = request.generatedName;
    record.host = request.host;
    record.port = request.port;
    record.document = request.document;
    record.probe = request.probe;
    record.reason = request.reason;
    record.requestedTime = QString::fromLatin1(Backend::isoTime(request.requested));
    record.userId = settings.userId;
    record.userName = settings.userName;
    return record;
}

RobotJobPlace placeOf(const std::optional<std::pair<int, int>>& state)
{
    if (!state)
        return RobotJobPlace::Gone;
    const auto is = [&state](int first, int second) { return *state == std::pair(first, second); };
    if (is(Backend::atRobotState, Backend::atRobotSubState))
        return RobotJobPlace::AtRobot;
    if (is(0, 0))
        return RobotJobPlace::Waiting;
    if (is(Backend::voidedState, Backend::voidedSubState))
        return RobotJobPlace::Voided;
    return is(-1, -1) ? RobotJobPlace::Failed : RobotJobPlace::Beyond;
}

RobotRequestRow rowOf(const Backend::ListedRobotRequest& listed)
{
    const Backend::RobotRequestRecord& record = listed.request;
    RobotRequestRow row;
    row.number = listed.number;
    row.request.origin = static_cast<RobotRequest::Origin>(record.origin);
    row.request.outcome = static_cast<RequestOutcome>(record.outcome);
    row.request.flowKey = record.flowGuid;
    row.request.generatedName = record.generatedName;
    row.request.host = record.host;
    row.request.port = record.port;
    row.request.document = record.document;
    row.request.probe = record.probe;
    row.request.reason = record.reason;
    row.request.requested = QDateTime::fromString(record.requestedTime, Qt::ISODateWithMs);
    row.jobName = listed.jobName;
    row.userName = record.userName;
    row.job = placeOf(listed.state);
    row.isNewest = listed.newestOfJob;
    return row;
}

const std::vector<RobotOutcome> openOutcomes = {RobotOutcome::Unknown, RobotOutcome::NotSent,
                                                RobotOutcome::Refused, RobotOutcome::NoAnswer};

Backend::RobotRequestFilter filterOf(RobotFilter filter)
{
    Backend::RobotRequestFilter wanted;
    switch (filter) {
    case RobotFilter::All:
        break;
    case RobotFilter::Open:
        wanted.outcomes = openOutcomes;
        wanted.state = std::pair(Backend::atRobotState, Backend::atRobotSubState);
        wanted.newestOfJob = true;
        break;
    case RobotFilter::Waiting:
        wanted.state = std::pair(0, 0);
        wanted.newestOfJob = true;
        break;
    case RobotFilter::Sent:
        wanted.outcomes = {RobotOutcome::Sent};
        break;
    case RobotFilter::Answered:
        wanted.outcomes = {RobotOutcome::Answered};
        break;
    case RobotFilter::Refused:
        wanted.outcomes = {RobotOutcome::Refused};
        break;
    case RobotFilter::Unknown:
        wanted.outcomes = {RobotOutcome::Unknown, RobotOutcome::NoAnswer};
        break;
    case RobotFilter::NotSent:
        wanted.outcomes = {RobotOutcome::NotSent};
        break;
    }
    return wanted;
}

/// The rows of the site and what the configuration says, or why they are not to be had.
struct OpenRows
{
    Backend::Settings settings;
    Backend::Database* database = nullptr;
    QString failure;
};

OpenRows openRows()
{
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return {{}, nullptr, settings.message()};
    const auto database = Site::current().database();
    if (!database.ok())
        return {{}, nullptr, database.message()};
    return {settings.value(), database.value(), {}};
}

} // namespace

bool RobotRequestRow::isOpen() const
{
    return job == RobotJobPlace::AtRobot && isNewest && request.outcome != RequestOutcome::Sent &&
           request.outcome != RequestOutcome::Answered;
}

QString recordRobotRequests(const std::vector<RobotRequest>& requests)
{
    const OpenRows rows = openRows();
    if (!rows.database)
        return rows.failure;
    const auto written = rows.database->transaction([&]() -> Backend::Status {
        for (const RobotRequest& request : requests) {
            if (auto added = Backend::addRobotRequest(*rows.database, recordOf(request, rows.settings));
                !added.ok())
                return added;
        }
        return {};
    });
    return written.message();
}

std::optional<RobotPage> robotRequests(RobotFilter filter, qint64 before, int limit, QString& failure)
{
    auto wanted = filterOf(filter);
    wanted.before = before;
    wanted.limit = limit + 1;
    const auto listed = askRows(
        [&](Backend::Database& database) { return Backend::listRobotRequests(database, wanted); }, failure);
    if (!listed)
        return std::nullopt;
    RobotPage page;
    page.hasMore = listed->size() > static_cast<std::size_t>(limit);
    for (const auto& request : *listed) {
        if (page.rows.size() < static_cast<std::size_t>(limit))
            page.rows.push_back(rowOf(request));
    }
    return page;
}

RobotOrderResult resendToRobot(const QString& generatedName)
{
    const OpenRows rows = openRows();
    if (!rows.database)
        return {generatedName, false, rows.failure};
    const Backend::Settings& settings = rows.settings;
    const Robot::ResendOrder order{
        {},
        {settings.robotHost, static_cast<quint16>(settings.robotPort), answerTimeoutMs},
        settings.userId,
        Backend::loginName()};
    const auto resent = Robot::resendRequest(*rows.database, generatedName, order);
    if (!resent.ok())
        return {generatedName, false, resent.message()};
    const RobotOutcome outcome = resent->reply.outcome;
    RobotOrderResult result{generatedName, outcome == RobotOutcome::Answered, resent->reply.reason};
    if (!resent->recorded.ok()) {
        result.done = false;
        result.text += QStringLiteral("; its history does not tell: ") + resent->recorded.message();
    }
    return result;
}

RobotOrderResult requeueFromRobot(const QString& generatedName)
{
    const OpenRows rows = openRows();
    if (!rows.database)
        return {generatedName, false, rows.failure};
    const auto job = Backend::jobNamed(*rows.database, generatedName);
    if (!job.ok())
        return {generatedName, false, job.message()};
    const Backend::RequeueOrder order{{}, rows.settings.userId, Backend::loginName()};
    const auto requeued = Backend::requeueJobs(*rows.database, {job.value()}, order);
    return {generatedName, requeued.ok(), requeued.message()};
}

} // namespace KOZAV::Host
