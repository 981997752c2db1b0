#include "admin/Verbs.h"
#include "backend/Site.h"
#include "backend/io/PrivateFile.h"
#include "backend/records/CompanyClaim.h"
#include "backend/records/SiteRecords.h"
#include "terminal/PrintableText.h"
#include "terminal/TextTable.h"

#include <QJsonArray>

#include <map>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;
using DataLib::Model::Odbpp_Company;

namespace {

QString text(const std::string& utf8)
{
    return QString::fromStdString(utf8);
}

QJsonObject companyJson(const Odbpp_Company& company)
{
    return {{QStringLiteral("id"), company.companyId},
            {QStringLiteral("code"), text(company.companyCode)},
            {QStringLiteral("name"), text(company.companyLabel)},
            {QStringLiteral("job_count"), company.jobCount},
            {QStringLiteral("batch_number"), company.batchNumber},
            {QStringLiteral("created"), text(company.createdTime)},
            {QStringLiteral("updated"), text(company.updatedTime)}};
}

/// Who has the companies for an import at the moment, by their numbers.
Result<std::map<int, CompanyHolder>> holdersOf(Site& site, Database& database)
{
    const auto settings = site.settings();
    if (!settings.ok())
        return settings.status();
    const auto held = listHeldCompanies(database, settings->database);
    if (!held.ok())
        return held.status();
    std::map<int, CompanyHolder> holders;
    for (const HeldCompany& company : held.value())
        holders[company.companyId] = company.holder;
    return holders;
}

QJsonValue jsonOf(const CompanyHolder* holder)
{
    if (holder == nullptr)
        return QJsonValue::Null;
    return QJsonObject{{QStringLiteral("user"), holder->userName},
                       {QStringLiteral("host"), holder->host},
                       {QStringLiteral("process"), holder->processId},
                       {QStringLiteral("since"), holder->since}};
}

} // namespace

Result<Report> companyAddVerb(const Call& call)
{
    const auto database = call.site.database();
    if (!database.ok())
        return database.status();
    const auto company = addCompany(*database.value(), call.line.options.value(QStringLiteral("code")),
                                    call.line.options.value(QStringLiteral("name")));
    if (!company.ok())
        return company.status();
    const QString added =
        QStringLiteral("added company %1 \"%2\" with id %3\n")
            .arg(printable(text(company->companyCode)), printable(text(company->companyLabel)))
            .arg(company->companyId);
    return Report{{{QStringLiteral("company"), companyJson(company.value())}}, added};
}

Result<Report> companyListVerb(const Call& call)
{
    const auto database = call.site.database();
    if (!database.ok())
        return database.status();
    const auto companies = listCompanies(*database.value());
    if (!companies.ok())
        return companies.status();

    const auto holders = holdersOf(call.site, *database.value());
    if (!holders.ok())
        return holders.status();

    TextTable table({QStringLiteral("ID"), QStringLiteral("CODE"), QStringLiteral("NAME"),
                     QStringLiteral("JOBS"), QStringLiteral("BATCH"), QStringLiteral("HELD BY")});
    table.alignRight({0, 3, 4});
    QJsonArray list;
    for (const Odbpp_Company& company : companies.value()) {
        const auto found = holders->find(company.companyId);
        const CompanyHolder* holder = found == holders->end() ? nullptr : &found->second;
        QJsonObject json = companyJson(company);
        json.insert(QStringLiteral("held_by"), jsonOf(holder));
        list.append(json);
        table.addRow({QString::number(company.companyId), text(company.companyCode),
                      text(company.companyLabel), QString::number(company.jobCount),
                      QString::number(company.batchNumber), holder != nullptr ? holder->text() : QString()});
    }
    return Report{{{QStringLiteral("companies"), list}}, table.toString()};
}

Result<Report> companyRenameVerb(const Call& call)
{
    const auto database = call.site.database();
    if (!database.ok())
        return database.status();
    const auto settings = call.site.settings();
    if (!settings.ok())
        return settings.status();
    const QString code = call.line.options.value(QStringLiteral("code"));
    const QString name = call.line.options.value(QStringLiteral("name"));
    const auto renamed =
        renameCompany(*database.value(), settings->database, {code, name, settings->userId, loginName()});
    if (!renamed.ok())
        return renamed;
    return Report{{{QStringLiteral("code"), code}, {QStringLiteral("name"), name}},
                  QStringLiteral("company %1 is now \"%2\"\n").arg(printable(code), printable(name))};
}

} // namespace KOZAV::Admin
