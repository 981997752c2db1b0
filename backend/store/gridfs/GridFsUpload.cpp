#include "backend/store/gridfs/GridFsUpload.h"

#include "backend/Guarded.h"
#include "backend/SafePoint.h"
#include "backend/WorkWatch.h"
#include "backend/io/FilePath.h"
#include "backend/io/GrowingFile.h"
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
// A file that is still being written is sent behind its writer, a batch as soon as it is full. Should the
// writer fail, that is an upload which has failed: its chunks go again, and there was no files document.
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

/// Content that is read once, from its start, into chunks, and hashed on the way.
class ChunkSource
{
public:
    virtual ~ChunkSource() = default;
    ChunkSource() = default;
    Q_DISABLE_COPY(ChunkSource)

    /// Fills the batch with the next chunks, the last one of the content being shorter. Leaves it empty at
    /// the end.
    Status fill(ChunkBatch& batch);

    /// What has been read, if that was the content as a whole.
    Result<ContentDigest> digest();

    /// Whether all that there is, as far as that is known, has been read.
    [[nodiscard]] bool atEnd() const { return m_length == expectedLength(); }

    /// -1 as long as that is not known.
    [[nodiscard]] virtual qint64 expectedLength() const = 0;

    /// Chunks that a batch for the content has to hold.
    [[nodiscard]] int batchCapacity() const
    {
        const qint64 needed = expectedLength() / gridFsChunkSize + 1;
        return static_cast<int>(expectedLength() < 0 ? gridFsBatchChunks
                                                     : std::min<qint64>(needed, gridFsBatchChunks));
    }

protected:
    [[nodiscard]] qint64 readLength() const { return m_length; }

private:
    /// Reads a whole chunk, or what is left; 0 bytes at the end.
    virtual Result<qint64> read(char* data) = 0;
    /// Fails where what was read is not what is to be stored.
    [[nodiscard]] virtual Status end() const = 0;
    [[nodiscard]] virtual const std::string& path() const = 0;

    Sha256 m_sha256;
    qint64 m_length = 0;
    int m_chunks = 0;
};

Status ChunkSource::fill(ChunkBatch& batch)
{
    batch.restart(m_chunks);
    while (!batch.isFull() && !atEnd()) {
        char* const data = batch.nextData();
        const auto size = read(data);
        if (!size.ok())
            return size.status();
        if (size.value() == 0)
            return end();
        m_sha256.add(data, size.value());
        batch.add(static_cast<int>(size.value()));
        m_length += size.value();
        ++m_chunks;
    }
    return {};
}

Result<ContentDigest> ChunkSource::digest()
{
    if (auto ended = end(); !ended.ok())
        return ended;
    return digestOf(m_length, m_sha256, displayPath(path()));
}

/// A local file that nobody changes meanwhile. It has to outlive this.
class WholeFile final : public ChunkSource
{
public:
    WholeFile(File& file, const SourceWatch& watch)
        : m_file(file)
        , m_watch(watch)
    {
    }

    [[nodiscard]] qint64 expectedLength() const override { return m_watch.length(); }

private:
    Result<qint64> read(char* data) override
    {
        const qint64 most = std::min<qint64>(gridFsChunkSize, m_watch.length() - readLength());
        return m_file.read(data, most);
    }
    [[nodiscard]] Status end() const override { return m_watch.end(readLength()); }
    [[nodiscard]] const std::string& path() const override { return m_file.path(); }

    File& m_file;
    const SourceWatch& m_watch;
};

/// A local file behind its writer.
class FileInWriting final : public ChunkSource
{
public:
    explicit FileInWriting(GrowingFile& growing)
        : m_growing(growing)
    {
    }

    [[nodiscard]] qint64 expectedLength() const override { return m_isEnded ? m_final : -1; }

private:
    Result<qint64> read(char* data) override;
    [[nodiscard]] Status end() const override;
    [[nodiscard]] const std::string& path() const override { return m_growing.file().path(); }

    GrowingFile& m_growing;
    qint64 m_final = 0; ///< bytes that will not be changed again
    bool m_isEnded = false;
};

Result<qint64> FileInWriting::read(char* data)
{
    while (!m_isEnded && m_final - readLength() < gridFsChunkSize) {
        const auto final = m_growing.waitBeyond(m_final);
        if (!final.ok())
            return final.status();
        m_isEnded = final.value() == m_final;
        m_final = final.value();
    }
    const qint64 size = std::min<qint64>(gridFsChunkSize, m_final - readLength());
    return size > 0 ? m_growing.file().readAt(data, size, readLength()) : Result<qint64>(0);
}

/// This process wrote the file: what may have gone wrong is that it is shorter than it should be.
Status FileInWriting::end() const
{
    const auto info = m_growing.file().info();
    if (!info.ok())
        return info.status();
    if (info->length == readLength() && m_final == readLength())
        return {};
    return Status::changedWhileRead(
        QStringLiteral("cannot read %1: it was changed while it was read").arg(displayPath(path())));
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
        const qint64 length = source.expectedLength(); // asked before another thread reads on
        if (!source.atEnd())
            next = std::async(std::launch::async, fill, 1 - turn);
        if (auto goOn = safePoint(); !goOn.ok())
            return goOn;
        if (auto sent = send(*batches[turn]); !sent.ok())
            return sent;
        sentBytes += static_cast<qint64>(batches[turn]->size()) * gridFsChunkSize;
        if (length >= 0)
            tellWork(WorkProgress::Stage::Sending, std::min(sentBytes, length), length);
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
    return conclude(existing.value(), digest);
}

Result<StoredFile> GridFsUpload::run(GrowingFile& source, NameUse use)
{
    const auto existing = this->existing(use);
    if (!existing.ok())
        return existing.status();
    const auto digest = existing.value() ? digestBehind(source) : sendBehind(source);
    return conclude(existing.value(), digest);
}

Result<StoredFile> GridFsUpload::conclude(const std::optional<GridFsFile>& existing,
                                          const Result<ContentDigest>& digest)
{
    if (!digest.ok())
        return digest.status();
    return existing ? acceptSame(*existing, digest.value()) : enter(digest.value());
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
    WholeFile chunks(source, watch.value());
    return sendAll(chunks, m_id, [this](ChunkBatch& batch) { return send(batch); });
}

Result<ContentDigest> GridFsUpload::sendBehind(GrowingFile& source)
{
    FileInWriting chunks(source);
    return sendAll(chunks, m_id, [this](ChunkBatch& batch) { return send(batch); });
}

Result<ContentDigest> GridFsUpload::digestBehind(GrowingFile& source)
{
    FileInWriting chunks(source);
    return sendAll(chunks, m_id, [](ChunkBatch&) { return Status(); });
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
