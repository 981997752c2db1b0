#pragma once

#include "backend/Status.h"
#include "backend/io/FileDescriptor.h"
#include "backend/io/Folder.h"

#include <QString>

#include <string>

namespace KOZAV::Backend {

enum class FileKind { Regular, Directory, SymbolicLink, Fifo, Socket, Device };

/// What the operating system knows of a file. A symbolic link is described itself, never what it leads to.
struct FileInfo
{
    FileKind kind = FileKind::Regular;
    qint64 length = 0;
    qint64 modifiedNs = 0; ///< nanoseconds since 1970, UTC
    qint64 changedNs = 0;  ///< the same for the last change of content or attributes
    quint64 device = 0;
    quint64 inode = 0;
    quint64 links = 1;
    quint32 permissions = 0; ///< the twelve permission bits
    quint32 owner = 0;       ///< number of the user

    /// Whether the user of this process owns it.
    [[nodiscard]] bool isOwn() const;

    /// Whether both are the same file of the disk.
    [[nodiscard]] bool isSameFile(const FileInfo& other) const;

    /// Whether both are the same file, and nothing happened to it between them.
    [[nodiscard]] bool isSameState(const FileInfo& other) const;
};

/// "a FIFO", "a socket", … for messages.
QString kindText(FileKind kind);

Result<FileInfo> fileInfo(const std::string& path);
Result<FileInfo> fileInfo(const FileDescriptor& file, const std::string& path);

/// The same for an entry of an open folder; relativePath may have several parts.
Result<FileInfo> fileInfoIn(const Folder& folder, const std::string& relativePath);

/// Whether a file can be moved into the folder by renaming it: both lie on the same mounted file system.
bool canRenameInto(const std::string& path, const std::string& folder);

} // namespace KOZAV::Backend
