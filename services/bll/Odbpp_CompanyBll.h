#pragma once

#include "services/ServicesExport.h"
#include "services/model/Odbpp_Company.h"

#include <map>
#include <string>
#include <vector>

namespace KOZAV::DataLib::BLL {

/// Data access for customer companies. Texts are UTF-8; a false result is a failure that has been logged.
class KOZAV_SERVICES_API Odbpp_CompanyBll
{
public:
    Odbpp_CompanyBll();
    ~Odbpp_CompanyBll(); // NOLINT(performance-trivially-destructible): belongs to the binary interface

    /// Finds companies, in the order in which they were made.
    /// @param textConditions, intConditions  column name to required value; all must hold, none selects every
    ///        row. Columns: "CompanyName", "CompanyCode", "CompanyId".
    /// @param companies  emptied, then filled
    /// @return false, with companies empty, on a failure or a column that is not in the list
    bool select(const std::map<std::string, std::string>& textConditions,
                const std::map<std::string, int>& intConditions,
                std::vector<Model::Odbpp_Company>& companies);

    /// Writes the company's new job count.
    /// @return false when there is no such company, or when its stored count is already at or past jobCount:
    ///         of two operators who race for one number the second is told, and imports again
    bool inputCompanies(std::string& companyName, int userId, int jobCount);

    /// Stores the company's new batch number. @return false when there is no such company
    bool UpdateBatchNumber(int batchNumber, int companyId);
};

} // namespace KOZAV::DataLib::BLL
