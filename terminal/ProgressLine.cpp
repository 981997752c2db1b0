#include "terminal/ProgressLine.h"

#include <QFileDevice>

#include <algorithm>
#include <utility>

#include <sys/ioctl.h>
#include <unistd.h>

namespace KOZAV::Terminal {

namespace {

constexpr qint64 redrawMs = 100;
constexpr qint64 lineMs = 5000;
constexpr int tenths = 10;
constexpr int percents = 100;
constexpr int longestBar = 40;
constexpr int shortestBar = 8;

QString percentText(double fraction)
{
    // Whole only where it is: 99.9 percent is not 100.
    return QStringLiteral("%1%").arg(static_cast<int>(fraction * percents));
}

int tenthsOf(double fraction)
{
    return static_cast<int>(fraction * tenths);
}

void writeLine(QIODevice& device, const QString& text)
{
    device.write(text.toUtf8());
    if (auto* file = qobject_cast<QFileDevice*>(&device))
        file->flush();
}

bool isTerminal(int descriptor)
{
    return descriptor >= 0 && ::isatty(descriptor) == 1;
}

/// How many columns a terminal has; the usual number where it does not tell.
int terminalColumns(int descriptor)
{
    constexpr int usual = 80;
    winsize size = {};
    const bool told = ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return told ? size.ws_col : usual;
}

} // namespace

ProgressLine::ProgressLine(QIODevice* device, View view, Clock clock)
    : m_device(device)
    , m_view(view)
    , m_clock(std::move(clock))
{
}

ProgressLine::~ProgressLine()
{
    if (m_device != nullptr && m_view.isTerminal && !m_shown.isEmpty())
        writeLine(*m_device, QStringLiteral("\n"));
}

ProgressLine::View ProgressLine::viewOf(QIODevice* device)
{
    View view;
    const auto* file = qobject_cast<QFileDevice*>(device);
    view.isTerminal = file != nullptr && isTerminal(file->handle());
    if (view.isTerminal)
        view.columns = terminalColumns(file->handle());
    return view;
}

bool ProgressLine::isDue(const QString& task, double fraction, qint64 now) const
{
    if (task != m_task)
        return true;
    if (m_view.isTerminal)
        return now - m_shownAt >= redrawMs || tenthsOf(fraction) == tenths;
    return tenthsOf(fraction) > m_tenths || now - m_shownAt >= lineMs;
}

QString ProgressLine::bar(const QString& task, double fraction, const QString& details) const
{
    const int others = task.size() + details.size() + 10; // blanks, brackets, percents
    const int width = std::min(longestBar, m_view.columns - 1 - others);
    QString line = task;
    if (fraction >= 0 && width >= shortestBar) {
        const int full = static_cast<int>(fraction * width);
        line += QStringLiteral(" [%1%2]").arg(QString(full, QLatin1Char('#')),
                                              QString(width - full, QLatin1Char('-')));
    }
    if (fraction >= 0)
        line += QLatin1Char(' ') + percentText(fraction).rightJustified(4);
    line += QStringLiteral("  ") + details;
    // A line that wraps could not be drawn over.
    return line.left(std::max(1, m_view.columns - 1));
}

void ProgressLine::show(const QString& task, double fraction, const QString& details)
{
    if (m_device == nullptr)
        return;
    fraction = std::min(fraction, 1.0);
    const qint64 now = m_clock();
    if (!isDue(task, fraction, now))
        return;
    m_task = task;
    m_shownAt = now;
    m_tenths = tenthsOf(fraction);
    if (m_view.isTerminal) {
        const QString line = bar(task, fraction, details);
        if (line != m_shown)
            writeLine(*m_device, QStringLiteral("\r%1\x1b[K").arg(line));
        m_shown = line;
        return;
    }
    const QString percent = fraction >= 0 ? percentText(fraction) + QStringLiteral(", ") : QString();
    writeLine(*m_device, QStringLiteral("%1: %2%3\n").arg(task, percent, details));
}

} // namespace KOZAV::Terminal
