#include "backend/io/FileNames.h"

#include "backend/io/SystemError.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace KOZAV::Backend {

namespace {

Status cannotName(int systemError, const std::string& from, const std::string& to)
{
    return systemFailure(systemError, QStringLiteral("move %1 to").arg(displayPath(from)), to);
}

/// Whether renameat2() failed because the file system cannot rename without replacing.
bool isUnsupported(int systemError)
{
    return systemError == EINVAL || systemError == ENOSYS || systemError == EOPNOTSUPP;
}

} // namespace

Status renameReplacing(const std::string& from, const std::string& to)
{
    if (::rename(from.c_str(), to.c_str()) != 0)
        return cannotName(errno, from, to);
    return {};
}

Status renameWithoutReplacing(const std::string& from, const std::string& to)
{
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return {};
    if (!isUnsupported(errno))
        return cannotName(errno, from, to);
    if (::link(from.c_str(), to.c_str()) != 0)
        return cannotName(errno, from, to);
    ::unlink(from.c_str()); // the file has its name; a left-over temporary name does no harm
    return {};
}

Status linkFile(const std::string& from, const std::string& to)
{
    if (::link(from.c_str(), to.c_str()) != 0)
        return systemFailure(errno, QStringLiteral("link %1 to").arg(displayPath(from)), to);
    return {};
}

Status removeFile(const std::string& path)
{
    if (::unlink(path.c_str()) != 0)
        return systemFailure(errno, QStringLiteral("remove"), path);
    return {};
}

} // namespace KOZAV::Backend
