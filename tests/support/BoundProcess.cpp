#include "tests/support/BoundProcess.h"

#include <QFile>

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

namespace KOZAV::Test {

namespace {

constexpr int waitMs = 20'000;

} // namespace

BoundProcess::~BoundProcess()
{
    end();
}

void BoundProcess::send(int signal) const
{
    if (processId() <= 0 || ::kill(static_cast<pid_t>(processId()), signal) != 0)
        qFatal("signal %d cannot be sent to %s", signal, qPrintable(program()));
}

bool BoundProcess::isStopped() const
{
    QFile status(QStringLiteral("/proc/%1/stat").arg(processId()));
    if (!status.open(QIODevice::ReadOnly))
        return false;
    const QByteArray fields = status.readAll();
    return fields.mid(fields.lastIndexOf(')') + 2).startsWith('T');
}

void BoundProcess::end()
{
    if (state() == NotRunning)
        return;
    kill();
    waitForFinished(waitMs);
}

void BoundProcess::setupChildProcess()
{
    // The parent may have ended before the order was in force: then the child is init's.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() == 1)
        ::_exit(1);
}

} // namespace KOZAV::Test
