#include "backend/io/ProcessFolder.h"

#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"
#include "backend/io/PrivateFile.h"
#include "backend/io/SystemError.h"

#include <QFile>
#include <QRandomGenerator>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

// Below the shared folder lie "lock" and, for each process, a "process-..." with a "lock" in it. The outer
// lock is held for moments only: while a folder is made and locked, and while folders are looked at. So
// nobody ever sees a folder whose process lives and has not locked it yet. The inner lock is held until the
// process ends, and by whoever takes an abandoned folder over, so that two of them do not clear it together.

namespace KOZAV::Backend {

namespace {

const std::string folderPrefix = "process-";
const std::string lockName = "lock";

std::string newName()
{
    const quint64 number = QRandomGenerator::system()->generate64();
    return folderPrefix + QByteArray::number(number, 16).rightJustified(16, '0').toStdString();
}

/// The paths of the folders of processes below the shared one; none where it does not exist.
Result<std::vector<std::string>> foldersIn(const std::string& shared)
{
    const auto names = namesIn(shared);
    std::vector<std::string> folders;
    if (names.code() == ErrorCode::NotFound)
        return folders;
    if (!names.ok())
        return names.status();
    for (const std::string& name : names.value())
        if (name.compare(0, folderPrefix.size(), folderPrefix) == 0)
            folders.push_back(joinPath(shared, name));
    return folders;
}

} // namespace

ProcessFolder::ProcessFolder(std::string path, FileLock lock)
    : m_path(std::move(path))
    , m_lock(std::move(lock))
{
}

Result<ProcessFolder> ProcessFolder::make(const std::string& shared)
{
    if (const auto made = makePrivateFolder(QFile::decodeName(shared.c_str())); !made.ok())
        return made.status();
    const auto outer = FileLock::acquire(joinPath(shared, lockName));
    if (!outer.ok())
        return outer.status();
    const std::string path = joinPath(shared, newName());
    if (::mkdir(path.c_str(), S_IRWXU) != 0)
        return systemFailure(errno, QStringLiteral("make the folder"), path);
    auto lock = FileLock::acquire(joinPath(path, lockName));
    if (!lock.ok())
        return lock.status();
    return ProcessFolder(path, std::move(lock.value()));
}

Result<std::vector<ProcessFolder>> ProcessFolder::takeAbandoned(const std::string& shared)
{
    std::vector<ProcessFolder> taken;
    const auto folders = foldersIn(shared);
    if (!folders.ok() || folders->empty())
        return folders.ok() ? Result(std::move(taken)) : folders.status();
    const auto outer = FileLock::acquire(joinPath(shared, lockName));
    if (!outer.ok())
        return outer.status();
    for (const std::string& path : folders.value()) {
        auto lock = FileLock::tryAcquire(joinPath(path, lockName));
        // A folder that is gone meanwhile, or another user's, is not ours to clear.
        if (lock.ok() && lock->has_value())
            taken.push_back(ProcessFolder(path, std::move(*lock.value())));
    }
    return taken;
}

Status ProcessFolder::remove()
{
    std::error_code failed;
    std::filesystem::remove_all(m_path, failed);
    return failed ? systemFailure(failed.value(), QStringLiteral("remove the folder"), m_path) : Status();
}

void ProcessFolder::removeIfEmpty()
{
    const auto names = namesIn(m_path);
    if (names.ok() && names.value() == std::vector<std::string>{lockName})
        (void)remove();
}

} // namespace KOZAV::Backend
