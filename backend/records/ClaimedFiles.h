#pragma once

#include "backend/Status.h"
#include "backend/io/FileCopy.h"

#include <QString>

#include <optional>
#include <string>
#include <vector>

namespace KOZAV::Backend {

class Database;

/// A stored file that rows of a site name.
struct ClaimedFile
{
    std::string fileStore;                ///< UTF-8; empty: no row says, so it is the configured one
    std::string name;                     ///< UTF-8
    std::optional<ContentDigest> content; ///< as a row keeps it; nothing in rows of the first schema
    QString job;                          ///< generated name of the job that it belongs to; empty for none
    bool mayBeAbsent = false; ///< of jobs that are voided, and of imports that failed for want of the file
};

/// Every stored file that a row names, each once, by file store and name.
Result<std::vector<ClaimedFile>> listClaimedFiles(Database& database);

} // namespace KOZAV::Backend
