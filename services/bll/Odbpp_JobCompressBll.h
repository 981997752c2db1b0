#pragma once

#include "services/ServicesExport.h"

#include <string>

namespace KOZAV::DataLib::BLL {

/// Data access for job-compress rows: what the later processing of a job needs. Texts are UTF-8.
///
/// An import is durable once its job-compress row has been written: from then on neither a crash of the
/// program nor of the machine loses the row, the rows written before it, or the stored file.
class KOZAV_SERVICES_API Odbpp_JobCompressBll
{
public:
    Odbpp_JobCompressBll();
    ~Odbpp_JobCompressBll(); // NOLINT(performance-trivially-destructible): belongs to the binary interface

    /// Adds the row of a job archive, or of a job folder imported by hand.
    /// @param companyName, companyCode, companyId  the company's record
    /// @param jobName     name the job came with
    /// @param flowGuid    flow key; one row a flow
    /// @param storedName  name in the document store
    /// @param suffix      suffix of an archive; empty for a packed folder
    /// @param remark      free text; the panels write an empty one
    /// @param fsName      file store that holds the file
    /// @param jobNumber   the number in the generated job name
    /// @return false, with a logged reason, on a failure, an empty or unknown flow key, or when the store
    ///         holds no file of that name
    bool inputJobCompress(std::string companyName, std::string companyCode, int companyId,
                          std::string jobName, std::string flowGuid, std::string storedName,
                          std::string suffix, std::string remark, std::string fsName, int userId,
                          int jobNumber);

    /// Adds the row of a job folder of a batch: the same, with the three texts of the job manifest.
    bool inputJobCompressByFolder(std::string companyName, std::string companyCode, int companyId,
                                  std::string jobName, std::string flowGuid, std::string storedName,
                                  std::string suffix, std::string remark, std::string fsName, int userId,
                                  int jobNumber, std::string resource, std::string customer2,
                                  std::string customer3);
};

} // namespace KOZAV::DataLib::BLL
