// Two orders of rows are walked: by stored name, for the comparison with a store's listing, which has the
// same order, and by number, for what is looked for among jobs. Both are orders of an index, and a page
// begins behind the last row of the one before, so that a page costs what its rows cost wherever it lies.
// Names are ordered by their bytes: SQLite compares so, and the collation of MariaDB, by code points, gives
// the same order for UTF-8.
//
// A statement is one moment on either engine. What a question compares with each other, a company's counters
// and the numbers given out, it reads in one statement: a counter is raised before the rows of its job are
// written, so no moment shows it behind.

#include "backend/records/SiteAudit.h"

#include "backend/database/Database.h"

#include <algorithm>

namespace KOZAV::Backend {

namespace {

constexpr const char* fileRowsBehind =
    "SELECT o.id, o.guid, o.stored_name, o.suffix, o.company_code, o.stored_length, o.stored_sha256,"
    " o.content_sha256 IS NULL AND o.suffix = '' AND o.flow_guid IS NULL, o.created_time, f.id IS NOT NULL,"
    " COALESCE(f.ko_serial_name, r.ko_serial_name), COALESCE(f.guid, r.guid), f.state, f.sub_state,"
    " z.id IS NOT NULL, z.file_store"
    " FROM orig_file o"
    " LEFT JOIN job_flow f ON f.orig_file_guid = o.guid"
    " LEFT JOIN job_compress z ON z.flow_guid = f.guid"
    " LEFT JOIN job_flow r ON r.guid = o.flow_guid"
    " WHERE o.stored_name >= ? AND (o.stored_name > ? OR o.id > ?)"
    " ORDER BY o.stored_name, o.id LIMIT ?";

constexpr const char* oddJobs =
    "SELECT z.id, f.guid, f.ko_serial_name, z.file_store, z.stored_name, o.stored_name"
    " FROM job_compress z"
    " JOIN job_flow f ON f.guid = z.flow_guid"
    " LEFT JOIN orig_file o ON o.guid = f.orig_file_guid"
    " WHERE z.id > ? AND (o.guid IS NULL OR o.stored_name <> z.stored_name)"
    " ORDER BY z.id LIMIT ?";

constexpr const char* halfImports =
    "SELECT f.id, f.guid, f.ko_serial_name, f.job_name, f.state, f.sub_state, o.company_code, f.created_time"
    " FROM job_flow f"
    " LEFT JOIN orig_file o ON o.guid = f.orig_file_guid"
    " WHERE f.id > ? AND NOT EXISTS (SELECT 1 FROM job_compress z WHERE z.flow_guid = f.guid)"
    " AND NOT (f.state = -2 AND f.sub_state = -2)"
    " ORDER BY f.id LIMIT ?";

// The last condition is the slow one: no index leads from an archive to the job that names it last. It is
// asked for the few rows that the others leave.
constexpr const char* unusedOrigFiles =
    "SELECT o.id, o.guid, o.job_name, o.stored_name, o.created_time FROM orig_file o"
    " WHERE o.id > ? AND o.flow_guid IS NULL"
    " AND NOT EXISTS (SELECT 1 FROM job_flow f WHERE f.orig_file_guid = o.guid)"
    " AND NOT EXISTS (SELECT 1 FROM job_flow l WHERE l.last_import_orig_file_guid = o.guid)"
    " ORDER BY o.id LIMIT ?";

constexpr const char* unusedOfName =
    "SELECT o.guid FROM orig_file o WHERE o.stored_name = ? AND o.flow_guid IS NULL"
    " AND NOT EXISTS (SELECT 1 FROM job_flow f WHERE f.orig_file_guid = o.guid)";

constexpr const char* deleteUnusedOrigFile =
    "DELETE FROM orig_file WHERE guid = ? AND flow_guid IS NULL"
    " AND NOT EXISTS (SELECT 1 FROM job_flow f WHERE f.orig_file_guid = orig_file.guid)"
    " AND NOT EXISTS (SELECT 1 FROM job_flow l WHERE l.last_import_orig_file_guid = orig_file.guid)";

constexpr const char* companyCounters =
    "SELECT c.id, c.code, c.name, c.job_count, c.batch_number,"
    " (SELECT MAX(z.job_number) FROM job_compress z WHERE z.company_code = c.code),"
    " (SELECT MAX(f.upload_batch_number) FROM orig_file o JOIN job_flow f ON f.orig_file_guid = o.guid"
    "   WHERE o.company_code = c.code),"
    " (SELECT MAX(f.created_time) FROM orig_file o JOIN job_flow f ON f.orig_file_guid = o.guid"
    "   WHERE o.company_code = c.code AND f.upload_batch_number > c.batch_number)"
    " FROM company c ORDER BY c.id";

/// A reader of rows for numbers beyond 32 bits, which RowReader does not have.
std::optional<qint64> longNumber(const QVariant& value)
{
    return value.isNull() ? std::nullopt : std::optional(value.toLongLong());
}

std::optional<QString> optionalText(const QVariant& value)
{
    return value.isNull() ? std::nullopt : std::optional(value.toString());
}

FileRow fileRow(const QSqlQuery& query)
{
    int column = 0;
    const auto next = [&] { return query.value(column++); };
    FileRow row;
    row.id = next().toLongLong();
    row.guid = next().toString();
    row.storedName = next().toString();
    row.suffix = next().toString();
    row.companyCode = optionalText(next());
    row.storedLength = longNumber(next());
    if (const auto sha256 = optionalText(next()))
        row.storedSha256 = sha256->toLatin1();
    row.lacksContent = next().toBool();
    row.createdTime = next().toString();
    row.isLinked = next().toBool();
    row.job = next().toString();
    row.flowGuid = next().toString();
    row.state = next().toInt();
    row.subState = next().toInt();
    row.complete = next().toBool();
    row.fileStore = optionalText(next());
    return row;
}

OddJob oddJob(RowReader& row)
{
    OddJob odd;
    odd.id = row.number();
    odd.flowGuid = row.text();
    odd.job = row.text();
    odd.fileStore = row.text();
    odd.storedName = row.text();
    odd.origStoredName = row.optionalText();
    return odd;
}

HalfImport halfImport(RowReader& row)
{
    HalfImport half;
    half.id = row.number();
    half.flowGuid = row.text();
    half.job = row.text();
    half.jobName = row.text();
    half.state = row.number();
    half.subState = row.number();
    half.companyCode = row.text();
    half.createdTime = row.text();
    half.failed = half.state == -1 && half.subState == -1;
    return half;
}

UnusedOrigFile unusedOrigFile(RowReader& row)
{
    UnusedOrigFile file;
    file.id = row.number();
    file.guid = row.text();
    file.jobName = row.text();
    file.storedName = row.text();
    file.createdTime = row.text();
    return file;
}

CompanyCounters counters(RowReader& row)
{
    CompanyCounters company;
    company.id = row.number();
    company.code = row.text();
    company.name = row.text();
    company.jobCount = row.number();
    company.batchNumber = row.number();
    company.highestJobNumber = row.number();
    company.highestBatch = row.number();
    company.newestBatchTime = row.text();
    return company;
}

} // namespace

Result<std::vector<FileRow>> listFileRows(Database& database, const FileRowPlace& behind, int limit)
{
    std::vector<FileRow> rows;
    const auto status =
        database.query(fileRowsBehind, {behind.storedName, behind.storedName, behind.id, limit},
                       [&rows](const QSqlQuery& query) {
                           rows.push_back(fileRow(query));
                           return true;
                       });
    return status.ok() ? Result(std::move(rows)) : status;
}

Result<std::vector<FileRow>> listFileRowsOf(Database& database, const QString& storedName)
{
    constexpr int more = 100;
    auto rows = listFileRows(database, {storedName, 0}, more);
    if (rows.ok())
        rows->erase(std::remove_if(rows->begin(), rows->end(),
                                   [&](const FileRow& row) { return row.storedName != storedName; }),
                    rows->end());
    return rows;
}

Result<bool> isFileNamed(Database& database, const std::string& storedName)
{
    const auto named = database.value("SELECT COUNT(*) FROM orig_file WHERE stored_name = ?",
                                      {QString::fromStdString(storedName)});
    return named.ok() ? Result(named->toLongLong() > 0) : named.status();
}

Result<QStringList> fileStoresNamed(Database& database)
{
    QStringList names;
    const auto status = database.query("SELECT DISTINCT file_store FROM job_compress ORDER BY file_store", {},
                                       [&names](const QSqlQuery& row) {
                                           names << row.value(0).toString();
                                           return true;
                                       });
    return status.ok() ? Result(names) : status;
}

Result<std::vector<OddJob>> listOddJobs(Database& database, qint64 afterId, int limit)
{
    return database.list(oddJobs, {afterId, limit}, oddJob);
}

Status linkOrigFile(Database& database, const QString& flowGuid, const QString& storedName)
{
    return database.transaction([&] {
        QStringList guids;
        auto found = database.query(unusedOfName, {storedName}, [&guids](const QSqlQuery& row) {
            guids << row.value(0).toString();
            return true;
        });
        if (!found.ok())
            return found;
        if (guids.size() != 1)
            return Status::notFound(
                QStringLiteral("%1 original-file rows without a job name the stored file \"%2\"")
                    .arg(guids.size())
                    .arg(storedName));
        return database
            .change("UPDATE job_flow SET orig_file_guid = ? WHERE guid = ? AND orig_file_guid IS NULL",
                    {guids.first(), flowGuid}, Durability::Immediate)
            .status();
    });
}

Result<std::vector<HalfImport>> listHalfImports(Database& database, qint64 afterId, int limit)
{
    return database.list(halfImports, {afterId, limit}, halfImport);
}

Result<std::vector<UnusedOrigFile>> listUnusedOrigFiles(Database& database, qint64 afterId, int limit)
{
    return database.list(unusedOrigFiles, {afterId, limit}, unusedOrigFile);
}

Result<bool> removeUnusedOrigFile(Database& database, const QString& guid)
{
    const auto removed = database.change(deleteUnusedOrigFile, {guid}, Durability::Immediate);
    return removed.ok() ? Result(removed.value() > 0) : removed.status();
}

Result<std::vector<CompanyCounters>> listCompanyCounters(Database& database)
{
    return database.list(companyCounters, {}, counters);
}

Status raiseJobCount(Database& database, qint64 companyId, qint64 number)
{
    return database
        .change("UPDATE company SET job_count = ? WHERE id = ? AND job_count < ?",
                {number, companyId, number}, Durability::Immediate)
        .status();
}

Status raiseBatchNumber(Database& database, qint64 companyId, qint64 number)
{
    return database
        .change("UPDATE company SET batch_number = ? WHERE id = ? AND batch_number < ?",
                {number, companyId, number}, Durability::Immediate)
        .status();
}

Result<qint64> countOrigFiles(Database& database)
{
    const auto count = database.value("SELECT COUNT(*) FROM orig_file");
    return count.ok() ? Result(count->toLongLong()) : count.status();
}

Result<qint64> countJobs(Database& database)
{
    const auto count = database.value("SELECT COUNT(*) FROM job_flow");
    return count.ok() ? Result(count->toLongLong()) : count.status();
}

} // namespace KOZAV::Backend
