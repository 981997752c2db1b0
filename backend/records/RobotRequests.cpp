#include "backend/records/RobotRequests.h"

#include "backend/database/Database.h"
#include "backend/records/JobVoiding.h"
#include "backend/records/SiteEvents.h"

#include <QJsonDocument>
#include <QStringList>

#include <algorithm>
#include <iterator>
#include <limits>

namespace KOZAV::Backend {

namespace {

// Indexed by RobotOutcome and RobotOrigin.
constexpr const char* outcomeWords[] = {"sent", "unknown", "not-sent", "answered", "refused", "no-answer"};
constexpr const char* originWords[] = {"saved", "confirmed", "resent"};

const QLatin1String originKey("origin");
const QLatin1String hostKey("host");
const QLatin1String portKey("port");
const QLatin1String documentKey("document");
const QLatin1String probeKey("probe");
const QLatin1String requestedKey("requested");

QString originWord(RobotOrigin origin)
{
    return QLatin1String(originWords[static_cast<int>(origin)]);
}

template <typename Word, std::size_t Count>
Word indexOf(const char* const (&words)[Count], const QString& word, Word otherwise)
{
    const auto found = std::find_if(std::begin(words), std::end(words),
                                    [&word](const char* each) { return word == QLatin1String(each); });
    return found == std::end(words) ? otherwise : static_cast<Word>(found - std::begin(words));
}

void readDetail(const QJsonObject& detail, RobotRequestRecord& request)
{
    request.origin = indexOf(originWords, detail.value(originKey).toString(), RobotOrigin::Saved);
    request.host = detail.value(hostKey).toString();
    request.port = detail.value(portKey).toInt();
    request.document = detail.value(documentKey).toObject();
    request.probe = detail.value(probeKey).toString();
    request.requestedTime = detail.value(requestedKey).toString();
}

RobotRequestRecord readRequest(const SiteEvent& event)
{
    RobotRequestRecord request;
    readDetail(event.detail, request);
    request.outcome = indexOf(outcomeWords, event.outcome, RobotOutcome::Unknown);
    request.flowGuid = event.flowGuid;
    request.generatedName = event.subject;
    request.reason = event.reason;
    request.userId = event.userId;
    request.userName = event.userName;
    return request;
}

// A job's requests are few, and an index finds them: whether one of them is the newest is asked of each row.
constexpr const char* listedRequests =
    "SELECT e.id, e.flow_guid, e.user_id, e.user_name, e.subject, e.outcome, e.reason, e.detail, f.state,"
    " f.sub_state, f.job_name, (SELECT MAX(n.id) FROM event n WHERE n.flow_guid = e.flow_guid AND n.kind = "
    "'robot')"
    " FROM event e LEFT JOIN job_flow f ON f.guid = e.flow_guid"
    " WHERE e.kind = 'robot' AND e.id < ? AND e.outcome IN (?, ?, ?, ?, ?, ?)"
    " AND (? IS NULL OR f.state = ?) AND (? IS NULL OR f.sub_state = ?)"
    " AND (? = 0 OR NOT EXISTS (SELECT 1 FROM event l WHERE l.flow_guid = e.flow_guid AND l.kind = 'robot'"
    " AND l.id > e.id))"
    " ORDER BY e.id DESC LIMIT ?";

/// The columns of listedRequests.
ListedRobotRequest readListed(RowReader& row)
{
    ListedRobotRequest listed;
    RobotRequestRecord& request = listed.request;
    listed.number = row.optionalLongNumber().value_or(0);
    request.flowGuid = row.text();
    request.userId = row.number();
    request.userName = row.text();
    request.generatedName = row.text();
    request.outcome = indexOf(outcomeWords, row.text(), RobotOutcome::Unknown);
    request.reason = row.text();
    readDetail(QJsonDocument::fromJson(row.text().toUtf8()).object(), request);
    const auto state = row.optionalNumber();
    const auto subState = row.optionalNumber();
    if (state && subState)
        listed.state = std::pair(*state, *subState);
    listed.jobName = row.text();
    listed.newestOfJob = row.optionalLongNumber().value_or(listed.number) == listed.number;
    return listed;
}

Status requeueJob(Database& database, const JobRecord& job, const RequeueOrder& order)
{
    if (auto moved = moveJobState(database, job, 0, 0, order.userId); !moved.ok())
        return moved;
    SiteEvent event;
    event.kind = eventKind::requeued;
    event.flowGuid = job.flowGuid;
    event.userId = order.userId;
    event.userName = order.userName;
    event.subject = job.generatedName;
    event.reason = order.reason;
    event.detail = {{QStringLiteral("state"), job.state}, {QStringLiteral("sub_state"), job.subState}};
    return addEvent(database, event);
}

} // namespace

QString outcomeWord(RobotOutcome outcome)
{
    return QLatin1String(outcomeWords[static_cast<int>(outcome)]);
}

Status addRobotRequest(Database& database, const RobotRequestRecord& request)
{
    SiteEvent event;
    event.kind = eventKind::robot;
    event.flowGuid = request.flowGuid;
    event.userId = request.userId;
    event.userName = request.userName;
    event.subject = request.generatedName;
    event.outcome = outcomeWord(request.outcome);
    event.reason = request.reason;
    event.detail = {{originKey, originWord(request.origin)},
                    {hostKey, request.host},
                    {portKey, request.port},
                    {documentKey, request.document},
                    {probeKey, request.probe},
                    {requestedKey, request.requestedTime}};
    auto added = addEvent(database, event);
    if (added.code() != ErrorCode::NotFound || event.flowGuid.isEmpty())
        return added;
    event.flowGuid.clear();
    return addEvent(database, event);
}

Result<std::optional<RobotRequestRecord>> lastRobotRequest(Database& database, const QString& flowGuid)
{
    EventFilter filter;
    filter.kind = QString(eventKind::robot);
    filter.flowGuid = flowGuid;
    const auto events = listEvents(database, filter);
    if (!events.ok())
        return events.status();
    for (const SiteEvent& event : events.value()) {
        if (event.detail.value(originKey).toString() != originWord(RobotOrigin::Resent))
            return std::optional(readRequest(event));
    }
    return std::optional<RobotRequestRecord>();
}

Result<std::vector<ListedRobotRequest>> listRobotRequests(Database& database,
                                                          const RobotRequestFilter& filter)
{
    constexpr qint64 endless = std::numeric_limits<qint64>::max();
    QVariantList values = {filter.before > 0 ? filter.before : endless};
    for (std::size_t i = 0; i < std::size(outcomeWords); ++i) {
        if (filter.outcomes.empty())
            values << QString::fromLatin1(outcomeWords[i]);
        else
            values << outcomeWord(filter.outcomes.at(std::min(i, filter.outcomes.size() - 1)));
    }
    const QVariant state = filter.state ? QVariant(filter.state->first) : QVariant();
    const QVariant subState = filter.state ? QVariant(filter.state->second) : QVariant();
    values << state << state << subState << subState << (filter.newestOfJob ? 1 : 0)
           << (filter.limit > 0 ? qint64(filter.limit) : endless);
    return database.list(listedRequests, values, readListed);
}

bool isAtRobot(const JobRecord& job)
{
    return job.state == atRobotState && job.subState == atRobotSubState;
}

QString whyNotAtRobot(const JobRecord& job)
{
    if (isVoided(job))
        return QStringLiteral("%1 is voided").arg(job.generatedName);
    if (!isAtRobot(job))
        return QStringLiteral("%1 is in state %2,%3, not with the robot (%4,%5)")
            .arg(job.generatedName)
            .arg(job.state)
            .arg(job.subState)
            .arg(atRobotState)
            .arg(atRobotSubState);
    if (!job.complete)
        return QStringLiteral("the import of %1 did not end").arg(job.generatedName);
    return {};
}

Status requeueJobs(Database& database, const std::vector<JobRecord>& jobs, const RequeueOrder& order)
{
    QStringList reasons;
    for (const JobRecord& job : jobs)
        reasons << whyNotAtRobot(job);
    reasons.removeAll(QString());
    if (!reasons.isEmpty())
        return Status::invalidArgument(reasons.join(QStringLiteral("; ")));
    return database.transaction([&]() -> Status {
        for (const JobRecord& job : jobs) {
            if (auto requeued = requeueJob(database, job, order); !requeued.ok())
                return requeued;
        }
        return {};
    });
}

} // namespace KOZAV::Backend
