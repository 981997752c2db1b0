#pragma once

#include "backend/Status.h"
#include "backend/io/FileCopy.h"
#include "backend/store/gridfs/GridFsClients.h"
#include "backend/store/gridfs/GridFsLeftovers.h"

#include <optional>
#include <string>

namespace KOZAV::Backend {

class ChunkBatch;
class GrowingFile;

/// Stores one local file: its chunks in batches, then the files document, which makes it a stored file. What
/// an upload has sent is removed again unless it succeeds, or its outcome cannot be known.
class GridFsUpload final
{
public:
    /// @param name  of the file in the store
    GridFsUpload(GridFsSession& session, const GridFsClients& clients, GridFsLeftovers& leftovers,
                 std::string name);
    ~GridFsUpload();
    Q_DISABLE_COPY(GridFsUpload)

    /// To be called once.
    Result<StoredFile> run(File& source, NameUse use);
    /// The same, behind the writer of the source.
    Result<StoredFile> run(GrowingFile& source, NameUse use);

private:
    Result<std::optional<GridFsFile>> existing(NameUse use);
    Result<ContentDigest> sendChunks(File& source);
    Result<ContentDigest> sendBehind(GrowingFile& source);
    Result<ContentDigest> digestBehind(GrowingFile& source);
    Status send(ChunkBatch& batch);
    Result<StoredFile> conclude(const std::optional<GridFsFile>& existing,
                                const Result<ContentDigest>& digest);
    Result<StoredFile> acceptSame(const GridFsFile& existing, const ContentDigest& digest);
    Result<StoredFile> enter(const ContentDigest& digest);
    Result<StoredFile> acceptWinner(const ContentDigest& digest, const Status& lost);
    Result<StoredFile> takeBack(const Status& failure);
    Result<StoredFile> clarify(const GridFsFile& file, const Status& failure);
    Result<StoredFile> takeBackLost(GridFsBucket& bucket, const Status& failure);
    void withdraw();
    Status removeChunks();
    [[nodiscard]] Status unknown(const Status& failure);

    GridFsBucket& m_bucket;
    const GridFsClients& m_clients;
    GridFsLeftovers& m_leftovers;
    const std::string m_name;
    const GridFsId m_id;
    bool m_hasSent = false; ///< chunks that are to be removed if the upload ends now
    bool m_connectionLost = false;
};

} // namespace KOZAV::Backend
