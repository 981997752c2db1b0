#include "backend/io/FileAccess.h"

#include "backend/io/FileInfo.h"
#include "backend/io/FilePath.h"
#include "backend/io/OpenBeneath.h"
#include "backend/io/SystemError.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace KOZAV::Backend {

namespace {

// Without O_NONBLOCK the opening of a FIFO would wait for somebody to write into it.
constexpr int readFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

/// Calls a system call again for as long as a signal interrupts it.
template <typename Call>
auto retryInterrupted(Call&& call)
{
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

Result<FileDescriptor> acceptRegular(FileDescriptor file, const std::string& path)
{
    if (!file.isOpen())
        return systemFailure(errno, QStringLiteral("open"), path);
    const auto info = fileInfo(file, path);
    if (!info.ok())
        return info.status();
    if (info->kind != FileKind::Regular)
        return Status::invalidArgument(QStringLiteral("Cannot read %1: it is %2, not a regular file")
                                           .arg(displayPath(path), kindText(info->kind)));
    return file;
}

/// Calls transfer(done, remaining) until size bytes are done or it moves nothing.
template <typename Transfer>
Result<qint64> transferAll(qint64 size, const QString& action, const std::string& path, qint64 neededBytes,
                           Transfer&& transfer)
{
    qint64 done = 0;
    while (done < size) {
        const ssize_t count =
            retryInterrupted([&] { return transfer(done, static_cast<size_t>(size - done)); });
        if (count < 0)
            return systemFailure(errno, action, path, neededBytes);
        if (count == 0)
            break;
        done += count;
    }
    return done;
}

Status allWritten(const Result<qint64>& written, qint64 size, const std::string& path)
{
    if (!written.ok())
        return written.status();
    if (written.value() != size)
        return systemFailure(EIO, QStringLiteral("write"), path);
    return {};
}

} // namespace

Result<FileDescriptor> openForReading(const std::string& path)
{
    return acceptRegular(FileDescriptor(retryInterrupted([&] { return ::open(path.c_str(), readFlags); })),
                         path);
}

Result<FileDescriptor> openForReadingIn(const Folder& folder, const std::string& relativePath)
{
    const auto open = [&] { return openBeneath(folder.descriptor.get(), relativePath.c_str(), readFlags); };
    return acceptRegular(FileDescriptor(retryInterrupted(open)), joinPath(folder.path, relativePath));
}

Result<qint64> readFully(const FileDescriptor& file, char* buffer, qint64 size, const std::string& path)
{
    return transferAll(size, QStringLiteral("read"), path, -1, [&](qint64 done, size_t remaining) {
        return ::read(file.get(), buffer + done, remaining);
    });
}

Result<qint64> readFullyAt(const FileDescriptor& file, char* buffer, qint64 size, qint64 offset,
                           const std::string& path)
{
    return transferAll(size, QStringLiteral("read"), path, -1, [&](qint64 done, size_t remaining) {
        return ::pread(file.get(), buffer + done, remaining, offset + done);
    });
}

Status writeFully(const FileDescriptor& file, const char* bytes, qint64 size, const std::string& path,
                  qint64 neededBytes)
{
    const auto written =
        transferAll(size, QStringLiteral("write"), path, neededBytes, [&](qint64 done, size_t remaining) {
            return ::write(file.get(), bytes + done, remaining);
        });
    return allWritten(written, size, path);
}

Status writeFullyAt(const FileDescriptor& file, const char* bytes, qint64 size, qint64 offset,
                    const std::string& path)
{
    const auto written =
        transferAll(size, QStringLiteral("write"), path, -1, [&](qint64 done, size_t remaining) {
            return ::pwrite(file.get(), bytes + done, remaining, offset + done);
        });
    return allWritten(written, size, path);
}

Result<std::string> readSmallFile(const std::string& path, qint64 limit)
{
    const auto file = openForReading(path);
    if (!file.ok())
        return file.status();
    std::string content(static_cast<size_t>(limit) + 1, '\0');
    const auto length = readFully(file.value(), content.data(), limit + 1, path);
    if (!length.ok())
        return length.status();
    if (length.value() > limit)
        return Status::corrupt(QStringLiteral("Cannot read %1: it is longer than %2 bytes")
                                   .arg(displayPath(path), QString::number(limit)));
    content.resize(static_cast<size_t>(length.value()));
    return content;
}

Status syncFile(const FileDescriptor& file, const std::string& path)
{
    if (::fsync(file.get()) != 0)
        return systemFailure(errno, QStringLiteral("bring to the disk"), path);
    return {};
}

void startWriting(const FileDescriptor& file, qint64 offset, qint64 size)
{
    ::sync_file_range(file.get(), offset, size, SYNC_FILE_RANGE_WRITE);
}

} // namespace KOZAV::Backend
