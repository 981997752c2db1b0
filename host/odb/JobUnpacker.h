#pragma once

#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>

namespace KOZAV::Host {

/// What an archive may hold before it is refused. Bytes are counted as they are written, whatever the archive
/// says of them; where it says more, what it says counts: the holes of a sparse file have their length.
struct UnpackLimits
{
    qint64 entries = 200000;
    qint64 totalBytes = 64LL * 1024 * 1024 * 1024;
    qint64 ratio = 200;                          ///< unpacked bytes for each packed byte ...
    qint64 ratioFromBytes = 256LL * 1024 * 1024; ///< ... once so much is unpacked
    int depth = 64;                              ///< folders within folders
    qint64 reserveBytes = 64LL * 1024 * 1024;    ///< left free on the disk
};

struct UnpackRequest
{
    QString archive;
    QString folder; ///< must be absent or empty
    UnpackLimits limits;
    /// Called now and then with the packed bytes read so far; may be empty.
    std::function<void(qint64 packedBytes)> progress;
    /// Set by another thread to have the unpacking end; may be null.
    const std::atomic<bool>* cancelled = nullptr;
};

struct UnpackResult
{
    qint64 files = 0;
    qint64 bytes = 0;
    QString error; ///< why it was refused or failed; empty on success
    bool cancelled = false;
    /// What is wrong with an archive whose entries are all there: a sentence each.
    QStringList warnings;
    [[nodiscard]] bool ok() const { return error.isEmpty() && !cancelled; }
};

/// Unpacks a job archive into a folder: zip, rar, or tar within gzip; its content decides, and nothing else
/// is read. Refused are absolute paths and paths with "..", names that are not valid in the local encoding,
/// hard links, special files, symbolic links that could lead out of the folder or lie behind another one,
/// gzip streams whose checksum or length is not that of their content, and whatever breaks the limits or
/// would fill the disk. What was unpacked until then stays: the caller removes the folder. No program is
/// started.
UnpackResult unpackJob(const UnpackRequest& request);

} // namespace KOZAV::Host
