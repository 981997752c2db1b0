#include "backend/io/FileLock.h"

#include "backend/io/SystemError.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

namespace KOZAV::Backend {

Result<FileLock> FileLock::acquire(const std::string& path)
{
    FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!file.isOpen())
        return systemFailure(errno, QStringLiteral("open"), path);
    int locked = ::flock(file.get(), LOCK_EX);
    while (locked != 0 && errno == EINTR)
        locked = ::flock(file.get(), LOCK_EX);
    if (locked != 0)
        return systemFailure(errno, QStringLiteral("lock"), path);
    return FileLock(std::move(file));
}

} // namespace KOZAV::Backend
