#pragma once

#include "backend/Status.h"
#include "backend/io/FileInfo.h"

#include <QtGlobal>

#include <optional>
#include <string>

namespace KOZAV::Backend {

class Folder;

/// An open file of the operating system and the path by which messages call it (local 8-bit). It is closed
/// with this object, without a failure to be seen: what was written counts only after sync().
class File final
{
public:
    /// None.
    File() = default;

    /// Takes over an open descriptor; a negative one is none.
    File(int descriptor, std::string path);

    File(File&& other) noexcept;
    File& operator=(File&& other) noexcept;
    ~File();
    Q_DISABLE_COPY(File)

    /// Opens a regular file. Anything else (a folder, a FIFO, a device) is InvalidArgument and cannot hang.
    static Result<File> openForReading(const std::string& path);

    /// The same for an entry of an open folder, following no symbolic link on the way; relativePath may have
    /// several parts.
    static Result<File> openForReadingIn(const Folder& folder, const std::string& relativePath);

    /// Makes a new file for this user alone (0600), open for writing; AlreadyExists where the name is taken.
    static Result<File> create(const std::string& path);

    [[nodiscard]] bool isOpen() const { return m_descriptor >= 0; }
    [[nodiscard]] int descriptor() const { return m_descriptor; }
    [[nodiscard]] const std::string& path() const { return m_path; }

    /// Hands the descriptor over to the caller.
    [[nodiscard]] int release();

    [[nodiscard]] Result<FileInfo> info() const;

    /// Whether anybody has the file open for writing now; nothing where that cannot be asked: of files of
    /// other users, and on file systems that do not tell. The file must be open for reading alone.
    [[nodiscard]] std::optional<bool> isOpenForWriting() const;

    /// Reads on until size bytes are there or the file ends; returns how many there are.
    Result<qint64> read(char* buffer, qint64 size);

    /// The same from a place of its own; several threads may do so at once.
    Result<qint64> readAt(char* buffer, qint64 size, qint64 offset) const;

    /// Lets the system read ahead of a reader who goes through the file once, from its beginning.
    void expectReadingThrough() const;

    /// Writes all of the bytes. neededBytes: what the whole file will need, for the message of a full disk.
    Status write(const char* bytes, qint64 size, qint64 neededBytes = -1);
    Status writeAt(const char* bytes, qint64 size, qint64 offset);

    /// Makes the content that of another file, without copying it; each is changed on its own from then on.
    /// False where the file system cannot, or the files are not both on it.
    [[nodiscard]] bool shareContent(const File& source);

    /// Lets the system begin to write this part of the file, so that sync() finds less to do.
    void startWriting(qint64 offset, qint64 size);

    /// Lets this user alone read and write the file (mode 0600).
    [[nodiscard]] Status makePrivate() const;

    /// Brings the content to the disk. A failure is final: what the disk then holds is not known, and a
    /// second call could succeed without having written it.
    [[nodiscard]] Status sync() const;

private:
    int m_descriptor = -1;
    std::string m_path;
};

/// Content of a file that is expected to be small; Corrupt where it is longer than limit.
Result<std::string> readSmallFile(const std::string& path, qint64 limit);

} // namespace KOZAV::Backend
