#include "admin/JobChoice.h"
#include "admin/Verbs.h"
#include "backend/Site.h"
#include "terminal/TextTable.h"

#include <QJsonArray>
#include <QRegularExpression>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

/// What the options ask for: a filter of the rows, and a further condition.
struct JobQuestion
{
    JobFilter filter;
    bool (*accepts)(const JobRecord& job) = nullptr; ///< null: all
};

bool isComplete(const JobRecord& job)
{
    return job.complete;
}

/// An import that did not end and was voided is dealt with.
bool isFailedImport(const JobRecord& job)
{
    return hasFailed(job) || (!job.complete && !isVoided(job));
}

void askForPair(int state, int subState, JobFilter& filter)
{
    filter.state = state;
    filter.subState = subState;
}

Status askForState(const QString& state, JobQuestion& question)
{
    static const QRegularExpression numbers(QStringLiteral("^(\\d{1,9})(?:,(\\d{1,9}))?$"));
    if (state == QLatin1String("failed")) {
        question.accepts = isFailedImport;
        return {};
    }
    if (state == QLatin1String("waiting")) {
        askForPair(0, 0, question.filter);
        question.accepts = isComplete;
        return {};
    }
    if (state == QLatin1String("voided")) {
        askForPair(voidedState, voidedSubState, question.filter);
        return {};
    }
    const QRegularExpressionMatch match = numbers.match(state);
    if (!match.hasMatch())
        return refusedOption("state", state, "a state N, a state pair N,M, waiting, failed or voided");
    question.filter.state = match.captured(1).toInt();
    if (!match.captured(2).isEmpty())
        question.filter.subState = match.captured(2).toInt();
    return {};
}

Result<JobQuestion> questionOf(const CommandLine& line, Database& database)
{
    const auto filter = companyAndBatch(line, database);
    if (!filter.ok())
        return filter.status();
    JobQuestion question;
    question.filter = filter.value();
    const auto state = line.value(QStringLiteral("state"));
    const Status status = state ? askForState(*state, question) : Status();
    return status.ok() ? Result(question) : status;
}

QStringList jobRow(const JobRecord& job)
{
    return {job.generatedName,
            job.jobName,
            job.companyName,
            statePair(job.state, job.subState),
            job.batchNumber == 0 ? QStringLiteral("-") : QString::number(job.batchNumber),
            importText(job),
            job.createdTime,
            job.storedName};
}

Report reportOf(const std::vector<JobRecord>& jobs, const JobQuestion& question)
{
    TextTable table({QStringLiteral("JOB"), QStringLiteral("NAME"), QStringLiteral("COMPANY"),
                     QStringLiteral("STATE"), QStringLiteral("BATCH"), QStringLiteral("IMPORT"),
                     QStringLiteral("CREATED"), QStringLiteral("STORED FILE")});
    table.alignRight({4});
    QJsonArray list;
    for (const JobRecord& job : jobs) {
        if (question.accepts && !question.accepts(job))
            continue;
        table.addRow(jobRow(job));
        list.append(jobJson(job));
    }
    return {{{QStringLiteral("jobs"), list}}, table.toString()};
}

} // namespace

Result<Report> jobsVerb(const Call& call)
{
    const auto database = call.site.database();
    if (!database.ok())
        return database.status();
    const auto question = questionOf(call.line, *database.value());
    if (!question.ok())
        return question.status();
    const auto jobs = listJobs(*database.value(), question->filter);
    if (!jobs.ok())
        return jobs.status();
    return reportOf(jobs.value(), question.value());
}

} // namespace KOZAV::Admin
