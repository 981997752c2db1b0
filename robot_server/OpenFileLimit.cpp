#include "robot_server/OpenFileLimit.h"

#include <QtGlobal>

#include <algorithm>
#include <limits>

#ifdef Q_OS_UNIX
#include <sys/resource.h>
#endif

namespace KOZAV::Robot {

int openFileLimit()
{
    constexpr int most = std::numeric_limits<int>::max();
#ifdef Q_OS_UNIX
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0)
        return static_cast<int>(std::min<rlim_t>(limit.rlim_cur, most));
#endif
    return most;
}

} // namespace KOZAV::Robot
