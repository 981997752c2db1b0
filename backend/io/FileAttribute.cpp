#include "backend/io/FileAttribute.h"

#include "backend/io/File.h"
#include "backend/io/FilePath.h"
#include "backend/io/SystemError.h"

#include <sys/xattr.h>

#include <cerrno>

namespace KOZAV::Backend {

namespace {

/// Whether the error number says that there is no such attribute, or that nobody can have or ask for one.
bool isAbsence(int systemError)
{
    return systemError == ENODATA || systemError == EOPNOTSUPP || systemError == ENOSYS ||
           systemError == EPERM || systemError == EACCES;
}

} // namespace

Result<bool> setFileAttribute(const File& file, const char* name, const std::string& value)
{
    if (::fsetxattr(file.descriptor(), name, value.data(), value.size(), 0) == 0)
        return true;
    const int refused = errno;
    // One that stays from before would be taken for the one that was refused.
    if (::fgetxattr(file.descriptor(), name, nullptr, 0) < 0 || ::fremovexattr(file.descriptor(), name) == 0)
        return false;
    return systemFailure(refused, QStringLiteral("set an attribute of"), file.path());
}

Result<std::optional<std::string>> fileAttribute(const std::string& path, const char* name, std::size_t limit)
{
    std::string value(limit, '\0');
    const ssize_t length = ::lgetxattr(path.c_str(), name, value.data(), value.size());
    if (length >= 0) {
        value.resize(static_cast<std::size_t>(length));
        return std::optional(std::move(value));
    }
    if (isAbsence(errno))
        return std::optional<std::string>();
    if (errno == ERANGE)
        return Status::corrupt(QStringLiteral("cannot read an attribute of %1: it is longer than %2 bytes")
                                   .arg(displayPath(path), QString::number(limit)));
    return systemFailure(errno, QStringLiteral("read an attribute of"), path);
}

} // namespace KOZAV::Backend
