#pragma once

#include "backend/pack/PackFolder.h"

#include <QByteArray>
#include <QStringList>
#include <QTemporaryDir>

namespace KOZAV::Test {

/// A folder to pack, and a place for the archive beside it.
class PackBox final
{
public:
    PackBox();

    [[nodiscard]] std::string folder() const;
    /// The path of something in the folder.
    [[nodiscard]] std::string in(const std::string& name) const;
    [[nodiscard]] QString archive() const;
    /// The folder that the archive comes to, empty at first.
    [[nodiscard]] QString archiveFolder() const;
    /// A folder of its own for other things.
    [[nodiscard]] QString beside(const QString& name) const;

    Backend::Result<Backend::PackResult> pack(int threads = 0) const;

private:
    QTemporaryDir m_place;
};

/// Lets Python's zip reader check every entry of an archive and write a line for each:
/// "<name as hex> <length> <CRC-32> <external attributes> <method>".
QStringList entriesByPython(const QString& archive);

/// Sets the time of the last change of a file, folder or link.
void setModified(const std::string& path, qint64 secondsSince1970, long nanoseconds = 0);

/// Role of another process: "--pack <folder> <archive>".
int runPackRole(const QStringList& arguments);

} // namespace KOZAV::Test
