#include "admin/Verbs.h"
#include "backend/Site.h"
#include "backend/records/JobListing.h"
#include "backend/records/SiteRecords.h"
#include "terminal/TextTable.h"

#include <QJsonArray>
#include <QRegularExpression>

#include <algorithm>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

Status refusedOption(const char* option, const QString& value, const char* accepted)
{
    return Status::invalidArgument(QStringLiteral("--%1 is \"%2\"; accepted is %3")
                                       .arg(QLatin1String(option), value, QLatin1String(accepted)));
}

/// What the options ask for: a filter of the rows, and whether only imports that did not end are wanted.
struct JobQuestion
{
    JobFilter filter;
    bool onlyFailed = false;
};

Status askForCompany(const QString& company, Database& database, JobQuestion& question)
{
    const auto companies = listCompanies(database);
    if (!companies.ok())
        return companies.status();
    const auto& list = companies.value();
    const std::string wanted = company.toStdString();
    auto found =
        std::find_if(list.cbegin(), list.cend(), [&](const auto& c) { return c.companyCode == wanted; });
    if (found == list.cend())
        found =
            std::find_if(list.cbegin(), list.cend(), [&](const auto& c) { return c.companyLabel == wanted; });
    if (found == list.cend())
        return Status::notFound(
            QStringLiteral("there is no company with the code or name \"%1\"").arg(company));
    question.filter.companyCode = QString::fromStdString(found->companyCode);
    return {};
}

Status askForState(const QString& state, JobQuestion& question)
{
    static const QRegularExpression numbers(QStringLiteral("^(\\d{1,9})(?:,(\\d{1,9}))?$"));
    if (state == QLatin1String("failed")) {
        question.onlyFailed = true;
        return {};
    }
    const QString pair = state == QLatin1String("waiting") ? QStringLiteral("0,0") : state;
    const QRegularExpressionMatch match = numbers.match(pair);
    if (!match.hasMatch())
        return refusedOption("state", state, "a state N, a state pair N,M, waiting or failed");
    question.filter.state = match.captured(1).toInt();
    if (!match.captured(2).isEmpty())
        question.filter.subState = match.captured(2).toInt();
    return {};
}

Status askForBatch(const QString& batch, JobQuestion& question)
{
    bool ok = false;
    question.filter.batchNumber = batch.toInt(&ok);
    if (!ok || *question.filter.batchNumber < 0)
        return refusedOption("batch", batch, "a batch number, 0 for jobs imported one by one");
    return {};
}

Result<JobQuestion> questionOf(const CommandLine& line, Database& database)
{
    JobQuestion question;
    Status status;
    if (const auto state = line.value(QStringLiteral("state")))
        status = askForState(*state, question);
    const auto batch = line.value(QStringLiteral("batch"));
    if (status.ok() && batch)
        status = askForBatch(*batch, question);
    const auto company = line.value(QStringLiteral("company"));
    if (status.ok() && company)
        status = askForCompany(*company, database, question);
    if (!status.ok())
        return status;
    return question;
}

/// Null where the row does not know it.
QJsonValue lengthJson(const std::optional<ContentDigest>& content)
{
    return content ? QJsonValue(content->length) : QJsonValue();
}

QJsonValue sha256Json(const std::optional<ContentDigest>& content)
{
    return content ? QJsonValue(QString::fromLatin1(content->sha256)) : QJsonValue();
}

QJsonObject jobJson(const JobRecord& job)
{
    return {{QStringLiteral("id"), job.jobId},
            {QStringLiteral("generated_name"), job.generatedName},
            {QStringLiteral("job_name"), job.jobName},
            {QStringLiteral("company_code"), job.companyCode},
            {QStringLiteral("company_name"), job.companyName},
            {QStringLiteral("state"), job.state},
            {QStringLiteral("sub_state"), job.subState},
            {QStringLiteral("batch_number"), job.batchNumber},
            {QStringLiteral("user_id"), job.userId},
            {QStringLiteral("created"), job.createdTime},
            {QStringLiteral("complete"), job.complete},
            {QStringLiteral("stored_name"), job.storedName},
            {QStringLiteral("file_store"), job.fileStore},
            {QStringLiteral("suffix"), job.suffix},
            {QStringLiteral("stored_length"), lengthJson(job.stored)},
            {QStringLiteral("stored_sha256"), sha256Json(job.stored)},
            {QStringLiteral("content_length"), lengthJson(job.content)},
            {QStringLiteral("content_sha256"), sha256Json(job.content)},
            {QStringLiteral("flow_no"), job.flowNo},
            {QStringLiteral("flow_guid"), job.flowGuid},
            {QStringLiteral("orig_file_guid"), job.origFileGuid},
            {QStringLiteral("resource"), job.resource},
            {QStringLiteral("customer2"), job.customer2},
            {QStringLiteral("customer3"), job.customer3}};
}

QStringList jobRow(const JobRecord& job)
{
    return {job.generatedName,
            job.jobName,
            job.companyName,
            QStringLiteral("%1,%2").arg(job.state).arg(job.subState),
            job.batchNumber == 0 ? QStringLiteral("-") : QString::number(job.batchNumber),
            job.complete ? QStringLiteral("complete") : QStringLiteral("failed"),
            job.createdTime,
            job.storedName};
}

Report reportOf(const std::vector<JobRecord>& jobs, bool onlyFailed)
{
    TextTable table({QStringLiteral("JOB"), QStringLiteral("NAME"), QStringLiteral("COMPANY"),
                     QStringLiteral("STATE"), QStringLiteral("BATCH"), QStringLiteral("IMPORT"),
                     QStringLiteral("CREATED"), QStringLiteral("STORED FILE")});
    table.alignRight({4});
    QJsonArray list;
    for (const JobRecord& job : jobs) {
        if (onlyFailed && job.complete)
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
    return reportOf(jobs.value(), question->onlyFailed);
}

} // namespace KOZAV::Admin
