#include "backend/store/gridfs/GridFsUpload.h"

#include "backend/Guarded.h"
#include "backend/WorkWatch.h"
#include "backend/io/FilePath.h"
#include "backend/store/StoreNames.h"
#include "backend/store/gridfs/ChunkBatch.h"
#include "backend/store/gridfs/GridFsDownload.h"

#include <algorithm>
#include <array>
#include <functional>
#include <future>
#include <optional>
#include <utility>

// How a file gets into GridFS. The name is looked for unless it is fresh; if it is free, the chunks are
// inserted in batches and the files document after the last of them, under an identifier that no other upload
// has. Readers begin at the files document, so the file is there as a whole or not at all. A unique index on
// the names of our files decides between two who store under one name at once; the loser compares contents.
//
// These are our own inserts because the library's upload cannot be trusted: it says yes where the last chunk
// or the files document was refused, and tries a refused chunk again without end. Each insert here is
// answered once a majority of the servers has it in its journal, and the number of documents that the answer
// confirms is compared.
//
// A write without an answer may have been carried out, or still be on its way. Chunks do no harm without a
// files document: they are removed over a new connection, and once more with the next operation, as some may
// arrive late. For the files document a new connection tells: if it is there and durable, the upload has
// succeeded; otherwise it is removed, so that it cannot come to light later. Where nobody can be asked, the
// outcome is unknown, and the chunks stay, since the document may be there and need them.
//
// What must stay true: no files document before all its chunks; no success without a durable files document;
// no chunks removed while their files document may be there.

namespace KOZAV::Backend {

namespace {

/// Reads a local file once, from its start, into chunks, and hashes what it reads. The file has to outlive
/// it.
class ChunkSource final
{
public:
    ChunkSource(File& file, const SourceWatch& watch)
        : m_file(file)
        , m_watch(watch)
    {
    }

    /// Fills the batch with the next chunks, the last one of the file being shorter. Leaves it empty at the
    /// end.
    Status fill(ChunkBatch& batch);

    /// Whether all that the file had at the beginning has been read.
    [[nodiscard]] bool atEnd() const { return m_length >= m_watch.length(); }

    [[nodiscard]] qint64 expectedLength() const { return m_watch.length(); }

    /// What has been read, if the file stayed what it was.
    Result<ContentDigest> digest();

