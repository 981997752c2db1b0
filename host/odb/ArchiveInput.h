#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <memory>

struct archive;

namespace KOZAV::Host {

/// The bytes of a job archive, as a reader of libarchive takes them: those of the file, or, where it is
/// compressed with gzip, those that come out.
class ArchiveInput final
{
public:
    ArchiveInput();

    ~ArchiveInput();
    ArchiveInput(const ArchiveInput&) = delete;
    ArchiveInput& operator=(const ArchiveInput&) = delete;

    /// Opens a regular file; anything else fails at once and is not waited for. Whether it is open; if not,
    /// error() tells why.
    bool open(const QString& path);

    [[nodiscard]] bool isGzip() const { return m_inflater != nullptr; }
    /// Length of the file.
    [[nodiscard]] qint64 length() const { return m_length; }
    /// Place in the file up to which it has been read.
    [[nodiscard]] qint64 packedBytes() const { return m_offset; }
    /// Bytes that have been handed out; of a file without gzip some of them more than once.
    [[nodiscard]] qint64 plainBytes() const { return m_plainBytes; }
    /// Whether bytes behind the last gzip stream were left out, which are not its padding.
    [[nodiscard]] bool hasTrailingBytes() const { return m_trailing; }

    /// Opens a reader on the input, from its beginning. ARCHIVE_OK, or what libarchive returns; the input has
    /// to outlive the reader.
    int attach(archive* reader);

    /// The next bytes; they stay until the next call. Of a gzip stream checksum and length are compared at
    /// its end. Returns their number, 0 at the end, and -1 where there are none for a reason that error()
    /// tells.
    qint64 read(const void** bytes);
    [[nodiscard]] const QString& error() const { return m_error; }

private:
    struct Inflater;

    qint64 readFile(char* buffer, qint64 size);
    qint64 inflateBlock();
    bool fillInput();
    bool beginNextMember();
    qint64 fail(const QString& reason);
    qint64 seek(qint64 offset, int whence);

    QFile m_file;
    qint64 m_length = 0;
    qint64 m_offset = 0;
    qint64 m_plainBytes = 0;
    bool m_trailing = false;
    QByteArray m_block;
    std::unique_ptr<Inflater> m_inflater; ///< none where the file is not compressed
    QString m_error;
};

} // namespace KOZAV::Host
