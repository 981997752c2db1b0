#pragma once

#include "backend/Status.h"
#include "backend/io/File.h"

#include <optional>
#include <string>

namespace KOZAV::Backend {

/// Makes a folder (0700) for lock files where it is missing, in one that is there. Not brought to the disk: a
/// crash ends the locks with it.
Status makeLockFolder(const std::string& path);

/// Keeps other threads and processes out of the same section while it lives. The system releases it with the
/// process.
class FileLock final
{
public:
    /// Waits until the lock file at path, made where there is none, is ours.
    static Result<FileLock> acquire(const std::string& path);

    /// The same without waiting; nothing where somebody else has it.
    static Result<std::optional<FileLock>> tryAcquire(const std::string& path);

    /// Replaces the content of the lock file, for whoever wants to know who has it. Not brought to the disk:
    /// it means nothing once the lock is gone.
    Status describe(const std::string& content);

private:
    explicit FileLock(File file)
        : m_file(std::move(file))
    {
    }

    File m_file;
};

} // namespace KOZAV::Backend
