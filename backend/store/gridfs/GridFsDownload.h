#pragma once

#include "backend/Status.h"
#include "backend/io/FileCopy.h"
#include "backend/io/Sha256.h"
#include "backend/store/gridfs/GridFsBucket.h"
#include "backend/store/gridfs/GridFsFile.h"
#include "backend/store/gridfs/GridFsReadAhead.h"

#include <functional>
#include <future>
#include <vector>

namespace KOZAV::Backend {

/// One pass over the chunks of a stored file that checks them: their numbers and sizes, length and SHA-256 of
/// the whole. While one part of the content is hashed, it is handed on and the next ones are fetched.
class GridFsDownload final
{
public:
    /// Takes the content piece by piece, in order, on the calling thread.
    using Sink = std::function<Status(const char* bytes, qint64 size)>;

    /// @param clients  where a long file gets a second connection from; null: it gets none
    GridFsDownload(GridFsBucket& bucket, const GridFsFile& file, Sink sink, GridFsClients* clients = nullptr);

    /// To be called once. Corrupt names what is wrong with the stored file; the sink then has got a part.
    Result<ContentDigest> run();

private:
    /// Content of consecutive chunks, where it lies in the replies that brought it.
    struct Part
    {
        ChunkReplies replies;
        std::vector<BsonView::Bytes> pieces;
        qint64 size = 0;
    };

    Status fetchAll();
    Status takeChunk(const BsonView& chunk, Part& part);
    Status checkChunk(qint64 number, qint64 size) const;
    Status handOver(Part part);
    void hash();
    void awaitHash();
    [[nodiscard]] Status damaged(const QString& reason) const;

    GridFsBucket& m_bucket;
    GridFsClients* m_clients;
    const GridFsFile& m_file;
    const Sink m_sink;
    Sha256 m_sha256;
    Part m_hashed; ///< what is hashed now
    qint64 m_chunks = 0;
    qint64 m_length = 0;
    std::future<void> m_hashing; // last: its destructor waits for the thread that uses the others
};

} // namespace KOZAV::Backend
