// The verbs about jobs that went to the CAM robot: putting them back on the waiting list, and sending their
// requests again.
//
// A request that is sent again is the one that was made first, as its event tells it: a saved job's with its
// name in lower case, indented; a confirmed job's as the waiting list has it, compact. Where no event tells
// of one, the suffix of the stored file says which of the two it was.

#include "admin/JobChoice.h"
#include "admin/RobotCall.h"
#include "admin/Verbs.h"
#include "backend/database/Database.h"
#include "backend/io/PrivateFile.h"
#include "backend/records/RobotRequests.h"
#include "robot/RobotRequest.h"
#include "terminal/PrintableText.h"
#include "terminal/TextTable.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

constexpr int defaultTimeoutSeconds = 30;
constexpr int longestTimeoutSeconds = 3600;

Status unchanged()
{
    return Status::invalidArgument(QStringLiteral("nothing has been changed; --yes does what is listed"));
}

/// The chosen jobs, all of them with the robot. Of a batch those that are: other jobs never went there.
Result<std::vector<JobRecord>> jobsAtRobot(const CommandLine& line, Database& database)
{
    auto jobs = chosenJobs(line, database);
    if (!jobs.ok())
        return jobs;
    auto& list = jobs.value();
    if (line.words.isEmpty()) {
        list.erase(
            std::remove_if(list.begin(), list.end(), [](const JobRecord& job) { return !isAtRobot(job); }),
            list.end());
        if (list.empty())
            return Status::notFound(QStringLiteral("no job of the batch is with the robot"));
    }
    QStringList reasons;
    for (const JobRecord& job : list)
        reasons << whyNotAtRobot(job);
    reasons.removeAll(QString());
    if (!reasons.isEmpty())
        return Status::invalidArgument(reasons.join(QStringLiteral("; ")));
    return jobs;
}

QJsonObject jobFacts(const JobRecord& job)
{
    return {{QStringLiteral("generated_name"), job.generatedName},
            {QStringLiteral("flow_guid"), job.flowGuid},
            {QStringLiteral("state"), job.state},
            {QStringLiteral("sub_state"), job.subState}};
}

Report requeueReport(const std::vector<JobRecord>& jobs, bool dryRun)
{
    TextTable table({QStringLiteral("JOB"), QStringLiteral("NAME"), QStringLiteral("COMPANY"),
                     QStringLiteral("STATE"), QStringLiteral("ROW")});
    QJsonArray list;
    for (const JobRecord& job : jobs) {
        table.addRow({job.generatedName, job.jobName, job.companyName, statePair(job.state, job.subState),
                      dryRun ? QStringLiteral("would wait again") : QStringLiteral("waits again")});
        list.append(jobFacts(job));
    }
    Report report{{{QStringLiteral("jobs"), list}, {QStringLiteral("dry_run"), dryRun}}, table.toString()};
    if (dryRun)
        report.outcome = unchanged();
    return report;
}

/// A request as it is sent again.
struct Request
{
    QJsonObject document;
    QByteArray bytes;
};

Result<Request> requestOf(const JobRecord& job, Database& database)
{
    const auto made = lastRobotRequest(database, job.flowGuid);
    if (!made.ok())
        return made.status();
    const auto& before = made.value();
    const bool saved = before ? before->origin == RobotOrigin::Saved : job.suffix == QStringLiteral("kos");
    Request request;
    request.document = Robot::robotRequest(saved ? job.generatedName.toLower() : job.generatedName,
                                           before && Robot::checkRobotRequest(before->document).fromWeb);
    request.bytes =
        QJsonDocument(request.document).toJson(saved ? QJsonDocument::Indented : QJsonDocument::Compact);
    return request;
}

Result<int> timeoutMs(const CommandLine& line)
{
    const QString text =
        line.value(QStringLiteral("timeout")).value_or(QString::number(defaultTimeoutSeconds));
    bool ok = false;
    const int seconds = text.toInt(&ok);
    if (!ok || seconds < 1 || seconds > longestTimeoutSeconds)
        return refusedOption("timeout", text, "a number of seconds from 1 to 3600");
    return seconds * 1000;
}

/// What came of one job.
struct ResentJob
{
    JobRecord job;
    QJsonObject document;
    RobotReply reply;
    Status recorded; ///< whether its event could be written
};

/// Sends the requests of jobs again, one after the other.
class Resending final
{
public:
    Resending(const OpenParts& parts, const CommandLine& line, int timeout)
        : m_database(*parts.database)
        , m_settings(parts.settings)
        , m_reason(line.value(QStringLiteral("reason")).value_or(QString()))
        , m_call{m_settings.robotHost, static_cast<quint16>(m_settings.robotPort), timeout}
    {
    }

    [[nodiscard]] Result<ResentJob> plan(const JobRecord& job)
    {
        const auto request = requestOf(job, m_database);
        if (!request.ok())
            return request.status();
        return ResentJob{job, request->document, {}, {}};
    }
    Result<ResentJob> send(const JobRecord& chosen);
    [[nodiscard]] const RobotCall& call() const { return m_call; }

private:
    Status record(const ResentJob& resent, const QString& requested);

    Database& m_database;
    const Settings& m_settings;
    QString m_reason;
    RobotCall m_call;
};

