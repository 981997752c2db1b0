#include "backend/store/local/LocalStoreFolder.h"

#include "backend/io/FileAccess.h"
#include "backend/io/FileCopy.h"
#include "backend/io/FileInfo.h"
#include "backend/io/FileNames.h"
#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"
#include "backend/io/TempFile.h"
#include "backend/store/StoreFailures.h"
#include "backend/store/local/SumLine.h"

#include <algorithm>
#include <utility>

namespace KOZAV::Backend {

LocalStoreFolder::LocalStoreFolder(const std::string& root, StoreLocation location)
    : m_location(std::move(location))
    , m_base(joinPath(joinPath(root, m_location.database), m_location.fileStore))
    , m_files(joinPath(m_base, "files"))
    , m_sums(joinPath(m_base, "sums"))
    , m_temps(joinPath(m_base, "tmp"))
{
}

Status LocalStoreFolder::prepare() const
{
    // The folder of temporary files is made last: where it is, the others are there and durable.
    if (fileInfo(m_temps).ok())
        return {};
    for (const std::string& folder : {parentFolder(m_base), m_base, m_files, m_sums, m_temps}) {
        if (Status made = createFolder(folder); !made.ok())
            return made;
    }
    return {};
}

std::string LocalStoreFolder::dataPath(const std::string& name) const
{
    return joinPath(m_files, name);
}

std::string LocalStoreFolder::sumPath(const std::string& name) const
{
    return joinPath(m_sums, name);
}

Result<FileLock> LocalStoreFolder::lock() const
{
    return FileLock::acquire(joinPath(m_temps, "lock"));
}

Status LocalStoreFolder::corrupt(const std::string& name, const QString& reason) const
{
    return damagedFile(m_location, name, reason);
}

Result<std::optional<StoredFile>> LocalStoreFolder::stored(const std::string& name) const
{
    const std::optional<StoredFile> nothing;
    const auto data = fileInfo(dataPath(name));
    if (!data.ok())
        return data.code() == ErrorCode::NotFound ? Result(nothing) : data.status();
    const auto line = readSmallFile(sumPath(name), longestSumLine);
    // Data whose sum never came to the disk is what an interrupted put left: it was not reported as stored.
    if (line.code() == ErrorCode::NotFound)
        return nothing;
    if (!line.ok())
        return line.status();
    auto file = parseSumLine(name, line.value());
    if (!file)
        return corrupt(name, QStringLiteral("its sum file cannot be understood"));
    if (data->kind != FileKind::Regular)
        return corrupt(name, QStringLiteral("it is %1").arg(kindText(data->kind)));
    if (data->length != file->length)
        return corrupt(name, QStringLiteral("it has %1 bytes instead of %2")
                                 .arg(QString::number(data->length), QString::number(file->length)));
    return file;
}

Result<std::vector<StoredFile>> LocalStoreFolder::storedFiles() const
{
    std::vector<StoredFile> files;
    auto names = namesIn(m_files);
    if (!names.ok())
        return names.code() == ErrorCode::NotFound ? Result(files) : names.status();
    std::sort(names->begin(), names->end());
    for (const std::string& name : names.value()) {
        const auto line = readSmallFile(sumPath(name), longestSumLine);
        if (line.code() == ErrorCode::NotFound)
            continue;
        StoredFile damaged;
        damaged.name = name;
        files.push_back(line.ok() ? parseSumLine(name, line.value()).value_or(damaged) : damaged);
    }
    return files;
}

Status LocalStoreFolder::checkDigest(const StoredFile& file, const ContentDigest& digest) const
{
    if (digest == ContentDigest{file.length, file.sha256})
        return {};
    return otherSha256(m_location, file, digest.sha256);
}

/// Checks that the data is what its sum says, and brings it to the disk: whoever stored it may have been
/// interrupted before that.
Status LocalStoreFolder::verify(const StoredFile& file) const
{
    const std::string path = dataPath(file.name);
    const auto data = openForReading(path);
    if (!data.ok())
        return data.status();
    const auto digest = digestFile(data.value(), path);
    if (!digest.ok())
        return digest.status();
    if (Status same = checkDigest(file, digest.value()); !same.ok())
        return same;
    Status synced = syncFile(data.value(), path);
    return synced.ok() ? sync() : synced;
}

Result<LocalStoreFolder::Addition> LocalStoreFolder::acceptSame(const StoredFile& existing,
                                                                const ContentDigest& digest) const
{
    if (digest != ContentDigest{existing.length, existing.sha256})
        return otherContent(m_location, existing.name);
    if (Status verified = verify(existing); !verified.ok())
        return verified;
    return Addition{existing, false};
}

Result<LocalStoreFolder::Addition> LocalStoreFolder::add(const std::string& name, const ContentDigest& digest,
                                                         const DataMove& move) const
{
    StoredFile file;
    file.name = name;
    file.length = digest.length;
    file.sha256 = digest.sha256;
    file.storedAt = QDateTime::currentDateTimeUtc();
    auto added = addLocked(file, move);
    if (!added.ok() || added->isNew)
        return added;
    return acceptSame(added->file, digest);
}

Result<LocalStoreFolder::Addition> LocalStoreFolder::addLocked(const StoredFile& file,
                                                               const DataMove& move) const
{
    const auto locked = lock();
    if (!locked.ok())
        return locked.status();
    const auto existing = stored(file.name);
    if (!existing.ok())
        return existing.status();
    if (existing.value())
        return Addition{*existing.value(), false};
    if (Status entered = enter(file, move); !entered.ok())
        return entered;
    return Addition{file, true};
}

Status LocalStoreFolder::enter(const StoredFile& file, const DataMove& move) const
{
    const std::string data = dataPath(file.name);
    if (fileInfo(data).ok()) {
        Status cleared = removeFile(data); // of an interrupted put
        if (!cleared.ok())
            return cleared;
    }
    if (Status summed = writeSum(file); !summed.ok())
        return summed;
    Status entered = move.enter(data);
    if (entered.ok()) {
        entered = sync();
        if (!entered.ok())
            move.undo(data);
    }
    if (!entered.ok())
        (void)removeFile(sumPath(file.name));
    return entered;
}

Status LocalStoreFolder::writeSum(const StoredFile& file) const
{
    auto temp = TempFile::create(m_temps);
    if (!temp.ok())
        return temp.status();
    const std::string line = formatSumLine(file);
    const auto length = static_cast<qint64>(line.size());
    if (Status written = writeFully(temp->descriptor(), line.data(), length, sumPath(file.name), length);
        !written.ok())
        return written;
    const Status completed = temp->complete(length);
    return completed.ok() ? temp->replace(sumPath(file.name)) : completed;
}

Status LocalStoreFolder::sync() const
{
    const Status sums = syncFolder(m_sums);
    return sums.ok() ? syncFolder(m_files) : sums;
}

Result<bool> LocalStoreFolder::remove(const std::string& name) const
{
    const auto locked = lock();
    if (locked.code() == ErrorCode::NotFound)
        return false;
    if (!locked.ok())
        return locked.status();
    const auto existing = stored(name);
    if (existing.ok() && !existing.value())
        return false;
    if (!existing.ok() && existing.code() != ErrorCode::Corrupt)
        return existing.status();
    const Status removed = removeLocked(name);
    return removed.ok() ? Result(true) : removed;
}

/// Data before sum: an interruption leaves a sum alone, which means nothing.
Status LocalStoreFolder::removeLocked(const std::string& name) const
{
    if (Status removed = removeFile(dataPath(name)); !removed.ok())
        return removed;
    if (Status synced = syncFolder(m_files); !synced.ok())
        return synced;
    const Status sumRemoved = removeFile(sumPath(name));
    return sumRemoved.ok() ? syncFolder(m_sums) : sumRemoved;
}

} // namespace KOZAV::Backend
