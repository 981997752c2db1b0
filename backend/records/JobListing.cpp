#include "backend/records/JobListing.h"

#include "backend/database/Database.h"
#include "backend/records/FailedImport.h"
#include "backend/records/FileContent.h"

#include <algorithm>
#include <limits>
#include <set>
#include <string>
#include <utility>

namespace KOZAV::Backend {

using DataLib::Model::Odbpp_Job_C;

namespace {

// One text for each way in: the first condition is one that an index serves, the others are tested on the few
// rows that it leaves. Every optional value is bound twice; NULL means that there is no such condition.
#define SELECT_JOB                                                                                           \
    "SELECT f.id, f.guid, f.ko_serial_name, f.job_name, f.flow_no, f.state, f.sub_state, "                   \
    "f.upload_batch_number,"                                                                                 \
    " f.user_id, f.created_time, f.orig_file_guid, c.code, c.name, COALESCE(z.stored_name, o.stored_name),"  \
    " COALESCE(z.suffix, o.suffix), z.file_store, z.resource, z.customer2, z.customer3,"                     \
    " CASE WHEN z.stored_name <> o.stored_name THEN NULL ELSE o.stored_length END, o.stored_sha256,"         \
    " o.content_length, o.content_sha256, z.id IS NOT NULL"                                                  \
    " FROM job_flow f"                                                                                       \
    " LEFT JOIN orig_file o ON o.guid = f.orig_file_guid"                                                    \
    " LEFT JOIN job_compress z ON z.flow_guid = f.guid"                                                      \
    " LEFT JOIN company c ON c.code = COALESCE(z.company_code, o.company_code)"

#define WITH_OTHER_CONDITIONS                                                                                \
    " AND (? IS NULL OR f.guid = ?) AND (? IS NULL OR f.ko_serial_name = ?) AND (? IS NULL OR c.code = ?)"   \
    " AND (? IS NULL OR c.name = ?) AND (? IS NULL OR f.upload_batch_number = ?) AND (? IS NULL OR f.state " \
    "= ?)"                                                                                                   \
    " AND (? IS NULL OR f.sub_state = ?)"

// One statement for all that an index leaves, in which their numbers lead nowhere; or lots by their numbers.
#define AT_ONCE " AND +f.id > ? ORDER BY f.id LIMIT ?"
#define IN_LOTS " AND f.id > ? ORDER BY f.id LIMIT ?"

constexpr const char* jobsByFlowGuid = SELECT_JOB " WHERE f.guid = ?" WITH_OTHER_CONDITIONS AT_ONCE;
constexpr const char* jobsByGeneratedName =
    SELECT_JOB " WHERE f.ko_serial_name = ?" WITH_OTHER_CONDITIONS AT_ONCE;
constexpr const char* jobsByBatchNumber =
    SELECT_JOB " WHERE f.upload_batch_number = ?" WITH_OTHER_CONDITIONS AT_ONCE;
constexpr const char* jobsByStatePair =
    SELECT_JOB " WHERE f.state = ? AND f.sub_state = ?" WITH_OTHER_CONDITIONS IN_LOTS;
constexpr const char* allJobs = SELECT_JOB " WHERE 1 = 1" WITH_OTHER_CONDITIONS IN_LOTS;
constexpr const char* jobsByCompany = SELECT_JOB
    " WHERE f.guid IN ("
    "SELECT linked.guid FROM orig_file named"
    " JOIN job_flow linked ON linked.orig_file_guid = named.guid"
    " WHERE named.company_code = COALESCE(?, (SELECT code FROM company WHERE name = ?))"
    " UNION SELECT flow_guid FROM job_compress"
    " WHERE company_code = COALESCE(?, (SELECT code FROM company WHERE name = ?)))" WITH_OTHER_CONDITIONS
        AT_ONCE;

#undef SELECT_JOB
#undef WITH_OTHER_CONDITIONS
#undef AT_ONCE
#undef IN_LOTS

template <typename T>
QVariant optionalValue(const std::optional<T>& value)
{
    return value ? QVariant(*value) : QVariant();
}

/// The text whose first condition leaves the fewest rows, and the values of that condition.
struct WayIn
{
    const char* sql;
    QVariantList values;
    bool inLots = false;
};

WayIn wayIn(const JobFilter& filter)
{
    const QVariant code = optionalValue(filter.companyCode);
    const QVariant name = optionalValue(filter.companyName);
    if (filter.flowGuid)
        return {jobsByFlowGuid, {*filter.flowGuid}};
    if (filter.generatedName)
        return {jobsByGeneratedName, {*filter.generatedName}};
    if (filter.batchNumber.value_or(0) > 0)
        return {jobsByBatchNumber, {*filter.batchNumber}};
    if (filter.companyCode || filter.companyName)
        return {jobsByCompany, {code, name, code, name}};
    if (filter.state && filter.subState)
        return {jobsByStatePair, {*filter.state, *filter.subState}, true};
    return {allJobs, {}, true};
}

QVariantList otherValues(const JobFilter& filter)
{
    QVariantList values;
    for (const QVariant& value :
         {optionalValue(filter.flowGuid), optionalValue(filter.generatedName),
          optionalValue(filter.companyCode), optionalValue(filter.companyName),
          optionalValue(filter.batchNumber), optionalValue(filter.state), optionalValue(filter.subState)})
        values << value << value;
    return values;
}

/// The columns of SELECT_JOB.
JobRecord readJob(RowReader& row)
{
    JobRecord job;
    job.jobId = row.number();
    job.flowGuid = row.text();
    job.generatedName = row.text();
    job.jobName = row.text();
    job.flowNo = row.text();
    job.state = row.number();
    job.subState = row.number();
    job.batchNumber = row.number();
    job.userId = row.number();
    job.createdTime = row.text();
    job.origFileGuid = row.text();
    job.companyCode = row.text();
    job.companyName = row.text();
    job.storedName = row.text();
    job.suffix = row.text();
    job.fileStore = row.text();
    job.resource = row.text();
    job.customer2 = row.text();
    job.customer3 = row.text();
    job.stored = readContent(row);
    job.content = readContent(row);
    job.complete = row.number() != 0;
    return job;
}

Odbpp_Job_C readWaitingJob(RowReader& row)
{
    Odbpp_Job_C job;
    job.flowId = row.utf8();
    job.jobId = row.number();
    job.jobName = row.utf8();
    return job;
}

/// So many jobs are read at once where they are read in lots.
constexpr int lotSize = 500;

/// Asking about so many jobs takes less time than reading the whole list.
constexpr std::size_t mostAsked = 65;
#define FOUR(text) text text text text
constexpr const char* withLastRowSql =
    "SELECT flow_guid FROM job_compress WHERE flow_guid IN (?" FOUR(FOUR(FOUR(", ?"))) ")";
#undef FOUR

/// Which of the jobs are among those before; both in the order of their numbers.
std::vector<bool> knownJobs(const std::vector<Odbpp_Job_C>& jobs, const std::vector<Odbpp_Job_C>& before)
{
    std::vector<bool> known;
    known.reserve(jobs.size());
    auto old = before.begin();
    for (const Odbpp_Job_C& job : jobs) {
        while (old != before.end() && old->jobId < job.jobId)
            ++old;
        known.push_back(old != before.end() && old->jobId == job.jobId && old->flowId == job.flowId);
    }
    return known;
}

/// Which of at most so many jobs have their last row: one statement, whose values are as many each time.
Result<std::set<std::string>> withLastRow(Database& database, const std::vector<const Odbpp_Job_C*>& jobs)
{
    if (jobs.empty())
        return std::set<std::string>();
    QVariantList keys;
    for (std::size_t i = 0; i < mostAsked; ++i)
        keys << QString::fromStdString(jobs[std::min(i, jobs.size() - 1)]->flowId);
    std::set<std::string> found;
    const auto read = database.query(withLastRowSql, keys, [&found](const QSqlQuery& row) {
        found.insert(row.value(0).toString().toStdString());
        return true;
    });
    return read.ok() ? Result(std::move(found)) : read;
}

} // namespace

bool isVoided(const JobRecord& job)
{
    return job.state == voidedState && job.subState == voidedSubState;
}

bool hasFailed(const JobRecord& job)
{
    return job.state == importFailedState && job.subState == importFailedSubState;
}

Status visitJobs(Database& database, const JobFilter& filter, int after,
                 const std::function<bool(const JobRecord& job)>& visit)
{
    const WayIn way = wayIn(filter);
    const int most = way.inLots ? lotSize : std::numeric_limits<int>::max();
    for (;;) {
        int read = 0;
        bool goesOn = true;
        auto status = database.query(way.sql, way.values + otherValues(filter) + QVariantList{after, most},
                                     [&](const QSqlQuery& row) {
                                         RowReader reader(row);
                                         const JobRecord job = readJob(reader);
                                         after = job.jobId;
                                         ++read;
                                         goesOn = visit(job);
                                         return goesOn;
                                     });
        if (!status.ok() || !goesOn || read < most)
            return status;
    }
}

Result<std::vector<JobRecord>> listJobs(Database& database, const JobFilter& filter)
{
    std::vector<JobRecord> jobs;
    const auto status = visitJobs(database, filter, 0, [&jobs](const JobRecord& job) {
        jobs.push_back(job);
        return true;
    });
    return status.ok() ? Result(std::move(jobs)) : status;
}

Result<std::vector<Odbpp_Job_C>> listWaitingJobs(Database& database)
{
    return database.list(
        "SELECT guid, id, ko_serial_name FROM job_flow WHERE state = 0 AND sub_state = 0"
        " AND EXISTS (SELECT 1 FROM job_compress WHERE flow_guid = job_flow.guid) ORDER BY id",
        {}, readWaitingJob);
}

Result<std::vector<Odbpp_Job_C>> listWaitingJobs(Database& database, const std::vector<Odbpp_Job_C>& before)
{
    if (before.empty())
        return listWaitingJobs(database);
    auto all = database.list(
        "SELECT guid, id, ko_serial_name FROM job_flow WHERE state = 0 AND sub_state = 0 ORDER BY id", {},
        readWaitingJob);
    if (!all.ok())
        return all;
    const std::vector<bool> known = knownJobs(all.value(), before);
    std::vector<const Odbpp_Job_C*> others;
    for (std::size_t i = 0; i < known.size(); ++i)
        if (!known[i])
            others.push_back(&all.value()[i]);
    if (others.size() > mostAsked)
        return listWaitingJobs(database);
    const auto complete = withLastRow(database, others);
    if (!complete.ok())
        return complete.status();
    std::vector<Odbpp_Job_C> waiting;
    waiting.reserve(all->size());
    for (std::size_t i = 0; i < known.size(); ++i)
        if (known[i] || complete->count(all.value()[i].flowId) > 0)
            waiting.push_back(std::move(all.value()[i]));
    return waiting;
}

Result<JobRecord> jobNamed(Database& database, const QString& generatedName)
{
    JobFilter filter;
    filter.generatedName = generatedName;
    const auto jobs = listJobs(database, filter);
    if (!jobs.ok())
        return jobs.status();
    if (jobs->empty())
        return Status::notFound(QStringLiteral("there is no job \"%1\"").arg(generatedName));
    return jobs->front();
}

Result<bool> isImported(Database& database, const QString& storedName)
{
    const auto found = database.value(
        "SELECT f.id FROM orig_file o JOIN job_flow f ON f.orig_file_guid = o.guid"
        " JOIN job_compress z ON z.flow_guid = f.guid WHERE o.stored_name = ? AND z.stored_name = ?"
        " AND NOT (f.state = -1 AND f.sub_state = -1) LIMIT 1",
        {storedName, storedName});
    return found.ok() ? Result(found->isValid()) : found.status();
}

} // namespace KOZAV::Backend
