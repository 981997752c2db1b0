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
/// are InvalidArgument. No exception leaves a store.
class DocumentStore
{
public:
    virtual ~DocumentStore();
    DocumentStore() = default;
    Q_DISABLE_COPY(DocumentStore)

    /// Stores a copy of the file at localPath. The same content under the name already is a success.
    Result<StoredFile> put(const StoreLocation& location, const std::string& name,
                           const std::string& localPath);

    /// Stores the file at localPath and removes it; moves it where that is cheaper than copying.
    /// On failure the file is still there.
    Result<StoredFile> adopt(const StoreLocation& location, const std::string& name,
                             const std::string& localPath);

    /// Writes the stored file to localPath. A regular file there is replaced as a whole; anything else there
    /// is InvalidArgument and stays: a folder, a link, a device.
    Status get(const StoreLocation& location, const std::string& name, const std::string& localPath);

    /// What is stored under the name; NotFound where nothing is.
    Result<StoredFile> find(const StoreLocation& location, const std::string& name);

    /// All stored files of the location, by name.
    Result<std::vector<StoredFile>> list(const StoreLocation& location);

    /// Removes a stored file; NotFound where nothing is.
    Status remove(const StoreLocation& location, const std::string& name);

    /// Asks the engine for its version and how fast it answers.
    Result<ServiceHealth> health();

protected:
    /// Puts the file, then removes it. The folder that it lies in may be written.
    virtual Result<StoredFile> adoptFile(const StoreLocation& location, const std::string& name,
                                         const std::string& localPath);

private:
    // Where the kinds of store differ. The two checks are asked first: the others get what these accept.
    [[nodiscard]] virtual Status checkLocation(const StoreLocation& location) const;
    [[nodiscard]] virtual Status checkName(const std::string& name) const;

    virtual Result<StoredFile> putFile(const StoreLocation& location, const std::string& name,
                                       const std::string& localPath) = 0;
    virtual Status getFile(const StoreLocation& location, const std::string& name,
                           const std::string& localPath) = 0;
    virtual Result<StoredFile> findFile(const StoreLocation& location, const std::string& name) = 0;
    virtual Result<std::vector<StoredFile>> listFiles(const StoreLocation& location) = 0;
    virtual Status removeStored(const StoreLocation& location, const std::string& name) = 0;
    virtual Result<ServiceHealth> engineHealth() = 0;

    template <typename Work>
    auto onName(const char* task, const StoreLocation& location, const std::string& name, Work&& work)
        -> decltype(work());
};

/// Makes the store that the settings choose.
Result<std::unique_ptr<DocumentStore>> openDocumentStore(const DocumentStoreSettings& settings);

} // namespace KOZAV::Backend
