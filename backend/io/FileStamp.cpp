#include "backend/io/FileStamp.h"

#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>

namespace KOZAV::Backend {

namespace {

constexpr qint64 nsPerSecond = 1000000000;
constexpr qint64 clockTickNs = 50000000;

qint64 nanoseconds(const struct timespec& time)
{
    return static_cast<qint64>(time.tv_sec) * nsPerSecond + time.tv_nsec;
}

} // namespace

bool FileStamp::operator==(const FileStamp& other) const
{
    return device == other.device && inode == other.inode && size == other.size &&
           modifiedNs == other.modifiedNs && changedNs == other.changedNs;
}

bool FileStamp::isSettled() const
{
    using namespace std::chrono;
    const qint64 now =
        duration_cast<std::chrono::nanoseconds>(system_clock::now().time_since_epoch()).count();
    return std::llabs(now - changedNs) > clockTickNs;
}

Result<FileStamp> fileStamp(const char* path)
{
    struct stat found = {};
    if (::stat(path, &found) != 0) {
        const ErrorCode code = errno == ENOENT ? ErrorCode::NotFound : ErrorCode::NotPermitted;
        return Status(code, QString::fromLocal8Bit(std::strerror(errno)));
    }
    FileStamp stamp;
    stamp.device = static_cast<quint64>(found.st_dev);
    stamp.inode = static_cast<quint64>(found.st_ino);
    stamp.size = static_cast<qint64>(found.st_size);
    stamp.modifiedNs = nanoseconds(found.st_mtim);
    stamp.changedNs = nanoseconds(found.st_ctim);
    stamp.othersMayRead = (found.st_mode & (S_IRGRP | S_IROTH)) != 0;
    return stamp;
}

} // namespace KOZAV::Backend
