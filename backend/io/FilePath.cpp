#include "backend/io/FilePath.h"

#include "backend/Text.h"
#include "backend/io/FileInfo.h"
#include "backend/io/Folder.h"
#include "backend/io/SystemError.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>

namespace KOZAV::Backend {

namespace {

struct FreeMemory
{
    void operator()(char* memory) const { std::free(memory); }
};

struct Mount
{
    quint64 device = 0;
    quint64 number = 0; ///< 0 where the system does not tell: one device can be mounted at several places
};

QString escapedByte(char byte)
{
    const auto value = static_cast<unsigned char>(byte);
    return QStringLiteral("\\x%1").arg(QString::number(value, 16).toUpper(), 2, QLatin1Char('0'));
}

bool isControl(char byte)
{
    const auto value = static_cast<unsigned char>(byte);
    return value < 0x20 || value == 0x7f;
}

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

Status cannotName(int systemError, const std::string& from, const std::string& to)
{
    return systemFailure(systemError, QStringLiteral("move %1 to").arg(displayPath(from)), to);
}

/// Whether renameat2() failed because the file system cannot rename without replacing.
bool isUnsupported(int systemError)
{
    return systemError == EINVAL || systemError == ENOSYS || systemError == EOPNOTSUPP;
}

Status renameReplacing(const std::string& from, const std::string& to)
{
    if (auto replaceable = requireReplaceable(to); !replaceable.ok())
        return replaceable;
    if (::rename(from.c_str(), to.c_str()) != 0)
        return cannotName(errno, from, to);
    return {};
}

Status renameKeeping(const std::string& from, const std::string& to)
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

} // namespace

std::string parentFolder(const std::string& path)
{
    const auto end = path.find_last_not_of('/');
    if (end == std::string::npos)
        return path.empty() ? "." : "/";
    const auto slash = path.rfind('/', end);
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string joinPath(const std::string& folder, const std::string& name)
{
    if (folder.empty() || folder.back() == '/')
        return folder + name;
    return folder + '/' + name;
}

bool isPlainFileName(const std::string& name)
{
    return !name.empty() && name.size() <= longestFileName && name != "." && name != ".." &&
           name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
}

QString displayPath(const std::string& path)
{
    QString text;
    std::size_t at = 0;
    while (at < path.size()) {
        const auto length = utf8SequenceLength(path, at);
        if (length == 0 || isControl(path[at])) {
            text += escapedByte(path[at]);
            ++at;
            continue;
        }
        text += QString::fromUtf8(path.data() + at, static_cast<int>(length));
        at += length;
    }
    return text;
}

Result<std::string> resolvedPath(const std::string& path)
{
    const std::unique_ptr<char, FreeMemory> resolved(::realpath(path.c_str(), nullptr));
    if (!resolved)
        return systemFailure(errno, QStringLiteral("find"), path);
    return std::string(resolved.get());
}

Status requireReplaceable(const std::string& path)
{
    const auto info = fileInfo(path);
    if (info.code() == ErrorCode::NotFound)
        return {};
    if (!info.ok())
        return info.status();
    if (info->kind == FileKind::Regular)
        return {};
    return Status::invalidArgument(QStringLiteral("cannot replace %1: it is %2, not a regular file")
                                       .arg(displayPath(path), kindText(info->kind)));
}

Status renameFile(const std::string& from, const std::string& to, ExistingTarget existing)
{
    return existing == ExistingTarget::Replace ? renameReplacing(from, to) : renameKeeping(from, to);
}

Status publishFile(const std::string& from, const std::string& to, ExistingTarget existing)
{
    if (auto named = renameFile(from, to, existing); !named.ok()) {
        (void)removeFile(from);
        return named;
    }
    auto durable = syncFolder(parentFolder(to));
    if (!durable.ok() && existing == ExistingTarget::Keep)
        (void)removeFile(to);
    return durable;
}

bool canRenameInto(const std::string& path, const std::string& folder)
{
    const auto from = mountOf(path);
    const auto to = mountOf(folder);
    return from && to && from->device == to->device && from->number == to->number;
}

Status removeFile(const std::string& path)
{
    if (::unlink(path.c_str()) != 0)
        return systemFailure(errno, QStringLiteral("remove"), path);
    return {};
}

} // namespace KOZAV::Backend
