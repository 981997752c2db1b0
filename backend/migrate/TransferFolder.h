#pragma once

#include "backend/Status.h"
#include "backend/io/FileLock.h"

#include <QString>

#include <string>

namespace KOZAV::Backend {

/// The folder in an upload cache that files pass through on their way from one store to another. One
/// migration at a time has it; what an interrupted one left in it is removed.
class TransferFolder final
{
public:
    static Result<TransferFolder> open(const QString& uploadCache);

    /// The path of a file in it, local 8-bit.
    [[nodiscard]] std::string path(const std::string& name) const;

private:
    TransferFolder(std::string folder, FileLock lock)
        : m_folder(std::move(folder))
        , m_lock(std::move(lock))
    {
    }

    std::string m_folder;
    FileLock m_lock;
};

} // namespace KOZAV::Backend
