#pragma once

#include "zav_import_export.h"

#include <QString>

#include <string>

namespace KOZAV::Import {

/// Whether an archive of this suffix (text after the last dot) is imported: "zip", "rar", "tgz" or "kos",
/// exactly.
ZAV_IMPORT_EXPORT bool isAcceptedSuffix(const QString& suffix);

/// The system's name for a job: the company's code followed by the job number in decimal, padded with "0" to
/// at least six digits. UTF-8.
ZAV_IMPORT_EXPORT std::string generatedJobName(const std::string& companyCode, int jobNumber);

} // namespace KOZAV::Import
