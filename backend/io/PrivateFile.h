#pragma once

#include "backend/Status.h"
#include "backend/io/FilePath.h"

#include <QByteArray>
#include <QString>

namespace KOZAV::Backend {

/// Writes a small file that only its owner can read, mode 0600 from the first byte. Whole, durable and at
/// once, or not at all. A symbolic link is followed: the file it names is replaced.
Status writePrivateFile(const QString& path, const QByteArray& content, ExistingTarget existing);

/// Replaces a small file of this user's, which keeps its permissions; NotPermitted where another user owns
/// it, who would lose it by that. Otherwise as writePrivateFile() does.
Status replaceOwnFile(const QString& path, const QByteArray& content);

/// Makes a folder and its missing parents, mode 0700 each. Existing ones stay as they are.
/// @return whether the folder was made
Result<bool> makePrivateFolder(const QString& path);

/// The login name of this user; "operator" where the system has none.
QString loginName();

} // namespace KOZAV::Backend
