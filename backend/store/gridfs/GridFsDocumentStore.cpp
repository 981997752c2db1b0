#include "backend/store/gridfs/GridFsDocumentStore.h"

#include "backend/Operation.h"
#include "backend/io/FilePath.h"
#include "backend/store/StoreNames.h"
#include "backend/store/TargetFile.h"
#include "backend/store/gridfs/GridFsDownload.h"
#include "backend/store/gridfs/GridFsSurvey.h"
#include "backend/store/gridfs/GridFsUpload.h"

#include <utility>

// Each operation has a connection of its own for its time (GridFsSession) and begins by clearing away what
// earlier ones could not (GridFsLeftovers). The indexes are made once a location, before its first put:
// asking for them with each would double the exchanges of a small file.
//
// A removal takes the files document first. From then on the file is gone for every reader, and its chunks
// are nobody's; in the other order a reader could meet a file without content. The quarantine is a change of
// the name in the files document, and nothing else: one document, so it is done or not, and the index that
// decides between two of one name decides here too. As in GridFsUpload.cpp, an answer that was lost is looked
// for over a new connection.

namespace KOZAV::Backend {

namespace {

// The system is asked to write in parts of this length; less is written in one go at the end.
constexpr qint64 worthStarting = 4 << 20;

/// Writes what arrives, and lets the system bring it to the disk meanwhile.
GridFsDownload::Sink writerTo(File& target, qint64 length)
{
    return
        [&target, length, written = qint64(0), started = qint64(0)](const char* bytes, qint64 size) mutable {
            auto done = target.write(bytes, size, length);
            written += size;
            if (done.ok() && written - started >= worthStarting) {
                target.startWriting(started, written - started);
                started = written;
            }
            return done;
        };
}

/// @param clients  where a long file gets a second connection from
Status fetch(GridFsBucket& bucket, GridFsClients& clients, const GridFsFile& file,
             const std::string& localPath)
{
    const qint64 length = file.stored().length;
    auto target = TargetFile::create(localPath, length);
    if (!target.ok())
        return target.status();
    const auto digest = GridFsDownload(bucket, file, writerTo(target->file(), length), &clients).run();
    return digest.ok() ? target->finish() : digest.status();
}

/// Whether a file that was there when a fetch began has been removed since.
bool isGone(GridFsBucket& bucket, const GridFsFile& file)
{
    const auto found = bucket.hasFile(file.id());
    return found.ok() && !found.value();
}

Status removalUnknown(const GridFsFile& file, const Status& failure)
{
    return Status::outcomeUnknown(QStringLiteral("it is not known whether %1 was removed: %2")
                                      .arg(displayPath(file.stored().name), failure.message()));
}

Status moveUnknown(const GridFsFile& file, const Status& failure)
{
    return Status::outcomeUnknown(QStringLiteral("it is not known whether %1 was moved: %2")
                                      .arg(displayPath(file.stored().name), failure.message()));
}

Status markUnknown(const StoreLocation& location, const Status& failure)
{
    return Status::outcomeUnknown(QStringLiteral("it is not known whether %1 was marked: %2")
                                      .arg(locationText(location), failure.message()));
}

/// What the location is marked with, compared with the identity that it should be marked with; nothing where
/// it has no mark.
Result<bool> hasSameMark(GridFsBucket& bucket, const QString& identity)
{
    const auto mark = bucket.siteMark();
    if (!mark.ok())
        return mark.status();
    const QString present = QString::fromStdString(mark.value());
    if (present.isEmpty() || present == identity)
        return !present.isEmpty();
    return otherSite(bucket.location(), present);
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

Status GridFsDocumentStore::checkLocation(const StoreLocation& location) const
{
    return checkGridFsLocation(location);
}

Status GridFsDocumentStore::checkName(const std::string& name) const
{
    return checkGridFsName(name);
}

Result<StoredFile> GridFsDocumentStore::putFile(const StoreLocation& location, const std::string& name,
                                                const std::string& localPath, NameUse use)
{
    auto source = File::openForReading(localPath);
    if (!source.ok())
        return source.status();
    auto opened = session(location);
    if (!opened.ok())
        return opened.status();
    if (auto indexed = makeIndexesOnce(opened->bucket()); !indexed.ok())
        return indexed;
    GridFsUpload upload(opened.value(), m_clients, m_leftovers, name);
    return upload.run(source.value(), use);
}

Result<StoredFile> GridFsDocumentStore::adoptGrowingFile(const StoreLocation& location,
                                                         const std::string& name,
                                                         const std::string& localPath, GrowingFile& growing,
                                                         NameUse use)
{
    auto opened = session(location);
    if (!opened.ok())
        return opened.status();
    if (auto indexed = makeIndexesOnce(opened->bucket()); !indexed.ok())
        return indexed;
    GridFsUpload upload(opened.value(), m_clients, m_leftovers, name);
    auto stored = upload.run(growing, use);
    if (!stored.ok())
        return stored;
    const auto removed = removeFile(localPath);
    return removed.ok() ? stored : removed;
}

Status GridFsDocumentStore::getFile(const StoreLocation& location, const std::string& name,
                                    const std::string& localPath)
{
    auto opened = session(location);
    if (!opened.ok())
        return opened.status();
    const auto file = usableFile(opened->bucket(), name);
    if (!file.ok())
        return file.status();
    auto fetched = fetch(opened->bucket(), m_clients, file.value(), localPath);
    if (fetched.code() == ErrorCode::Corrupt && isGone(opened->bucket(), file.value()))
        return notStored(location, name);
    return fetched;
}

Result<ContentDigest> GridFsDocumentStore::verifyFile(const StoreLocation& location, const std::string& name,
                                                      const ReadObserver& onBytes)
{
    auto opened = session(location);
    if (!opened.ok())
        return opened.status();
    const auto file = usableFile(opened->bucket(), name);
    if (!file.ok())
        return file.status();
    const auto tell = [&onBytes](const char*, qint64 size) {
        if (onBytes)
            onBytes(size);
        return Status();
    };
    auto read = GridFsDownload(opened->bucket(), file.value(), tell).run();
    if (read.code() == ErrorCode::Corrupt && isGone(opened->bucket(), file.value()))
        return notStored(location, name);
    return read;
}

Result<StoredFile> GridFsDocumentStore::findFile(const StoreLocation& location, const std::string& name)
{
    auto opened = session(location);
    if (!opened.ok())
        return opened.status();
    const auto file = usableFile(opened->bucket(), name);
    return file.ok() ? Result(file->stored()) : file.status();
}

Result<std::vector<StoredFile>> GridFsDocumentStore::listFiles(const StoreLocation& location)
{
    auto opened = session(location);
    return opened.ok() ? opened->bucket().files() : opened.status();
}

Result<DocumentStore::FilePages> GridFsDocumentStore::filePages(const StoreLocation& location)
{
    return FilePages(
        [this, location, last = std::string(), more = true]() mutable -> Result<std::vector<StoredFile>> {
            std::vector<StoredFile> page;
            while (page.empty() && more) {
                auto opened = session(location);
                if (!opened.ok())
                    return opened.status();
                auto files = opened->bucket().filesBehind(last, more);
                if (!files.ok())
                    return files;
                page = std::move(files.value());
            }
            return page;
        });
}

/// The oldest revision first: as long as there is one, it is the file that a get brings.
Status GridFsDocumentStore::removeStored(const StoreLocation& location, const std::string& name)
{
    auto opened = session(location);
    if (!opened.ok())
        return opened.status();
    return removeAll(opened->bucket(), opened->bucket().revisions(name), notStored(location, name));
}

/// @param none  what is told where there is nothing to remove
Status GridFsDocumentStore::removeAll(GridFsBucket& bucket, const Result<std::vector<GridFsFile>>& revisions,
                                      const Status& none)
{
    if (!revisions.ok())
        return revisions.status();
    for (const GridFsFile& file : revisions.value()) {
        if (auto removed = removeRevision(bucket, file); !removed.ok())
            return removed;
    }
    return revisions->empty() ? none : Status();
}

Result<std::vector<StoredFile>> GridFsDocumentStore::findFiles(const StoreLocation& location,
                                                               const std::vector<std::string>& names)
{
    auto opened = session(location);
    return opened.ok() ? opened->bucket().files(names) : opened.status();
}

/// The oldest revision first: as long as there is one, it is the file that a get brings.
Status GridFsDocumentStore::quarantineFile(const StoreLocation& location, const std::string& name)
{
    auto opened = session(location);
    if (!opened.ok())
        return opened.status();
    GridFsBucket& bucket = opened->bucket();
    if (auto indexed = makeIndexesOnce(bucket); !indexed.ok())
        return indexed;
    const auto revisions = bucket.revisions(name);
    if (!revisions.ok())
        return revisions.status();
    if (revisions->empty())
        return notStored(location, name);
    for (const GridFsFile& file : revisions.value()) {
        auto moved = moveRevision(bucket, file, &GridFsBucket::moveToQuarantine);
        if (moved.code() == ErrorCode::AlreadyExists)
            return quarantinedAlready(location, name);
        if (!moved.ok())
            return moved;
    }
    return {};
}

Result<std::vector<QuarantinedFile>> GridFsDocumentStore::listQuarantined(const StoreLocation& location)
{
    auto opened = session(location);
    return opened.ok() ? opened->bucket().quarantined() : opened.status();
}

/// The newest revision, which is the one that is put back as the file that a get brings.
Status GridFsDocumentStore::getQuarantinedFile(const StoreLocation& location, const std::string& name,
                                               const std::string& localPath)
{
    auto opened = session(location);
    if (!opened.ok())
        return opened.status();
    const auto revisions = opened->bucket().quarantinedRevisions(name);
    if (!revisions.ok())
        return revisions.status();
    if (revisions->empty())
        return notQuarantined(location, name);
    return fetch(opened->bucket(), m_clients, revisions->back(), localPath);
}

/// The newest revision first: it is the file that a get is to bring.
Status GridFsDocumentStore::restoreFile(const StoreLocation& location, const std::string& name)
{
    auto opened = session(location);
    if (!opened.ok())
        return opened.status();
    GridFsBucket& bucket = opened->bucket();
    if (auto indexed = makeIndexesOnce(bucket); !indexed.ok())
        return indexed;
    const auto revisions = bucket.quarantinedRevisions(name);
    if (!revisions.ok())
        return revisions.status();
    if (revisions->empty())
        return notQuarantined(location, name);
    const auto present = bucket.newest(name);
    if (!present.ok())
        return present.status();
    if (present.value())
        return storedAnew(location, name);
    for (auto file = revisions->rbegin(); file != revisions->rend(); ++file) {
        auto moved = moveRevision(bucket, *file, &GridFsBucket::moveFromQuarantine);
        if (moved.code() == ErrorCode::AlreadyExists)
            return storedAnew(location, name);
        if (!moved.ok())
            return moved;
    }
    return {};
}

Status GridFsDocumentStore::purgeFile(const StoreLocation& location, const std::string& name)
{
    auto opened = session(location);
    if (!opened.ok())
        return opened.status();
    return removeAll(opened->bucket(), opened->bucket().quarantinedRevisions(name),
                     notQuarantined(location, name));
}

Result<QString> GridFsDocumentStore::readSiteMark(const StoreLocation& location)
{
    auto opened = session(location);
    if (!opened.ok())
        return opened.status();
    const auto mark = opened->bucket().siteMark();
    return mark.ok() ? Result(QString::fromStdString(mark.value())) : mark.status();
}

Status GridFsDocumentStore::writeSiteMark(const StoreLocation& location, const QString& identity)
{
    auto opened = session(location);
    if (!opened.ok())
        return opened.status();
    GridFsBucket& bucket = opened->bucket();
    if (auto indexed = makeIndexesOnce(bucket); !indexed.ok())
        return indexed;
    const auto marked = hasSameMark(bucket, identity);
    if (!marked.ok())
        return marked.status();
    if (marked.value())
        return bucket.confirmSiteMark();
    const MongoWrite write = bucket.insertSiteMark(identity.toStdString());
    if (write.end == MongoWrite::End::Unknown)
        return clarifyMark(location, identity, write.status);
    if (write.end == MongoWrite::End::Unconfirmed)
        return markUnknown(location, write.status);
    if (write.status.code() != ErrorCode::AlreadyExists)
        return write.status;
    return hasSameMark(bucket, identity).status(); // somebody else was faster
}

Result<std::vector<StoreFlaw>> GridFsDocumentStore::surveyLocation(const StoreLocation& location)
{
    auto opened = session(location);
    return opened.ok() ? GridFsSurvey(opened->bucket()).run() : opened.status();
}

Status GridFsDocumentStore::mendFlaw(const StoreLocation& location, const StoreFlaw& flaw)
{
    auto opened = session(location);
    if (!opened.ok())
        return opened.status();
    if (flaw.kind == StoreFlaw::Kind::IndexMissing)
        return opened->bucket().makeIndexes();
    if (flaw.kind == StoreFlaw::Kind::ChunksWithoutFile)
        return removeStaleChunks(opened->bucket(), flaw.name);
    return notMendable(location, flaw);
}

Result<ServiceHealth> GridFsDocumentStore::engineHealth()
{
    return m_clients.health();
}

/// A session whose location is free of what failed operations have left.
Result<GridFsSession> GridFsDocumentStore::session(const StoreLocation& location)
{
    auto opened = GridFsSession::open(m_clients, location);
    if (!opened.ok())
        return opened;
    const auto cleared = m_leftovers.clear(opened->bucket());
    return cleared.ok() ? std::move(opened) : cleared;
}

Status GridFsDocumentStore::makeIndexesOnce(GridFsBucket& bucket)
{
    const auto key = std::make_pair(bucket.location().database, bucket.location().fileStore);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_indexed.count(key) > 0)
            return {};
    }
    if (auto made = bucket.makeIndexes(); !made.ok())
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
    const MongoWrite removed = bucket.removeFile(file);
    if (removed.end == MongoWrite::End::Unknown)
        return clarifyRemoval(bucket.location(), file, removed.status);
    if (removed.end == MongoWrite::End::Refused)
        return removed.status;
    const auto chunks = removed.ok() ? bucket.removeChunks(file.id()) : removed.status;
    if (!chunks.ok()) {
        qCWarning(logStore).noquote() << chunks.message();
        m_leftovers.remember(bucket.location(), file.id());
    }
    return removed.ok() ? Status() : removalUnknown(file, removed.status);
}

Status GridFsDocumentStore::moveRevision(GridFsBucket& bucket, const GridFsFile& file, Move move)
{
    const MongoWrite moved = (bucket.*move)(file);
    if (moved.end == MongoWrite::End::Unknown)
        return clarifyMove(bucket.location(), file, moved.status);
    return moved.end == MongoWrite::End::Unconfirmed ? moveUnknown(file, moved.status) : moved.status;
}

/// The connection was lost at the files document: a new one tells which name it has.
Status GridFsDocumentStore::clarifyMove(const StoreLocation& location, const GridFsFile& file,
                                        const Status& failure)
{
    auto recovery = GridFsSession::openForRecovery(m_clients, location);
    const auto name = recovery.ok() ? recovery->bucket().documentName(file.id()) : recovery.status();
    if (!name.ok())
        return moveUnknown(file, failure);
    if (name->empty() || name.value() == file.documentName())
        return failure;
    return recovery->bucket().confirm(file.id()).ok() ? Status() : moveUnknown(file, failure);
}

Status GridFsDocumentStore::clarifyMark(const StoreLocation& location, const QString& identity,
                                        const Status& failure)
{
    auto recovery = GridFsSession::openForRecovery(m_clients, location);
    const auto marked = recovery.ok() ? hasSameMark(recovery->bucket(), identity) : recovery.status();
    if (marked.code() == ErrorCode::AlreadyExists)
        return marked.status();
    if (marked.ok() && marked.value() && recovery->bucket().confirmSiteMark().ok())
        return {};
    return markUnknown(location, failure);
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
    return recovery->bucket().confirm(file.id()).ok() ? Status() : removalUnknown(file, failure);
}

} // namespace KOZAV::Backend
