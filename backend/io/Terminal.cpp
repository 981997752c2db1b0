#include "backend/io/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace KOZAV::Backend {

bool isTerminal(int descriptor)
{
    return descriptor >= 0 && ::isatty(descriptor) == 1;
}

int terminalColumns(int descriptor)
{
    constexpr int usual = 80;
    winsize size = {};
    const bool told = ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return told ? size.ws_col : usual;
}

} // namespace KOZAV::Backend
