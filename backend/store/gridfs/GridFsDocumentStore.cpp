#include "backend/store/gridfs/GridFsDocumentStore.h"

#include "backend/Guarded.h"
#include "backend/Operation.h"
#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"
#include "backend/store/StoreFailures.h"
#include "backend/store/StoreNames.h"
#include "backend/store/TargetFile.h"
#include "backend/store/gridfs/GridFsDownload.h"
#include "backend/store/gridfs/GridFsUpload.h"

#include <utility>

namespace KOZAV::Backend {

namespace {

// Less is written in one go at the end.
constexpr qint64 worthStarting = 1 << 20;

Status checkNames(const StoreLocation& location, const std::string& name)
{
    const Status accepted = checkGridFsLocation(location);
    return accepted.ok() ? checkGridFsName(name) : accepted;
}

/// Writes what arrives, and lets the system bring it to the disk meanwhile.
GridFsDownload::Sink writerTo(File& target, qint64 length)
{
    return [&target, length, written = qint64(0)](const char* bytes, qint64 size) mutable {
        Status done = target.write(bytes, size, length);
        if (done.ok() && size >= worthStarting)
            target.startWriting(written, size);
        written += size;
        return done;
    };
}

Status copyOut(GridFsBucket& bucket, const GridFsFile& file, File& target)
{
    return GridFsDownload(bucket, file, writerTo(target, file.stored().length)).run().status();
}

Status fetch(GridFsBucket& bucket, const GridFsFile& file, const std::string& localPath)
{
    auto target = TargetFile::create(localPath, file.stored().length);
    if (!target.ok())
        return target.status();
    const Status copied = copyOut(bucket, file, target->file());
    return copied.ok() ? target->finish() : copied;
}

/// Whether a file that was there when a fetch began has been removed since.
bool isGone(GridFsBucket& bucket, const GridFsFile& file)
{
    const auto found = bucket.hasFile(file.id());
    return found.ok() && !found.value();
}

Status removalUnknown(const GridFsFile& file, const Status& failure)
{
    return Status::outcomeUnknown(QStringLiteral("It is not known whether %1 was removed. %2")
                                      .arg(displayPath(file.stored().name), failure.message()));
}

} // namespace

Result<std::unique_ptr<DocumentStore>> GridFsDocumentStore::open(const DocumentStoreSettings& settings)
{
    startMongoDriver();
    auto server = GridFsServer::from(settings);
    if (!server.ok())
        return server.status();
    return std::unique_ptr<DocumentStore>(new GridFsDocumentStore(std::move(server.value())));
}

GridFsDocumentStore::GridFsDocumentStore(GridFsServer server)
    : m_clients(std::move(server))
{
}

Result<StoredFile> GridFsDocumentStore::put(const StoreLocation& location, const std::string& name,
                                            const std::string& localPath)
{
    return guarded("store a file", [&]() -> Result<StoredFile> {
        if (Status accepted = checkNames(location, name); !accepted.ok())
            return accepted;
        auto source = File::openForReading(localPath);
        if (!source.ok())
            return source.status();
        auto opened = session(location);
        if (!opened.ok())
            return opened.status();
        if (Status indexed = makeIndexesOnce(opened->bucket()); !indexed.ok())
            return indexed;
        GridFsUpload upload(opened.value(), m_clients, m_leftovers, name);
        return upload.run(source.value());
    });
}

Result<StoredFile> GridFsDocumentStore::adopt(const StoreLocation& location, const std::string& name,
                                              const std::string& localPath)
{
    return guarded("take a file into the store", [&]() -> Result<StoredFile> {
        if (Status accepted = checkNames(location, name); !accepted.ok())
            return accepted;
        if (Status removable = requireWritableFolder(parentFolder(localPath)); !removable.ok())
            return removable;
        auto stored = put(location, name, localPath);
        if (!stored.ok())
            return stored;
        const Status removed = removeFile(localPath);
        return removed.ok() ? stored : removed;
    });
}

Status GridFsDocumentStore::get(const StoreLocation& location, const std::string& name,
                                const std::string& localPath)
{
    return guarded("fetch a stored file", [&]() -> Status {
        return read(location, name, [&localPath](GridFsBucket& bucket, const GridFsFile& file) {
            return fetch(bucket, file, localPath);
        });
    });
}

Status GridFsDocumentStore::send(const StoreLocation& location, const std::string& name, File& target)
{
    return guarded("send a stored file", [&]() -> Status {
        return read(location, name, [&target](GridFsBucket& bucket, const GridFsFile& file) {
            return copyOut(bucket, file, target);
        });
    });
}

/// Has reader read the file of that name.
Status GridFsDocumentStore::read(const StoreLocation& location, const std::string& name, const Reader& reader)
{
    auto session = sessionFor(location, name);
    if (!session.ok())
        return session.status();
    const auto file = usableFile(session->bucket(), name);
    if (!file.ok())
        return file.status();
    Status done = reader(session->bucket(), file.value());
    if (done.code() == ErrorCode::Corrupt && isGone(session->bucket(), file.value()))
        return notStored(location, name);
    return done;
}

Result<StoredFile> GridFsDocumentStore::find(const StoreLocation& location, const std::string& name)
{
    return guarded("find a stored file", [&]() -> Result<StoredFile> {
        auto session = sessionFor(location, name);
        if (!session.ok())
            return session.status();
        const auto file = usableFile(session->bucket(), name);
        return file.ok() ? Result(file->stored()) : file.status();
    });
}

Result<std::vector<StoredFile>> GridFsDocumentStore::list(const StoreLocation& location)
{
    return guarded("list the stored files", [&]() -> Result<std::vector<StoredFile>> {
        if (Status accepted = checkGridFsLocation(location); !accepted.ok())
            return accepted;
        auto opened = session(location);
        return opened.ok() ? opened->bucket().files() : opened.status();
    });
}

/// The oldest revision first: as long as there is one, it is the file that a get brings.
Status GridFsDocumentStore::remove(const StoreLocation& location, const std::string& name)
{
    return guarded("remove a stored file", [&]() -> Status {
        auto session = sessionFor(location, name);
        if (!session.ok())
            return session.status();
        const auto revisions = session->bucket().revisions(name);
        if (!revisions.ok())
            return revisions.status();
        if (revisions->empty())
            return notStored(location, name);
        for (const GridFsFile& file : revisions.value()) {
            if (Status removed = removeRevision(session->bucket(), file); !removed.ok())
                return removed;
        }
        return {};
    });
}

Result<ServiceHealth> GridFsDocumentStore::health()
{
    return guarded("look at the document store", [this] { return m_clients.health(); });
}

/// A session whose location is free of what failed operations have left.
Result<GridFsSession> GridFsDocumentStore::session(const StoreLocation& location)
{
    auto opened = GridFsSession::open(m_clients, location);
    if (!opened.ok())
        return opened;
    const Status cleared = m_leftovers.clear(opened->bucket());
    return cleared.ok() ? std::move(opened) : cleared;
}

Result<GridFsSession> GridFsDocumentStore::sessionFor(const StoreLocation& location, const std::string& name)
{
    const Status accepted = checkNames(location, name);
    return accepted.ok() ? session(location) : accepted;
}

Status GridFsDocumentStore::makeIndexesOnce(GridFsBucket& bucket)
{
    const auto key = std::make_pair(bucket.location().database, bucket.location().fileStore);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_indexed.count(key) > 0)
            return {};
    }
    if (Status made = bucket.makeIndexes(); !made.ok())
        return made;
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_indexed.insert(key);
    return {};
}

