// A file in quarantine is its data and a note, in two folders, as a stored file is its data and its sum file;
// the note holds the sum, which the data may carry as well: then that counts. The data is there once, so the
// one rename that moves it is the moment at which the file changes from stored to quarantined, or back. What
// the file needs on the other side is on the disk before that, and what it leaves behind is removed after: an
// interruption leaves a sum or a note without data, which mean nothing. A failure takes the rename back.

#include "backend/store/local/LocalQuarantine.h"

#include "backend/Text.h"
#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"
#include "backend/store/StoreNames.h"
#include "backend/store/local/SumFile.h"

#include <algorithm>

namespace KOZAV::Backend {

namespace {

/// In the place of a sum that is too long to be one: it cannot be understood either.
const std::string unreadableSum = "?\n";

/// What is known of a stored name; empty where nothing is.
Result<std::string> sumText(const LocalStoreFolder& folder, const std::string& name)
{
    const auto sum = knownSum(folder.dataPath(name), folder.sumPath(name));
    if (sum.ok())
        return sum.value().value_or(std::string());
    return sum.code() == ErrorCode::Corrupt ? Result(unreadableSum) : sum.status();
}

/// Takes away the sum or note of data that is elsewhere; where it stays, or a crash brings it back, it means
/// nothing.
void tidy(const std::string& path, const std::string& dataPath)
{
    if (fileInfo(dataPath).code() == ErrorCode::NotFound)
        (void)removeFile(path);
}

} // namespace

LocalQuarantine::LocalQuarantine(const LocalStoreFolder& folder)
    : m_folder(folder)
    , m_base(joinPath(folder.path(), "quarantine"))
    , m_files(joinPath(m_base, "files"))
    , m_notes(joinPath(m_base, "sums"))
{
}

std::string LocalQuarantine::dataPath(const std::string& name) const
{
    return joinPath(m_files, name);
}

std::string LocalQuarantine::notePath(const std::string& name) const
{
    return joinPath(m_notes, name);
}

Status LocalQuarantine::prepare() const
{
    for (const std::string& folder : {m_base, m_files, m_notes}) {
        if (auto made = createFolder(folder); !made.ok())
            return made;
    }
    return {};
}

Status LocalQuarantine::take(const std::string& name) const
{
    const auto locked = m_folder.lock();
    if (locked.code() == ErrorCode::NotFound)
        return notStored(m_folder.location(), name);
    if (!locked.ok())
        return locked.status();
    const auto stored = m_folder.stored(name);
    if (stored.ok() && !stored.value())
        return notStored(m_folder.location(), name);
    if (!stored.ok() && stored.code() != ErrorCode::Corrupt)
        return stored.status();
    return takeLocked(name);
}

Status LocalQuarantine::takeUnknown(const std::string& name) const
{
    const auto locked = m_folder.lock();
    if (!locked.ok())
        return locked.status();
    const auto sum = sumText(m_folder, name);
    if (!sum.ok() && sum.code() != ErrorCode::NotFound)
        return sum.status();
    return sum.ok() && sum->empty() && fileInfo(m_folder.dataPath(name)).ok() ? takeLocked(name) : Status();
}

Status LocalQuarantine::takeLocked(const std::string& name) const
{
    if (fileInfo(dataPath(name)).ok())
        return quarantinedAlready(m_folder.location(), name);
    if (auto prepared = prepare(); !prepared.ok())
        return prepared;
    const auto sum = sumText(m_folder, name);
    if (!sum.ok())
        return sum.status();
    const std::string since = isoTime(QDateTime::currentDateTimeUtc()).toStdString();
    auto moved = writeSmallFile(notePath(name), since + '\n' + sum.value(), m_folder.tempFolder());
    if (moved.ok())
        moved = syncFolder(m_notes);
    if (moved.ok())
        moved = moveData(m_folder.dataPath(name), dataPath(name));
    tidy(m_folder.sumPath(name), m_folder.dataPath(name));
    tidy(notePath(name), dataPath(name));
    return moved;
}

Status LocalQuarantine::putBack(const std::string& name) const
{
    const auto locked = m_folder.lock();
    if (!locked.ok() && locked.code() != ErrorCode::NotFound)
        return locked.status();
    const auto data = fileInfo(dataPath(name));
    if (data.code() == ErrorCode::NotFound)
        return notQuarantined(m_folder.location(), name);
    if (!data.ok())
        return data.status();
    const auto isFree = requireFree(name);
    return isFree.ok() ? putBackLocked(name) : isFree;
}

/// Also content without a sum takes the name: it would be taken for the one that comes back.
Status LocalQuarantine::requireFree(const std::string& name) const
{
    const auto there = fileInfo(m_folder.dataPath(name));
    if (there.code() == ErrorCode::NotFound)
        return {};
    return there.ok() ? storedAnew(m_folder.location(), name) : there.status();
}

Status LocalQuarantine::putBackLocked(const std::string& name) const
{
    const auto known = note(name);
    if (!known.ok())
        return known.status();
    Status moved;
    if (known->sum.empty()) {
        tidy(m_folder.sumPath(name), m_folder.dataPath(name)); // of another content
    } else {
        moved = writeSmallFile(m_folder.sumPath(name), known->sum, m_folder.tempFolder());
        if (moved.ok())
            moved = syncFolder(m_folder.sumsFolder());
    }
    if (moved.ok())
        moved = moveData(dataPath(name), m_folder.dataPath(name));
    tidy(notePath(name), dataPath(name));
    tidy(m_folder.sumPath(name), m_folder.dataPath(name));
    return moved;
}

/// Durably, or not at all.
Status LocalQuarantine::moveData(const std::string& from, const std::string& to) const
{
    if (auto renamed = renameFile(from, to, ExistingTarget::Keep); !renamed.ok())
        return renamed;
    auto synced = syncFolder(parentFolder(to));
    if (synced.ok())
        synced = syncFolder(parentFolder(from));
    if (!synced.ok())
        (void)renameFile(to, from, ExistingTarget::Keep);
    return synced;
}

Status LocalQuarantine::purge(const std::string& name) const
{
    const auto locked = m_folder.lock();
    if (!locked.ok() && locked.code() != ErrorCode::NotFound)
        return locked.status();
    if (fileInfo(dataPath(name)).code() == ErrorCode::NotFound)
        return notQuarantined(m_folder.location(), name);
    if (auto removed = removeFile(dataPath(name)); !removed.ok())
        return removed;
    if (auto synced = syncFolder(m_files); !synced.ok())
        return synced;
    tidy(notePath(name), dataPath(name));
    return {};
}

Result<std::vector<QuarantinedFile>> LocalQuarantine::files() const
{
    std::vector<QuarantinedFile> found;
    auto names = namesIn(m_files);
    if (!names.ok())
        return names.code() == ErrorCode::NotFound ? Result(found) : names.status();
    std::sort(names->begin(), names->end());
    for (const std::string& name : names.value())
        found.push_back(file(name));
    return found;
}

std::optional<QuarantinedFile> LocalQuarantine::find(const std::string& name) const
{
    if (!fileInfo(dataPath(name)).ok())
        return std::nullopt;
    return file(name);
}

/// Of a file that is damaged, or whose note is, the file system tells the rest.
QuarantinedFile LocalQuarantine::file(const std::string& name) const
{
    QuarantinedFile found;
    found.file.name = name;
    const auto data = fileInfo(dataPath(name));
    if (data.ok()) {
        found.file.length = data->length;
        found.since = QDateTime::fromMSecsSinceEpoch(data->changedNs / 1'000'000, Qt::UTC);
    }
    const auto known = note(name);
    if (!known.ok())
        return found;
    if (known->since.isValid())
        found.since = known->since;
    found.file = parseSumLine(name, known->sum).value_or(found.file);
    return found;
}

/// Without a note, as without a line in it, only what the content carries is known.
Result<LocalQuarantine::Note> LocalQuarantine::note(const std::string& name) const
{
    Note found;
    const auto text = readSmallFile(notePath(name), 2 * longestSumLine);
    if (!text.ok() && text.code() != ErrorCode::NotFound && text.code() != ErrorCode::Corrupt)
        return text.status();
    const auto end = text.ok() ? text->find('\n') : std::string::npos;
    if (end != std::string::npos) {
        const QString since = QString::fromLatin1(text->data(), static_cast<int>(end));
        found.since = QDateTime::fromString(since, Qt::ISODateWithMs);
        found.sum = text->substr(end + 1);
    }
    auto attached = attachedSum(dataPath(name));
    if (attached.ok())
        found.sum = attached.value().value_or(found.sum);
    else if (attached.code() == ErrorCode::Corrupt)
        found.sum = unreadableSum;
    return found;
}

} // namespace KOZAV::Backend
