#pragma once

#include "backend/Status.h"

#include <QString>

#include <string>

namespace KOZAV::Backend {

/// What an error number of the operating system means.
ErrorCode errorCodeOf(int systemError);

/// Failure of a system call: "cannot <action> <path>: <reason>". For an exhausted disk the reason tells what
/// was needed (where neededBytes is given) and what is free.
Status systemFailure(int systemError, const QString& action, const std::string& path,
                     qint64 neededBytes = -1);

/// Fails with NoSpace where fewer bytes are free in a folder than are needed. Success does not reserve them.
Status requireFreeSpace(const std::string& folder, qint64 neededBytes);

} // namespace KOZAV::Backend
