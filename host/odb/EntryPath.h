#pragma once

#include <QByteArray>
#include <QString>

namespace KOZAV::Host {

/// The path of an archive entry below the folder that it is unpacked into.
struct EntryPath
{
    QString path;    ///< with "/" between, none at its end; empty for the folder itself
    QString refusal; ///< why the entry is not unpacked; empty where it is
};

/// Checks an entry's name as the archive has it.
EntryPath entryPath(const QByteArray& rawName);

/// Whether a symbolic link at path, made among real folders only, stays in the folder whatever other such
/// links there are: its target is relative, goes up only at its beginning, and not further than the folder.
bool linkStaysInside(const QString& path, const QByteArray& target);

} // namespace KOZAV::Host
