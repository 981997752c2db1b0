#include "backend/records/KnownContent.h"

#include "backend/database/Database.h"

namespace KOZAV::Backend {

namespace {

// The index of the content comes first and leaves next to no rows; CROSS JOIN keeps SQLite to that order,
// which MariaDB finds by itself. (-2, -2) is the state of a job that was taken back, (-1, -1) of one whose
// import failed.
#define SELECT_KNOWN_JOB                                                                                     \
    "SELECT f.guid, f.ko_serial_name, f.job_name, z.company_code, z.company_name, f.state, f.sub_state,"     \
    " f.created_time FROM orig_file o CROSS JOIN job_flow f CROSS JOIN job_compress z"                       \
    " WHERE f.orig_file_guid = o.guid AND z.flow_guid = f.guid"                                              \
    " AND NOT (f.state = -2 AND f.sub_state = -2) AND NOT (f.state = -1 AND f.sub_state = -1)"

struct Texts
{
    const char* lengthSql;
    const char* jobsSql;
};

constexpr Texts byStoredFile = {
    "SELECT 1 FROM orig_file WHERE stored_length = ? LIMIT 1",
    SELECT_KNOWN_JOB " AND o.stored_length = ? AND o.stored_sha256 = ? ORDER BY f.id",
};

constexpr Texts byFolderContent = {
    "SELECT 1 FROM orig_file WHERE content_length = ? LIMIT 1",
    SELECT_KNOWN_JOB " AND o.content_length = ? AND o.content_sha256 = ? ORDER BY f.id",
};

#undef SELECT_KNOWN_JOB

const Texts& textsFor(KnownBy by)
{
    return by == KnownBy::StoredFile ? byStoredFile : byFolderContent;
}

/// The columns of SELECT_KNOWN_JOB.
KnownJob readKnownJob(RowReader& row)
{
    KnownJob job;
    job.flowGuid = row.text();
    job.generatedName = row.text();
    job.jobName = row.text();
    job.companyCode = row.text();
    job.companyName = row.text();
    job.state = row.number();
    job.subState = row.number();
    job.createdTime = row.text();
    return job;
}

} // namespace

Result<bool> hasKnownLength(Database& database, KnownBy by, qint64 length)
{
    const auto found = database.value(textsFor(by).lengthSql, {length});
    return found.ok() ? Result(found->isValid()) : found.status();
}

Result<std::vector<KnownJob>> findKnownContent(Database& database, KnownBy by, const ContentDigest& content)
{
    return database.list(textsFor(by).jobsSql, {content.length, QString::fromLatin1(content.sha256)},
                         readKnownJob);
}

} // namespace KOZAV::Backend
