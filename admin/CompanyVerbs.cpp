#include "admin/Verbs.h"
#include "backend/Site.h"
#include "backend/records/SiteRecords.h"
#include "terminal/PrintableText.h"
#include "terminal/TextTable.h"

#include <QJsonArray>

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

    TextTable table({QStringLiteral("ID"), QStringLiteral("CODE"), QStringLiteral("NAME"),
                     QStringLiteral("JOBS"), QStringLiteral("BATCH")});
    table.alignRight({0, 3, 4});
    QJsonArray list;
    for (const Odbpp_Company& company : companies.value()) {
        list.append(companyJson(company));
        table.addRow({QString::number(company.companyId), text(company.companyCode),
                      text(company.companyLabel), QString::number(company.jobCount),
                      QString::number(company.batchNumber)});
    }
    return Report{{{QStringLiteral("companies"), list}}, table.toString()};
}

Result<Report> companyRenameVerb(const Call& call)
{
    const auto database = call.site.database();
    if (!database.ok())
        return database.status();
    const QString code = call.line.options.value(QStringLiteral("code"));
    const QString name = call.line.options.value(QStringLiteral("name"));
    const auto renamed = renameCompany(*database.value(), code, name);
    if (!renamed.ok())
        return renamed;
    return Report{{{QStringLiteral("code"), code}, {QStringLiteral("name"), name}},
                  QStringLiteral("company %1 is now \"%2\"\n").arg(printable(code), printable(name))};
}

} // namespace KOZAV::Admin