/// The requests before it may have taken their time: whether the job is still with the robot is asked again.
Result<ResentJob> Resending::send(const JobRecord& chosen)
{
    const auto job = jobNamed(chosen.generatedName, m_database);
    if (!job.ok())
        return job.status();
    if (const QString whyNot = whyNotAtRobot(job.value()); !whyNot.isEmpty())
        return Status::invalidArgument(whyNot);
    const auto request = requestOf(job.value(), m_database);
    if (!request.ok())
        return request.status();
    ResentJob resent{job.value(), request->document, {}, {}};
    const QString requested = rowTime();
    resent.reply = callRobot(m_call, request->bytes);
    resent.recorded = record(resent, requested);
    return resent;
}

Status Resending::record(const ResentJob& resent, const QString& requested)
{
    RobotRequestRecord request;
    request.origin = RobotOrigin::Resent;
    request.outcome = resent.reply.outcome;
    request.flowGuid = resent.job.flowGuid;
    request.generatedName = resent.job.generatedName;
    request.host = m_call.host;
    request.port = m_call.port;
    request.document = resent.document;
    request.reason = m_reason.isEmpty() ? resent.reply.reason
                                        : QStringLiteral("%1; %2").arg(resent.reply.reason, m_reason);
    request.requestedTime = requested;
    request.userId = m_settings.userId;
    request.userName = loginName();
    return addRobotRequest(m_database, request);
}

/// The exit code of a job: 0 only where the robot has answered and has not refused.
Status statusOf(const ResentJob& resent)
{
    const QString text = QStringLiteral("%1: %2").arg(resent.job.generatedName, resent.reply.reason);
    switch (resent.reply.outcome) {
    case RobotOutcome::Answered:
    case RobotOutcome::Sent:
        return resent.recorded;
    case RobotOutcome::Refused:
        return Status::io(text);
    case RobotOutcome::NotSent:
        return Status::unavailable(text);
    case RobotOutcome::Unknown:
    case RobotOutcome::NoAnswer:
        break;
    }
    return Status::outcomeUnknown(text + QStringLiteral("; the robot may have the request"));
}

QString outcomeText(const ResentJob& resent, bool dryRun)
{
    if (dryRun)
        return QStringLiteral("would be sent");
    QString text = outcomeWord(resent.reply.outcome) + QStringLiteral(": ") + resent.reply.reason;
    if (!resent.recorded.ok())
        text += QStringLiteral("; its history does not tell: ") + resent.recorded.message();
    return text;
}

Report resendReport(const std::vector<ResentJob>& jobs, const RobotCall& call, bool dryRun)
{
    TextTable table({QStringLiteral("JOB"), QStringLiteral("NAME"), QStringLiteral("SENT AS"),
                     QStringLiteral("TO"), QStringLiteral("OUTCOME")});
    QJsonArray list;
    Report report;
    for (const ResentJob& resent : jobs) {
        const QString sentAs = Robot::checkRobotRequest(resent.document).jobName;
        table.addRow({resent.job.generatedName, resent.job.jobName, sentAs,
                      QStringLiteral("%1:%2").arg(call.host).arg(call.port), outcomeText(resent, dryRun)});
        QJsonObject facts = jobFacts(resent.job);
        facts.insert(QStringLiteral("document"), resent.document);
        if (!dryRun) {
            facts.insert(QStringLiteral("outcome"), outcomeWord(resent.reply.outcome));
            facts.insert(QStringLiteral("reason"), resent.reply.reason);
            facts.insert(QStringLiteral("recorded"), resent.recorded.ok());
        }
        list.append(facts);
        if (report.outcome.ok() && !dryRun)
            report.outcome = statusOf(resent);
    }
    if (dryRun)
        report.outcome = unchanged();
    report.json = {{QStringLiteral("jobs"), list},
                   {QStringLiteral("host"), call.host},
                   {QStringLiteral("port"), call.port},
                   {QStringLiteral("dry_run"), dryRun}};
    report.text = table.toString();
    return report;
}

} // namespace

Result<Report> jobRequeueVerb(const Call& call)
{
    const auto parts = openParts(call.site);
    if (!parts.ok())
        return parts.status();
    const auto jobs = jobsAtRobot(call.line, *parts->database);
    if (!jobs.ok())
        return jobs.status();
    const bool dryRun = !call.line.has(QStringLiteral("yes"));
    if (!dryRun) {
        const RequeueOrder order{call.line.value(QStringLiteral("reason")).value_or(QString()),
                                 parts->settings.userId, loginName()};
        if (auto requeued = requeueJobs(*parts->database, jobs.value(), order); !requeued.ok())
            return requeued;
    }
    return requeueReport(jobs.value(), dryRun);
}

Result<Report> jobResendVerb(const Call& call)
{
    const auto timeout = timeoutMs(call.line);
    if (!timeout.ok())
        return timeout.status();
    const auto parts = openParts(call.site);
    if (!parts.ok())
        return parts.status();
    const auto jobs = jobsAtRobot(call.line, *parts->database);
    if (!jobs.ok())
        return jobs.status();
    const bool dryRun = !call.line.has(QStringLiteral("yes"));
    Resending resending(parts.value(), call.line, timeout.value());
    std::vector<ResentJob> done;
    Status ended;
    for (const JobRecord& job : jobs.value()) {
        const auto resent = dryRun ? resending.plan(job) : resending.send(job);
        if (!resent.ok()) {
            ended = resent.status();
            break;
        }
        done.push_back(resent.value());
    }
    if (done.empty())
        return ended;
    Report report = resendReport(done, resending.call(), dryRun);
    if (!ended.ok())
        report.outcome = ended;
    return report;
}

} // namespace KOZAV::Admin
