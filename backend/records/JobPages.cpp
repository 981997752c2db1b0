// Pages by key. A page begins behind the place of the row before it, never at a number of rows that would
// have to be counted off, so the last page of a million jobs costs what the first one does. Three rules keep
// it so on both engines:
//
// - One condition leads: it is written so that its index serves it, and all others so that no index can
//   (unary plus; MariaDB, which takes no notice of that, is told the index in a comment that it alone reads).
//   Which one, planJobs() finds out by counting the entries of each up to a bound. Where one leaves few jobs,
//   it leads, and the engine sorts these few. Otherwise an index leads that has the order asked for, and rows
//   that the other conditions refuse are passed over; unless the beginning of that order shows that hardly
//   any row is not, such as the newest jobs where old ones are sought: then they are sorted, many or not.
// - What lies between two places is taken apart into intervals of one column each, below equal values of the
//   columns before it: neither engine finds its way by (a, b) > (x, y) through many equal values of a.
// - Nothing but the first rows of a page is joined: what is sorted are numbers of jobs, in a table within the
//   statement, and the rest of their rows is looked up when the page is cut off.
//
// What remains: of two conditions that both leave many jobs, but hardly any together, rows are passed over
// until the page is full.

#include "backend/records/JobPages.h"

#include "backend/database/Database.h"
#include "backend/records/RobotRequests.h"

#include <algorithm>
#include <tuple>

