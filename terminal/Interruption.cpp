// A handler may do next to nothing: it stores the number of the signal, which others read. Sending the second
// one again, to its usual effect, needs nothing more either: it is held back until the handler has returned.
// Calls of the system that the signal meets are gone on with (std::signal of this platform asks for that), so
// nobody else has to know of it.

#include "terminal/Interruption.h"

#include <QRegularExpression>

#include <csignal>
#include <iterator>

namespace KOZAV::Terminal {

namespace {

struct StopSignal
{
    int number;
    const char* name;
    int exitCode;
};

constexpr StopSignal stopSignals[] = {
    {SIGINT, "SIGINT", 130},
    {SIGTERM, "SIGTERM", 143},
#ifdef SIGHUP
    {SIGHUP, "SIGHUP", 129},
#endif
};

using Handler = void (*)(int);

std::atomic<int> noted{0};
std::atomic<bool> isNoted{false};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "a handler may store nothing else");

/// What the process did before on each of the signals.
Handler handlersBefore[std::size(stopSignals)] = {};

extern "C" void noteSignal(int number)
{
    if (noted.exchange(number) == 0) {
        isNoted = true;
        return;
    }
    (void)std::signal(number, SIG_DFL);
    (void)std::raise(number);
}

const StopSignal* notedSignal() noexcept
{
    const int number = noted.load();
    for (const StopSignal& signal : stopSignals)
        if (signal.number == number)
            return &signal;
    return nullptr;
}

} // namespace

Interruption::Interruption()
{
    for (std::size_t i = 0; i < std::size(stopSignals); ++i) {
        handlersBefore[i] = std::signal(stopSignals[i].number, noteSignal);
        if (handlersBefore[i] == SIG_IGN)
            (void)std::signal(stopSignals[i].number, SIG_IGN);
    }
}

Interruption::~Interruption()
{
    for (std::size_t i = 0; i < std::size(stopSignals); ++i)
        if (handlersBefore[i] != SIG_ERR)
            (void)std::signal(stopSignals[i].number, handlersBefore[i]);
}

const std::atomic<bool>& Interruption::flag() noexcept
{
    return isNoted;
}

QString Interruption::signalName()
{
    const StopSignal* const signal = notedSignal();
    return signal ? QString::fromLatin1(signal->name) : QString();
}

int Interruption::exitCode() noexcept
{
    const StopSignal* const signal = notedSignal();
    return signal ? signal->exitCode : 0;
}

QString shellCommand(const QStringList& words)
{
    static const QRegularExpression plain(QStringLiteral("\\A[\\w@%+=:,./-]+\\z"));
    QStringList typed;
    for (QString word : words) {
        if (!plain.match(word).hasMatch())
            word = QLatin1Char('\'') + word.replace(QLatin1Char('\''), QStringLiteral("'\\''")) +
                   QLatin1Char('\'');
        typed << word;
    }
    return typed.join(QLatin1Char(' '));
}

} // namespace KOZAV::Terminal
