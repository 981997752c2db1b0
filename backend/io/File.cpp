#include "backend/io/File.h"

#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"
#include "backend/io/SystemError.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

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

/// The file just opened, if the call has succeeded and it is a regular one.
Result<File> acceptRegular(File file)
{
    if (!file.isOpen())
        return systemFailure(errno, QStringLiteral("open"), file.path());
    const auto info = file.info();
    if (!info.ok())
        return info.status();
    if (info->kind != FileKind::Regular)
        return Status::invalidArgument(QStringLiteral("cannot read %1: it is %2, not a regular file")
                                           .arg(displayPath(file.path()), kindText(info->kind)));
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

template <typename Transfer>
Status writeAll(qint64 size, const std::string& path, qint64 neededBytes, Transfer&& transfer)
{
    const auto written = transferAll(size, QStringLiteral("write"), path, neededBytes, transfer);
    if (!written.ok())
        return written.status();
    if (written.value() != size)
        return systemFailure(EIO, QStringLiteral("write"), path);
    return {};
}

} // namespace

File::File(int descriptor, std::string path)
    : m_descriptor(descriptor)
    , m_path(std::move(path))
{
}

File::File(File&& other) noexcept
    : m_descriptor(other.release())
    , m_path(std::move(other.m_path))
{
}

File& File::operator=(File&& other) noexcept
{
    std::swap(m_descriptor, other.m_descriptor);
    std::swap(m_path, other.m_path);
    return *this;
}

File::~File()
{
    if (isOpen())
        ::close(m_descriptor);
}

int File::release()
{
    return std::exchange(m_descriptor, -1);
}

Result<File> File::openForReading(const std::string& path)
{
    return acceptRegular({retryInterrupted([&] { return ::open(path.c_str(), readFlags); }), path});
}

Result<File> File::openForReadingIn(const Folder& folder, const std::string& relativePath)
{
    const int descriptor = retryInterrupted([&] { return folder.openEntry(relativePath, readFlags); });
    return acceptRegular({descriptor, joinPath(folder.path(), relativePath)});
}

Result<File> File::create(const std::string& path)
{
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
    File file(::open(path.c_str(), flags, S_IRUSR | S_IWUSR), path);
    if (!file.isOpen())
        return systemFailure(errno, QStringLiteral("make"), path);
    return file;
}

Result<FileInfo> File::info() const
{
    return fileInfoAt(m_descriptor, {}, m_path);
}

std::optional<bool> File::isOpenForWriting() const
{
#ifdef F_SETLEASE
    // A lease for reading is not given while there is a writer. One who comes while we have it waits until it
    // is given back, at once, and the signal that tells of him is one that ends no program.
    if (::fcntl(m_descriptor, F_SETSIG, SIGURG) != 0)
        return std::nullopt;
    if (::fcntl(m_descriptor, F_SETLEASE, F_RDLCK) != 0)
        return errno == EAGAIN ? std::optional(true) : std::nullopt;
    ::fcntl(m_descriptor, F_SETLEASE, F_UNLCK);
    return false;
#else
    return std::nullopt;
#endif
}

Result<qint64> File::read(char* buffer, qint64 size)
{
    return transferAll(size, QStringLiteral("read"), m_path, -1, [&](qint64 done, size_t remaining) {
        return ::read(m_descriptor, buffer + done, remaining);
    });
}

Result<qint64> File::readAt(char* buffer, qint64 size, qint64 offset) const
{
    return transferAll(size, QStringLiteral("read"), m_path, -1, [&](qint64 done, size_t remaining) {
        return ::pread(m_descriptor, buffer + done, remaining, offset + done);
    });
}

void File::expectReadingThrough() const
{
    ::posix_fadvise(m_descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
}

Status File::write(const char* bytes, qint64 size, qint64 neededBytes)
{
    return writeAll(size, m_path, neededBytes, [&](qint64 done, size_t remaining) {
        return ::write(m_descriptor, bytes + done, remaining);
    });
}

Status File::writeAt(const char* bytes, qint64 size, qint64 offset)
{
    return writeAll(size, m_path, -1, [&](qint64 done, size_t remaining) {
        return ::pwrite(m_descriptor, bytes + done, remaining, offset + done);
    });
}

bool File::shareContent(const File& source)
{
    return ::ioctl(m_descriptor, FICLONE, source.descriptor()) == 0;
}

void File::startWriting(qint64 offset, qint64 size)
{
    ::sync_file_range(m_descriptor, offset, size, SYNC_FILE_RANGE_WRITE);
}

Status File::makePrivate() const
{
    if (::fchmod(m_descriptor, S_IRUSR | S_IWUSR) != 0)
        return systemFailure(errno, QStringLiteral("protect"), m_path);
    return {};
}

Status File::sync() const
{
    if (::fsync(m_descriptor) != 0)
        return systemFailure(errno, QStringLiteral("bring to the disk"), m_path);
    return {};
}

Result<std::string> readSmallFile(const std::string& path, qint64 limit)
{
    auto file = File::openForReading(path);
    if (!file.ok())
        return file.status();
    std::string content(static_cast<size_t>(limit) + 1, '\0');
    const auto length = file->read(content.data(), limit + 1);
    if (!length.ok())
        return length.status();
    if (length.value() > limit)
        return Status::corrupt(QStringLiteral("cannot read %1: it is longer than %2 bytes")
                                   .arg(displayPath(path), QString::number(limit)));
    content.resize(static_cast<size_t>(length.value()));
    return content;
}

} // namespace KOZAV::Backend