    /// Chunks that a batch for the file has to hold.
    [[nodiscard]] int batchCapacity() const
    {
        return static_cast<int>(
            std::clamp<qint64>(m_watch.length() / gridFsChunkSize + 1, 1, gridFsBatchChunks));
    }

private:
    File& m_file;
    const SourceWatch& m_watch;
    Sha256 m_sha256;
    qint64 m_length = 0;
    int m_chunks = 0;
};

Status ChunkSource::fill(ChunkBatch& batch)
{
    batch.restart(m_chunks);
    while (!batch.isFull() && !atEnd()) {
        char* const data = batch.nextData();
        const auto size = m_file.read(data, gridFsChunkSize);
        if (!size.ok())
            return size.status();
        if (size.value() == 0)
            return m_watch.end(m_length); // it has become shorter
        m_sha256.add(data, size.value());
        batch.add(static_cast<int>(size.value()));
        m_length += size.value();
        ++m_chunks;
    }
    return {};
}

Result<ContentDigest> ChunkSource::digest()
{
    if (auto unchanged = m_watch.end(m_length); !unchanged.ok())
        return unchanged;
    return digestOf(m_length, m_sha256, displayPath(m_file.path()));
}

/// While one batch is sent, the next one is read and hashed on a second thread. Hands each of them to send,
/// in the order of the file.
Result<ContentDigest> sendAll(ChunkSource& source, const GridFsId& id,
                              const std::function<Status(ChunkBatch&)>& send)
{
    std::array<std::optional<ChunkBatch>, 2> batches;
    const auto fill = [&](size_t turn) {
        if (!batches[turn])
            batches[turn].emplace(id, gridFsChunkSize, source.batchCapacity());
        return source.fill(*batches[turn]);
    };
    qint64 sentBytes = 0;
    auto filled = fill(0);
    for (size_t turn = 0; filled.ok() && !batches[turn]->isEmpty(); turn = 1 - turn) {
        std::future<Status> next;
        if (!source.atEnd())
            next = std::async(std::launch::async, fill, 1 - turn);
        if (auto sent = send(*batches[turn]); !sent.ok())
            return sent;
        sentBytes += static_cast<qint64>(batches[turn]->size()) * gridFsChunkSize;
        tellWork(WorkProgress::Stage::Sending, std::min(sentBytes, source.expectedLength()),
                 source.expectedLength());
        if (!next.valid())
            break;
        filled = next.get();
    }
    return filled.ok() ? source.digest() : filled;
}

StoredFile storedNow(const std::string& name, const ContentDigest& digest)
{
    StoredFile file;
    file.name = name;
    file.length = digest.length;
    file.sha256 = digest.sha256;
    file.storedAt = QDateTime::currentDateTimeUtc();
    return file;
}

} // namespace

GridFsUpload::GridFsUpload(GridFsSession& session, const GridFsClients& clients, GridFsLeftovers& leftovers,
                           std::string name)
    : m_bucket(session.bucket())
    , m_clients(clients)
    , m_leftovers(leftovers)
    , m_name(std::move(name))
    , m_id(GridFsId::fresh())
{
}

GridFsUpload::~GridFsUpload()
{
    withdraw();
}

Result<StoredFile> GridFsUpload::run(File& source, NameUse use)
{
    const auto existing = this->existing(use);
    if (!existing.ok())
        return existing.status();
    const auto digest = existing.value() ? digestFile(source) : sendChunks(source);
    if (!digest.ok())
        return digest.status();
    return existing.value() ? acceptSame(*existing.value(), digest.value()) : enter(digest.value());
}

/// The file that has the name. A fresh one is not looked for: should somebody have it nevertheless, the index
/// refuses the files document, and the contents are compared then.
Result<std::optional<GridFsFile>> GridFsUpload::existing(NameUse use)
{
    return use == NameUse::Fresh ? Result(std::optional<GridFsFile>()) : m_bucket.newest(m_name);
}

Result<ContentDigest> GridFsUpload::sendChunks(File& source)
{
    const auto watch = SourceWatch::begin(source);
    if (!watch.ok())
        return watch.status();
    ChunkSource chunks(source, watch.value());
    return sendAll(chunks, m_id, [this](ChunkBatch& batch) { return send(batch); });
}

Status GridFsUpload::send(ChunkBatch& batch)
{
    m_hasSent = true;
    const MongoWrite write = m_bucket.insertChunks(batch);
    m_connectionLost = write.end == MongoWrite::End::Unknown;
    return write.status;
}

/// Takes what is stored under the name for the file, if it is the same content. It is read to the end:
/// whoever gets a success may remove the only other copy.
Result<StoredFile> GridFsUpload::acceptSame(const GridFsFile& existing, const ContentDigest& digest)
{
    StoredFile file = existing.stored();
    const bool differs =
        file.length != digest.length || (!file.sha256.isEmpty() && file.sha256 != digest.sha256);
    if (differs && existing.damage().isEmpty())
        return otherContent(m_bucket.location(), m_name);
    const auto found = GridFsDownload(m_bucket, existing, [](const char*, qint64) { return Status(); }).run();
    if (!found.ok())
        return found.status();
    if (found.value() != digest)
        return otherContent(m_bucket.location(), m_name);
    file.sha256 = digest.sha256;
    const MongoWrite confirmed = m_bucket.confirm(existing);
    return confirmed.ok() ? Result(file) : confirmed.status;
}

Result<StoredFile> GridFsUpload::enter(const ContentDigest& digest)
{
    const GridFsFile file(m_id, storedNow(m_name, digest), gridFsChunkSize);
    const MongoWrite write = m_bucket.insertFile(file);
    switch (write.end) {
    case MongoWrite::End::Done:
        m_hasSent = false;
        return file.stored();
    case MongoWrite::End::Refused:
        withdraw();
        return write.status.code() == ErrorCode::AlreadyExists ? acceptWinner(digest, write.status)
                                                               : write.status;
    case MongoWrite::End::Unconfirmed:
        return takeBack(write.status);
    case MongoWrite::End::Unknown:
        break;
    }
    return clarify(file, write.status);
}

/// Somebody else has stored a file of the name since it was looked for.
Result<StoredFile> GridFsUpload::acceptWinner(const ContentDigest& digest, const Status& lost)
{
    const auto winner = m_bucket.newest(m_name);
    if (!winner.ok())
        return winner.status();
    return winner.value() ? acceptSame(*winner.value(), digest) : lost;
}

/// The files document is there, but may not survive the loss of a server: it goes before its chunks do.
Result<StoredFile> GridFsUpload::takeBack(const Status& failure)
{
    const MongoWrite removed = m_bucket.removeFile(m_id);
    if (!removed.ok())
        return unknown(failure);
    withdraw();
    return failure;
}

/// The connection was lost at the files document: a new one tells whether it is there.
Result<StoredFile> GridFsUpload::clarify(const GridFsFile& file, const Status& failure)
{
    m_connectionLost = true;
    auto session = GridFsSession::openForRecovery(m_clients, m_bucket.location());
    if (!session.ok())
        return unknown(failure);
    const auto found = session->bucket().hasFile(m_id);
    if (!found.ok())
        return unknown(failure);
    if (!found.value())
        return takeBackLost(session->bucket(), failure);
    if (!session->bucket().confirm(file).ok())
        return unknown(failure);
    m_hasSent = false;
    return file.stored();
}

/// The files document may still be on its way: what can arrive yet is removed by the next operation.
Result<StoredFile> GridFsUpload::takeBackLost(GridFsBucket& bucket, const Status& failure)
{
    if (!bucket.removeFile(m_id).ok())
        return unknown(failure);
    m_hasSent = false;
    (void)bucket.removeChunks(m_id);
    m_leftovers.remember(bucket.location(), m_id);
    return failure;
}

/// Removes the chunks, now or, where the server cannot be reached, with the next operation.
void GridFsUpload::withdraw()
{
    if (!std::exchange(m_hasSent, false))
        return;
    (void)guarded("remove chunks", [this] {
        auto removed = removeChunks();
        // Chunks that were on their way when a connection was lost may arrive after their removal.
        if (!removed.ok() || m_connectionLost)
            m_leftovers.remember(m_bucket.location(), m_id);
        return removed;
    });
}

Status GridFsUpload::removeChunks()
{
    if (!m_connectionLost)
        return m_bucket.removeChunks(m_id);
    auto session = GridFsSession::openForRecovery(m_clients, m_bucket.location());
    return session.ok() ? session->bucket().removeChunks(m_id) : session.status();
}

/// Chunks stay where the files document may be.
Status GridFsUpload::unknown(const Status& failure)
{
    m_hasSent = false;
    return Status::outcomeUnknown(
        QStringLiteral("it is not known whether %1 was stored in %2: %3")
            .arg(displayPath(m_name), locationText(m_bucket.location()), failure.message()));
}

} // namespace KOZAV::Backend
