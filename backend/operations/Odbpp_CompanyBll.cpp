#include "services/bll/Odbpp_CompanyBll.h"

#include "backend/Guarded.h"
#include "backend/Operation.h"
#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/operations/ConditionColumns.h"
#include "backend/operations/RowValues.h"

#include <array>

namespace KOZAV::DataLib::BLL {

using namespace Backend;

namespace {

#define SELECT_COMPANY                                                                                       \
    "SELECT created_time, id, code, name, job_count, batch_number, updated_user_id, updated_time FROM "      \
    "company"

const std::vector<ConditionColumn>& companyColumns()
{
    static const std::vector<ConditionColumn> columns = {
        {"CompanyName", ConditionColumn::Kind::Text},
        {"CompanyCode", ConditionColumn::Kind::Text},
        {"CompanyId", ConditionColumn::Kind::Integer},
    };
    return columns;
}

/// By Conditions::columns of companyColumns().
constexpr std::array<const char*, 8> companySelects = {
    SELECT_COMPANY " ORDER BY id",
    SELECT_COMPANY " WHERE name = ? ORDER BY id",
    SELECT_COMPANY " WHERE code = ? ORDER BY id",
    SELECT_COMPANY " WHERE name = ? AND code = ? ORDER BY id",
    SELECT_COMPANY " WHERE id = ? ORDER BY id",
    SELECT_COMPANY " WHERE name = ? AND id = ? ORDER BY id",
    SELECT_COMPANY " WHERE code = ? AND id = ? ORDER BY id",
    SELECT_COMPANY " WHERE name = ? AND code = ? AND id = ? ORDER BY id",
};

#undef SELECT_COMPANY

Model::Odbpp_Company readCompany(const QSqlQuery& row)
{
    Model::Odbpp_Company company;
    company.createdTime = row.value(0).toString().toStdString();
    company.companyId = row.value(1).toInt();
    company.companyCode = row.value(2).toString().toStdString();
    company.companyLabel = row.value(3).toString().toStdString();
    company.jobCount = row.value(4).toInt();
    company.batchNumber = row.value(5).toInt();
    company.updateUserId = row.value(6).toInt();
    company.updatedTime = row.value(7).toString().toStdString();
    return company;
}

Status selectCompanies(const std::map<std::string, std::string>& textConditions,
                       const std::map<std::string, int>& intConditions,
                       std::vector<Model::Odbpp_Company>& companies)
{
    const Result<Conditions> conditions = matchConditions(companyColumns(), textConditions, intConditions);
    if (!conditions.ok() || !conditions->satisfiable)
        return conditions.status();
    const Result<Database*> database = Site::current().database();
    if (!database.ok())
        return database.status();
    return database.value()->query(companySelects.at(conditions->columns), conditions->values,
                                   [&](const QSqlQuery& row) {
                                       companies.push_back(readCompany(row));
                                       return true;
                                   });
}

/// Why a job count was not written.
Status refusedJobCount(Database& database, const QString& companyName, int jobCount)
{
    Status reason(ErrorCode::NotFound, QStringLiteral("there is no company of that name"));
    const Status asked = database.query(
        "SELECT job_count FROM company WHERE name = ?", {companyName}, [&](const QSqlQuery& row) {
            reason = Status::alreadyExists(
                QStringLiteral("the job count is at %1 already, job number %2 is taken by another import")
                    .arg(row.value(0).toInt())
                    .arg(jobCount));
            return false;
        });
    return asked.ok() ? reason : asked;
}

/// Whether the row of the company is the one that a job count left with these values.
Result<bool> isCounted(Database& database, const QVariantList& values)
{
    bool found = false;
    const Status asked = database.query(
        "SELECT id FROM company WHERE job_count = ? AND updated_user_id = ? AND updated_time = ?"
        " AND name = ?",
        values.mid(0, 4), [&found](const QSqlQuery& /*row*/) {
            found = true;
            return false;
        });
    return asked.ok() ? Result<bool>(found) : Result<bool>(asked);
}

/// Writes a job count; where the answer is lost the row tells whether it was written. An import that is
/// refused its number may use it all the same, so this is settled here as far as it can be. The condition on
/// the count keeps a second try from doing harm.
Result<int> countJob(Database& database, const QVariantList& values)
{
    const auto write = [&] {
        return database.change("UPDATE company SET job_count = ?, updated_user_id = ?, updated_time = ? "
                               "WHERE name = ? AND job_count < ?",
                               values, Durability::Deferred);
    };
    Result<int> changed = write();
    if (changed.code() != ErrorCode::OutcomeUnknown)
        return changed;
    const Result<bool> counted = isCounted(database, values);
    if (!counted.ok())
        return changed;
    return counted.value() ? Result<int>(1) : write();
}

Status writeJobCount(const std::string& companyName, int userId, int jobCount)
{
    const RowValues values =
        RowValues().number(jobCount).number(userId).time().text("company name", companyName).number(jobCount);
    if (!values.status().ok())
        return values.status();
    const Result<Database*> database = Site::current().database();
    if (!database.ok())
        return database.status();
    const Result<int> changed = countJob(*database.value(), values.list());
    if (changed.ok() && changed.value() == 0)
        return refusedJobCount(*database.value(), QString::fromStdString(companyName), jobCount);
    return changed.status();
}

Status writeBatchNumber(int batchNumber, int companyId)
{
    const Result<Database*> database = Site::current().database();
    if (!database.ok())
        return database.status();
    const RowValues values = RowValues().number(batchNumber).time().number(companyId);
    const Result<int> changed =
        database.value()->change("UPDATE company SET batch_number = ?, updated_time = ? WHERE id = ?",
                                 values.list(), Durability::Immediate);
    if (changed.ok() && changed.value() == 0)
        return Status::notFound(QStringLiteral("there is no company with the number %1").arg(companyId));
    return changed.status();
}

} // namespace

Odbpp_CompanyBll::Odbpp_CompanyBll() = default;

Odbpp_CompanyBll::~Odbpp_CompanyBll() = default;

bool Odbpp_CompanyBll::select(const std::map<std::string, std::string>& textConditions,
                              const std::map<std::string, int>& intConditions,
                              std::vector<Model::Odbpp_Company>& companies)
{
    Operation operation(logDatabase, "Odbpp_CompanyBll::select",
                        describeConditions(textConditions, intConditions));
    companies.clear();
    const Status status = guarded([&] { return selectCompanies(textConditions, intConditions, companies); });
    if (!status.ok())
        companies.clear();
    return operation.finish(status);
}

bool Odbpp_CompanyBll::inputCompanies(std::string& companyName, int userId, int jobCount)
{
    Operation operation(logDatabase, "inputCompanies", QString::fromStdString(companyName));
    return operation.finish(guarded([&] { return writeJobCount(companyName, userId, jobCount); }));
}

bool Odbpp_CompanyBll::UpdateBatchNumber(int batchNumber, int companyId)
{
    Operation operation(logDatabase, "UpdateBatchNumber", QString::number(companyId));
    return operation.finish(guarded([&] { return writeBatchNumber(batchNumber, companyId); }));
}

} // namespace KOZAV::DataLib::BLL
