#include "admin/CompanyListCommand.h"

#include "admin/CompanyReport.h"
#include "admin/Workplace.h"
#include "terminal/TextTable.h"

#include <QJsonArray>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

QString CompanyListCommand::summary() const
{
    return QStringLiteral("list the customer companies");
}

Result<Report> CompanyListCommand::run(const CommandLine& /*line*/, Workplace& workplace) const
{
    const Result<Database*> database = workplace.database();
    if (!database.ok())
        return database.status();
    const Result<std::vector<CompanyRecord>> companies = listCompanies(*database.value());
    if (!companies.ok())
        return companies.status();

    TextTable table({QStringLiteral("ID"), QStringLiteral("CODE"), QStringLiteral("NAME"),
                     QStringLiteral("JOBS"), QStringLiteral("BATCH")});
    table.alignRight({0, 3, 4});
    QJsonArray list;
    for (const CompanyRecord& company : companies.value()) {
        list.append(companyJson(company));
        table.addRow({QString::number(company.companyId), company.code, company.name,
                      QString::number(company.jobCount), QString::number(company.batchNumber)});
    }
    return Report{{{QStringLiteral("companies"), list}}, table.toString()};
}

} // namespace KOZAV::Admin
