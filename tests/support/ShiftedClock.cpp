// Loaded before a program (LD_PRELOAD), it moves the program's clock by as many seconds as the variable
// ZAV_TEST_CLOCK_SHIFT says: calls for the time of day alone, whichever of them a library takes.

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

namespace {

time_t shift()
{
    const char* const seconds = std::getenv("ZAV_TEST_CLOCK_SHIFT");
    return seconds == nullptr ? 0 : static_cast<time_t>(std::atol(seconds));
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* now) noexcept
{
    const long result = ::syscall(SYS_clock_gettime, clock, now);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE))
        now->tv_sec += shift();
    return static_cast<int>(result);
}

__attribute__((visibility("default"))) int gettimeofday(timeval* now, void* /*zone*/) noexcept
{
    timespec precise = {};
    const int result = clock_gettime(CLOCK_REALTIME, &precise);
    now->tv_sec = precise.tv_sec;
    now->tv_usec = precise.tv_nsec / 1000;
    return result;
}

__attribute__((visibility("default"))) time_t time(time_t* now) noexcept
{
    timespec precise = {};
    clock_gettime(CLOCK_REALTIME, &precise);
    if (now != nullptr)
        *now = precise.tv_sec;
    return precise.tv_sec;
}
}
