#include "backend/records/FileContent.h"

#include "backend/database/Database.h"
#include "backend/records/JobListing.h"

namespace KOZAV::Backend {

namespace {

// The file store is that of the job-compress row, which is written last; a robot archive has none of its own,
// and lies in the configured one.
constexpr const char* selectClaims =
    "SELECT COALESCE(f.ko_serial_name, r.ko_serial_name, o.job_name), o.stored_name, z.file_store,"
    " o.stored_length, o.stored_sha256 FROM orig_file o"
    " LEFT JOIN job_flow f ON f.orig_file_guid = o.guid"
    " LEFT JOIN job_compress z ON z.flow_guid = f.guid AND z.stored_name = o.stored_name"
    " LEFT JOIN job_flow r ON r.guid = o.flow_guid"
    " WHERE o.stored_sha256 IS NOT NULL ORDER BY o.id";

FileClaim readClaim(RowReader& row)
{
    FileClaim claim;
    claim.job = row.text();
    claim.storedName = row.text();
    claim.fileStore = row.text();
    claim.stored = readContent(row).value_or(ContentDigest());
    return claim;
}

QVariantList valuesOf(const ContentDigest& content)
{
    return {content.length, QString::fromLatin1(content.sha256)};
}

QString inWords(const ContentDigest& content)
{
    return QStringLiteral("%1 bytes, sha256 %2").arg(content.length).arg(QString::fromLatin1(content.sha256));
}

} // namespace

std::optional<ContentDigest> readContent(RowReader& row)
{
    const auto length = row.optionalLongNumber();
    const auto sha256 = row.optionalText();
    if (!length || !sha256)
        return std::nullopt;
    return ContentDigest{*length, sha256->toLatin1()};
}

Result<std::vector<FileClaim>> listFileClaims(Database& database)
{
    return database.list(selectClaims, {}, readClaim);
}

Status checkClaim(const FileClaim& claim, const ContentDigest& found)
{
    if (found == claim.stored)
        return {};
    return Status::corrupt(
        QStringLiteral("the stored file \"%1\" of job \"%2\" is not the one that was imported: it has %3, "
                       "its row says %4")
            .arg(claim.storedName, claim.job, inWords(found), inWords(claim.stored)));
}

Status checkContent(const JobRecord& job, const ContentDigest& found)
{
    if (!job.stored)
        return {};
    return checkClaim({job.generatedName, job.storedName, job.fileStore, *job.stored}, found);
}

Result<bool> fillContent(Database& database, qint64 number, const ContentDigest& stored,
                         const std::optional<ContentDigest>& content)
{
    const auto filled = database.change("UPDATE orig_file SET stored_length = ?, stored_sha256 = ?"
                                        " WHERE id = ? AND stored_sha256 IS NULL",
                                        valuesOf(stored) << number, Durability::Deferred);
    if (!filled.ok())
        return filled.status();
    if (!content)
        return filled.value() > 0;
    const auto packed = database.change("UPDATE orig_file SET content_length = ?, content_sha256 = ?"
                                        " WHERE id = ? AND content_sha256 IS NULL",
                                        valuesOf(*content) << number, Durability::Deferred);
    if (!packed.ok())
        return packed.status();
    return filled.value() + packed.value() > 0;
}

} // namespace KOZAV::Backend
