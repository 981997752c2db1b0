#pragma once

#include "backend/Status.h"

#include <QString>

#include <string>

namespace KOZAV::Backend {

enum class FileKind { Regular, Directory, SymbolicLink, Fifo, Socket, Device };

/// What one look at a file tells of it without reading it.
struct FileInfo
{
    FileKind kind = FileKind::Regular;
    qint64 length = 0;
    qint64 modifiedNs = 0; ///< nanoseconds since 1970, UTC
    qint64 changedNs = 0;  ///< the same for the last change of content or attributes; set by the kernel
    quint64 device = 0;
    quint64 inode = 0;
    quint64 links = 1;
    quint32 permissions = 0; ///< the twelve permission bits
    quint32 owner = 0;       ///< number of the user

    /// Whether the user of this process owns it.
    [[nodiscard]] bool isOwn() const;

    /// Whether its permissions let others than its owner read it.
    [[nodiscard]] bool othersMayRead() const;

    /// Whether both are the same file of the disk.
    [[nodiscard]] bool isSameFile(const FileInfo& other) const;

    /// Whether both are the same file, and nothing happened to it between them.
    [[nodiscard]] bool isSameState(const FileInfo& other) const;

    /// Whether a later change is sure to show in another state: the clock of a file system ticks in
    /// milliseconds, so a file that changed just now may change again without a new time.
    [[nodiscard]] bool isSettled() const;
};

/// "a FIFO", "a socket", … for messages.
QString kindText(FileKind kind);

/// What a symbolic link at the end of a path stands for.
enum class LastLink { Itself, ItsTarget };

/// Looks at a file (local 8-bit path). NotFound where there is none.
Result<FileInfo> fileInfo(const std::string& path, LastLink lastLink = LastLink::Itself);

/// The same for an entry of the open folder, or, with an empty name, for the open file itself. path is for
/// messages.
Result<FileInfo> fileInfoAt(int descriptor, const std::string& name, const std::string& path);

} // namespace KOZAV::Backend
