#include "backend/io/FileInfo.h"

#include "backend/io/SystemError.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>

namespace KOZAV::Backend {

namespace {

constexpr quint32 permissionMask = 07777;
constexpr qint64 clockTickNs = 50'000'000;

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

Result<FileInfo> examine(int descriptor, const std::string& name, int flags, const std::string& path)
{
    struct stat data = {};
    if (::fstatat(descriptor, name.c_str(), &data, flags) != 0)
        return systemFailure(errno, QStringLiteral("examine"), path);
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

} // namespace

bool FileInfo::isOwn() const
{
    return owner == ::geteuid();
}

bool FileInfo::othersMayRead() const
{
    return (permissions & (S_IRGRP | S_IROTH)) != 0;
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

bool FileInfo::isSettled() const
{
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    const qint64 now = std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch).count();
    return std::llabs(now - changedNs) > clockTickNs;
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

Result<FileInfo> fileInfo(const std::string& path, LastLink lastLink)
{
    return examine(AT_FDCWD, path, lastLink == LastLink::Itself ? AT_SYMLINK_NOFOLLOW : 0, path);
}

Result<FileInfo> fileInfoAt(int descriptor, const std::string& name, const std::string& path)
{
    return examine(descriptor, name, AT_SYMLINK_NOFOLLOW | AT_EMPTY_PATH, path);
}

} // namespace KOZAV::Backend
