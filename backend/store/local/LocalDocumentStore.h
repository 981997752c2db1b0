#pragma once

#include "backend/store/DocumentStore.h"
#include "backend/store/local/LocalStoreFolder.h"

#include <memory>
#include <mutex>
#include <string>

namespace KOZAV::Backend {

/// A document store in a directory of this machine (docs/store-layout.md). Threads and processes may use the
/// same directory at the same time.
class LocalDocumentStore final : public DocumentStore
{
public:
    /// Opens the store in an existing directory that this user may write, or, where he means only to read,
    /// read. What interrupted programs left is removed before the first file is stored: who only looks
    /// changes nothing.
    static Result<std::unique_ptr<DocumentStore>> open(const std::string& root, bool onlyToRead);

private:
    LocalDocumentStore(std::string root, bool onlyToRead)
        : m_root(std::move(root))
        , m_onlyToRead(onlyToRead)
    {
    }

    [[nodiscard]] Status checkRoot() const;

    Result<StoredFile> putFile(const StoreLocation& location, const std::string& name,
                               const std::string& localPath, NameUse use) override;
    Result<StoredFile> adoptFile(const StoreLocation& location, const std::string& name,
                                 const std::string& localPath, NameUse use) override;
    Result<StoredFile> adoptGrowingFile(const StoreLocation& location, const std::string& name,
                                        const std::string& localPath, GrowingFile& growing,
                                        NameUse use) override;
    Status getFile(const StoreLocation& location, const std::string& name,
                   const std::string& localPath) override;
    Result<ContentDigest> verifyFile(const StoreLocation& location, const std::string& name,
                                     const ReadObserver& onBytes) override;
    Result<StoredFile> findFile(const StoreLocation& location, const std::string& name) override;
    Result<std::vector<StoredFile>> listFiles(const StoreLocation& location) override;
    Result<FilePages> filePages(const StoreLocation& location) override;
    Status removeStored(const StoreLocation& location, const std::string& name) override;
    Result<std::vector<StoredFile>> findFiles(const StoreLocation& location,
                                              const std::vector<std::string>& names) override;
    Status quarantineFile(const StoreLocation& location, const std::string& name) override;
    Result<std::vector<QuarantinedFile>> listQuarantined(const StoreLocation& location) override;
    Status getQuarantinedFile(const StoreLocation& location, const std::string& name,
                              const std::string& localPath) override;
    Status restoreFile(const StoreLocation& location, const std::string& name) override;
    Status purgeFile(const StoreLocation& location, const std::string& name) override;
    Result<QString> readSiteMark(const StoreLocation& location) override;
    Status writeSiteMark(const StoreLocation& location, const QString& identity) override;
    Result<std::vector<StoreFlaw>> surveyLocation(const StoreLocation& location) override;
    Status mendFlaw(const StoreLocation& location, const StoreFlaw& flaw) override;
    Result<ServiceHealth> engineHealth() override;

    [[nodiscard]] Result<LocalStoreFolder> preparedFolder(const StoreLocation& location);
    [[nodiscard]] Status requireSite(const LocalStoreFolder& folder) const;
    [[nodiscard]] std::vector<StoreLocation> locations() const;
    void removeLeftovers() const;

    std::string m_root;
    bool m_onlyToRead;
    std::once_flag m_swept;
};

} // namespace KOZAV::Backend
