#include "admin/CompanyReport.h"

namespace KOZAV::Admin {

QJsonObject companyJson(const Backend::CompanyRecord& company)
{
    return {{QStringLiteral("id"), company.companyId},
            {QStringLiteral("code"), company.code},
            {QStringLiteral("name"), company.name},
            {QStringLiteral("job_count"), company.jobCount},
            {QStringLiteral("batch_number"), company.batchNumber},
            {QStringLiteral("created"), company.createdTime},
            {QStringLiteral("updated"), company.updatedTime}};
}

} // namespace KOZAV::Admin
