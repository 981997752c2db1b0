#include "backend/records/SiteIdentity.h"

#include "backend/database/Database.h"

namespace KOZAV::Backend {

namespace {

constexpr const char* selectIdentity = "SELECT identity FROM site WHERE id = 1";

constexpr const char* insertIdentity =
    "INSERT INTO site (id, identity, created_time, checked_time) VALUES (1, ?, ?, '')";

// Walks back along the primary key, and ends after the first rows.
constexpr const char* selectNewest = "SELECT job_compress.file_store, job_compress.stored_name"
                                     " FROM job_compress"
                                     " JOIN job_flow ON job_flow.guid = job_compress.flow_guid"
                                     " WHERE NOT (job_flow.state = -2 AND job_flow.sub_state = -2)"
                                     " ORDER BY job_compress.id DESC LIMIT ?";

constexpr const char* selectAnyOrigFile = "SELECT id FROM orig_file ORDER BY id LIMIT 1";

NamedFile readNamedFile(RowReader& row)
{
    NamedFile file;
    file.fileStore = row.text();
    file.storedName = row.text();
    return file;
}

} // namespace

Result<QString> siteIdentity(Database& database)
{
    const auto identity = database.value(selectIdentity);
    return identity.ok() ? Result(identity->toString()) : identity.status();
}

Status setSiteIdentity(Database& database, const QString& identity)
{
    const auto inserted = database.insert(insertIdentity, {identity, rowTime()}, Durability::Immediate);
    if (inserted.code() != ErrorCode::AlreadyExists)
        return inserted.status();
    const auto present = siteIdentity(database);
    if (!present.ok() || present.value() == identity)
        return present.status();
    return Status::alreadyExists(
        QStringLiteral("the database %1 belongs to the site %2").arg(database.place(), present.value()));
}

Status replaceSiteIdentity(Database& database, const QString& present, const QString& identity)
{
    const auto changed = database.change("UPDATE site SET identity = ? WHERE id = 1 AND identity = ?",
                                         {identity, present}, Durability::Immediate);
    if (changed.ok() && changed.value() == 0)
        return Status::alreadyExists(
            QStringLiteral("the database %1 does not belong to the site %2").arg(database.place(), present));
    return changed.status();
}

Result<std::vector<NamedFile>> newestFiles(Database& database, int limit)
{
    return database.list(selectNewest, {limit}, readNamedFile);
}

Result<bool> hasOrigFiles(Database& database)
{
    const auto any = database.value(selectAnyOrigFile);
    return any.ok() ? Result(any->isValid()) : any.status();
}

} // namespace KOZAV::Backend
