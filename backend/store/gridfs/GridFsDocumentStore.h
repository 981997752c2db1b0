#pragma once

#include "backend/store/DocumentStore.h"
#include "backend/store/gridfs/GridFsClients.h"
#include "backend/store/gridfs/GridFsLeftovers.h"

#include <memory>
#include <mutex>
#include <set>
#include <string>

namespace KOZAV::Backend {

/// A document store in MongoDB: every location is a GridFS bucket (docs/store-layout.md). Threads and
/// processes may use the same location at the same time.
///
/// The servers need not be there when it is opened; a call that does not reach them fails with Unavailable
/// within the time-outs of the URI. A put whose last answer is lost, and cannot be found out, fails with
/// OutcomeUnknown.
class GridFsDocumentStore final : public DocumentStore
{
public:
    /// Configuration where the settings cannot be used.
    static Result<std::unique_ptr<DocumentStore>> open(const DocumentStoreSettings& settings);

private:
    explicit GridFsDocumentStore(GridFsServer server);

    [[nodiscard]] Status checkLocation(const StoreLocation& location) const override;
    [[nodiscard]] Status checkName(const std::string& name) const override;
    Result<StoredFile> putFile(const StoreLocation& location, const std::string& name,
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

    using Move = MongoWrite (GridFsBucket::*)(const GridFsFile& file);

    Result<GridFsSession> session(const StoreLocation& location);
    Status makeIndexesOnce(GridFsBucket& bucket);
    Result<GridFsFile> usableFile(GridFsBucket& bucket, const std::string& name);
    Status removeAll(GridFsBucket& bucket, const Result<std::vector<GridFsFile>>& revisions,
                     const Status& none);
    Status removeRevision(GridFsBucket& bucket, const GridFsFile& file);
    Status moveRevision(GridFsBucket& bucket, const GridFsFile& file, Move move);
    Status clarifyMove(const StoreLocation& location, const GridFsFile& file, const Status& failure);
    Status clarifyMark(const StoreLocation& location, const QString& identity, const Status& failure);
    Status clarifyRemoval(const StoreLocation& location, const GridFsFile& file, const Status& failure);

    GridFsClients m_clients;
    GridFsLeftovers m_leftovers;
    std::mutex m_mutex;
    std::set<std::pair<std::string, std::string>> m_indexed; ///< locations with indexes; guarded by m_mutex
};

} // namespace KOZAV::Backend
