#pragma once

#include <csignal>

namespace KOZAV::Terminal {

/// From now on a write beyond the file size limit of this process (ulimit -f) fails with an error, which is
/// told as any other, and no longer ends the process. Called first of all in each program.
inline void outliveFileSizeLimit()
{
#ifdef SIGXFSZ
    (void)std::signal(SIGXFSZ, SIG_IGN);
#endif
}

} // namespace KOZAV::Terminal
