#include "backend/store/local/LocalDocumentStore.h"

#include "backend/io/CallGuard.h"
#include "backend/io/FileAccess.h"
#include "backend/io/FileCopy.h"
#include "backend/io/FileInfo.h"
#include "backend/io/FileNames.h"
#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"
#include "backend/io/SystemError.h"
#include "backend/io/TempFile.h"
#include "backend/store/StoreFailures.h"
#include "backend/store/StoreNames.h"
#include "backend/store/TargetFile.h"

#include <utility>

namespace KOZAV::Backend {

namespace {

using Addition = LocalStoreFolder::Addition;

/// A place for a copy of the source in the folder, if there is room for it.
Result<TempFile> tempFileFor(const FileDescriptor& source, const std::string& sourcePath,
                             const std::string& folder)
{
    const auto info = fileInfo(source, sourcePath);
    if (!info.ok())
        return info.status();
    if (Status roomy = requireFreeSpace(folder, info->length); !roomy.ok())
        return roomy;
    return TempFile::create(folder);
}

Result<Addition> addCopy(const LocalStoreFolder& folder, const std::string& name,
                         const FileDescriptor& source, const std::string& sourcePath)
{
    auto temp = tempFileFor(source, sourcePath, folder.tempFolder());
    if (!temp.ok())
        return temp.status();
    const auto digest = copyFile(source, sourcePath, temp->descriptor(), folder.dataPath(name));
    if (!digest.ok())
        return digest.status();
    if (Status completed = temp->complete(digest->length); !completed.ok())
        return completed;
    LocalStoreFolder::DataMove move;
    move.enter = [&temp](const std::string& dataPath) { return temp->moveTo(dataPath); };
    move.undo = [](const std::string& dataPath) { (void)removeFile(dataPath); };
    return folder.add(name, digest.value(), move);
}

/// Stores a copy of the file; reads it only to compare where the name is taken already.
Result<Addition> addFile(const LocalStoreFolder& folder, const std::string& name,
                         const std::string& sourcePath)
{
    const auto source = openForReading(sourcePath);
    if (!source.ok())
        return source.status();
    const auto existing = folder.stored(name);
    if (!existing.ok())
        return existing.status();
    if (!existing.value())
        return addCopy(folder, name, source.value(), sourcePath);
    const auto digest = digestFile(source.value(), sourcePath);
    if (!digest.ok())
        return digest.status();
    return folder.acceptSame(*existing.value(), digest.value());
}

/// Whether nobody else can reach or change the file once its name lies in the store.
bool canMove(const FileInfo& info)
{
    return info.kind == FileKind::Regular && info.links == 1 && info.isOwn();
}

/// Renames the file at sourcePath into the store, if it still is the one that was hashed.
Status moveHashed(const FileDescriptor& source, const std::string& sourcePath, const std::string& dataPath)
{
    const auto hashed = fileInfo(source, sourcePath);
    if (!hashed.ok())
        return hashed.status();
    if (Status moved = renameWithoutReplacing(sourcePath, dataPath); !moved.ok())
        return moved;
    const auto entered = fileInfo(dataPath);
    if (entered.ok() && entered->isSameFile(hashed.value()) && entered->modifiedNs == hashed->modifiedNs)
        return {};
    (void)renameWithoutReplacing(dataPath, sourcePath);
    return Status::changedWhileRead(QStringLiteral("Cannot store %1: it was changed meanwhile").arg(displayPath(sourcePath)));
}

Result<Addition> addByMoving(const LocalStoreFolder& folder, const std::string& name,
                             const std::string& sourcePath)
{
    const auto source = openForReading(sourcePath);
    if (!source.ok())
        return source.status();
    const auto digest = digestFile(source.value(), sourcePath);
    if (!digest.ok())
        return digest.status();
    if (Status synced = syncFile(source.value(), sourcePath); !synced.ok())
        return synced;
    LocalStoreFolder::DataMove move;
    move.enter = [&](const std::string& dataPath) {
        return moveHashed(source.value(), sourcePath, dataPath);
    };
    move.undo = [&](const std::string& dataPath) { (void)renameWithoutReplacing(dataPath, sourcePath); };
    return folder.add(name, digest.value(), move);
}

/// Copies a stored file to localPath, which gets the content as a whole or stays as it is.
Status copyOut(const LocalStoreFolder& folder, const StoredFile& file, const std::string& localPath)
{
    const std::string dataPath = folder.dataPath(file.name);
    const auto data = openForReading(dataPath);
    if (!data.ok())
        return data.status();
    auto target = TargetFile::create(localPath, file.length);
    if (!target.ok())
        return target.status();
    const auto digest = copyFile(data.value(), dataPath, target->descriptor(), localPath);
    if (!digest.ok())
        return digest.status();
    const Status same = folder.checkDigest(file, digest.value());
    return same.ok() ? target->finish() : same;
}

} // namespace

Result<std::unique_ptr<DocumentStore>> LocalDocumentStore::open(const std::string& root)
{
    const Status usable = requireWritableFolder(root);
    if (!usable.ok()) {
        // NotFound is said of stored files only.
        const bool absent = usable.code() == ErrorCode::NotFound;
        return Status(absent ? ErrorCode::Configuration : usable.code(),
                      QStringLiteral("The document store cannot be used. %1").arg(usable.message()));
    }
    auto store = std::unique_ptr<LocalDocumentStore>(new LocalDocumentStore(root));
    store->removeLeftovers();
    return std::unique_ptr<DocumentStore>(std::move(store));
}

Result<StoredFile> LocalDocumentStore::put(const StoreLocation& location, const std::string& name,
                                           const std::string& localPath)
{
    return guardedCall("store a file", [&]() -> Result<StoredFile> {
        const auto folder = preparedFolder(location, name);
        if (!folder.ok())
            return folder.status();
        const auto added = addFile(folder.value(), name, localPath);
        return added.ok() ? Result(added->file) : added.status();
    });
}

Result<StoredFile> LocalDocumentStore::adopt(const StoreLocation& location, const std::string& name,
                                             const std::string& localPath)
{
    return guardedCall("take a file into the store", [&]() -> Result<StoredFile> {
        const auto folder = preparedFolder(location, name);
        if (!folder.ok())
            return folder.status();
        if (Status removable = requireWritableFolder(parentFolder(localPath)); !removable.ok())
            return removable;
        const auto info = fileInfo(localPath);
        if (!info.ok())
            return info.status();
        const bool moves = canMove(info.value()) && canRenameInto(localPath, folder->tempFolder());
        const auto added =
            moves ? addByMoving(folder.value(), name, localPath) : addFile(folder.value(), name, localPath);
        if (!added.ok())
            return added.status();
        const Status removed = moves && added->isNew ? Status() : removeFile(localPath);
        return removed.ok() ? Result(added->file) : removed;
    });
}

Status LocalDocumentStore::get(const StoreLocation& location, const std::string& name,
                               const std::string& localPath)
{
    return guardedCall("fetch a stored file", [&]() -> Status {
        const auto file = find(location, name);
        return file.ok() ? copyOut(LocalStoreFolder(m_root, location), file.value(), localPath)
                         : file.status();
    });
}

Result<StoredFile> LocalDocumentStore::find(const StoreLocation& location, const std::string& name)
{
    return guardedCall("find a stored file", [&]() -> Result<StoredFile> {
        const auto folder = folderFor(location, name);
        if (!folder.ok())
            return folder.status();
        const auto file = folder->stored(name);
        if (!file.ok())
            return file.status();
        return file.value() ? Result(*file.value()) : notStored(location, name);
    });
}

Result<std::vector<StoredFile>> LocalDocumentStore::list(const StoreLocation& location)
{
    return guardedCall("list the stored files", [&]() -> Result<std::vector<StoredFile>> {
        if (Status accepted = checkStoreLocation(location); !accepted.ok())
            return accepted;
        return LocalStoreFolder(m_root, location).storedFiles();
    });
}

Status LocalDocumentStore::remove(const StoreLocation& location, const std::string& name)
{
    return guardedCall("remove a stored file", [&]() -> Status {
        const auto folder = folderFor(location, name);
        if (!folder.ok())
            return folder.status();
        const auto removed = folder->remove(name);
        if (!removed.ok())
            return removed.status();
        return removed.value() ? Status() : notStored(location, name);
    });
}

Result<ServiceHealth> LocalDocumentStore::health()
{
    return guardedCall("look at the document store", [&]() -> Result<ServiceHealth> {
        const Result<double> latency = fastestAnswerMs([this] { return requireWritableFolder(m_root); });
        if (!latency.ok())
            return latency.status();
        ServiceHealth health;
        health.engine = QStringLiteral("local folder");
        health.place = displayPath(m_root);
        health.latencyMs = latency.value();
        return health;
    });
}

Result<LocalStoreFolder> LocalDocumentStore::folderFor(const StoreLocation& location,
                                                       const std::string& name) const
{
    if (Status locationAccepted = checkStoreLocation(location); !locationAccepted.ok())
        return locationAccepted;
    if (Status nameAccepted = checkStoredName(name); !nameAccepted.ok())
        return nameAccepted;
    return LocalStoreFolder(m_root, location);
}

Result<LocalStoreFolder> LocalDocumentStore::preparedFolder(const StoreLocation& location,
                                                            const std::string& name) const
{
    auto folder = folderFor(location, name);
    if (!folder.ok())
        return folder;
    const Status prepared = folder->prepare();
    return prepared.ok() ? folder : prepared;
}

void LocalDocumentStore::removeLeftovers() const
{
    const auto databases = namesIn(m_root);
    if (!databases.ok())
        return;
    for (const std::string& database : databases.value()) {
        const auto fileStores = namesIn(joinPath(m_root, database));
        if (!fileStores.ok())
            continue;
        for (const std::string& fileStore : fileStores.value())
            removeStaleTempFiles(LocalStoreFolder(m_root, {database, fileStore}).tempFolder());
    }
}

} // namespace KOZAV::Backend
