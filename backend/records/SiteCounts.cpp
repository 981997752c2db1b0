#include "backend/records/SiteCounts.h"

#include "backend/database/Database.h"

namespace KOZAV::Backend {

namespace {

// Each is answered by one index: the states and the waiting jobs by job_flow_state, the lengths by
// orig_file_stored_content.
constexpr const char* statesSql =
    "SELECT state, sub_state, COUNT(*) FROM job_flow GROUP BY state, sub_state ORDER BY state, sub_state";
constexpr const char* unfinishedSql =
    "SELECT COUNT(*) FROM job_flow WHERE state = 0 AND sub_state = 0"
    " AND NOT EXISTS (SELECT 1 FROM job_compress WHERE flow_guid = job_flow.guid)";
constexpr const char* lengthsSql = "SELECT COUNT(stored_length), COALESCE(SUM(stored_length), 0), COUNT(*) - "
                                   "COUNT(stored_length) FROM orig_file";
constexpr const char* oldestWaitingSql =
    "SELECT ko_serial_name, created_time FROM job_flow WHERE state = 0 AND sub_state = 0"
    " AND EXISTS (SELECT 1 FROM job_compress WHERE flow_guid = job_flow.guid) ORDER BY id LIMIT 1";
constexpr const char* lastImportSql =
    "SELECT f.ko_serial_name, z.created_time FROM job_compress z JOIN job_flow f ON f.guid = z.flow_guid"
    " ORDER BY z.id DESC LIMIT 1";

Status countStates(Database& database, SiteCounts& counts)
{
    auto read = database.query(statesSql, {}, [&counts](const QSqlQuery& row) {
        counts.states.push_back({row.value(0).toInt(), row.value(1).toInt(), row.value(2).toLongLong()});
        return true;
    });
    if (!read.ok())
        return read;
    const auto unfinished = database.value(unfinishedSql);
    if (!unfinished.ok())
        return unfinished.status();
    counts.unfinished = unfinished->toLongLong();
    for (const StateCount& count : counts.states)
        if (count.state == 0 && count.subState == 0)
            counts.waiting = count.jobs - counts.unfinished;
    return {};
}

Status addLengths(Database& database, SiteCounts& counts)
{
    return database.query(lengthsSql, {}, [&counts](const QSqlQuery& row) {
        counts.storedFiles = row.value(0).toLongLong();
        counts.storedBytes = row.value(1).toLongLong();
        counts.unknownLengths = row.value(2).toLongLong();
        return false;
    });
}

Status findMoment(Database& database, const char* sql, std::optional<JobMoment>& moment)
{
    return database.query(sql, {}, [&moment](const QSqlQuery& row) {
        moment = JobMoment{row.value(0).toString(), row.value(1).toString()};
        return false;
    });
}

Status countAll(Database& database, SiteCounts& counts)
{
    const auto companies = database.value("SELECT COUNT(*) FROM company");
    if (!companies.ok())
        return companies.status();
    counts.companies = companies->toLongLong();
    if (auto states = countStates(database, counts); !states.ok())
        return states;
    if (auto lengths = addLengths(database, counts); !lengths.ok())
        return lengths;
    if (auto oldest = findMoment(database, oldestWaitingSql, counts.oldestWaiting); !oldest.ok())
        return oldest;
    return findMoment(database, lastImportSql, counts.lastImport);
}

} // namespace

qint64 SiteCounts::jobs() const
{
    qint64 all = 0;
    for (const StateCount& count : states)
        all += count.jobs;
    return all;
}

Result<SiteCounts> countSite(Database& database)
{
    SiteCounts counts;
    const auto counted = database.snapshot([&] { return countAll(database, counts); });
    return counted.ok() ? Result(counts) : counted;
}

} // namespace KOZAV::Backend
