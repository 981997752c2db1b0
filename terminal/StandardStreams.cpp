#include "terminal/StandardStreams.h"

#include <QFile>
#include <QProcess>

#include <array>
#include <csignal>

namespace KOZAV::Terminal {

void outliveReaders()
{
#ifdef SIGPIPE
    std::signal(SIGPIPE, SIG_IGN);
#endif
}

void holdStandardStreams()
{
    // A new file takes the lowest number that is free. Open for reading, it takes no output.
    constexpr int lastStandardStream = 2;
    static std::array<QFile, lastStandardStream + 1> places;
    for (QFile& place : places) {
        place.setFileName(QProcess::nullDevice());
        if (place.open(QIODevice::ReadOnly | QIODevice::Unbuffered) && place.handle() > lastStandardStream) {
            place.close();
            return;
        }
    }
}

} // namespace KOZAV::Terminal
