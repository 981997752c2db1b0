#pragma once

#include "backend/Status.h"
#include "backend/store/local/LocalStoreFolder.h"

#include <optional>
#include <string>

namespace KOZAV::Backend {

class File;

/// The ways on which a file gets into a location of a local store under a name.
class LocalIntake final
{
public:
    using Addition = LocalStoreFolder::Addition;

    /// @param folder  prepared; outlives this object
    LocalIntake(const LocalStoreFolder& folder, std::string name);

    /// Stores a copy of the file; reads it only to compare where the name is taken already.
    [[nodiscard]] Result<Addition> copyIn(const std::string& sourcePath) const;

    /// Hashes the file and renames it into the store; where its content was stored already it stays. Nothing
    /// where it cannot be moved.
    [[nodiscard]] Result<std::optional<Addition>> moveIn(const std::string& sourcePath) const;

    /// Whether a file can be moved: it is on the store's file system, and once its name lies in the store
    /// nobody else can reach or change it.
    [[nodiscard]] bool canMove(const std::string& sourcePath) const;

    /// The same as moveIn() for a file that canMove() and whose complete content has this digest.
    [[nodiscard]] Result<std::optional<Addition>> moveHashed(const File& source,
                                                             const ContentDigest& digest) const;

private:
    [[nodiscard]] Result<Addition> copy(File& source) const;

    const LocalStoreFolder& m_folder;
    std::string m_name;
};

} // namespace KOZAV::Backend
