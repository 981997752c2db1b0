// The verbs about jobs that went to the CAM robot: putting them back on the waiting list, and sending their
// requests again.

#include "admin/JobChoice.h"
#include "admin/Stopping.h"
#include "admin/Verbs.h"
#include "backend/database/Database.h"
#include "backend/io/PrivateFile.h"
#include "backend/records/RobotRequests.h"
#include "robot/RobotRequest.h"
#include "robot_call/RobotResending.h"
#include "terminal/PrintableText.h"
#include "terminal/TextTable.h"

#include <QJsonArray>

#include <algorithm>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;
using Robot::ResentRequest;
using Robot::RobotCall;

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

/// The exit code of a job: 0 only where the robot has answered and has not refused.
Status statusOf(const ResentRequest& resent)
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

QString outcomeText(const ResentRequest& resent, bool dryRun)
{
    if (dryRun)
        return QStringLiteral("would be sent");
    QString text = outcomeWord(resent.reply.outcome) + QStringLiteral(": ") + resent.reply.reason;
    if (!resent.recorded.ok())
        text += QStringLiteral("; its history does not tell: ") + resent.recorded.message();
    return text;
}

Report resendReport(const std::vector<ResentRequest>& jobs, const RobotCall& robot, bool dryRun)
{
    TextTable table({QStringLiteral("JOB"), QStringLiteral("NAME"), QStringLiteral("SENT AS"),
                     QStringLiteral("TO"), QStringLiteral("OUTCOME")});
    QJsonArray list;
    Report report;
    for (const ResentRequest& resent : jobs) {
        const QString sentAs = Robot::checkRobotRequest(resent.document).jobName;
        table.addRow({resent.job.generatedName, resent.job.jobName, sentAs,
                      QStringLiteral("%1:%2").arg(robot.host).arg(robot.port), outcomeText(resent, dryRun)});
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
                   {QStringLiteral("host"), robot.host},
                   {QStringLiteral("port"), robot.port},
                   {QStringLiteral("dry_run"), dryRun}};
    report.text = table.toString();
    return report;
}

/// A request that is sent twice counts twice: only the jobs behind the first ones are to be named again.
Stop stopAfter(size_t done, const std::vector<JobRecord>& jobs, const Call& call)
{
    Stop stop;
    stop.done = QStringLiteral("the requests of %1 of %2 jobs were sent, and are told above")
                    .arg(done)
                    .arg(jobs.size());
    stop.json = {{QStringLiteral("jobs"), static_cast<qint64>(done)},
                 {QStringLiteral("jobs_total"), static_cast<qint64>(jobs.size())}};
    QStringList left;
    for (size_t i = done; i < jobs.size(); ++i)
        left << jobs[i].generatedName;
    stop.goOn = argumentsWith(call, QStringLiteral("job resend"), left);
    return stop;
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
    const Settings& settings = parts->settings;
    const Robot::ResendOrder order{
        call.line.value(QStringLiteral("reason")).value_or(QString()),
        {settings.robotHost, static_cast<quint16>(settings.robotPort), timeout.value()},
        settings.userId,
        loginName()};
    const StoppableVerb stoppable;
    std::vector<ResentRequest> done;
    Status ended;
    for (const JobRecord& job : jobs.value()) {
        ended = safePoint();
        if (!ended.ok())
            break;
        const auto resent = dryRun ? Robot::plannedRequest(*parts->database, job)
                                   : Robot::resendRequest(*parts->database, job.generatedName, order);
        if (!resent.ok()) {
            ended = resent.status();
            break;
        }
        done.push_back(resent.value());
    }
    if (done.empty())
        return ended;
    Report report = resendReport(done, order.robot, dryRun);
    if (!ended.ok())
        report.outcome = ended;
    report.stop = stopAfter(done.size(), jobs.value(), call);
    return report;
}

} // namespace KOZAV::Admin