Result<GridFsFile> GridFsDocumentStore::usableFile(GridFsBucket& bucket, const std::string& name)
{
    auto found = bucket.newest(name);
    if (!found.ok())
        return found.status();
    if (!found.value())
        return notStored(bucket.location(), name);
    if (!found.value()->damage().isEmpty())
        return damagedFile(bucket.location(), name, found.value()->damage());
    return std::move(*found.value());
}

/// Without its files document the file is gone: chunks that cannot be removed now are left to the next
/// operation.
Status GridFsDocumentStore::removeRevision(GridFsBucket& bucket, const GridFsFile& file)
{
    const MongoWrite removed = bucket.removeFile(file.id());
    if (removed.end == MongoWrite::End::Unknown)
        return clarifyRemoval(bucket.location(), file, removed.status);
    if (removed.end == MongoWrite::End::Refused)
        return removed.status;
    const Status chunks = removed.ok() ? bucket.removeChunks(file.id()) : removed.status;
    if (!chunks.ok()) {
        qCWarning(logStore).noquote() << chunks.message();
        m_leftovers.remember(bucket.location(), file.id());
    }
    return removed.ok() ? Status() : removalUnknown(file, removed.status);
}

/// The connection was lost at the files document: a new one tells whether it is still there.
Status GridFsDocumentStore::clarifyRemoval(const StoreLocation& location, const GridFsFile& file,
                                           const Status& failure)
{
    auto recovery = GridFsSession::openForRecovery(m_clients, location);
    const auto found = recovery.ok() ? recovery->bucket().hasFile(file.id()) : recovery.status();
    if (!found.ok())
        return removalUnknown(file, failure);
    if (found.value())
        return failure;
    m_leftovers.remember(location, file.id());
    return recovery->bucket().confirm().ok() ? Status() : removalUnknown(file, failure);
}

} // namespace KOZAV::Backend
