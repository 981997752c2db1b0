#pragma once

#include "backend/Status.h"

#include <QString>

#include <cstddef>
#include <string>

namespace KOZAV::Backend {

// Paths and names of files, as the operating system has them: local 8-bit bytes.

/// Longest name of a single file or folder, in bytes.
constexpr std::size_t longestFileName = 255;

/// The folder that holds path; "." for a bare name.
std::string parentFolder(const std::string& path);

/// The path of name inside folder.
std::string joinPath(const std::string& folder, const std::string& name);

/// Whether name can be one entry of a folder and nothing else: not empty, ".", "..", no '/', no NUL, not too
/// long.
bool isPlainFileName(const std::string& name);

/// A path or name as text for messages: bytes that are not valid UTF-8 and control characters are shown as
/// "\xE9".
QString displayPath(const std::string& path);

/// The path without symbolic links, "." and "..".
Result<std::string> resolvedPath(const std::string& path);

/// What becomes of a file that has the name that another one is to get.
enum class ExistingTarget {
    Keep,   ///< it stays, and the call fails with AlreadyExists
    Replace ///< it is replaced as a whole if it is a regular file; anything else is InvalidArgument
};

/// Fails with InvalidArgument where path is taken by what is never replaced: a folder, a symbolic link (to a
/// file as well), a FIFO, a socket, a device.
Status requireReplaceable(const std::string& path);

/// Gives a file another name on the same file system.
Status renameFile(const std::string& from, const std::string& to, ExistingTarget existing);

/// The same for a file that is on the disk already: where this succeeds, so is its name. On failure neither
/// name is left, except that a file which has replaced another stays: the other one is gone.
Status publishFile(const std::string& from, const std::string& to, ExistingTarget existing);

/// Whether a file can be moved into the folder by renaming it: both lie on the same mounted file system.
bool canRenameInto(const std::string& path, const std::string& folder);

Status removeFile(const std::string& path);

} // namespace KOZAV::Backend
