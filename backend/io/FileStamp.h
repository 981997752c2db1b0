#pragma once

#include "backend/Status.h"

namespace KOZAV::Backend {

/// What one look at a file tells of its content without reading it.
struct FileStamp
{
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = 0;
    qint64 modifiedNs = 0; ///< since 1970
    qint64 changedNs = 0;  ///< since 1970; set by the kernel at every change
    bool othersMayRead = false;

    bool operator==(const FileStamp& other) const;

    /// Whether a later change is sure to show in the stamp: the clock of a file system ticks in milliseconds,
    /// so a file that changed just now may change again without a new time.
    [[nodiscard]] bool isSettled() const;
};

/// Looks at a file (local 8-bit path), links followed. NotFound where there is none.
Result<FileStamp> fileStamp(const char* path);

} // namespace KOZAV::Backend
