#include "backend/io/OpenBeneath.h"

#include <QtGlobal>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace KOZAV::Backend {

int openBeneath(int folder, const char* relativePath, int flags)
{
    open_how how = {};
    how.flags = static_cast<quint64>(flags | O_NOFOLLOW);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
    const long descriptor = ::syscall(SYS_openat2, folder, relativePath, &how, sizeof how);
    // Older kernels and strict sandboxes do not have the call; then at least the last part is no link.
    if (descriptor < 0 && (errno == ENOSYS || errno == EPERM))
        return ::openat(folder, relativePath, flags | O_NOFOLLOW);
    return static_cast<int>(descriptor);
}

} // namespace KOZAV::Backend