namespace KOZAV::Backend {

namespace {

using Column = JobPlan::Column;
using Way = JobPlan::Way;

// Indexed by Column.
constexpr const char* orderColumns[] = {
    "f.id",    "f.created_time", "f.ko_serial_name",      "f.job_name_start",
    "f.state", "f.sub_state",    "f.upload_batch_number", "o.id"};

// Indexed by Way. Each engine reads its own part: one takes the first table of a CROSS JOIN first, the other
// the index in the comment.
#define JOBS_BY(index) " FROM job_flow f /*! FORCE INDEX (" index ") */"
constexpr const char* tablesOfWays[] = {
    JOBS_BY("PRIMARY"),
    JOBS_BY("job_flow_created_time"),
    JOBS_BY("ko_serial_name"),
    JOBS_BY("job_flow_job_name"),
    JOBS_BY("job_flow_state"),
    JOBS_BY("job_flow_upload_batch_number"),
    " FROM orig_file o /*! FORCE INDEX (orig_file_company_code) */"
    " CROSS JOIN job_flow f ON f.orig_file_guid = o.guid",
    JOBS_BY("ko_serial_name"),
};
#undef JOBS_BY

#define JOB_COLUMNS                                                                                          \
    "SELECT /*! STRAIGHT_JOIN */ f.id, f.guid, f.ko_serial_name, f.job_name, f.job_name_start, f.state, "    \
    "f.sub_state,"                                                                                           \
    " f.upload_batch_number, f.created_time, o.id, c.name, COALESCE(z.stored_name, o.stored_name),"          \
    " CASE WHEN z.stored_name <> o.stored_name THEN NULL ELSE o.stored_length END, z.id IS NOT NULL"

#define JOIN_FILE " LEFT JOIN orig_file o ON o.guid = f.orig_file_guid"
#define JOIN_LAST_ROW " LEFT JOIN job_compress z ON z.flow_guid = f.guid"
#define JOIN_COMPANY " LEFT JOIN company c ON c.code = COALESCE(z.company_code, o.company_code)"

constexpr const char* failedRequests = JOB_COLUMNS
    ", e.outcome, e.reason, e.created_time FROM event e /*! FORCE INDEX (event_request_failed) */"
    " CROSS JOIN job_flow f ON f.guid = e.flow_guid" JOIN_FILE JOIN_LAST_ROW JOIN_COMPANY
    " WHERE e.request_failed = 1 AND +f.state = ? AND +f.sub_state = ? AND NOT EXISTS (SELECT 1 FROM"
    " event later WHERE later.flow_guid = e.flow_guid AND later.id > e.id"
    " AND +later.kind IN ('robot', 'requeue')) ORDER BY e.id DESC LIMIT ?";

/// So many rows at the beginning of an order are looked at to see whether it is worth to go along it; of
/// twenty-five one has to be a sought one. The newest jobs lie together in their table and, of one batch, are
/// alike: more of them are looked at than a batch has.
constexpr int lookedByIndex = 1000;
constexpr int lookedByNumber = 5000;
constexpr int rowsOfOneFitting = 25;

/// A condition of a search, with the index that serves it.
struct Condition
{
    Way way;
    const char* sql;
    QVariantList values;
};

/// A text's beginning as a range: no character of a text comes behind the last one that there is.
QVariantList rangeOf(const QString& beginning)
{
    const uint last = 0x10ffff;
    return {beginning, beginning + QString::fromUcs4(&last, 1)};
}

/// The conditions that an index serves, in the order in which they are preferred where all leave many jobs.
std::vector<Condition> conditionsOf(const JobSearch& search)
{
    std::vector<Condition> conditions;
    if (!search.generatedName.isEmpty())
        conditions.push_back({Way::GeneratedName, "f.ko_serial_name >= ? AND f.ko_serial_name < ?",
                              rangeOf(search.generatedName)});
    if (!search.jobName.isEmpty())
        conditions.push_back({Way::JobName, "f.job_name_start >= ? AND f.job_name_start < ?",
                              rangeOf(search.jobName.left(127))});
    if (!search.companyCode.isEmpty())
        conditions.push_back({Way::Company, "o.company_code = ?", {search.companyCode}});
    if (search.batchNumber)
        conditions.push_back({Way::Batch, "f.upload_batch_number = ?", {*search.batchNumber}});
    if (!search.from.isEmpty() || !search.until.isEmpty())
        conditions.push_back({Way::Time,
                              "f.created_time >= ? AND f.created_time < ?",
                              {search.from.isNull() ? QStringLiteral("") : search.from,
                               search.until.isEmpty() ? QStringLiteral("~") : search.until}});
    if (search.state)
        conditions.push_back(
            {Way::State, "f.state = ? AND f.sub_state = ?", {search.state->first, search.state->second}});
    return conditions;
}

/// The order as its columns, where this way leads; none where it leads in another one.
std::vector<Column> orderAlong(Way way, JobOrder order)
{
    switch (way) {
    case Way::Number:
        return order == JobOrder::Time ? std::vector<Column>{Column::Number} : std::vector<Column>{};
    case Way::Time:
        return order == JobOrder::Time ? std::vector<Column>{Column::Time, Column::Number}
                                       : std::vector<Column>{};
    case Way::GeneratedName:
    case Way::NamesOfCompany:
        return order == JobOrder::GeneratedName ? std::vector<Column>{Column::GeneratedName}
                                                : std::vector<Column>{};
    case Way::JobName:
        return order == JobOrder::JobName ? std::vector<Column>{Column::JobName, Column::Number}
                                          : std::vector<Column>{};
    case Way::State:
        return order == JobOrder::Time || order == JobOrder::State ? std::vector<Column>{Column::Number}
                                                                   : std::vector<Column>{};
    case Way::Batch:
        return order == JobOrder::Time || order == JobOrder::Batch ? std::vector<Column>{Column::Number}
                                                                   : std::vector<Column>{};
    case Way::Company:
        return order == JobOrder::Time ? std::vector<Column>{Column::File} : std::vector<Column>{};
    }
    return {};
}

/// The way through all jobs in an order, and that order.
std::pair<Way, std::vector<Column>> throughAll(JobOrder order)
{
    switch (order) {
    case JobOrder::GeneratedName:
        return {Way::GeneratedName, {Column::GeneratedName}};
    case JobOrder::JobName:
        return {Way::JobName, {Column::JobName, Column::Number}};
    case JobOrder::State:
        return {Way::State, {Column::State, Column::SubState, Column::Number}};
    case JobOrder::Batch:
        return {Way::Batch, {Column::Batch, Column::Number}};
    case JobOrder::Time:
        break;
    }
    return {Way::Number, {Column::Number}};
}

/// A statement of parts, each of them one of this file's constants: values are bound, whatever the parts.
QByteArray statementOf(std::initializer_list<QByteArray> parts)
{
    QByteArray sql;
    for (const QByteArray& part : parts)
        sql += part;
    return sql;
}

/// The text as one that no index serves.
QByteArray unserved(QByteArray sql)
{
    return sql.replace("f.", "+f.").replace("o.", "+o.");
}

/// How many jobs a condition leaves, counted up to a number of them.
Result<int> jobsLeft(Database& database, const Condition& condition, int most)
{
    const QByteArray sql =
        statementOf({"SELECT COUNT(*) FROM (SELECT 1",
                     condition.way == Way::Company ? " FROM orig_file o"
                                                   : tablesOfWays[static_cast<size_t>(condition.way)],
                     " WHERE ", condition.sql, " LIMIT ?) AS counted"});
    const auto jobs = database.value(sql.constData(), condition.values + QVariantList{most});
    return jobs.ok() ? Result(jobs->toInt()) : jobs.status();
}

QByteArray columnOf(const JobPlan& plan, std::size_t number)
{
    const QByteArray name = orderColumns[static_cast<size_t>(plan.order[number])];
    return plan.sorted ? "+" + name : name;
}

QByteArray orderOf(const JobPlan& plan)
{
    QByteArray sql;
    for (std::size_t i = 0; i < plan.order.size(); ++i)
        sql += (i == 0 ? " ORDER BY " : ", ") + columnOf(plan, i) + (plan.descending ? " DESC" : "");
    return sql;
}

/// Whether the rows at the beginning of a plan's order hold enough that are sought, as far as the job's own
/// row tells, or are all that there are.
Result<bool> isWorthGoing(Database& database, const JobPlan& plan, const std::vector<Condition>& conditions)
{
    QByteArray fits;
    QVariantList values;
    for (const Condition& condition : conditions) {
        if (condition.way == Way::Company)
            continue;
        fits += (fits.isEmpty() ? "" : " AND ") + unserved(condition.sql);
        values += condition.values;
    }
    if (fits.isEmpty())
        return true;
    const QByteArray sql =
        statementOf({"SELECT COUNT(*), COALESCE(SUM(fits), 0) FROM (SELECT (", fits, ") AS fits",
                     tablesOfWays[static_cast<size_t>(plan.way)], orderOf(plan), " LIMIT ?) AS looked"});
    const int most = plan.way == Way::Number ? lookedByNumber : lookedByIndex;
    bool isWorth = false;
    const auto read =
        database.query(sql.constData(), values + QVariantList{most}, [&isWorth, most](const QSqlQuery& row) {
            isWorth = row.value(0).toInt() < most || row.value(1).toInt() * rowsOfOneFitting >= most;
            return false;
        });
    return read.ok() ? Result(isWorth) : read;
}

void lead(JobPlan& plan, Way way, JobOrder order)
{
    plan.way = way;
    plan.order = orderAlong(way, order);
    plan.sorted = plan.order.empty();
    if (plan.sorted)
        plan.order = throughAll(order).second;
}

/// What all statements of a plan ask for.
struct Where
{
    QByteArray sql; ///< ends with a condition
    QVariantList values;
};

Where whereOf(const JobPlan& plan)
{
    Where where{" WHERE 1 = 1", {}};
    const auto add = [&where](const QByteArray& sql, const QVariantList& values) {
        where.sql += " AND " + sql;
        where.values += values;
    };
    for (const Condition& condition : conditionsOf(plan.search)) {
        if (condition.way == plan.way)
            add(condition.sql, condition.values);
        else if (condition.way == Way::Company)
            add("COALESCE(z.company_code, o.company_code) = ?", condition.values);
        else
            add(unserved(condition.sql), condition.values);
    }
    if (plan.way == Way::NamesOfCompany)
        add("f.ko_serial_name >= ? AND f.ko_serial_name < ?", rangeOf(plan.search.companyCode));
    // Not as IS NOT NULL, from which an engine would conclude that it may begin with the last rows.
    if (plan.search.onlyComplete)
        add("COALESCE(z.id, 0) > 0", {});
    return where;
}

QByteArray tablesOf(const JobPlan& plan)
{
    QByteArray sql = tablesOfWays[static_cast<size_t>(plan.way)];
    if (plan.way != Way::Company)
        sql += JOIN_FILE;
    return sql + JOIN_LAST_ROW;
}

/// No more tables than the conditions name.
QByteArray tablesFor(const JobPlan& plan, const Where& where)
{
    QByteArray sql = tablesOfWays[static_cast<size_t>(plan.way)];
    if (plan.way != Way::Company && where.sql.contains("o."))
        sql += JOIN_FILE;
    if (where.sql.contains("z."))
        sql += JOIN_LAST_ROW;
    return sql;
}

/// A part of what lies between two places: rows with these values in the first columns, and in the next one a
/// value between two others.
struct Interval
{
    QVariantList equal;
    std::optional<QVariant> above;
    std::optional<QVariant> below;
    bool belowIncluded = false;
};

QVariant at(const std::optional<QVariantList>& place, int column)
{
    return place->at(column);
}

/// The parts from one place to the other, in the order of the rows.
std::vector<Interval> intervalsBetween(const std::optional<QVariantList>& after,
                                       const std::optional<QVariantList>& last, int columns)
{
    if (!after && !last)
        return {{}};
    int shared = 0;
    while (after && last && shared < columns - 1 && at(after, shared) == at(last, shared))
        ++shared;
    std::vector<Interval> parts;
    if (after) {
        for (int i = columns - 1; i > shared; --i)
            parts.push_back({after->mid(0, i), at(after, i), {}});
    }
    Interval between;
    between.equal = after ? after->mid(0, shared) : QVariantList();
    if (after)
        between.above = at(after, shared);
    if (last)
        between.below = at(last, shared);
    between.belowIncluded = shared == columns - 1;
    parts.push_back(between);
    if (last) {
        for (int i = shared + 1; i < columns; ++i)
            parts.push_back({last->mid(0, i), {}, at(last, i), i == columns - 1});
    }
    return parts;
}

Where inside(const JobPlan& plan, const Interval& part)
{
    Where where;
    std::size_t column = 0;
    for (const QVariant& value : part.equal) {
        where.sql += " AND " + columnOf(plan, column++) + " = ?";
        where.values << value;
    }
    if (part.above) {
        where.sql += " AND " + columnOf(plan, column) + (plan.descending ? " < ?" : " > ?");
        where.values << *part.above;
    }
    if (part.below) {
        where.sql += " AND " + columnOf(plan, column) + (plan.descending ? " >" : " <") +
                     (part.belowIncluded ? "= ?" : " ?");
        where.values << *part.below;
    }
    return where;
}

/// The columns of JOB_COLUMNS.
JobRow readRow(const QSqlQuery& query, const std::vector<Column>& order)
{
    RowReader row(query);
    JobRow job;
    job.jobId = row.number();
    job.flowGuid = row.text();
    job.generatedName = row.text();
    job.jobName = row.text();
    const QString jobNameStart = row.text();
    job.state = row.number();
    job.subState = row.number();
    job.batchNumber = row.number();
    job.createdTime = row.text();
    const int file = row.number();
    job.companyName = row.text();
    job.storedName = row.text();
    job.storedLength = row.optionalLongNumber();
    job.complete = row.number() != 0;
    const QVariant values[] = {job.jobId, job.createdTime, job.generatedName, jobNameStart,
                               job.state, job.subState,    job.batchNumber,   file};
    for (const Column column : order)
        job.place << values[static_cast<size_t>(column)];
    return job;
}

/// A place in the order of files is one job, as far as the panels make them; nothing but their custom says
/// so. Ordering by the number of the job as well would have a server sort the whole company.
Status endWithWholePlace(Database& database, const JobPlan& plan, std::vector<JobRow>& jobs)
{
    if (plan.order.back() != Column::File)
        return {};
    const QVariantList place = jobs.back().place;
    while (!jobs.empty() && jobs.back().place == place)
        jobs.pop_back();
    const Where where = whereOf(plan);
    // The columns are several literals in a row.
    // NOLINTBEGIN(bugprone-suspicious-missing-comma)
    const QByteArray sql =
        statementOf({JOB_COLUMNS, tablesOf(plan), JOIN_COMPANY, where.sql, " AND o.id = ?"});
    // NOLINTEND(bugprone-suspicious-missing-comma)
    return database.query(sql.constData(), where.values + place, [&](const QSqlQuery& row) {
        jobs.push_back(readRow(row, plan.order));
        return true;
    });
}

} // namespace

bool JobSearch::isEmpty() const
{
    return conditionsOf(*this).empty() && !onlyComplete;
}

Result<JobPlan> planJobs(Database& database, const JobSearch& search, JobOrder order, bool descending,
                         int few)
{
    JobPlan plan;
    plan.search = search;
    plan.descending = descending;
    const std::vector<Condition> conditions = conditionsOf(search);
    int fewest = few + 1;
    for (const Condition& condition : conditions) {
        const auto left = jobsLeft(database, condition, few + 1);
        if (!left.ok())
            return left.status();
        if (left.value() < fewest) {
            fewest = left.value();
            lead(plan, condition.way, order);
        }
    }
    if (fewest <= few)
        return plan;
    for (const Condition& condition : conditions) {
        if (!orderAlong(condition.way, order).empty()) {
            lead(plan, condition.way, order);
            return plan;
        }
    }
    if (!search.companyCode.isEmpty() && order == JobOrder::GeneratedName) {
        lead(plan, Way::NamesOfCompany, order);
        return plan;
    }
    std::tie(plan.way, plan.order) = throughAll(order);
    const auto worth = isWorthGoing(database, plan, conditions);
    if (!worth.ok())
        return worth.status();
    if (!worth.value())
        lead(plan, conditions.front().way, order);
    return plan;
}

std::vector<PageStatement> statementsOfPage(const JobPlan& plan, const std::optional<QVariantList>& after,
                                            const std::optional<QVariantList>& last, int limit)
{
    std::vector<PageStatement> statements;
    const Where where = whereOf(plan);
    const QByteArray begin = plan.sorted
                                 ? statementOf({JOB_COLUMNS " FROM (SELECT /*! STRAIGHT_JOIN */ f.id AS id",
                                                tablesFor(plan, where), where.sql})
                                 : statementOf({JOB_COLUMNS, tablesOf(plan), JOIN_COMPANY, where.sql});
    const QByteArray order = orderOf(plan);
    const QByteArray end =
        plan.sorted
            ? statementOf({order,
                           " LIMIT ?) AS page CROSS JOIN job_flow f ON f.id = page.id" JOIN_FILE JOIN_LAST_ROW
                               JOIN_COMPANY,
                           order})
            : statementOf({order, " LIMIT ?"});
    for (const Interval& part : intervalsBetween(after, last, static_cast<int>(plan.order.size()))) {
        const Where here = inside(plan, part);
        statements.push_back(
            {statementOf({begin, here.sql, end}), where.values + here.values + QVariantList{limit}});
    }
    return statements;
}

Result<std::vector<JobRow>> readJobs(Database& database, const JobPlan& plan,
                                     const std::optional<QVariantList>& after,
                                     const std::optional<QVariantList>& last, int limit)
{
    std::vector<JobRow> jobs;
    for (PageStatement& statement : statementsOfPage(plan, after, last, limit)) {
        statement.values.last() = limit - static_cast<int>(jobs.size());
        const auto add = [&](const QSqlQuery& row) {
            jobs.push_back(readRow(row, plan.order));
            return true;
        };
        if (const auto read = database.query(statement.sql.constData(), statement.values, add); !read.ok())
            return read;
        if (static_cast<int>(jobs.size()) >= limit)
            break;
    }
    const bool cutOff = !jobs.empty() && static_cast<int>(jobs.size()) >= limit;
    if (const auto all = cutOff ? endWithWholePlace(database, plan, jobs) : Status(); !all.ok())
        return all;
    return jobs;
}

Result<JobCount> countJobs(Database& database, const JobPlan& plan, int most)
{
    // The order does not matter here.
    JobPlan counting = plan;
    const auto conditions = conditionsOf(plan.search);
    const bool leads = std::any_of(conditions.begin(), conditions.end(),
                                   [&plan](const Condition& condition) { return condition.way == plan.way; });
    if (!leads) // the narrowest index for all jobs
        counting.way = conditions.empty() ? Way::Batch : conditions.front().way;
    const Where where = whereOf(counting);
    const bool needsOthers = where.sql.contains("z.");
    const int bound = needsOthers ? std::max(1, most / 10) : most;
    const QByteArray sql = statementOf({"SELECT COUNT(*) FROM (SELECT /*! STRAIGHT_JOIN */ 1",
                                        tablesFor(counting, where), where.sql, " LIMIT ?) AS counted"});
    const auto counted = database.value(sql.constData(), where.values + QVariantList{bound + 1});
    if (!counted.ok())
        return counted.status();
    return JobCount{std::min(counted->toLongLong(), qint64(bound)), counted->toLongLong() > bound};
}

Result<std::vector<FailedRequest>> listFailedRequests(Database& database, int limit)
{
    std::vector<FailedRequest> requests;
    const auto read = database.query(failedRequests, {atRobotState, atRobotSubState, limit},
                                     [&requests](const QSqlQuery& row) {
                                         FailedRequest request;
                                         request.job = readRow(row, {Column::Number});
                                         request.outcome = row.value(14).toString();
                                         request.reason = row.value(15).toString();
                                         request.time = row.value(16).toString();
                                         requests.push_back(std::move(request));
                                         return true;
                                     });
    return read.ok() ? Result(std::move(requests)) : read;
}

Result<QString> newestRows(Database& database)
{
    const auto job = database.value("SELECT MAX(id) FROM job_flow");
    const auto end = job.ok() ? database.value("SELECT MAX(id) FROM job_compress") : job;
    const auto event = end.ok() ? database.value("SELECT MAX(id) FROM event") : end;
    if (!event.ok())
        return event.status();
    return QStringList({job->toString(), end->toString(), event->toString()}).join(QLatin1Char('/'));
}

} // namespace KOZAV::Backend
