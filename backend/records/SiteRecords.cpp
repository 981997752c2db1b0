#include "backend/records/SiteRecords.h"

#include "backend/config/Settings.h"
#include "backend/database/Database.h"
#include "backend/records/CompanyClaim.h"
#include "backend/records/SiteEvents.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <limits>

namespace KOZAV::Backend {

using DataLib::Model::Odbpp_Company;

namespace {

bool isControl(uint character)
{
    return QChar::category(character) == QChar::Other_Control;
}

bool isUnfitForCode(uint character)
{
    return isControl(character) || QChar::isSpace(character) || character == '/' || character == '\\';
}

#define SELECT_COMPANY                                                                                       \
    "SELECT id, code, name, job_count, batch_number, updated_user_id, created_time, updated_time FROM "      \
    "company"

/// The columns of SELECT_COMPANY.
Odbpp_Company readCompany(RowReader& row)
{
    Odbpp_Company company;
    company.companyId = row.number();
    company.companyCode = row.utf8();
    company.companyLabel = row.utf8();
    company.jobCount = row.number();
    company.batchNumber = row.number();
    company.updateUserId = row.number();
    company.createdTime = row.utf8();
    company.updatedTime = row.utf8();
    return company;
}

/// One text for each set of conditions, so that an index serves it: 1 for the name, 2 for the code, 4 for the
/// number, added up.
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

Status takenCode(const QString& code, const Odbpp_Company& by)
{
    const QString theirs = QString::fromStdString(by.companyCode);
    QString message = QStringLiteral("the company \"%1\" has the code \"%2\" already")
                          .arg(QString::fromStdString(by.companyLabel), theirs);
    if (theirs != code)
        message += QStringLiteral(", and the robot does not tell codes apart that differ in case alone");
    return Status::alreadyExists(message);
}

Status takenName(const QString& name)
{
    return Status::alreadyExists(QStringLiteral("there is a company with the name \"%1\" already").arg(name));
}

/// Fails where another company has the code, in whatever case, or the name. To be asked in the transaction of
/// the write. Codes are compared here, as the two engines differ in what they take for the same letter.
Status refuseTaken(Database& database, const QString& code, const QString& name)
{
    const auto companies = listCompanies(database);
    if (!companies.ok())
        return companies.status();
    for (const Odbpp_Company& company : companies.value())
        if (QString::fromStdString(company.companyCode).toLower() == code.toLower())
            return takenCode(code, company);
    for (const Odbpp_Company& company : companies.value())
        if (company.companyLabel == name.toStdString())
            return takenName(name);
    return {};
}

/// Fails where a company other than the one with the code has the name.
Status refuseNameOfAnother(Database& database, const QString& code, const QString& name)
{
    const auto owner = database.value("SELECT code FROM company WHERE name = ?", {name});
    if (!owner.ok())
        return owner.status();
    return owner->isValid() && owner->toString() != code ? takenName(name) : Status();
}

/// How long a server keeps a company for whoever renames it and is not heard of again.
constexpr std::chrono::milliseconds renamingLease{30'000};

Status renameHeldCompany(Database& database, const CompanyRename& order)
{
    return database.transaction([&]() -> Status {
        if (auto free = refuseNameOfAnother(database, order.code, order.newName); !free.ok())
            return free;
        const auto before = database.value("SELECT name FROM company WHERE code = ?", {order.code});
        if (!before.ok() || before->toString() == order.newName)
            return before.status();
        const auto changed = database.change("UPDATE company SET name = ?, updated_time = ? WHERE code = ?",
                                             {order.newName, rowTime(), order.code}, Durability::Immediate);
        if (!changed.ok())
            return changed.status();
        SiteEvent event;
        event.kind = eventKind::companyRenamed;
        event.userId = order.userId;
        event.userName = order.userName;
        event.subject = order.newName;
        event.detail = {{QStringLiteral("code"), order.code}, {QStringLiteral("before"), before->toString()}};
        return addEvent(database, event);
    });
}

OrigFileRecord readOrigFile(RowReader& row)
{
    OrigFileRecord file;
    file.id = row.number();
    file.guid = row.text();
    file.companyCode = row.text();
    file.companyName = row.text();
    file.jobName = row.text();
    file.generatedName = row.text();
    file.storedName = row.text();
    file.suffix = row.text();
    file.createdTime = row.text();
    file.state = row.optionalNumber();
    file.subState = row.optionalNumber();
    return file;
}

PreFileRecord readPreFile(RowReader& row)
{
    PreFileRecord file;
    file.guid = row.text();
    file.flowGuid = row.text();
    file.jobName = row.text();
    file.firstText = row.text();
    file.secondText = row.text();
    file.thirdText = row.text();
    file.userId = row.number();
    file.userName = row.text();
    file.createdTime = row.text();
    return file;
}

} // namespace

Status checkCompanyCode(const QString& code)
{
    const QVector<uint> characters = code.toUcs4();
    if (!characters.isEmpty() && characters.size() <= longestCompanyCode &&
        std::none_of(characters.begin(), characters.end(), isUnfitForCode))
        return {};
    return Status::invalidArgument(
        QStringLiteral("a company code has 1 to %1 characters, none of them white space, "
                       "a control character, '/' or '\\'")
            .arg(longestCompanyCode));
}

Status checkCompanyName(const QString& name)
{
    const QVector<uint> characters = name.toUcs4();
    if (!characters.isEmpty() && characters.size() <= longestCompanyName &&
        std::none_of(characters.begin(), characters.end(), isControl))
        return {};
    return Status::invalidArgument(
        QStringLiteral("a company name has 1 to %1 characters, none of them a control character")
            .arg(longestCompanyName));
}

Result<std::vector<Odbpp_Company>> listCompanies(Database& database, const CompanyFilter& filter)
{
    size_t conditions = 0;
    QVariantList values;
    const auto take = [&](size_t condition, const auto& wanted) {
        if (!wanted)
            return;
        conditions += condition;
        values << *wanted;
    };
    take(1, filter.name);
    take(2, filter.code);
    take(4, filter.number);
    return database.list(companySelects.at(conditions), values, readCompany);
}

Result<Odbpp_Company> addCompany(Database& database, const QString& code, const QString& name)
{
    for (const Status& status : {checkCompanyCode(code), checkCompanyName(name)})
        if (!status.ok())
            return status;
    const QString now = rowTime();
    Odbpp_Company company;
    company.companyCode = code.toStdString();
    company.companyLabel = name.toStdString();
    company.createdTime = now.toStdString();
    company.updatedTime = company.createdTime;
    const auto added = database.transaction([&] {
        if (auto free = refuseTaken(database, code, name); !free.ok())
            return free;
        const auto number = database.insert(
            "INSERT INTO company (code, name, created_time, updated_time) VALUES (?, ?, ?, ?)",
            {code, name, now, now}, Durability::Immediate);
        if (number.ok())
            company.companyId = static_cast<int>(number.value());
        return number.status();
    });
    return added.ok() ? Result(company) : added;
}

Status renameCompany(Database& database, const DatabaseSettings& settings, const CompanyRename& order)
{
    if (auto status = checkCompanyName(order.newName); !status.ok())
        return status;
    CompanyFilter filter;
    filter.code = order.code;
    const auto companies = listCompanies(database, filter);
    if (!companies.ok())
        return companies.status();
    if (companies->empty())
        return Status::notFound(QStringLiteral("there is no company with the code \"%1\"").arg(order.code));
    const auto claim = CompanyClaim::make(settings, companies->front().companyId,
                                          CompanyHolder::thisProcess(order.userName), renamingLease);
    const auto taken = claim->take(database);
    if (!taken.ok())
        return taken.status();
    if (!taken.value())
        return Status::unavailable(
            QStringLiteral("the company \"%1\" is held for an import by %2; it can be renamed afterwards")
                .arg(QString::fromStdString(companies->front().companyLabel), claim->otherHolder()));
    auto renamed = renameHeldCompany(database, order);
    // Where the server does not answer the lease ends by itself.
    (void)claim->giveBack(database);
    return renamed;
}

Status raiseJobCounts(Database& database, int number)
{
    return database
        .change("UPDATE company SET job_count = job_count + ?, updated_time = ? WHERE 1 = 1",
                {number, rowTime()}, Durability::Immediate)
        .status();
}

Result<std::vector<OrigFileRecord>> listOrigFiles(Database& database, int limit)
{
    const qint64 most = limit > 0 ? limit : std::numeric_limits<qint64>::max();
    return database.list(
        "SELECT o.id, o.guid, o.company_code, c.name, o.job_name, f.ko_serial_name, o.stored_name, o.suffix,"
        " o.created_time, f.state, f.sub_state FROM orig_file o"
        " LEFT JOIN company c ON c.code = o.company_code"
        " LEFT JOIN job_flow f ON f.guid = COALESCE(o.flow_guid,"
        "  (SELECT guid FROM job_flow WHERE orig_file_guid = o.guid ORDER BY id LIMIT 1))"
        " ORDER BY o.id DESC LIMIT ?",
        {most}, readOrigFile);
}

Result<std::vector<PreFileRecord>> listPreFiles(Database& database, const QString& flowGuid)
{
    return database.list("SELECT guid, flow_guid, job_name, first_text, second_text, third_text, user_id,"
                         " user_name, created_time FROM pre_file WHERE flow_guid = ? ORDER BY id",
                         {flowGuid}, readPreFile);
}

} // namespace KOZAV::Backend
