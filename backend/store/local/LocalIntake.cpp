#include "backend/store/local/LocalIntake.h"

#include "backend/io/FileCopy.h"
#include "backend/io/FilePath.h"
#include "backend/io/SystemError.h"
#include "backend/io/TempFile.h"
#include "backend/store/local/SumFile.h"

#include <utility>

namespace KOZAV::Backend {

namespace {

/// A file for a copy of that length, if there is room for it.
Result<TempFile> tempFileFor(qint64 length, const LocalStoreFolder& folder, const std::string& name)
{
    if (const auto roomy = requireFreeSpace(folder.tempFolder(), length); !roomy.ok())
        return roomy;
    return TempFile::createIn(folder.tempFolder(), folder.dataPath(name));
}

/// Renames the source into the store, if what has its name still is the file that was hashed.
Status enterSame(const File& source, const std::string& dataPath)
{
    const auto hashed = source.info();
    if (!hashed.ok())
        return hashed.status();
    if (auto moved = renameFile(source.path(), dataPath, ExistingTarget::Keep); !moved.ok())
        return moved;
    const auto entered = fileInfo(dataPath);
    if (entered.ok() && entered->isSameFile(hashed.value()) && entered->modifiedNs == hashed->modifiedNs)
        return {};
    (void)renameFile(dataPath, source.path(), ExistingTarget::Keep);
    return Status::changedWhileRead(
        QStringLiteral("cannot store %1: it was changed meanwhile").arg(displayPath(source.path())));
}

} // namespace

LocalIntake::LocalIntake(const LocalStoreFolder& folder, std::string name)
    : m_folder(folder)
    , m_name(std::move(name))
{
}

Result<LocalIntake::Addition> LocalIntake::copyIn(const std::string& sourcePath) const
{
    auto source = File::openForReading(sourcePath);
    if (!source.ok())
        return source.status();
    const auto existing = m_folder.stored(m_name);
    if (!existing.ok())
        return existing.status();
    if (!existing.value())
        return copy(source.value());
    const auto digest = digestFile(source.value());
    if (!digest.ok())
        return digest.status();
    return m_folder.acceptSame(*existing.value(), digest.value());
}

Result<LocalIntake::Addition> LocalIntake::copy(File& source) const
{
    const auto watch = SourceWatch::begin(source);
    if (!watch.ok())
        return watch.status();
    auto temp = tempFileFor(watch->length(), m_folder, m_name);
    if (!temp.ok())
        return temp.status();
    const auto digest = copyFile(source, temp->file(), watch.value());
    if (!digest.ok())
        return digest.status();
    LocalStoreFolder::Content content{LocalStoreFolder::describe(m_name, digest.value())};
    const auto attached = attachSum(temp->file(), content.file);
    if (!attached.ok())
        return attached.status();
    content.hasSum = attached.value();
    if (const auto completed = temp->complete(digest->length); !completed.ok())
        return completed;
    LocalStoreFolder::DataMove move;
    move.enter = [&temp](const std::string&) { return temp->rename(ExistingTarget::Keep); };
    move.undo = [](const std::string& dataPath) { (void)removeFile(dataPath); };
    return m_folder.add(content, move);
}

bool LocalIntake::canMove(const std::string& sourcePath) const
{
    const auto info = fileInfo(sourcePath);
    return info.ok() && info->kind == FileKind::Regular && info->links == 1 && info->isOwn() &&
           canRenameInto(sourcePath, m_folder.tempFolder());
}

Result<std::optional<LocalIntake::Addition>> LocalIntake::moveIn(const std::string& sourcePath) const
{
    if (!canMove(sourcePath))
        return std::optional<Addition>();
    auto source = File::openForReading(sourcePath);
    if (!source.ok())
        return source.status();
    const auto digest = digestFile(source.value());
    return digest.ok() ? moveHashed(source.value(), digest.value()) : digest.status();
}

Result<std::optional<LocalIntake::Addition>> LocalIntake::moveHashed(const File& source,
                                                                     const ContentDigest& digest) const
{
    LocalStoreFolder::Content content{LocalStoreFolder::describe(m_name, digest)};
    const auto attached = attachSum(source, content.file);
    if (!attached.ok()) // it carries another sum: only a copy of it has none
        return std::optional<Addition>();
    content.hasSum = attached.value();
    if (const auto synced = source.sync(); !synced.ok())
        return synced;
    LocalStoreFolder::DataMove move;
    move.enter = [&source](const std::string& dataPath) { return enterSame(source, dataPath); };
    move.undo = [&source](const std::string& dataPath) {
        (void)renameFile(dataPath, source.path(), ExistingTarget::Keep);
    };
    const auto added = m_folder.add(content, move);
    return added.ok() ? Result(std::optional(added.value())) : added.status();
}

} // namespace KOZAV::Backend
