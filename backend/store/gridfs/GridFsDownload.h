#pragma once

#include "backend/Status.h"
#include "backend/io/FileCopy.h"
#include "backend/io/Sha256.h"
#include "backend/store/gridfs/GridFsBucket.h"
#include "backend/store/gridfs/GridFsFile.h"

#include <array>
#include <functional>
#include <future>
#include <memory>

namespace KOZAV::Backend {

/// One pass over the chunks of a stored file that checks them: their numbers and sizes, length and SHA-256 of
/// the whole. While one block of the content is hashed, it is handed on and the next one is fetched.
class GridFsDownload final
{
public:
    /// Takes the content piece by piece, in order, on the calling thread.
    using Sink = std::function<Status(const char* bytes, qint64 size)>;

    GridFsDownload(GridFsBucket& bucket, const GridFsFile& file, Sink sink);

    /// To be called once. Corrupt names what is wrong with the stored file; the sink then has got a part.
    Result<ContentDigest> run();

private:
    struct Block
    {
        std::unique_ptr<char[]> bytes;
        qint64 size = 0;
    };

    Status takeChunk(const BsonView& chunk);
    Status checkChunk(qint64 number, qint64 size) const;
    Status take(const char* bytes, qint64 size);
    Status handOver();
    Status finish();
    void hash(const Block& block);
    void awaitHash();
    [[nodiscard]] Block& filling() { return m_blocks[m_turn]; }
    [[nodiscard]] Status damaged(const QString& reason) const;

    GridFsBucket& m_bucket;
    const GridFsFile& m_file;
    const Sink m_sink;
    const qint64 m_blockSize;
    Sha256 m_sha256;
    std::array<Block, 2> m_blocks;
    size_t m_turn = 0;
    qint64 m_chunks = 0;
    qint64 m_length = 0;
    std::future<void> m_hashing; // last: its destructor waits for the thread that uses the others
};

} // namespace KOZAV::Backend
