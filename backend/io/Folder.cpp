#include "backend/io/Folder.h"

#include "backend/io/FilePath.h"
#include "backend/io/SystemError.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <memory>
#include <utility>

namespace KOZAV::Backend {

namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

struct CloseListing
{
    void operator()(DIR* listing) const { ::closedir(listing); }
};

bool isDotEntry(const char* name)
{
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

Status folderFailure(const QString& action, const std::string& path)
{
    return systemFailure(errno, action + QStringLiteral(" the folder"), path);
}

int openPart(int folder, const std::string& part, int flags)
{
    if (part != "..")
        return ::openat(folder, part.c_str(), flags | O_NOFOLLOW);
    errno = EXDEV;
    return -1;
}

/// What openat2() does, for kernels that do not have it and sandboxes that refuse it: every folder on the way
/// is opened from the one before.
int openPartByPart(int folder, const std::string& relativePath, int flags)
{
    File reached;
    std::size_t start = 0;
    for (auto slash = relativePath.find('/'); slash != std::string::npos;
         slash = relativePath.find('/', start)) {
        const std::string part = relativePath.substr(start, slash - start);
        File next(openPart(folder, part, O_PATH | O_DIRECTORY | O_CLOEXEC), {});
        if (!next.isOpen())
            return -1;
        reached = std::move(next);
        folder = reached.descriptor();
        start = slash + 1;
    }
    return openPart(folder, relativePath.substr(start), flags);
}

} // namespace

Result<Folder> Folder::opened(int descriptor, std::string path)
{
    if (descriptor < 0)
        return folderFailure(QStringLiteral("open"), path);
    return Folder(File(descriptor, std::move(path)));
}

Result<Folder> Folder::open(const std::string& path)
{
    return opened(::open(path.c_str(), folderFlags), path);
}

Result<Folder> Folder::openFolder(const std::string& relativePath) const
{
    return opened(openEntry(relativePath, folderFlags), joinPath(path(), relativePath));
}

int Folder::openEntry(const std::string& relativePath, int flags) const
{
    open_how how = {};
    how.flags = static_cast<quint64>(flags | O_NOFOLLOW);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
    const long descriptor =
        ::syscall(SYS_openat2, m_file.descriptor(), relativePath.c_str(), &how, sizeof how);
    if (descriptor < 0 && (errno == ENOSYS || errno == EPERM))
        return openPartByPart(m_file.descriptor(), relativePath, flags);
    return static_cast<int>(descriptor);
}

Result<FileInfo> Folder::entryInfo(const std::string& relativePath) const
{
    return fileInfoAt(m_file.descriptor(), relativePath, joinPath(path(), relativePath));
}

Result<std::vector<std::string>> Folder::names() const
{
    File own(::openat(m_file.descriptor(), ".", folderFlags), path()); // a listing keeps its descriptor
    const std::unique_ptr<DIR, CloseListing> listing(own.isOpen() ? ::fdopendir(own.descriptor()) : nullptr);
    if (!listing)
        return folderFailure(QStringLiteral("list"), path());
    (void)own.release();

    std::vector<std::string> names;
    errno = 0;
    while (const dirent* entry = ::readdir(listing.get())) {
        if (!isDotEntry(entry->d_name))
            names.emplace_back(entry->d_name);
        errno = 0;
    }
    if (errno != 0)
        return folderFailure(QStringLiteral("list"), path());
    return names;
}

Result<std::string> Folder::linkTarget(const std::string& relativePath) const
{
    std::string target(PATH_MAX, '\0');
    const ssize_t length =
        ::readlinkat(m_file.descriptor(), relativePath.c_str(), target.data(), target.size());
    if (length < 0)
        return systemFailure(errno, QStringLiteral("read the symbolic link"), joinPath(path(), relativePath));
    target.resize(static_cast<size_t>(length));
    return target;
}

Status Folder::sync() const
{
    if (::fsync(m_file.descriptor()) != 0)
        return folderFailure(QStringLiteral("bring to the disk"), path());
    return {};
}

Result<std::vector<std::string>> namesIn(const std::string& path)
{
    const auto folder = Folder::open(path);
    return folder.ok() ? folder->names() : folder.status();
}

Status createFolder(const std::string& path)
{
    if (::mkdir(path.c_str(), S_IRWXU) != 0 && errno != EEXIST)
        return folderFailure(QStringLiteral("make"), path);
    const auto info = fileInfo(path);
    if (!info.ok())
        return info.status();
    if (info->kind != FileKind::Directory)
        return systemFailure(EEXIST, QStringLiteral("make the folder"), path);
    // Another process may have made it a moment ago: its entry has to be on the disk as well.
    return syncFolder(parentFolder(path));
}

Status syncFolder(const std::string& path)
{
    const auto folder = Folder::open(path);
    return folder.ok() ? folder->sync() : folder.status();
}

Status requireWritableFolder(const std::string& path)
{
    const auto folder = Folder::open(path);
    if (!folder.ok())
        return folder.status();
    if (::faccessat(AT_FDCWD, path.c_str(), W_OK | X_OK, AT_EACCESS) != 0)
        return folderFailure(QStringLiteral("write into"), path);
    return {};
}

} // namespace KOZAV::Backend
