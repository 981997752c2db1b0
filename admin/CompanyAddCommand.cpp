#include "admin/CompanyAddCommand.h"

#include "admin/CompanyReport.h"
#include "admin/Workplace.h"
#include "terminal/PrintableText.h"

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

QString CompanyAddCommand::summary() const
{
    return QStringLiteral("add a customer company");
}

std::vector<CommandOption> CompanyAddCommand::options() const
{
    return {{QStringLiteral("code"), QStringLiteral("CODE"),
             QStringLiteral("short code, the prefix of generated job names"), true},
            {QStringLiteral("name"), QStringLiteral("NAME"), QStringLiteral("name as it is shown"), true}};
}

Result<Report> CompanyAddCommand::run(const CommandLine& line, Workplace& workplace) const
{
    const Result<Database*> database = workplace.database();
    if (!database.ok())
        return database.status();
    const Result<CompanyRecord> company =
        addCompany(*database.value(), line.options.value(QStringLiteral("code")),
                   line.options.value(QStringLiteral("name")));
    if (!company.ok())
        return company.status();
    const QString text = QStringLiteral("added company %1 \"%2\" with id %3\n")
                             .arg(printable(company->code), printable(company->name))
                             .arg(company->companyId);
    return Report{{{QStringLiteral("company"), companyJson(company.value())}}, text};
}

} // namespace KOZAV::Admin
