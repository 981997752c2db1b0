#pragma once

#include "services/ServicesExport.h"

#include <string>

namespace KOZAV::DataLib::BLL {

/// Data access for original files. Texts are UTF-8.
class KOZAV_SERVICES_API Odbpp_OrigFilesBll
{
public:
    Odbpp_OrigFilesBll();
    ~Odbpp_OrigFilesBll(); // NOLINT(performance-trivially-destructible): belongs to the binary interface

    /// Adds an original-file row.
    /// @param origFileGuid  its key; unique
    /// @param jobName       name the job came with
    /// @param storedName    name in the document store, at the configured location
    /// @param suffix        suffix of an archive; empty for a packed folder
    /// @param companyCode   code of an existing company
    /// @param fileType      kind of original file; the panels write 0
    /// @return false, with a logged reason, on a failure; also when the store holds no file of that name, so
    ///         that no row points at nothing
    bool inputOrigFile(std::string origFileGuid, std::string jobName, std::string storedName,
                       std::string suffix, std::string companyCode, int fileType, int userId);
};

} // namespace KOZAV::DataLib::BLL
