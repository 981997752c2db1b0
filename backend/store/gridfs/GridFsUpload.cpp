#include "backend/store/gridfs/GridFsUpload.h"

#include "backend/Guarded.h"
#include "backend/io/FilePath.h"
#include "backend/store/StoreFailures.h"
#include "backend/store/StoreNames.h"
#include "backend/store/gridfs/ChunkBatch.h"
#include "backend/store/gridfs/ChunkSource.h"
#include "backend/store/gridfs/GridFsDownload.h"
#include "backend/store/gridfs/GridFsSizes.h"

#include <algorithm>
#include <array>
#include <future>
#include <optional>
#include <utility>

namespace KOZAV::Backend {

namespace {

/// Chunks that a batch for a file of this length has to hold.
int capacityFor(qint64 length)
{
    return static_cast<int>(std::clamp<qint64>(length / gridFsChunkSize + 1, 1, gridFsBatchChunks));
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

Result<StoredFile> GridFsUpload::run(File& source)
{
    const auto existing = m_bucket.newest(m_name);
    if (!existing.ok())
        return existing.status();
    const auto digest = existing.value() ? digestFile(source) : sendChunks(source);
    if (!digest.ok())
        return digest.status();
    return existing.value() ? acceptSame(*existing.value(), digest.value()) : enter(digest.value());
}

Result<ContentDigest> GridFsUpload::sendChunks(File& source)
{
    const auto watch = SourceWatch::begin(source);
    if (!watch.ok())
        return watch.status();
    ChunkSource chunks(source, watch.value(), gridFsChunkSize);
    return sendAll(chunks, watch->length());
}

/// While one batch is sent, the next one is read and hashed on a second thread.
Result<ContentDigest> GridFsUpload::sendAll(ChunkSource& source, qint64 length)
{
    std::array<std::optional<ChunkBatch>, 2> batches;
    Status filled;
    const auto fill = [&](size_t turn) {
        if (!batches[turn])
            batches[turn].emplace(m_id, gridFsChunkSize, capacityFor(length));
        return source.fill(*batches[turn]);
    };
    filled = fill(0);
    for (size_t turn = 0; filled.ok() && !batches[turn]->isEmpty(); turn = 1 - turn) {
        std::future<Status> next;
        if (!source.atEnd())
            next = std::async(std::launch::async, fill, 1 - turn);
        const Status sent = send(*batches[turn]);
        if (!sent.ok())
            return sent;
        if (!next.valid())
            break;
        filled = next.get();
    }
    return filled.ok() ? source.digest() : filled;
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
    const Status confirmed = m_bucket.confirm();
    return confirmed.ok() ? Result(file) : confirmed;
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
    if (!session->bucket().confirm().ok())
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
        Status removed = removeChunks();
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
        QStringLiteral("It is not known whether %1 was stored in %2. %3")
            .arg(displayPath(m_name), locationText(m_bucket.location()), failure.message()));
}

} // namespace KOZAV::Backend
