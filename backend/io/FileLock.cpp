#include "backend/io/FileLock.h"

#include "backend/io/SystemError.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace KOZAV::Backend {

namespace {

File openLockFile(const std::string& path)
{
    return {::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR), path};
}

/// @return 0 or the error number
int lockFile(const File& file, int operation)
{
    while (::flock(file.descriptor(), operation) != 0)
        if (errno != EINTR)
            return errno;
    return 0;
}

} // namespace

Status makeLockFolder(const std::string& path)
{
    if (::mkdir(path.c_str(), S_IRWXU) != 0 && errno != EEXIST)
        return systemFailure(errno, QStringLiteral("make the folder"), path);
    return {};
}

Result<FileLock> FileLock::acquire(const std::string& path)
{
    File file = openLockFile(path);
    if (!file.isOpen())
        return systemFailure(errno, QStringLiteral("open"), path);
    if (const int error = lockFile(file, LOCK_EX); error != 0)
        return systemFailure(error, QStringLiteral("lock"), path);
    return FileLock(std::move(file));
}

Result<std::optional<FileLock>> FileLock::tryAcquire(const std::string& path)
{
    File file = openLockFile(path);
    if (!file.isOpen())
        return systemFailure(errno, QStringLiteral("open"), path);
    const int error = lockFile(file, LOCK_EX | LOCK_NB);
    if (error == EWOULDBLOCK)
        return std::optional<FileLock>();
    if (error != 0)
        return systemFailure(error, QStringLiteral("lock"), path);
    return std::optional<FileLock>(FileLock(std::move(file)));
}

Status FileLock::describe(const std::string& content)
{
    if (::ftruncate(m_file.descriptor(), 0) != 0)
        return systemFailure(errno, QStringLiteral("write"), m_file.path());
    return m_file.writeAt(content.data(), static_cast<qint64>(content.size()), 0);
}

} // namespace KOZAV::Backend
