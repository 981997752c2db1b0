#pragma once

#include "services/ServicesExport.h"
#include "services/model/KOZAV_Config.h"

#include <string>

namespace KOZAV {

/// Common services: configuration, identifiers, time text and the document store.
///
/// Texts are UTF-8. Paths of local files and folders are in the local 8-bit code page
/// (QString::toLocal8Bit). Integer statuses: 0 is success, anything else a failure that the service has
/// logged. Every call returns only when its work is done. Called on the GUI thread.
class KOZAV_SERVICES_API Common
{
public:
    /// The common-services object; owned by the library, valid for the life of the process.
    static Common* commonInterface();

    /// A fresh copy of the system configuration. Sees a changed configuration at the next call.
    DataLib::Model::KOZAV_Config getConfig();

    /// A new globally unique identifier: RFC 4122 text, lower case, without braces.
    std::string getGUID();

    /// The current local time as "yyyyMMddhhmmsszzz".
    static std::string GetTimeStr();

    /// Stores a local file whole.
    /// @param dbName, fsName  location of the file store (mongoDbName, mongoFsName)
    /// @param localPath       file to read, local 8-bit; it stays where it is
    /// @param storedName      name in the store. A name that is taken by the same content is a success, by
    ///                        other content a failure: stored files are never overwritten.
    /// @return 0 when the file is durably stored; otherwise nothing lies under the name that did not before.
    static int MongodbPut(const std::string& dbName, const std::string& fsName, const std::string& localPath,
                          const std::string& storedName);

    /// Fetches a stored file, checked against its recorded length and SHA-256.
    /// @param localPath  file to write, local 8-bit; replaced as a whole where it exists
    /// @return 0 when the file is written; otherwise localPath is as it was.
    static int MongodbGet(const std::string& dbName, const std::string& fsName, const std::string& localPath,
                          const std::string& storedName);

    /// Packs a folder into a zip archive and stores it, at the configured location, under the name
    /// archiveId + ".zip".
    /// @param folder      folder to pack, local 8-bit, with or without a separator at its end
    /// @param stagingDir  directory for the archive while it is made, local 8-bit
    /// @param archiveId   set to the new identifier on success, to an empty text on failure
    /// @return 0 on success; otherwise neither a staging file nor a stored file remains.
    static int FoldersCompressSave2MongoDb(const std::string& folder, const std::string& stagingDir,
                                           std::string& archiveId);
};

} // namespace KOZAV
