#include "backend/store/gridfs/GridFsDownload.h"

#include "backend/SafePoint.h"
#include "backend/WorkWatch.h"
#include "backend/io/FilePath.h"
#include "backend/store/StoreNames.h"

#include <algorithm>
#include <utility>

// The chunks come in the order of their numbers and are checked against what the files document promises:
// each number once, each size exact, the sum the length, the SHA-256 at the end. The library's own download
// is not used, since it does not tell of a bad chunk and ends the process where the file is missing.
//
// Content is not copied out of the replies: while a part is hashed on a second thread, the calling thread
// hands the same part on, and GridFsReadAhead fetches the next ones. So network, hash and disk work at the
// same time. Only one part is hashed at a time, and in order; its replies live until that is done.

namespace KOZAV::Backend {

namespace {

/// Less is hashed at once: a thread costs more.
constexpr qint64 worthThread = 1 << 20;

} // namespace

GridFsDownload::GridFsDownload(GridFsBucket& bucket, const GridFsFile& file, Sink sink,
                               GridFsClients* clients)
    : m_bucket(bucket)
    , m_clients(clients)
    , m_file(file)
    , m_sink(std::move(sink))
{
}

Result<ContentDigest> GridFsDownload::run()
{
    if (!m_file.damage().isEmpty())
        return damaged(m_file.damage());
    if (auto fetched = fetchAll(); !fetched.ok())
        return fetched;
    if (m_length != m_file.stored().length)
        return damaged(QStringLiteral("chunk %1 is missing").arg(m_chunks));
    awaitHash();
    auto digest = digestOf(m_length, m_sha256, displayPath(m_file.stored().name));
    const QByteArray& expected = m_file.stored().sha256;
    if (digest.ok() && !expected.isEmpty() && digest->sha256 != expected)
        return otherSha256(m_bucket.location(), m_file.stored(), digest->sha256);
    return digest;
}

Status GridFsDownload::fetchAll()
{
    GridFsReadAhead source(m_bucket, m_clients, m_file);
    for (;;) {
        auto replies = source.next();
        if (!replies.ok())
            return replies.status();
        if (replies->empty())
            return {};
        Part part;
        part.replies = std::move(replies.value());
        const auto take = [&](const BsonView& chunk) { return takeChunk(chunk, part); };
        for (const auto& reply : part.replies) {
            if (auto taken = BsonView(reply->get()).visitDocuments(chunksOfReply, take); !taken.ok())
                return taken;
        }
        if (auto handed = handOver(std::move(part)); !handed.ok())
            return handed;
    }
}

Status GridFsDownload::takeChunk(const BsonView& chunk, Part& part)
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
    m_length += content->size;
    part.size += content->size;
    part.pieces.push_back(*content);
    return {};
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

/// Has the part hashed on a second thread, and hands it on meanwhile.
Status GridFsDownload::handOver(Part part)
{
    awaitHash();
    if (auto goOn = safePoint(); !goOn.ok())
        return goOn;
    tellWork(WorkProgress::Stage::Fetching, m_length, m_file.stored().length);
    m_hashed = std::move(part);
    if (m_hashed.size < worthThread)
        hash();
    else
        m_hashing = std::async(std::launch::async, [this] { hash(); });
    for (const BsonView::Bytes& piece : m_hashed.pieces) {
        if (auto handed = m_sink(piece.data, piece.size); !handed.ok())
            return handed;
    }
    return {};
}

void GridFsDownload::hash()
{
    for (const BsonView::Bytes& piece : m_hashed.pieces)
        m_sha256.add(piece.data, piece.size);
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
