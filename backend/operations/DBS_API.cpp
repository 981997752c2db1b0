#include "services/dbs_api/DBS_API.h"

#include "backend/Guarded.h"
#include "backend/Operation.h"
#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/operations/RowValues.h"
#include "backend/operations/SettledInsert.h"
#include "backend/operations/StoredFileCheck.h"

#include <QFile>
#include <QFileInfo>
#include <QUuid>

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
    StoreLocation location;
    QString storedName;
};

QString newGuid()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

Result<RobotJob> findJob(Database& database, const QString& generatedName)
{
    RobotJob job;
    const Status status = database.query("SELECT f.guid, f.job_name, o.company_code FROM job_flow f"
                                         " LEFT JOIN orig_file o ON o.guid = f.orig_file_guid"
                                         " WHERE f.ko_serial_name = ?",
                                         {generatedName}, [&](const QSqlQuery& row) {
                                             job = {row.value(0).toString(), row.value(1).toString(),
                                                    row.isNull(2) ? QVariant() : row.value(2)};
                                             return false;
                                         });
    if (!status.ok())
        return status;
    if (job.flowGuid.isEmpty())
        return Status::notFound(QStringLiteral("there is no job with that generated name"));
    return job;
}

Result<RobotArchive> describeArchive(const QString& path)
{
    const QFileInfo file(path);
    if (!file.isFile())
        return Status::notFound(QStringLiteral("there is no file \"%1\"").arg(path));
    const Result<StoreLocation> location = configuredLocation();
    if (!location.ok())
        return location.status();
    const QString suffix = file.suffix();
    const QString storedName = suffix.isEmpty() ? newGuid() : newGuid() + QLatin1Char('.') + suffix;
    return RobotArchive{path, suffix, location.value(), storedName};
}

Status writeRows(Database& database, const RobotJob& job, const RobotArchive& archive, int userId,
                 const QString& userName)
{
    const QString origFileGuid = newGuid();
    const Result<qint64> added =
        database.insert("INSERT INTO orig_file (guid, job_name, stored_name, suffix, company_code, user_id, "
                        "user_name, source_path,"
                        " flow_guid, created_time) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
                        {origFileGuid, job.jobName, archive.storedName, archive.suffix, job.companyCode,
                         userId, userName, archive.path, job.flowGuid, rowTime()},
                        Durability::Immediate);
    if (!added.ok())
        return added.status();
    return database
        .change("UPDATE job_flow SET last_import_orig_file_guid = ? WHERE guid = ?",
                {origFileGuid, job.flowGuid}, Durability::Immediate)
        .status();
}

/// The file first, the rows last: whatever happens in between, no row points at nothing.
Status storeAndRecord(Database& database, const RobotJob& job, const RobotArchive& archive, int userId,
                      const QString& userName)
{
    const Result<DocumentStore*> store = Site::current().documentStore();
    if (!store.ok())
        return store.status();
    const std::string localPath = QFile::encodeName(archive.path).toStdString();
    const Result<StoredFile> stored =
        store.value()->put(archive.location, archive.storedName.toStdString(), localPath);
    if (!stored.ok())
        return stored.status();
    Status recorded =
        database.transaction([&] { return writeRows(database, job, archive, userId, userName); });
    if (recorded.ok() || recorded.code() == ErrorCode::OutcomeUnknown)
        return recorded;
    const Status removed = store.value()->remove(archive.location, archive.storedName.toStdString());
    if (removed.ok())
        return recorded;
    return Status(recorded.code(), QStringLiteral("%1; the stored file \"%2\" is left without a row: %3")
                                       .arg(recorded.message(), archive.storedName, removed.message()));
}

Status reupload(const std::string& archivePath, const std::string& jobName, int userId,
                const std::string& userName)
{
    const RowValues texts =
        RowValues().text("archive path", archivePath).text("job name", jobName).text("user name", userName);
    if (!texts.status().ok())
        return texts.status();
    const Result<RobotArchive> archive = describeArchive(QString::fromStdString(archivePath));
    if (!archive.ok())
        return archive.status();
    const Result<Database*> database = Site::current().database();
    if (!database.ok())
        return database.status();
    const Result<RobotJob> job = findJob(*database.value(), QString::fromStdString(jobName));
    if (!job.ok())
        return job.status();
    return storeAndRecord(*database.value(), job.value(), archive.value(), userId,
                          QString::fromStdString(userName));
}

Status addPreFile(const RowValues& values)
{
    if (!values.status().ok())
        return values.status();
    const Result<Database*> database = Site::current().database();
    if (!database.ok())
        return database.status();
    const KeyedRow row = {
        "INSERT INTO pre_file (guid, flow_guid, job_name, first_text, second_text, third_text, user_id,"
        " user_name, created_time) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)",
        values.list(), "SELECT id FROM pre_file WHERE guid = ?", values.list().first()};
    Status added = insertSettled(*database.value(), row, Durability::Immediate);
    if (added.code() == ErrorCode::NotFound)
        return Status::notFound(QStringLiteral("there is no job flow with that key: ") + added.message());
    return added;
}

} // namespace

bool kozav_reupload_robot_tgz(std::string archivePath, std::string jobName, int userId, std::string userName)
{
    Operation operation(logDatabase, "kozav_reupload_robot_tgz", QString::fromStdString(jobName));
    return operation.finish(guarded([&] { return reupload(archivePath, jobName, userId, userName); }));
}

std::string kozav_upload_prefile2mysql(std::string flowGuid, std::string jobName, std::string firstText,
                                       std::string secondText, std::string thirdText, int userId,
                                       std::string userName)
{
    Operation operation(logDatabase, "kozav_upload_prefile2mysql", QString::fromStdString(flowGuid));
    const QString key = newGuid();
    const RowValues values = RowValues()
                                 .text(key)
                                 .text("flow key", flowGuid)
                                 .text("job name", jobName)
                                 .text("first text", firstText)
                                 .text("second text", secondText)
                                 .text("third text", thirdText)
                                 .number(userId)
                                 .text("user name", userName)
                                 .time();
    const Status status = guarded([&] { return addPreFile(values); });
    return operation.finish(status, status.ok() ? key : QString()) ? key.toStdString() : std::string();
}

} // namespace KOZAV::DBS_API
