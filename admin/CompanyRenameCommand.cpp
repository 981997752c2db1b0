#include "admin/CompanyRenameCommand.h"

#include "admin/Workplace.h"
#include "backend/records/SiteRecords.h"
#include "terminal/PrintableText.h"

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

QString CompanyRenameCommand::summary() const
{
    return QStringLiteral("give a company another name; its code and its jobs stay");
}

std::vector<CommandOption> CompanyRenameCommand::options() const
{
    return {{QStringLiteral("code"), QStringLiteral("CODE"), QStringLiteral("code of the company"), true},
            {QStringLiteral("name"), QStringLiteral("NAME"), QStringLiteral("its new name"), true}};
}

Result<Report> CompanyRenameCommand::run(const CommandLine& line, Workplace& workplace) const
{
    const Result<Database*> database = workplace.database();
    if (!database.ok())
        return database.status();
    const QString code = line.options.value(QStringLiteral("code"));
    const QString name = line.options.value(QStringLiteral("name"));
    const Status renamed = renameCompany(*database.value(), code, name);
    if (!renamed.ok())
        return renamed;
    return Report{{{QStringLiteral("code"), code}, {QStringLiteral("name"), name}},
                  QStringLiteral("company %1 is now \"%2\"\n").arg(printable(code), printable(name))};
}

} // namespace KOZAV::Admin
