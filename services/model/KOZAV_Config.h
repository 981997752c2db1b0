#pragma once

#include <cstdint>
#include <string>

namespace KOZAV::DataLib::Model {

/// The system configuration as its readers see it: a value, fetched afresh by Common::getConfig().
/// All texts are UTF-8.
struct KOZAV_Config
{
    /// First location text of every document-store call: the database that holds the file store.
    std::string mongoDbName;
    /// Second location text of every document-store call: the file store (GridFS bucket) in that database.
    std::string mongoFsName;
    /// Local staging directory of imports. Ends in a path separator: names are appended to it directly.
    std::string uploadCacheDir;
    /// Local directory that receives fetched files. Ends in a path separator.
    std::string downloadCacheDir;
    /// CAM robot server: a numeric address, or for the job list panel also a host name.
    std::string robotHost;
    /// CAM robot server's port; readers use the low 16 bits.
    std::int32_t robotPort = 0;
};

} // namespace KOZAV::DataLib::Model
