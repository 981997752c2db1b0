#pragma once

#include "backend/HostInterface.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace KOZAV::Host {

struct SourceContent;

/// What one look at the source of an import tells, without reading its content.
struct SourceLook
{
    bool isThere = false;
    qint64 length = -1;            ///< of a file, in bytes
    QByteArray identity;           ///< which file or folder of the disk it is
    QByteArray state;              ///< another one after each change that a look can see
    bool isSettled = true;         ///< false: so fresh that the next change may not show in another state
    bool isOpenForWriting = false; ///< somebody writes it; false as well where that cannot be asked
};

/// Looks at a file; whether somebody writes it costs an opening more.
[[nodiscard]] SourceLook lookAtFile(const QString& path, bool askForWriters);
/// The same of a folder with all that is packed of it, but the job manifest, which an import uses up. One
/// that cannot be packed is not there.
[[nodiscard]] SourceLook lookAtFolder(const QString& path);
/// What the packing of a folder would come to, as far as a listing shows it.
struct PackingLook
{
    QString failure; ///< why it would fail; empty where it would not
    Backend::ErrorCode reason = Backend::ErrorCode::None;
    qint64 bytes = 0;         ///< that would be packed, before they are compressed
    qint64 contentLength = 0; ///< of what counts as its content: all but the job manifest
};

/// Looks through a folder as packing it begins, and whether its files may be read.
/// @param takesManifest  the import takes the job manifest out of it before, as that of a batch does
[[nodiscard]] PackingLook lookAtPacking(const QString& path, bool takesManifest);

/// Whether a file has this very content; nothing where it cannot be read. On any thread.
[[nodiscard]] std::optional<bool> hasContent(const QString& path, const SourceContent& content);

} // namespace KOZAV::Host
