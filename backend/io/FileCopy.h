#pragma once

#include "backend/Status.h"
#include "backend/io/File.h"

#include <QByteArray>
#include <QString>

#include <functional>

namespace KOZAV::Backend {

class Sha256;

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

/// The digest of a content that has been hashed to its end; Internal, naming what it is, where the
/// cryptographic library failed.
Result<ContentDigest> digestOf(qint64 length, Sha256& hash, const QString& what);

/// Reads a file from its start and tells its digest. Fails with ChangedWhileRead where the file is changed
/// meanwhile.
Result<ContentDigest> digestFile(File& source);

/// The same with one core, which reads and hashes by turns: for reading many files at once. onBytes, where
/// given, is told of bytes as they are read.
Result<ContentDigest> readThrough(File& source, const std::function<void(qint64 bytes)>& onBytes);

/// Tells whether a file stayed what it was while it was read. The file has to outlive it.
class SourceWatch final
{
public:
    static Result<SourceWatch> begin(const File& source);

    /// Length of the file at the beginning.
    [[nodiscard]] qint64 length() const { return m_before.length; }

    /// ChangedWhileRead where anything happened to the file, or where what was read is not its whole length.
    [[nodiscard]] Status end(qint64 readLength) const;

private:
    SourceWatch(const File& source, const FileInfo& before)
        : m_source(&source)
        , m_before(before)
    {
    }

    const File* m_source;
    FileInfo m_before;
};

/// The same as digestFile(), and gives the target, an empty regular file at its beginning, what it reads: the
/// digest is that of the target's content.
Result<ContentDigest> copyFile(File& source, File& target);
/// The same for a source that is watched already.
Result<ContentDigest> copyFile(File& source, File& target, const SourceWatch& watch);

} // namespace KOZAV::Backend
