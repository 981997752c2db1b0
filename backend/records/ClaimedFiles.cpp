#include "backend/records/ClaimedFiles.h"

#include "backend/database/Database.h"

#include <map>
#include <utility>

namespace KOZAV::Backend {

namespace {

/// An original file lies where the last row of its import says; an archive of the robot, and an import that
/// did not come to its end, say nothing.
constexpr const char* origFilesOfImports =
    "SELECT c.file_store, o.stored_name, o.stored_length, o.stored_sha256, f.ko_serial_name, f.state"
    " FROM orig_file o"
    " LEFT JOIN job_flow f ON f.orig_file_guid = o.guid"
    " LEFT JOIN job_compress c ON c.flow_guid = f.guid AND c.stored_name = o.stored_name"
    " WHERE o.flow_guid IS NULL";

constexpr const char* robotArchives =
    "SELECT NULL, o.stored_name, o.stored_length, o.stored_sha256, f.ko_serial_name, f.state"
    " FROM orig_file o LEFT JOIN job_flow f ON f.guid = o.flow_guid WHERE o.flow_guid IS NOT NULL";

constexpr const char* lastRowsOfImports =
    "SELECT c.file_store, c.stored_name, NULL, NULL, f.ko_serial_name, f.state"
    " FROM job_compress c JOIN job_flow f ON f.guid = c.flow_guid";

ClaimedFile readClaimedFile(const QSqlQuery& row)
{
    enum Column { FileStore, StoredName, Length, Sha256, Job, State };
    ClaimedFile file;
    file.fileStore = row.value(FileStore).toString().toStdString();
    file.name = row.value(StoredName).toString().toStdString();
    if (!row.isNull(Length) && !row.isNull(Sha256))
        file.content = ContentDigest{row.value(Length).toLongLong(), row.value(Sha256).toString().toLatin1()};
    file.job = row.value(Job).toString();
    // Below zero are failed and voided.
    file.mayBeAbsent = !row.isNull(State) && row.value(State).toInt() < 0;
    return file;
}

using ClaimedFiles = std::map<std::pair<std::string, std::string>, ClaimedFile>;

/// Several rows may name one file. What one that needs the file knows of it counts more than what one knows
/// whose file is in quarantine: the name may have been given anew.
void add(ClaimedFiles& files, ClaimedFile file)
{
    auto key = std::make_pair(file.fileStore, file.name);
    const auto [known, isNew] = files.emplace(std::move(key), file);
    if (isNew)
        return;
    ClaimedFile& there = known->second;
    if (there.mayBeAbsent != file.mayBeAbsent) {
        if (there.mayBeAbsent)
            there = std::move(file);
        return;
    }
    if (!there.content)
        there.content = file.content;
    if (there.job.isEmpty())
        there.job = file.job;
}

} // namespace

Result<std::vector<ClaimedFile>> listClaimedFiles(Database& database)
{
    ClaimedFiles files;
    for (const char* sql : {origFilesOfImports, robotArchives, lastRowsOfImports}) {
        const auto read = database.query(sql, {}, [&files](const QSqlQuery& row) {
            add(files, readClaimedFile(row));
            return true;
        });
        if (!read.ok())
            return read;
    }
    std::vector<ClaimedFile> list;
    list.reserve(files.size());
    for (auto& [key, file] : files)
        list.push_back(std::move(file));
    return list;
}

} // namespace KOZAV::Backend
