#include "backend/io/FileInfo.h"

#include "backend/io/FilePath.h"
#include "backend/io/SystemError.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

namespace KOZAV::Backend {

namespace {

constexpr quint32 permissionMask = 07777;

FileKind kindOf(mode_t mode)
{
    switch (mode & S_IFMT) {
    case S_IFREG:
        return FileKind::Regular;
    case S_IFDIR:
        return FileKind::Directory;
    case S_IFLNK:
        return FileKind::SymbolicLink;
    case S_IFIFO:
        return FileKind::Fifo;
    case S_IFSOCK:
        return FileKind::Socket;
    default:
        return FileKind::Device;
    }
}

qint64 nanoseconds(const timespec& time)
{
    constexpr qint64 perSecond = 1'000'000'000;
    return static_cast<qint64>(time.tv_sec) * perSecond + time.tv_nsec;
}

FileInfo toFileInfo(const struct stat& data)
{
    FileInfo info;
    info.kind = kindOf(data.st_mode);
    info.length = data.st_size;
    info.modifiedNs = nanoseconds(data.st_mtim);
    info.changedNs = nanoseconds(data.st_ctim);
    info.device = data.st_dev;
    info.inode = data.st_ino;
    info.links = data.st_nlink;
    info.permissions = data.st_mode & permissionMask;
    info.owner = data.st_uid;
    return info;
}

struct Mount
{
    quint64 device = 0;
    quint64 number = 0; ///< 0 where the system does not tell: one device can be mounted at several places
};

std::optional<Mount> mountOf(const std::string& path)
{
    struct statx data = {};
    if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_MNT_ID, &data) != 0)
        return std::nullopt;
    Mount mount;
    mount.device = (static_cast<quint64>(data.stx_dev_major) << 32U) | data.stx_dev_minor;
    mount.number = (data.stx_mask & STATX_MNT_ID) != 0 ? data.stx_mnt_id : 0;
    return mount;
}

Status cannotExamine(const std::string& path)
{
    return systemFailure(errno, QStringLiteral("examine"), path);
}

} // namespace

bool FileInfo::isOwn() const
{
    return owner == ::geteuid();
}

bool FileInfo::isSameFile(const FileInfo& other) const
{
    return device == other.device && inode == other.inode && kind == other.kind;
}

bool FileInfo::isSameState(const FileInfo& other) const
{
    return isSameFile(other) && length == other.length && modifiedNs == other.modifiedNs &&
           changedNs == other.changedNs;
}

QString kindText(FileKind kind)
{
    switch (kind) {
    case FileKind::Regular:
        return QStringLiteral("a file");
    case FileKind::Directory:
        return QStringLiteral("a folder");
    case FileKind::SymbolicLink:
        return QStringLiteral("a symbolic link");
    case FileKind::Fifo:
        return QStringLiteral("a FIFO");
    case FileKind::Socket:
        return QStringLiteral("a socket");
    case FileKind::Device:
        break;
    }
    return QStringLiteral("a device");
}

Result<FileInfo> fileInfo(const std::string& path)
{
    struct stat data = {};
    if (::lstat(path.c_str(), &data) != 0)
        return cannotExamine(path);
    return toFileInfo(data);
}

Result<FileInfo> fileInfo(const FileDescriptor& file, const std::string& path)
{
    struct stat data = {};
    if (::fstat(file.get(), &data) != 0)
        return cannotExamine(path);
    return toFileInfo(data);
}

Result<FileInfo> fileInfoIn(const Folder& folder, const std::string& relativePath)
{
    struct stat data = {};
    if (::fstatat(folder.descriptor.get(), relativePath.c_str(), &data, AT_SYMLINK_NOFOLLOW) != 0)
        return cannotExamine(joinPath(folder.path, relativePath));
    return toFileInfo(data);
}

bool canRenameInto(const std::string& path, const std::string& folder)
{
    const auto from = mountOf(path);
    const auto to = mountOf(folder);
    return from && to && from->device == to->device && from->number == to->number;
}

} // namespace KOZAV::Backend
