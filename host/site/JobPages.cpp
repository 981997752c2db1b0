#include "host/site/JobPages.h"

#include "backend/database/Database.h"
#include "backend/records/JobPages.h"
#include "backend/records/SiteRecords.h"
#include "host/site/SiteRows.h"

#include <algorithm>
#include <tuple>

namespace KOZAV::Host {

namespace {

/// So many jobs are counted in a moment; of more it is told that there are more.
constexpr int mostCounted = 100000;

/// What work says of the site's rows on this thread.
template <typename Work>
JobReadFailure ofRows(const Work& work)
{
    const Backend::Status done = onRows(work);
    if (done.ok())
        return {};
    return {done.message(), done.code() == Backend::ErrorCode::Unavailable ||
                                done.code() == Backend::ErrorCode::OutcomeUnknown};
}

ListedJob listed(const Backend::JobRow& row)
{
    ListedJob job;
    job.jobId = row.jobId;
    job.flowKey = row.flowGuid;
    job.generatedName = row.generatedName;
    job.jobName = row.jobName;
    job.company = row.companyName;
    job.state = {row.state, row.subState};
    job.batchNumber = row.batchNumber;
    job.importedAt = QDateTime::fromString(row.createdTime, Qt::ISODateWithMs).toLocalTime();
    job.storedName = row.storedName;
    job.storedLength = row.storedLength.value_or(-1);
    job.complete = row.complete;
    job.place = row.place;
    return job;
}

QString asRowTime(const QDateTime& time)
{
    return time.isValid() ? time.toUTC().toString(QStringLiteral("yyyy-MM-ddThh:mm:ss.zzzZ")) : QString();
}

Backend::JobSearch searchOf(const JobQuery& query)
{
    Backend::JobSearch search;
    search.generatedName = query.generatedName;
    search.jobName = query.jobName;
    search.companyCode = query.companyCode;
    search.state = query.state;
    search.batchNumber = query.batchNumber;
    search.from = asRowTime(query.from);
    search.until = asRowTime(query.until);
    search.onlyComplete = query.onlyComplete;
    return search;
}

Backend::JobOrder orderOf(const JobQuery& query)
{
    switch (query.order) {
    case JobQuery::Order::GeneratedName:
        return Backend::JobOrder::GeneratedName;
    case JobQuery::Order::JobName:
        return Backend::JobOrder::JobName;
    case JobQuery::Order::State:
        return Backend::JobOrder::State;
    case JobQuery::Order::Batch:
        return Backend::JobOrder::Batch;
    case JobQuery::Order::Time:
        break;
    }
    return Backend::JobOrder::Time;
}

} // namespace

bool ListedJob::operator==(const ListedJob& other) const
{
    return flowKey == other.flowKey && state == other.state && batchNumber == other.batchNumber &&
           complete == other.complete && company == other.company && jobName == other.jobName &&
           generatedName == other.generatedName && storedName == other.storedName &&
           storedLength == other.storedLength && failedRequest == other.failedRequest &&
           importedAt == other.importedAt;
}

bool JobQuery::operator==(const JobQuery& other) const
{
    const auto all = [](const JobQuery& query) {
        return std::tie(query.generatedName, query.jobName, query.companyCode, query.state, query.batchNumber,
                        query.from, query.until, query.onlyComplete, query.order, query.descending);
    };
    return all(*this) == all(other);
}

struct JobPages::Private
{
    Backend::JobPlan plan;
};

JobPages::JobPages()
    : d(std::make_unique<Private>())
{
}

JobPages::~JobPages() = default;

JobReadFailure JobPages::begin(const JobQuery& query)
{
    return ofRows([&](Backend::Database& database) -> Backend::Status {
        auto plan = Backend::planJobs(database, searchOf(query), orderOf(query), query.descending);
        if (plan.ok())
            d->plan = std::move(plan.value());
        return plan.status();
    });
}

JobReadFailure JobPages::read(const std::optional<QVariantList>& after,
                              const std::optional<QVariantList>& last, int limit,
                              std::vector<ListedJob>& jobs) const
{
    return ofRows([&](Backend::Database& database) -> Backend::Status {
        const auto rows = Backend::readJobs(database, d->plan, after, last, limit);
        if (rows.ok())
            std::transform(rows->begin(), rows->end(), std::back_inserter(jobs), listed);
        return rows.status();
    });
}

JobReadFailure JobPages::count(qint64& jobs, bool& orMore) const
{
    return ofRows([&](Backend::Database& database) -> Backend::Status {
        const auto counted = Backend::countJobs(database, d->plan, mostCounted);
        if (counted.ok())
            std::tie(jobs, orMore) = std::tie(counted->jobs, counted->orMore);
        return counted.status();
    });
}

JobReadFailure JobPages::failedRequests(int limit, std::vector<ListedJob>& jobs)
{
    return ofRows([&](Backend::Database& database) -> Backend::Status {
        const auto requests = Backend::listFailedRequests(database, limit);
        if (!requests.ok())
            return requests.status();
        for (const Backend::FailedRequest& request : requests.value()) {
            jobs.push_back(listed(request.job));
            jobs.back().failedRequest = request.reason.isEmpty() ? request.outcome : request.reason;
        }
        return {};
    });
}

JobReadFailure JobPages::companies(std::vector<ListedCompany>& companies)
{
    return ofRows([&](Backend::Database& database) -> Backend::Status {
        const auto records = Backend::listCompanies(database);
        if (!records.ok())
            return records.status();
        for (const auto& company : records.value())
            companies.push_back(
                {QString::fromStdString(company.companyCode), QString::fromStdString(company.companyLabel)});
        std::sort(companies.begin(), companies.end(),
                  [](const ListedCompany& one, const ListedCompany& other) {
                      return QString::localeAwareCompare(one.name, other.name) < 0;
                  });
        return {};
    });
}

JobReadFailure JobPages::revision(QString& text, bool& tellsAll)
{
    return ofRows([&](Backend::Database& database) -> Backend::Status {
        auto told = database.revision();
        tellsAll = told.ok() && !told->isEmpty();
        if (told.ok() && !tellsAll)
            told = Backend::newestRows(database);
        if (told.ok())
            text = told.value();
        return told.status();
    });
}

} // namespace KOZAV::Host
