#include "backend/io/SystemError.h"

#include "backend/io/FilePath.h"

#include <sys/resource.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>

namespace KOZAV::Backend {

namespace {

struct FreeResources
{
    qint64 bytes = 0;
    bool inodesExhausted = false;
};

std::optional<FreeResources> freeResources(const std::string& path)
{
    struct statvfs fileSystem = {};
    if (::statvfs(path.c_str(), &fileSystem) != 0 && ::statvfs(parentFolder(path).c_str(), &fileSystem) != 0)
        return std::nullopt;
    FreeResources resources;
    const auto blocks = ::geteuid() == 0 ? fileSystem.f_bfree : fileSystem.f_bavail; // some are kept for root
    resources.bytes = static_cast<qint64>(blocks) * static_cast<qint64>(fileSystem.f_frsize);
    resources.inodesExhausted = fileSystem.f_files != 0 && fileSystem.f_favail == 0;
    return resources;
}

QString noSpaceReason(int systemError, const std::string& path, qint64 neededBytes)
{
    if (systemError == EDQUOT)
        return QStringLiteral("the disk quota is used up");
    const auto resources = freeResources(path);
    if (resources && resources->inodesExhausted)
        return QStringLiteral("no space left on the disk (no free inodes)");
    const QString free =
        resources ? QString::number(resources->bytes) : QStringLiteral("an unknown number of");
    if (neededBytes < 0)
        return QStringLiteral("no space left on the disk (%1 bytes free)").arg(free);
    return QStringLiteral("no space left on the disk (%1 bytes needed, %2 bytes free)")
        .arg(neededBytes)
        .arg(free);
}

} // namespace

ErrorCode errorCodeOf(int systemError)
{
    switch (systemError) {
    case 0:
        return ErrorCode::None;
    case ENOENT:
    case ENOTDIR:
        return ErrorCode::NotFound;
    case EEXIST:
    case ENOTEMPTY:
        return ErrorCode::AlreadyExists;
    case EACCES:
    case EPERM:
    case EROFS:
        return ErrorCode::NotPermitted;
    case ENOSPC:
    case EDQUOT:
        return ErrorCode::NoSpace;
    case EINVAL:
    case EISDIR:
    case ELOOP:
    case ENAMETOOLONG:
        return ErrorCode::InvalidArgument;
    case ENOMEM:
        return ErrorCode::Internal;
    default:
        return ErrorCode::Io;
    }
}

Status systemFailure(int systemError, const QString& action, const std::string& path, qint64 neededBytes)
{
    const auto code = errorCodeOf(systemError);
    QString reason = code == ErrorCode::NoSpace ? noSpaceReason(systemError, path, neededBytes)
                                                : QString::fromLocal8Bit(std::strerror(systemError));
    if (systemError == EFBIG)
        reason += fileSizeLimitText();
    return Status(code, QStringLiteral("cannot %1 %2: %3").arg(action, displayPath(path), reason));
}

Status requireFreeSpace(const std::string& folder, qint64 neededBytes)
{
    const auto resources = freeResources(folder);
    if (!resources || resources->bytes >= neededBytes)
        return {};
    return systemFailure(ENOSPC, QStringLiteral("write into"), folder, neededBytes);
}

QString fileSizeLimitText()
{
    struct rlimit limit = {};
    if (::getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return {};
    return QStringLiteral(" (a file size limit of %1 bytes holds for this process: ulimit -f)")
        .arg(limit.rlim_cur);
}

std::optional<qint64> freeBytes(const std::string& folder)
{
    const auto resources = freeResources(folder);
    return resources ? std::optional(resources->bytes) : std::nullopt;
}

} // namespace KOZAV::Backend
