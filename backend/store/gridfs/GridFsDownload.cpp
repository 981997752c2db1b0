#include "backend/store/gridfs/GridFsDownload.h"

#include "backend/WorkWatch.h"
#include "backend/io/FilePath.h"
#include "backend/store/StoreNames.h"
#include "backend/store/gridfs/ChunkBatch.h"

#include <algorithm>
#include <cstring>
#include <utility>

// The chunks are asked for in the order of their numbers and checked against what the files document
// promises: each number once, each size exact, the sum the length, the SHA-256 at the end. The library's own
// download is not used, since it does not tell of a bad chunk and ends the process where the file is missing.
//
// Content is copied out of the replies into one of two blocks. While a full block is hashed on a second
// thread, the calling thread hands the same block on and then fetches into the other one: network, hash and
// disk work at the same time, with memory for two blocks whatever the file's length. Only one block is hashed
// at a time, and in order; handOver() waits for the last one before a block is filled again.

namespace KOZAV::Backend {

namespace {

/// Content that one reply of the server brings, about, and that one block holds.
constexpr qint64 fetchBytes = qint64(gridFsBatchChunks) * gridFsChunkSize;

/// Another program may have made many small chunks.
constexpr qint64 mostChunksAtOnce = 1000;

/// Chunks that make about one block, so that one is fetched while another is processed.
int chunksAtOnce(qint64 chunkSize)
{
    return static_cast<int>(std::clamp<qint64>(fetchBytes / chunkSize, 2, mostChunksAtOnce));
}

} // namespace

GridFsDownload::GridFsDownload(GridFsBucket& bucket, const GridFsFile& file, Sink sink)
    : m_bucket(bucket)
    , m_file(file)
    , m_sink(std::move(sink))
    , m_blockSize(std::clamp<qint64>(file.stored().length, 1, fetchBytes))
{
}

Result<ContentDigest> GridFsDownload::run()
{
    if (!m_file.damage().isEmpty())
        return damaged(m_file.damage());
    const auto visited = m_bucket.visitChunks(m_file.id(), chunksAtOnce(m_file.chunkSize()),
                                              [this](const BsonView& chunk) { return takeChunk(chunk); });
    if (!visited.ok())
        return visited;
    if (auto finished = finish(); !finished.ok())
        return finished;
    auto digest = digestOf(m_length, m_sha256, displayPath(m_file.stored().name));
    const QByteArray& expected = m_file.stored().sha256;
    if (digest.ok() && !expected.isEmpty() && digest->sha256 != expected)
        return otherSha256(m_bucket.location(), m_file.stored(), digest->sha256);
    return digest;
}

Status GridFsDownload::takeChunk(const BsonView& chunk)
{
    const auto number = chunk.wholeNumber("n");
    const auto content = chunk.binary("data");
    if (!number || !content)
        return damaged(QStringLiteral("chunk %1 has no number or no data").arg(m_chunks));
    if (content->size == 0 && m_length == m_file.stored().length)
        return {}; // some programs end a file with an empty chunk
    if (auto fits = checkChunk(*number, content->size); !fits.ok())
        return fits;
    ++m_chunks;
    return take(content->data, content->size);
}

Status GridFsDownload::checkChunk(qint64 number, qint64 size) const
{
    const qint64 expected = std::min(m_file.chunkSize(), m_file.stored().length - m_length);
    if (expected == 0)
        return damaged(QStringLiteral("it has more than its %1 bytes").arg(m_length));
    if (number > m_chunks)
        return damaged(QStringLiteral("chunk %1 is missing").arg(m_chunks));
    if (number < m_chunks)
        return damaged(QStringLiteral("chunk %1 is there twice").arg(number));
    if (size != expected)
        return damaged(QStringLiteral("chunk %1 has %2 bytes instead of %3")
                           .arg(QString::number(number), QString::number(size), QString::number(expected)));
    return {};
}

Status GridFsDownload::take(const char* bytes, qint64 size)
{
    m_length += size;
    while (size > 0) {
        Block& block = filling();
        if (!block.bytes)
            block.bytes.reset(
                new char[static_cast<size_t>(m_blockSize)]); // NOLINT(modernize-make-unique): left unset
        const qint64 part = std::min(size, m_blockSize - block.size);
        std::memcpy(block.bytes.get() + block.size, bytes, static_cast<size_t>(part));
        block.size += part;
        bytes += part;
        size -= part;
        const bool more = size > 0 || m_length < m_file.stored().length;
        if (block.size == m_blockSize && more) {
            if (auto handed = handOver(); !handed.ok())
                return handed;
        }
    }
    return {};
}

/// Has the full block hashed on a second thread, hands it on meanwhile, and turns to the other one.
Status GridFsDownload::handOver()
{
    awaitHash();
    tellWork(WorkProgress::Stage::Fetching, m_length, m_file.stored().length);
    const Block& full = filling();
    m_hashing = std::async(std::launch::async, [this, &full] { hash(full); });
    m_turn = 1 - m_turn;
    filling().size = 0;
    return m_sink(full.bytes.get(), full.size);
}

Status GridFsDownload::finish()
{
    if (m_length != m_file.stored().length)
        return damaged(QStringLiteral("chunk %1 is missing").arg(m_chunks));
    awaitHash();
    const Block& last = filling();
    if (last.size == 0)
        return {};
    hash(last);
    return m_sink(last.bytes.get(), last.size);
}

void GridFsDownload::hash(const Block& block)
{
    m_sha256.add(block.bytes.get(), block.size);
}

void GridFsDownload::awaitHash()
{
    if (m_hashing.valid())
        m_hashing.get();
}

Status GridFsDownload::damaged(const QString& reason) const
{
    return damagedFile(m_bucket.location(), m_file.stored().name, reason);
}

} // namespace KOZAV::Backend
