#pragma once

#include "backend/Status.h"
#include "backend/io/FileLock.h"

#include <string>
#include <vector>

namespace KOZAV::Backend {

/// A folder below a shared one that belongs to one process for as long as it lives: for work files that must
/// not stay when the process is killed. The process holds a lock on it which the system gives back, so that
/// others know a folder whose process has ended, and never take one whose process lives.
///
/// The folder stays where the object ends without remove(), as it does with the process.
class ProcessFolder final
{
public:
    /// Makes a folder of its own (0700) below the shared one, which is made where it is missing.
    static Result<ProcessFolder> make(const std::string& shared);

    /// The folders below the shared one whose processes have ended; they are this process's from now on. None
    /// where the shared folder does not exist. What is no folder of a process stays untouched.
    static Result<std::vector<ProcessFolder>> takeAbandoned(const std::string& shared);

    [[nodiscard]] const std::string& path() const { return m_path; }

    /// Removes the folder with all that is in it; symbolic links in it are removed, not followed.
    Status remove();
    /// Removes the folder where nothing was left in it.
    void removeIfEmpty();

private:
    ProcessFolder(std::string path, FileLock lock);

    std::string m_path;
    FileLock m_lock;
};

} // namespace KOZAV::Backend
