#include "import/ImportRules.h"

#include <QLatin1Char>
#include <QLatin1String>

namespace KOZAV::Import {

bool isAcceptedSuffix(const QString& suffix)
{
    return suffix == QLatin1String("zip") || suffix == QLatin1String("rar") ||
           suffix == QLatin1String("tgz") || suffix == QLatin1String("kos");
}

std::string generatedJobName(const std::string& companyCode, int jobNumber)
{
    return companyCode + QStringLiteral("%1").arg(jobNumber, 6, 10, QLatin1Char('0')).toStdString();
}

} // namespace KOZAV::Import
