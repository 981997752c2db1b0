#include "host/site/Companies.h"

#include "backend/Site.h"
#include "backend/io/PrivateFile.h"
#include "backend/records/CompanyClaim.h"
#include "backend/records/SiteRecords.h"

#include <QHash>

namespace KOZAV::Host {

using Backend::Site;

namespace {

Backend::Result<std::vector<CompanyRow>> readCompanies()
{
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return settings.status();
    const auto database = Site::current().database();
    if (!database.ok())
        return database.status();
    const auto companies = Backend::listCompanies(*database.value());
    if (!companies.ok())
        return companies.status();
    const auto held = Backend::listHeldCompanies(*database.value(), settings->database);
    if (!held.ok())
        return held.status();
    QHash<int, QString> holders;
    for (const Backend::HeldCompany& company : held.value())
        holders.insert(company.companyId, company.holder.text());
    std::vector<CompanyRow> rows;
    rows.reserve(companies->size());
    for (const auto& company : companies.value())
        rows.push_back({company.companyId, QString::fromStdString(company.companyCode),
                        QString::fromStdString(company.companyLabel), company.jobCount, company.batchNumber,
                        holders.value(company.companyId)});
    return rows;
}

} // namespace

std::optional<std::vector<CompanyRow>> listCompanyRows(QString& failure)
{
    auto rows = readCompanies();
    if (rows.ok())
        return std::move(rows.value());
    failure = rows.message();
    return std::nullopt;
}

static_assert(longestCompanyCode == Backend::longestCompanyCode);
static_assert(longestCompanyName == Backend::longestCompanyName);

CompanyFlaw flawOfCompany(const QString& code, const QString& name)
{
    if (!Backend::checkCompanyCode(code).ok())
        return CompanyFlaw::Code;
    return Backend::checkCompanyName(name).ok() ? CompanyFlaw::None : CompanyFlaw::Name;
}

QString addCompanyRow(const QString& code, const QString& name)
{
    const auto database = Site::current().database();
    if (!database.ok())
        return database.message();
    return Backend::addCompany(*database.value(), code, name).message();
}

QString renameCompanyRow(const QString& code, const QString& newName)
{
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return settings.message();
    const auto database = Site::current().database();
    if (!database.ok())
        return database.message();
    return Backend::renameCompany(*database.value(), settings->database,
                                  {code, newName, settings->userId, Backend::loginName()})
        .message();
}

} // namespace KOZAV::Host
