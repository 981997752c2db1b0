#include "backend/records/KnownContent.h"

#include "backend/database/Database.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace KOZAV::Backend {

namespace {

// The index of the content comes first and leaves next to no rows; CROSS JOIN keeps SQLite to that order,
// which MariaDB finds by itself. (-2, -2) is the state of a job that was taken back, (-1, -1) of one whose
// import failed.
#define FROM_KNOWN_JOBS                                                                                      \
    " FROM orig_file o CROSS JOIN job_flow f CROSS JOIN job_compress z"                                      \
    " WHERE f.orig_file_guid = o.guid AND z.flow_guid = f.guid"                                              \
    " AND NOT (f.state = -2 AND f.sub_state = -2) AND NOT (f.state = -1 AND f.sub_state = -1)"

#define KNOWN_JOB                                                                                            \
    "f.guid, f.ko_serial_name, f.job_name, z.company_id, z.company_code, z.company_name, f.state,"           \
    " f.sub_state, f.created_time"

// A statement takes a fixed number of values, so that it is prepared once; what is over repeats the last.
// Both engines look up each of the alternatives in the index.
constexpr std::size_t atOnce = 64;
#define FOUR(alternative, between) alternative between alternative between alternative between alternative
#define ALL_AT_ONCE(alternative, between) FOUR(FOUR(FOUR(alternative, between), between), between)

#define SELECT_KNOWN_CONTENTS(length, sha256)                                                                \
    "SELECT k.length, k.sha256, " KNOWN_JOB " FROM (SELECT " length " AS length, " sha256                    \
    " AS sha256, MIN(f.id) AS id" FROM_KNOWN_JOBS                                                            \
    " AND (" ALL_AT_ONCE("(" length " = ? AND " sha256 " = ?)",                                              \
                         " OR ") ")"                                                                         \
                                 " GROUP BY " length ", " sha256                                             \
                                 ", z.company_id) k CROSS JOIN job_flow f CROSS JOIN job_compress z"         \
                                 " WHERE f.id = k.id AND z.flow_guid = f.guid ORDER BY f.id"

struct Texts
{
    const char* lengthsSql;
    const char* jobsSql;
    const char* contentsSql;
};

constexpr Texts byStoredFile = {
    "SELECT DISTINCT stored_length FROM orig_file WHERE stored_length IN (" ALL_AT_ONCE("?", ", ") ")",
    "SELECT " KNOWN_JOB FROM_KNOWN_JOBS " AND o.stored_length = ? AND o.stored_sha256 = ? ORDER BY f.id",
    SELECT_KNOWN_CONTENTS("o.stored_length", "o.stored_sha256"),
};

constexpr Texts byFolderContent = {
    "SELECT DISTINCT content_length FROM orig_file WHERE content_length IN (" ALL_AT_ONCE("?", ", ") ")",
    "SELECT " KNOWN_JOB FROM_KNOWN_JOBS " AND o.content_length = ? AND o.content_sha256 = ? ORDER BY f.id",
    SELECT_KNOWN_CONTENTS("o.content_length", "o.content_sha256"),
};

constexpr const char* contentsOfJobsSql =
    "SELECT f.guid, o.stored_length, o.stored_sha256, o.content_length, o.content_sha256"
    " FROM job_flow f CROSS JOIN orig_file o"
    " WHERE f.guid IN (" ALL_AT_ONCE("?", ", ") ") AND o.guid = f.orig_file_guid ORDER BY f.id";

#undef SELECT_KNOWN_CONTENTS
#undef ALL_AT_ONCE
#undef FOUR
#undef KNOWN_JOB
#undef FROM_KNOWN_JOBS

const Texts& textsFor(KnownBy by)
{
    return by == KnownBy::StoredFile ? byStoredFile : byFolderContent;
}

/// The columns of KNOWN_JOB.
KnownJob readKnownJob(RowReader& row)
{
    KnownJob job;
    job.flowGuid = row.text();
    job.generatedName = row.text();
    job.jobName = row.text();
    job.companyId = row.number();
    job.companyCode = row.text();
    job.companyName = row.text();
    job.state = row.number();
    job.subState = row.number();
    job.createdTime = row.text();
    return job;
}

ContentDigest readDigest(RowReader& row)
{
    const auto length = row.optionalLongNumber();
    return {length.value_or(-1), row.text().toLatin1()};
}

qint64 readLength(RowReader& row)
{
    return row.optionalLongNumber().value_or(-1);
}

KnownContent readKnownContent(RowReader& row)
{
    const ContentDigest content = readDigest(row);
    return {content, readKnownJob(row)};
}

JobContent readJobContent(RowReader& row)
{
    JobContent job;
    job.flowGuid = row.text();
    job.content = readDigest(row);
    const ContentDigest folder = readDigest(row);
    if (folder.length >= 0) {
        job.by = KnownBy::FolderContent;
        job.content = folder;
    }
    return job;
}

/// Runs a statement that takes atOnce groups of values, as often as it takes, and joins the rows.
template <typename Record>
Result<std::vector<Record>> listAll(Database& database, const char* sql,
                                    const std::vector<QVariantList>& groups, Record (*read)(RowReader& row))
{
    std::vector<Record> all;
    for (std::size_t first = 0; first < groups.size(); first += atOnce) {
        QVariantList values;
        for (std::size_t i = first; i < first + atOnce; ++i)
            values += groups[std::min(i, groups.size() - 1)];
        auto found = database.list(sql, values, read);
        if (!found.ok())
            return found.status();
        all.insert(all.end(), std::make_move_iterator(found->begin()), std::make_move_iterator(found->end()));
    }
    return all;
}

} // namespace

Result<std::vector<qint64>> findKnownLengths(Database& database, KnownBy by,
                                             const std::vector<qint64>& lengths)
{
    std::vector<QVariantList> values;
    values.reserve(lengths.size());
    for (const qint64 length : lengths)
        values.push_back({length});
    return listAll(database, textsFor(by).lengthsSql, values, readLength);
}

Result<std::vector<KnownJob>> findKnownContent(Database& database, KnownBy by, const ContentDigest& content)
{
    return database.list(textsFor(by).jobsSql, {content.length, QString::fromLatin1(content.sha256)},
                         readKnownJob);
}

Result<std::vector<KnownContent>> findKnownContents(Database& database, KnownBy by,
                                                    const std::vector<ContentDigest>& contents)
{
    std::vector<QVariantList> values;
    values.reserve(contents.size());
    for (const ContentDigest& content : contents)
        values.push_back({content.length, QString::fromLatin1(content.sha256)});
    return listAll(database, textsFor(by).contentsSql, values, readKnownContent);
}

Result<std::vector<JobContent>> contentsOfJobs(Database& database, const QStringList& flowGuids)
{
    std::vector<QVariantList> values;
    values.reserve(static_cast<std::size_t>(flowGuids.size()));
    for (const QString& flowGuid : flowGuids)
        values.push_back({flowGuid});
    auto jobs = listAll(database, contentsOfJobsSql, values, readJobContent);
    if (jobs.ok())
        jobs->erase(std::remove_if(jobs->begin(), jobs->end(),
                                   [](const JobContent& job) { return job.content.length < 0; }),
                    jobs->end());
    return jobs;
}

} // namespace KOZAV::Backend
