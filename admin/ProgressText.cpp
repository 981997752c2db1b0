#include "admin/ProgressText.h"

#include <QLocale>

#include <algorithm>

namespace KOZAV::Admin {

namespace {

constexpr qint64 msPerSecond = 1000;
/// Before that a rate says nothing.
constexpr qint64 leastForRateMs = 500;

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

} // namespace

QString sizeText(qint64 bytes)
{
    return QLocale::c().formattedDataSize(bytes, 1);
}

double fractionOf(qint64 done, qint64 total)
{
    return total > 0 ? static_cast<double>(done) / static_cast<double>(total) : 1;
}

double fractionOf(const FilesDone& done)
{
    constexpr double notQuiteAll = 0.999;
    if (done.bytesTotal == 0)
        return fractionOf(done.files, done.filesTotal);
    const double fraction = fractionOf(done.bytes, done.bytesTotal);
    return done.files < done.filesTotal ? std::min(fraction, notQuiteAll) : fraction;
}

QString countText(qint64 done, qint64 total)
{
    return QStringLiteral("%1/%2").arg(done).arg(total);
}

QString filesText(const FilesDone& done)
{
    return countText(done.files, done.filesTotal);
}

QString detailsOf(const FilesDone& done)
{
    QString text = filesText(done) + QStringLiteral(", ") + sizesText(done.bytes, done.bytesTotal);
    if (done.elapsedMs < leastForRateMs || done.bytes <= 0)
        return text;
    const double perMs = static_cast<double>(done.bytes) / static_cast<double>(done.elapsedMs);
    text += QStringLiteral(", %1/s").arg(sizeText(static_cast<qint64>(perMs * msPerSecond)));
    const qint64 left = done.bytesTotal - done.bytes;
    if (left > 0)
        text += QStringLiteral(", %1 left")
                    .arg(timeText(static_cast<qint64>(static_cast<double>(left) / perMs) / msPerSecond));
    return text;
}

} // namespace KOZAV::Admin
