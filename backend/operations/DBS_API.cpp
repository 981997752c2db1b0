#include "services/dbs_api/DBS_API.h"

#include "backend/operations/RowWrites.h"
#include "backend/operations/SiteWork.h"

#include <QFile>
#include <QFileInfo>

#include <optional>

namespace KOZAV::DBS_API {

using namespace Backend;

namespace {

/// The job that a robot archive belongs to.
struct RobotJob
{
    QString flowGuid;
    QString jobName;
    QVariant companyCode; ///< invalid where the job has no original file yet
};

struct RobotArchive
{
    QString path;
    QString suffix;
    QString storedName;
    std::optional<ContentDigest> content; ///< once it is stored
};

RobotJob readJob(RowReader& row)
{
    RobotJob job;
    job.flowGuid = row.text();
    job.jobName = row.text();
    if (const auto code = row.optionalText())
        job.companyCode = *code;
    return job;
}

Result<RobotJob> findJob(Database& database, const QString& generatedName)
{
    const auto jobs = database.list("SELECT f.guid, f.job_name, o.company_code FROM job_flow f"
                                    " LEFT JOIN orig_file o ON o.guid = f.orig_file_guid"
                                    " WHERE f.ko_serial_name = ?",
                                    {generatedName}, readJob);
    if (!jobs.ok())
        return jobs.status();
    if (jobs->empty())
        return Status::notFound(QStringLiteral("there is no job with that generated name"));
    return jobs->front();
}

Result<RobotArchive> describeArchive(const QString& path)
{
    const QFileInfo file(path);
    if (!file.isFile())
        return Status::notFound(QStringLiteral("there is no file \"%1\"").arg(path));
    const QString suffix = file.suffix();
    const QString storedName = suffix.isEmpty() ? newGuid() : newGuid() + QLatin1Char('.') + suffix;
    return RobotArchive{path, suffix, storedName, {}};
}

Status writeRows(Database& database, const RobotJob& job, const RobotArchive& archive, int userId,
                 const QString& userName)
{
    const QString origFileGuid = newGuid();
    const QVariantList values = {origFileGuid,    job.jobName, archive.storedName, archive.suffix,
                                 job.companyCode, userId,      userName,           archive.path,
                                 job.flowGuid,    rowTime()};
    const auto added =
        database.insert("INSERT INTO orig_file (guid, job_name, stored_name, suffix, company_code, user_id, "
                        "user_name, source_path, flow_guid, created_time, stored_length, stored_sha256)"
                        " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
                        values + RowValues().content(archive.content).list(), Durability::Immediate);
    if (!added.ok())
        return added.status();
    return database
        .change("UPDATE job_flow SET last_import_orig_file_guid = ? WHERE guid = ?",
                {origFileGuid, job.flowGuid}, Durability::Immediate)
        .status();
}

/// Takes a stored file away again whose rows were not written.
Status withdrawFile(Operation& call, const RobotArchive& archive, const Status& reason)
{
    const auto removed = withFiles(call, [&](DocumentStore& store, const StoreLocation& location) {
        return store.remove(location, archive.storedName.toStdString());
    });
    call.event.storedBytes = -1;
    if (removed.ok())
        return reason;
    return reason.retold(QStringLiteral("%1; the stored file \"%2\" is left without a row: %3")
                             .arg(reason.message(), archive.storedName, removed.message()));
}

/// The file first, the rows last: whatever happens in between, no row points at nothing.
Status storeAndRecord(Operation& call, const RobotJob& job, RobotArchive archive, int userId,
                      const QString& userName)
{
    call.event.storedName = archive.storedName;
    auto stored = withFiles(call, [&](DocumentStore& store, const StoreLocation& location) {
        const auto file = store.put(location, archive.storedName.toStdString(),
                                    QFile::encodeName(archive.path).toStdString());
        if (file.ok()) {
            call.event.storedBytes = file->length;
            archive.content = contentOf(file.value());
        }
        return file.status();
    });
    if (!stored.ok())
        return stored;
    auto recorded = withRows(call, [&](Database& database) {
        return database.transaction([&] { return writeRows(database, job, archive, userId, userName); });
    });
    if (recorded.ok() || recorded.code() == ErrorCode::OutcomeUnknown)
        return recorded;
    return withdrawFile(call, archive, recorded);
}

Status reupload(Operation& call, const std::string& archivePath, int userId, const std::string& userName)
{
    const auto archive = describeArchive(QString::fromStdString(archivePath));
    if (!archive.ok())
        return archive.status();
    RobotJob job;
    auto found = withRows(call, [&](Database& database) {
        const auto named = findJob(database, call.event.generatedName);
        if (named.ok())
            job = named.value();
        return named.status();
    });
    if (!found.ok())
        return found;
    call.event.jobName = job.jobName;
    call.event.flowKey = job.flowGuid;
    return storeAndRecord(call, job, archive.value(), userId, QString::fromStdString(userName));
}

constexpr const char* insertPreFile =
    "INSERT INTO pre_file (guid, flow_guid, job_name, first_text, second_text, third_text, user_id,"
    " user_name, created_time) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)";

} // namespace

bool kozav_reupload_robot_tgz(std::string archivePath, std::string jobName, int userId, std::string userName)
{
    const auto uploaded = Operation::run(ServiceOperation::ReuploadRobotTgz, [&](Operation& call) {
        call.event.subject = call.event.generatedName = QString::fromStdString(jobName);
        const RowValues texts = RowValues()
                                    .text("archive path", archivePath)
                                    .text("job name", jobName)
                                    .text("user name", userName);
        return texts.status().ok() ? reupload(call, archivePath, userId, userName) : texts.status();
    });
    return uploaded.ok();
}

std::string kozav_upload_prefile2mysql(std::string flowGuid, std::string jobName, std::string firstText,
                                       std::string secondText, std::string thirdText, int userId,
                                       std::string userName)
{
    std::string key;
    const auto added = Operation::run(ServiceOperation::UploadPrefile2Mysql, [&](Operation& call) {
        const QString guid = newGuid();
        call.event.subject = call.event.flowKey = QString::fromStdString(flowGuid);
        call.event.generatedName = QString::fromStdString(jobName);
        key = guid.toStdString();
        const RowValues values = RowValues()
                                     .text(guid)
                                     .text("flow key", flowGuid)
                                     .text("job name", jobName)
                                     .text("first text", firstText)
                                     .text("second text", secondText)
                                     .text("third text", thirdText)
                                     .number(userId)
                                     .text("user name", userName)
                                     .time();
        const KeyedRow row = {insertPreFile, "SELECT id FROM pre_file WHERE guid = ?", guid,
                              "there is no job flow with that key"};
        return insertRow(call, row, values, Durability::Immediate);
    });
    return added.ok() ? key : std::string();
}

} // namespace KOZAV::DBS_API
