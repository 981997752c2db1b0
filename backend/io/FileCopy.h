#pragma once

#include "backend/Status.h"
#include "backend/io/FileDescriptor.h"

#include <QByteArray>

#include <string>

namespace KOZAV::Backend {

/// Length and SHA-256 (lower-case hexadecimal) of a content.
struct ContentDigest
{
    qint64 length = 0;
    QByteArray sha256;

    bool operator==(const ContentDigest& other) const
    {
        return length == other.length && sha256 == other.sha256;
    }
    bool operator!=(const ContentDigest& other) const { return !(*this == other); }
};

/// Reads a file from its start and tells its digest. Fails with ChangedWhileRead where the file is changed
/// meanwhile. The paths are for messages.
Result<ContentDigest> digestFile(const FileDescriptor& source, const std::string& sourcePath);

/// The same, and writes what it reads.
Result<ContentDigest> copyFile(const FileDescriptor& source, const std::string& sourcePath,
                               const FileDescriptor& target, const std::string& targetPath);

} // namespace KOZAV::Backend
