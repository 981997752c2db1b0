#include "robot_server/StopSignals.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <unistd.h>
#endif

namespace KOZAV::Robot {

#ifdef Q_OS_UNIX

namespace {

// Read by the event loop, written to by the handler. Open until the program ends, since a signal can come
// that late.
int g_pipe[2] = {-1, -1};

void onSignal(int)
{
    const int error = errno;
    const char byte = 0;
    // A full pipe already says it.
    [[maybe_unused]] const ssize_t written = ::write(g_pipe[1], &byte, 1);
    errno = error;
}

bool openPipe()
{
    if (::pipe(g_pipe) != 0)
        return false;
    for (const int end : g_pipe) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
        ::fcntl(end, F_SETFL, O_NONBLOCK);
    }
    return true;
}

} // namespace

// Without a pipe the signals keep their default effect, which ends the program too.
StopSignals::StopSignals(QObject* parent)
    : QObject(parent)
{
    if (!openPipe())
        return;
    auto* const notifier = new QSocketNotifier(g_pipe[0], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this, notifier] {
        notifier->setEnabled(false);
        Q_EMIT stopRequested();
    });
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
}

#else

// Where there is no pipe to wait on, the signals keep their default effect: they end the program.
StopSignals::StopSignals(QObject* parent)
    : QObject(parent)
{
}

#endif

} // namespace KOZAV::Robot
