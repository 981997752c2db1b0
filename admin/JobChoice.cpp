#include "admin/JobChoice.h"

#include "backend/records/SiteRecords.h"

#include <QSet>

#include <algorithm>

namespace KOZAV::Admin {

using namespace Backend;

namespace {

Status askForCompany(const QString& company, Database& database, JobFilter& filter)
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
    filter.companyCode = QString::fromStdString(found->companyCode);
    return {};
}

Status askForBatch(const QString& batch, JobFilter& filter)
{
    bool ok = false;
    filter.batchNumber = batch.toInt(&ok);
    if (!ok || *filter.batchNumber < 0)
        return refusedOption("batch", batch, "a batch number, 0 for jobs imported one by one");
    return {};
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

} // namespace

Status refusedOption(const char* option, const QString& value, const char* accepted)
{
    return Status::invalidArgument(QStringLiteral("--%1 is \"%2\"; accepted is %3")
                                       .arg(QLatin1String(option), value, QLatin1String(accepted)));
}

Result<JobFilter> companyAndBatch(const CommandLine& line, Database& database)
{
    JobFilter filter;
    Status status;
    if (const auto batch = line.value(QStringLiteral("batch")))
        status = askForBatch(*batch, filter);
    const auto company = line.value(QStringLiteral("company"));
    if (status.ok() && company)
        status = askForCompany(*company, database, filter);
    return status.ok() ? Result(filter) : status;
}

namespace {

Result<std::vector<JobRecord>> jobsByName(const QStringList& names, Database& database)
{
    std::vector<JobRecord> jobs;
    QSet<QString> seen;
    for (const QString& name : names) {
        const auto job = jobNamed(database, name);
        if (!job.ok())
            return job.status();
        if (seen.contains(name))
            continue;
        seen.insert(name);
        jobs.push_back(job.value());
    }
    return jobs;
}

Result<std::vector<JobRecord>> jobsOfBatch(const CommandLine& line, Database& database)
{
    const auto filter = companyAndBatch(line, database);
    if (!filter.ok())
        return filter.status();
    if (!filter->companyCode || filter->batchNumber.value_or(0) == 0)
        return Status::invalidArgument(
            QStringLiteral("a batch is named by --company CODE-or-NAME and --batch N, N above 0"));
    auto jobs = listJobs(database, filter.value());
    if (jobs.ok() && jobs->empty())
        return Status::notFound(QStringLiteral("the company %1 has no batch %2")
                                    .arg(*filter->companyCode)
                                    .arg(*filter->batchNumber));
    return jobs;
}

} // namespace

Result<std::vector<JobRecord>> chosenJobs(const CommandLine& line, Database& database)
{
    const bool batch = line.has(QStringLiteral("company")) || line.has(QStringLiteral("batch"));
    if (batch == !line.words.isEmpty())
        return Status::invalidArgument(
            QStringLiteral("accepted are generated job names, or --company and --batch, and not both"));
    return batch ? jobsOfBatch(line, database) : jobsByName(line.words, database);
}

QString statePair(int state, int subState)
{
    return QStringLiteral("%1,%2").arg(state).arg(subState);
}

QString importText(const JobRecord& job)
{
    if (isVoided(job))
        return QStringLiteral("voided");
    return job.complete && !hasFailed(job) ? QStringLiteral("complete") : QStringLiteral("failed");
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

} // namespace KOZAV::Admin
