#pragma once

#include "backend/database/SiteRecords.h"

#include <QJsonObject>

namespace KOZAV::Admin {

/// A company as the JSON reports show it.
QJsonObject companyJson(const Backend::CompanyRecord& company);

} // namespace KOZAV::Admin
