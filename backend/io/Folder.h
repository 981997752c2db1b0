#pragma once

#include "backend/Status.h"
#include "backend/io/FileDescriptor.h"

#include <string>
#include <vector>

namespace KOZAV::Backend {

/// An open folder and how it is called in messages.
struct Folder
{
    FileDescriptor descriptor;
    std::string path;
};

/// Opens a folder to list it or to reach its entries.
Result<Folder> openFolder(const std::string& path);

/// The same for a folder beneath an open one, following no symbolic link on the way.
Result<Folder> openFolderIn(const Folder& folder, const std::string& relativePath);

/// The names in a folder as the disk has them, without "." and "..", in no order.
Result<std::vector<std::string>> namesIn(const std::string& path);
Result<std::vector<std::string>> namesIn(const Folder& folder);

/// Where the symbolic link at relativePath leads.
Result<std::string> linkTargetIn(const Folder& folder, const std::string& relativePath);

/// The path without symbolic links, "." and "..".
Result<std::string> resolvedPath(const std::string& path);

/// Makes a folder for this user alone (0700) where there is none; the new entry is durable.
Status createFolder(const std::string& path);

/// Brings the entries of a folder to the disk.
Status syncFolder(const std::string& path);

/// Fails where this user may not make files in the folder.
Status requireWritableFolder(const std::string& path);

} // namespace KOZAV::Backend
