// A content carries its sum, length and time of storing, as an attribute that its own flush brings to the
// disk. So a file is stored from the moment at which its data has its name in files/, and that is durable
// with the flush of that folder: two flushes. The sum file of the same name in sums/ says the same for those
// who copy the folder without attributes; it is not flushed, and beside a content that carries its sum it
// means nothing.
//
// Where a file system cannot keep attributes the sum file is the sum. It is brought to the disk and has its
// name before the data gets one, so that whatever interrupts a put leaves data without a sum, or a sum
// without data: both mean nothing, and the next put of the name clears them away. An old sum must never be
// the one that data is found with: where there is one, the new name is durable before the data has its own.
//
// What takes long, the copying, hashing and flushing of the data, is done before the lock is taken. A name is
// never given other content: the data is renamed without replacing. Comparing with what is stored already
// takes no lock, since what is stored never changes; it may only have been removed meanwhile, which fails the
// comparison.

#include "backend/store/local/LocalStoreFolder.h"

#include "backend/io/FileCopy.h"
#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"
#include "backend/store/StoreNames.h"
#include "backend/store/local/SumFile.h"

#include <algorithm>
#include <utility>

namespace KOZAV::Backend {

namespace {

/// Longest text that the mark of a location can hold.
constexpr qint64 longestMark = 128;

} // namespace

LocalStoreFolder::LocalStoreFolder(const std::string& root, StoreLocation location)
    : m_location(std::move(location))
    , m_base(joinPath(joinPath(root, m_location.database), m_location.fileStore))
    , m_files(joinPath(m_base, "files"))
    , m_sums(joinPath(m_base, "sums"))
    , m_temps(joinPath(m_base, "tmp"))
    , m_mark(joinPath(m_base, "site"))
{
}

/// The folder of temporary files is made last: where it is, the others are there and durable.
bool LocalStoreFolder::isPrepared() const
{
    return fileInfo(m_temps).ok();
}

Status LocalStoreFolder::prepare() const
{
    for (const std::string& folder : {parentFolder(m_base), m_base, m_files, m_sums, m_temps}) {
        if (auto made = createFolder(folder); !made.ok())
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
    const auto line = knownSum(dataPath(name), sumPath(name));
    // Data whose sum never came to the disk is what an interrupted put left: it was not reported as stored.
    if (line.code() == ErrorCode::NotFound || (line.ok() && !line.value()))
        return nothing;
    if (!line.ok())
        return line.status();
    auto file = parseSumLine(name, *line.value());
    if (!file)
        return corrupt(name, QStringLiteral("its sum cannot be understood"));
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
        if (auto file = listed(name))
            files.push_back(std::move(*file));
    }
    return files;
}

Result<std::vector<StoredFile>> LocalStoreFolder::storedFiles(const std::vector<std::string>& names) const
{
    std::vector<StoredFile> files;
    for (const std::string& name : names) {
        const auto data = fileInfo(dataPath(name));
        if (!data.ok() && data.code() != ErrorCode::NotFound)
            return data.status();
        auto file = data.ok() ? listed(name) : std::nullopt;
        if (file)
            files.push_back(std::move(*file));
    }
    return files;
}

/// What a listing says of a name whose data is there; nothing where that is not stored.
std::optional<StoredFile> LocalStoreFolder::listed(const std::string& name) const
{
    const auto line = knownSum(dataPath(name), sumPath(name));
    if (line.code() == ErrorCode::NotFound || (line.ok() && !line.value()))
        return std::nullopt;
    StoredFile damaged;
    damaged.name = name;
    return line.ok() ? parseSumLine(name, *line.value()).value_or(damaged) : damaged;
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
    auto data = File::openForReading(dataPath(file.name));
    if (!data.ok())
        return data.status();
    const auto digest = digestFile(data.value());
    if (!digest.ok())
        return digest.status();
    if (auto same = checkDigest(file, digest.value()); !same.ok())
        return same;
    auto synced = data->sync();
    if (!synced.ok())
        return synced;
    const auto named = syncFolder(m_sums);
    return named.ok() ? syncFolder(m_files) : named;
}

Result<LocalStoreFolder::Addition> LocalStoreFolder::acceptSame(const StoredFile& existing,
                                                                const ContentDigest& digest) const
{
    if (digest != ContentDigest{existing.length, existing.sha256})
        return otherContent(m_location, existing.name);
    if (const auto verified = verify(existing); !verified.ok())
        return verified;
    return Addition{existing, false};
}

StoredFile LocalStoreFolder::describe(const std::string& name, const ContentDigest& digest)
{
    StoredFile file;
    file.name = name;
    file.length = digest.length;
    file.sha256 = digest.sha256;
    file.storedAt = QDateTime::currentDateTimeUtc();
    return file;
}

Result<LocalStoreFolder::Addition> LocalStoreFolder::add(const Content& content, const DataMove& move) const
{
    auto added = addLocked(content, move);
    if (!added.ok() || added->isNew)
        return added;
    return acceptSame(added->file, {content.file.length, content.file.sha256});
}

Result<LocalStoreFolder::Addition> LocalStoreFolder::addLocked(const Content& content,
                                                               const DataMove& move) const
{
    const auto locked = lock();
    if (!locked.ok())
        return locked.status();
    const std::string& name = content.file.name;
    if (fileInfo(dataPath(name)).code() != ErrorCode::NotFound) {
        const auto existing = stored(name);
        if (!existing.ok())
            return existing.status();
        if (existing.value())
            return Addition{*existing.value(), false};
        if (auto cleared = clear(name); !cleared.ok())
            return cleared;
    }
    if (const auto entered = enter(content, move); !entered.ok())
        return entered;
    return Addition{content.file, true};
}

/// Removes what an interrupted put has left, for good: it must not come back beside the sum of another
/// content.
Status LocalStoreFolder::clear(const std::string& name) const
{
    const auto removed = removeFile(dataPath(name));
    return removed.ok() ? syncFolder(m_files) : removed;
}

/// After a failure nothing of the name is left.
Status LocalStoreFolder::enter(const Content& content, const DataMove& move) const
{
    auto entered = content.hasSum ? enterWithSum(content.file, move) : enterBesideSum(content.file, move);
    if (!entered.ok())
        (void)removeFile(sumPath(content.file.name));
    return entered;
}

Status LocalStoreFolder::enterWithSum(const StoredFile& file, const DataMove& move) const
{
    const std::string data = dataPath(file.name);
    if (auto moved = move.enter(data); !moved.ok())
        return moved;
    auto entered = writeUnflushed(sumPath(file.name), formatSumLine(file));
    if (entered.ok())
        entered = syncFolder(m_files);
    if (!entered.ok())
        move.undo(data);
    return entered;
}

Status LocalStoreFolder::enterBesideSum(const StoredFile& file, const DataMove& move) const
{
    const std::string data = dataPath(file.name);
    auto entered = writeSmallFile(sumPath(file.name), formatSumLine(file), m_temps);
    if (entered.ok())
        entered = syncFolder(m_sums);
    if (!entered.ok())
        return entered;
    if (auto moved = move.enter(data); !moved.ok())
        return moved;
    entered = syncFolder(m_files);
    if (!entered.ok())
        move.undo(data);
    return entered;
}

Result<QString> LocalStoreFolder::siteMark() const
{
    const auto line = readSmallFile(m_mark, longestMark);
    if (line.code() == ErrorCode::NotFound)
        return QString();
    if (!line.ok())
        return line.status();
    const QString text = QString::fromLatin1(line->data(), static_cast<int>(line->size()));
    if (!text.endsWith(QLatin1Char('\n')) || !checkSiteIdentity(text.chopped(1)).ok())
        return Status::corrupt(QStringLiteral("the mark of the document store, %1, cannot be understood")
                                   .arg(displayPath(m_mark)));
    return text.chopped(1);
}

Status LocalStoreFolder::setSiteMark(const QString& identity) const
{
    if (auto prepared = isPrepared() ? Status() : prepare(); !prepared.ok())
        return prepared;
    const auto locked = lock();
    if (!locked.ok())
        return locked.status();
    const auto present = siteMark();
    if (!present.ok())
        return present.status();
    if (!present->isEmpty())
        return present.value() == identity ? Status() : otherSite(m_location, present.value());
    const auto written = writeSmallFile(m_mark, identity.toStdString() + '\n', m_temps);
    return written.ok() ? syncFolder(m_base) : written;
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
    const auto removed = removeLocked(name);
    return removed.ok() ? Result(true) : removed;
}

/// Data before sum: an interruption leaves a sum alone, which means nothing, and need not be gone for good.
Status LocalStoreFolder::removeLocked(const std::string& name) const
{
    if (auto removed = removeFile(dataPath(name)); !removed.ok())
        return removed;
    if (auto synced = syncFolder(m_files); !synced.ok())
        return synced;
    return removeFile(sumPath(name));
}

} // namespace KOZAV::Backend
