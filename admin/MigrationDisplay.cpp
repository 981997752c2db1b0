#include "admin/MigrationDisplay.h"

#include <QLocale>

#include <algorithm>
#include <utility>

namespace KOZAV::Admin {

using Backend::MigrationProgress;
using Phase = MigrationProgress::Phase;

namespace {

constexpr qint64 msPerSecond = 1000;
/// Before that a rate says nothing.
constexpr qint64 leastForRateMs = 500;

QString sizeText(qint64 bytes)
{
    return QLocale::c().formattedDataSize(bytes, 1);
}

/// Both in the unit that suits the second.
QString sizesText(qint64 done, qint64 total)
{
    constexpr double step = 1024;
    const QStringList units = {QStringLiteral("bytes"), QStringLiteral("KiB"), QStringLiteral("MiB"),
                               QStringLiteral("GiB"), QStringLiteral("TiB")};
    double scale = 1;
    int unit = 0;
    for (; static_cast<double>(total) / scale >= step && unit + 1 < units.size(); ++unit)
        scale *= step;
    const int digits = unit == 0 ? 0 : 1;
    return QStringLiteral("%1 of %2 %3")
        .arg(static_cast<double>(done) / scale, 0, 'f', digits)
        .arg(static_cast<double>(total) / scale, 0, 'f', digits)
        .arg(units[unit]);
}

QString timeText(qint64 seconds)
{
    constexpr qint64 sixty = 60;
    QString minutesAndSeconds =
        QStringLiteral("%1:%2").arg(seconds / sixty % sixty).arg(seconds % sixty, 2, 10, QLatin1Char('0'));
    if (seconds < sixty * sixty)
        return minutesAndSeconds;
    return QStringLiteral("%1:%2").arg(seconds / (sixty * sixty)).arg(minutesAndSeconds, 5, QLatin1Char('0'));
}

QString countText(qint64 done, qint64 total)
{
    return QStringLiteral("%1/%2").arg(done).arg(total);
}

double fractionOf(qint64 done, qint64 total)
{
    return total > 0 ? static_cast<double>(done) / static_cast<double>(total) : 1;
}

/// Bytes make the way; where there are none to be copied, files do, as they are looked at all the same.
double fileFraction(const MigrationProgress& progress)
{
    constexpr double notQuiteAll = 0.999;
    if (progress.bytesTotal == 0)
        return fractionOf(progress.files, progress.filesTotal);
    const double fraction = fractionOf(progress.bytes, progress.bytesTotal);
    return progress.files < progress.filesTotal ? std::min(fraction, notQuiteAll) : fraction;
}

QString taskText(Phase phase)
{
    switch (phase) {
    case Phase::Checking:
        return QStringLiteral("comparing");
    case Phase::Files:
        return QStringLiteral("files");
    case Phase::Rows:
        return QStringLiteral("rows");
    case Phase::Verifying:
        break;
    }
    return QStringLiteral("verifying");
}

QIODevice* progressDevice(const Call& call)
{
    const bool json = call.line.has(QStringLiteral("json"));
    return json && !Terminal::ProgressLine::viewOf(&call.err).isTerminal ? nullptr : &call.err;
}

} // namespace

MigrationDisplay::MigrationDisplay(QIODevice* device, Terminal::ProgressLine::View view,
                                   Terminal::ProgressLine::Clock clock)
    : m_clock(clock)
    , m_line(device, view, std::move(clock))
    , m_phaseSince(m_clock())
{
}

void MigrationDisplay::show(const MigrationProgress& progress)
{
    if (progress.phase != m_phase)
        m_phaseSince = m_clock();
    m_phase = progress.phase;
    const QString task = taskText(progress.phase);
    switch (progress.phase) {
    case Phase::Checking:
        m_line.show(task, -1, QStringLiteral("%1 rows").arg(progress.rows));
        break;
    case Phase::Files:
        m_line.show(task, fileFraction(progress), fileDetails(progress));
        break;
    case Phase::Rows:
    case Phase::Verifying:
        m_line.show(task, fractionOf(progress.rows, progress.rowsTotal),
                    countText(progress.rows, progress.rowsTotal));
        break;
    }
}

QString MigrationDisplay::fileDetails(const MigrationProgress& progress) const
{
    QString text = countText(progress.files, progress.filesTotal) + QStringLiteral(", ") +
                   sizesText(progress.bytes, progress.bytesTotal);
    const qint64 elapsedMs = m_clock() - m_phaseSince;
    if (elapsedMs < leastForRateMs || progress.bytes <= 0)
        return text;
    const double perMs = static_cast<double>(progress.bytes) / static_cast<double>(elapsedMs);
    text += QStringLiteral(", %1/s").arg(sizeText(static_cast<qint64>(perMs * msPerSecond)));
    const qint64 left = progress.bytesTotal - progress.bytes;
    if (left > 0)
        text += QStringLiteral(", %1 left")
                    .arg(timeText(static_cast<qint64>(static_cast<double>(left) / perMs) / msPerSecond));
    return text;
}

CopyProgress::CopyProgress(const Call& call)
    : m_display(progressDevice(call), Terminal::ProgressLine::viewOf(progressDevice(call)),
                [this] { return m_clock.isValid() ? m_clock.elapsed() : 0; })
{
    m_clock.start();
}

Backend::MigrationObserver CopyProgress::observer()
{
    return [this](const MigrationProgress& progress) { m_display.show(progress); };
}

} // namespace KOZAV::Admin
