#pragma once

#include "backend/Status.h"

#include <QString>

#include <optional>
#include <string>

namespace KOZAV::Backend {

/// What an error number of the operating system means.
ErrorCode errorCodeOf(int systemError);

/// Failure of a system call: "cannot <action> <path>: <reason>". For an exhausted disk the reason tells what
/// was needed (where neededBytes is given) and what is free, for a file that grew too long the limit.
Status systemFailure(int systemError, const QString& action, const std::string& path,
                     qint64 neededBytes = -1);

/// Fails with NoSpace where fewer bytes are free in a folder than are needed. Success does not reserve them.
Status requireFreeSpace(const std::string& folder, qint64 neededBytes);

/// How long a file may become that this process writes (ulimit -f), in words for the end of a message: ""
/// where there is no such limit.
QString fileSizeLimitText();

/// Bytes that are free in a folder, or in the one that it lies in where it is not there; none where that is
/// not known.
std::optional<qint64> freeBytes(const std::string& folder);

} // namespace KOZAV::Backend
