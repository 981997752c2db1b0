#pragma once

#include <QString>

#include <optional>

namespace KOZAV::Host {

/// Where an import of this machine needs space.
struct ImportSpace
{
    QString staging;         ///< the upload cache, where archives are copied and folders packed
    qint64 stagingFree = -1; ///< bytes; -1 where that is not known
    QString store;           ///< the folder of the stored files; empty where they are on a server
    qint64 storeFree = -1;
    bool isOneDisk = false; ///< both are on the same file system
};

/// Nothing, and why, where the configuration cannot be read. On any thread.
[[nodiscard]] std::optional<ImportSpace> importSpace(QString& failure);

} // namespace KOZAV::Host
