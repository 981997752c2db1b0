#include "host/site/Companies.h"

#include "backend/io/PrivateFile.h"
#include "backend/records/CompanyClaim.h"
#include "backend/records/SiteRecords.h"
#include "host/site/SiteRows.h"

#include <QHash>

namespace KOZAV::Host {

using Backend::Site;

namespace {

Backend::Result<std::vector<CompanyRow>> readCompanies(Backend::Database& database)
{
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return settings.status();
    const auto companies = Backend::listCompanies(database);
    if (!companies.ok())
        return companies.status();
    const auto held = Backend::listHeldCompanies(database, settings->database);
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
    return askRows(readCompanies, failure);
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
    return onRows([&](Backend::Database& database) { return Backend::addCompany(database, code, name); })
        .message();
}

QString renameCompanyRow(const QString& code, const QString& newName)
{
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return settings.message();
    return onRows([&](Backend::Database& database) {
               return Backend::renameCompany(database, settings->database,
                                             {code, newName, settings->userId, Backend::loginName()});
           })
        .message();
}

} // namespace KOZAV::Host
