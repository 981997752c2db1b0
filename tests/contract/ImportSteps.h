#pragma once

#include <QtGlobal>

#include <string>

namespace KOZAV::Test {

/// What an import has made.
struct ImportedJob
{
    std::string companyName;
    std::string companyCode;
    int companyId = 0;
    int jobNumber = 0;
    std::string generatedName;
    std::string storedName;
    std::string suffix;
    std::string origFileGuid;
    std::string flowGuid;
    bool complete = false; ///< every step succeeded
};

/// Stores a file under a new name at the configured location. @return the name, empty where that failed
std::string storeFile(const std::string& localPath, const std::string& suffix);

/// Makes the job flow of a company's next job number.
ImportedJob beginJob(const std::string& companyName);

/// All steps of the import of an archive, in the order of the panel.
ImportedJob importArchive(const std::string& companyName, const std::string& localPath);

/// Adds the job-compress row of a job.
bool addCompressRow(const ImportedJob& job);

} // namespace KOZAV::Test
