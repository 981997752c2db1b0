#pragma once

#include <cstdint>
#include <string>

namespace KOZAV::DataLib::Model {

/// One customer company. Texts are UTF-8, times ISO 8601 in UTC with milliseconds.
struct Odbpp_Company
{
    /// When the row was made.
    std::string createdTime;
    /// Identifier of the row.
    std::int32_t companyId = 0;
    /// Short code, the prefix of every generated job name. The code "web" marks the pseudo-company of web
    /// uploads.
    std::string companyCode;
    /// Name as the user sees it; the value that the condition column "CompanyName" matches.
    std::string companyLabel;
    /// Number of jobs imported so far; the next import gets jobCount + 1.
    std::int32_t jobCount = 0;
    /// Last batch number given out.
    std::int32_t batchNumber = 0;
    /// User of the last write.
    std::int32_t updateUserId = 0;
    /// When the row was last written.
    std::string updatedTime;
};

} // namespace KOZAV::DataLib::Model
