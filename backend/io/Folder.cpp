#include "backend/io/Folder.h"

#include "backend/io/FileInfo.h"
#include "backend/io/FilePath.h"
#include "backend/io/OpenBeneath.h"
#include "backend/io/SystemError.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <utility>

namespace KOZAV::Backend {

namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

struct CloseListing
{
    void operator()(DIR* listing) const { ::closedir(listing); }
};

struct FreeMemory
{
    void operator()(char* memory) const { std::free(memory); }
};

bool isDotEntry(const char* name)
{
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

Status folderFailure(const QString& action, const std::string& path)
{
    return systemFailure(errno, action + QStringLiteral(" the folder"), path);
}

Result<Folder> openedFolder(int descriptor, std::string path)
{
    if (descriptor < 0)
        return folderFailure(QStringLiteral("open"), path);
    return Folder{FileDescriptor(descriptor), std::move(path)};
}

} // namespace

Result<Folder> openFolder(const std::string& path)
{
    return openedFolder(::open(path.c_str(), folderFlags), path);
}

Result<Folder> openFolderIn(const Folder& folder, const std::string& relativePath)
{
    return openedFolder(openBeneath(folder.descriptor.get(), relativePath.c_str(), folderFlags),
                        joinPath(folder.path, relativePath));
}

Result<std::vector<std::string>> namesIn(const std::string& path)
{
    const auto folder = openFolder(path);
    if (!folder.ok())
        return folder.status();
    return namesIn(folder.value());
}

Result<std::vector<std::string>> namesIn(const Folder& folder)
{
    FileDescriptor own(::openat(folder.descriptor.get(), ".", folderFlags)); // a listing keeps its descriptor
    const std::unique_ptr<DIR, CloseListing> listing(own.isOpen() ? ::fdopendir(own.get()) : nullptr);
    if (!listing)
        return folderFailure(QStringLiteral("list"), folder.path);
    (void)own.release();

    std::vector<std::string> names;
    errno = 0;
    while (const dirent* entry = ::readdir(listing.get())) {
        if (!isDotEntry(entry->d_name))
            names.emplace_back(entry->d_name);
        errno = 0;
    }
    if (errno != 0)
        return folderFailure(QStringLiteral("list"), folder.path);
    return names;
}

Result<std::string> linkTargetIn(const Folder& folder, const std::string& relativePath)
{
    std::string target(PATH_MAX, '\0');
    const ssize_t length =
        ::readlinkat(folder.descriptor.get(), relativePath.c_str(), target.data(), target.size());
    if (length < 0)
        return systemFailure(errno, QStringLiteral("read the symbolic link"),
                             joinPath(folder.path, relativePath));
    target.resize(static_cast<size_t>(length));
    return target;
}

Result<std::string> resolvedPath(const std::string& path)
{
    const std::unique_ptr<char, FreeMemory> resolved(::realpath(path.c_str(), nullptr));
    if (!resolved)
        return systemFailure(errno, QStringLiteral("find"), path);
    return std::string(resolved.get());
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
    const auto folder = openFolder(path);
    if (!folder.ok())
        return folder.status();
    if (::fsync(folder->descriptor.get()) != 0)
        return folderFailure(QStringLiteral("bring to the disk"), path);
    return {};
}

Status requireWritableFolder(const std::string& path)
{
    const auto folder = openFolder(path);
    if (!folder.ok())
        return folder.status();
    if (::faccessat(AT_FDCWD, path.c_str(), W_OK | X_OK, AT_EACCESS) != 0)
        return folderFailure(QStringLiteral("write into"), path);
    return {};
}

} // namespace KOZAV::Backend
