#pragma once

#include "backend/Status.h"
#include "backend/io/Folder.h"

#include <string>
#include <vector>

namespace KOZAV::Backend {

/// One entry of the archive to come.
struct FolderEntry
{
    std::string name; ///< relative to the packed folder, UTF-8; a folder's ends in '/'
    FileInfo info;
    std::string linkTarget; ///< of a symbolic link
};

/// A folder as it was when it was listed, to the last depth.
struct FolderListing
{
    Folder root;
    FileInfo rootInfo;
    std::vector<FolderEntry> entries; ///< bytewise by name, so a folder comes before what it holds

    /// The entry's path for messages.
    [[nodiscard]] std::string pathOf(const FolderEntry& entry) const;
};

/// Lists everything in a folder, hidden files included. Fails, naming the entry, where something cannot be
/// packed: FIFOs, sockets and devices, names that are no valid UTF-8 or hold control characters, links that
/// lead out of the folder.
/// @param without  passes over the entry of this name at its top, unless it is a folder; empty: none
Result<FolderListing> listFolder(const std::string& path, const std::string& without = {});

/// Fails with ChangedWhileRead, naming the entry, where the folder no longer is as it was listed.
Status verifyUnchanged(const FolderListing& listing);

/// The failure that tells of such a change.
Status changedWhilePacked(const std::string& path);

} // namespace KOZAV::Backend
