#include "backend/records/SiteRecords.h"

#include "backend/database/Database.h"

#include <algorithm>
#include <limits>

namespace KOZAV::Backend {

namespace {

constexpr int longestCode = 32;
constexpr int longestName = 255;

bool isControl(uint character)
{
    return QChar::category(character) == QChar::Other_Control;
}

bool isUnfitForCode(uint character)
{
    return isControl(character) || QChar::isSpace(character) || character == '/' || character == '\\';
}

Status checkCode(const QString& code)
{
    const QVector<uint> characters = code.toUcs4();
    if (!characters.isEmpty() && characters.size() <= longestCode &&
        std::none_of(characters.begin(), characters.end(), isUnfitForCode))
        return {};
    return Status::invalidArgument(
        QStringLiteral("a company code has 1 to %1 characters, none of them white space, "
                       "a control character, '/' or '\\'")
            .arg(longestCode));
}

Status checkName(const QString& name)
{
    const QVector<uint> characters = name.toUcs4();
    if (!characters.isEmpty() && characters.size() <= longestName &&
        std::none_of(characters.begin(), characters.end(), isControl))
        return {};
    return Status::invalidArgument(
        QStringLiteral("a company name has 1 to %1 characters, none of them a control character")
            .arg(longestName));
}

CompanyRecord readCompany(const QSqlQuery& row)
{
    return {row.value(0).toInt(), row.value(1).toString(), row.value(2).toString(), row.value(3).toInt(),
            row.value(4).toInt(), row.value(5).toString(), row.value(6).toString()};
}

Status takenCode(const QString& code, const CompanyRecord& by)
{
    QString message = QStringLiteral("the company \"%1\" has the code \"%2\" already").arg(by.name, by.code);
    if (by.code != code)
        message += QStringLiteral(", and the robot does not tell codes apart that differ in case alone");
    return Status::alreadyExists(message);
}

/// Fails where another company has the code, in whatever case, or the name. To be asked in the transaction of
/// the write. Codes are compared here, as the two engines differ in what they take for the same letter.
Status refuseTaken(Database& database, const QString& code, const QString& name)
{
    const auto companies = listCompanies(database);
    if (!companies.ok())
        return companies.status();
    for (const CompanyRecord& company : companies.value())
        if (company.code.toLower() == code.toLower())
            return takenCode(code, company);
    for (const CompanyRecord& company : companies.value())
        if (company.name == name)
            return Status::alreadyExists(
                QStringLiteral("there is a company with the name \"%1\" already").arg(name));
    return {};
}

Status insertCompany(Database& database, CompanyRecord& company)
{
    const Result<qint64> id = database.insert(
        "INSERT INTO company (code, name, created_time, updated_time) VALUES (?, ?, ?, ?)",
        {company.code, company.name, company.createdTime, company.updatedTime}, Durability::Immediate);
    if (id.ok())
        company.companyId = static_cast<int>(id.value());
    return id.status();
}

/// Whether a company other than the one with the code has the name.
Status refuseNameOfAnother(Database& database, const QString& code, const QString& name)
{
    Status taken;
    const Status asked =
        database.query("SELECT code FROM company WHERE name = ?", {name}, [&](const QSqlQuery& row) {
            if (row.value(0).toString() != code)
                taken = Status::alreadyExists(
                    QStringLiteral("there is a company with the name \"%1\" already").arg(name));
            return false;
        });
    return asked.ok() ? taken : asked;
}

} // namespace

Result<CompanyRecord> addCompany(Database& database, const QString& code, const QString& name)
{
    for (const Status& status : {checkCode(code), checkName(name)})
        if (!status.ok())
            return status;
    CompanyRecord company;
    company.code = code;
    company.name = name;
    company.createdTime = rowTime();
    company.updatedTime = company.createdTime;
    const Status status = database.transaction([&] {
        if (Status taken = refuseTaken(database, code, name); !taken.ok())
            return taken;
        return insertCompany(database, company);
    });
    return status.ok() ? Result<CompanyRecord>(company) : Result<CompanyRecord>(status);
}

Status renameCompany(Database& database, const QString& code, const QString& newName)
{
    if (Status status = checkName(newName); !status.ok())
        return status;
    return database.transaction([&] {
        if (Status taken = refuseNameOfAnother(database, code, newName); !taken.ok())
            return taken;
        const Result<int> changed =
            database.change("UPDATE company SET name = ?, updated_time = ? WHERE code = ?",
                            {newName, rowTime(), code}, Durability::Immediate);
        if (changed.ok() && changed.value() == 0)
            return Status::notFound(QStringLiteral("there is no company with the code \"%1\"").arg(code));
        return changed.status();
    });
}

Result<std::vector<CompanyRecord>> listCompanies(Database& database)
{
    std::vector<CompanyRecord> companies;
    const Status status =
        database.query("SELECT id, code, name, job_count, batch_number, created_time, updated_time"
                       " FROM company ORDER BY id",
                       {}, [&](const QSqlQuery& row) {
                           companies.push_back(readCompany(row));
                           return true;
                       });
    if (!status.ok())
        return status;
    return companies;
}

Result<std::vector<OrigFileRecord>> listOrigFiles(Database& database, int limit)
{
    const auto number = [](const QVariant& value) {
        return value.isNull() ? std::optional<int>() : std::optional<int>(value.toInt());
    };
    const qint64 most = limit > 0 ? limit : std::numeric_limits<qint64>::max();
    std::vector<OrigFileRecord> files;
    const Status status = database.query(
        "SELECT o.id, o.guid, o.company_code, c.name, o.job_name, f.ko_serial_name, o.stored_name, o.suffix,"
        " o.created_time, f.state, f.sub_state FROM orig_file o"
        " LEFT JOIN company c ON c.code = o.company_code"
        " LEFT JOIN job_flow f ON f.guid = COALESCE(o.flow_guid,"
        "  (SELECT guid FROM job_flow WHERE orig_file_guid = o.guid ORDER BY id LIMIT 1))"
        " ORDER BY o.id DESC LIMIT ?",
        {most}, [&](const QSqlQuery& row) {
            files.push_back({row.value(0).toInt(), row.value(1).toString(), row.value(2).toString(),
                             row.value(3).toString(), row.value(4).toString(), row.value(5).toString(),
                             row.value(6).toString(), row.value(7).toString(), row.value(8).toString(),
                             number(row.value(9)), number(row.value(10))});
            return true;
        });
    if (!status.ok())
        return status;
    return files;
}

Result<std::vector<PreFileRecord>> listPreFiles(Database& database, const QString& flowGuid)
{
    std::vector<PreFileRecord> files;
    const Status status = database.query(
        "SELECT guid, flow_guid, job_name, first_text, second_text, third_text, user_id, user_name, "
        "created_time"
        " FROM pre_file WHERE flow_guid = ? ORDER BY id",
        {flowGuid}, [&](const QSqlQuery& row) {
            files.push_back({row.value(0).toString(), row.value(1).toString(), row.value(2).toString(),
                             row.value(3).toString(), row.value(4).toString(), row.value(5).toString(),
                             row.value(6).toInt(), row.value(7).toString(), row.value(8).toString()});
            return true;
        });
    if (!status.ok())
        return status;
    return files;
}

Result<std::vector<DataLib::Model::Odbpp_Job_C>> listWaitingJobs(Database& database)
{
    std::vector<DataLib::Model::Odbpp_Job_C> jobs;
    const Status status = database.query(
        "SELECT guid, id, ko_serial_name FROM job_flow WHERE state = 0 AND sub_state = 0 ORDER BY id", {},
        [&](const QSqlQuery& row) {
            jobs.push_back({row.value(0).toString().toStdString(), row.value(1).toInt(),
                            row.value(2).toString().toStdString()});
            return true;
        });
    if (!status.ok())
        return status;
    return jobs;
}

} // namespace KOZAV::Backend
