#pragma once

#include "backend/records/SiteRecords.h"

#include <QJsonObject>

namespace KOZAV::Admin {

/// A company as the JSON reports show it.
QJsonObject companyJson(const Backend::CompanyRecord& company);

} // namespace KOZAV::Admin
