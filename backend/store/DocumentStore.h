#pragma once

#include "backend/ServiceHealth.h"
#include "backend/Status.h"
#include "backend/config/Settings.h"

#include <QByteArray>
#include <QDateTime>

#include <memory>
#include <string>
#include <vector>

namespace KOZAV::Backend {

class File;

/// Where a file store lies: the two location texts of the service operations. UTF-8.
struct StoreLocation
{
    std::string database;
    std::string fileStore;
};

/// The file store that the settings name, or another one of the same database.
StoreLocation storeLocation(const DocumentStoreSettings& settings);
StoreLocation storeLocation(const DocumentStoreSettings& settings, std::string fileStore);

/// What a store knows of one file.
struct StoredFile
{
    std::string name; ///< UTF-8, byte for byte as it was given
    qint64 length = 0;
    QByteArray sha256;  ///< lower-case hexadecimal
    QDateTime storedAt; ///< UTC
};

/// A store of whole files by name. Local paths are in the local 8-bit code page.
///
/// All implementations: a put or adopt that succeeds is durable; one that fails leaves nothing under the name
/// that was not there before; a name is never given other content; a get checks length and SHA-256 and
/// replaces its target as a whole. Names and locations that could leave their place ("", ".", "..", "/", NUL)
/// are InvalidArgument.
class DocumentStore
{
public:
    virtual ~DocumentStore();
    DocumentStore() = default;
    Q_DISABLE_COPY(DocumentStore)

    /// Stores a copy of the file at localPath. The same content under the name already is a success.
    virtual Result<StoredFile> put(const StoreLocation& location, const std::string& name,
                                   const std::string& localPath) = 0;

    /// Stores the file at localPath and removes it; moves it where that is cheaper than copying.
    /// On failure the file is still there.
    virtual Result<StoredFile> adopt(const StoreLocation& location, const std::string& name,
                                     const std::string& localPath) = 0;

    /// Writes the stored file to localPath. A regular file there is replaced as a whole; anything else there
    /// is InvalidArgument and stays: a folder, a link, a device.
    virtual Status get(const StoreLocation& location, const std::string& name,
                       const std::string& localPath) = 0;

    /// Writes the stored file to an open one, which may be a pipe or a device. It gets the content as it
    /// comes: only a success says that it was whole and what had been stored.
    virtual Status send(const StoreLocation& location, const std::string& name, File& target) = 0;

    /// What is stored under the name; NotFound where nothing is.
    virtual Result<StoredFile> find(const StoreLocation& location, const std::string& name) = 0;

    /// All stored files of the location, by name.
    virtual Result<std::vector<StoredFile>> list(const StoreLocation& location) = 0;

    /// Removes a stored file; NotFound where nothing is.
    virtual Status remove(const StoreLocation& location, const std::string& name) = 0;

    /// Asks the engine for its version and how fast it answers.
    virtual Result<ServiceHealth> health() = 0;
};

/// Makes the store that the settings choose.
Result<std::unique_ptr<DocumentStore>> openDocumentStore(const DocumentStoreSettings& settings);

} // namespace KOZAV::Backend
