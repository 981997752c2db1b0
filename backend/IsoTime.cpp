#include "backend/IsoTime.h"

namespace KOZAV::Backend {

namespace {

void putDigits(char* text, int count, int value)
{
    constexpr int base = 10;
    for (int i = count - 1; i >= 0; --i, value /= base)
        text[i] = static_cast<char>('0' + value % base);
}

} // namespace

QByteArray isoTime(const QDateTime& time)
{
    if (!time.isValid())
        return {};
    const QDateTime utc = time.toUTC();
    int year = 0;
    int month = 0;
    int day = 0;
    utc.date().getDate(&year, &month, &day);
    const QTime clock = utc.time();
    QByteArray text("0000-00-00T00:00:00.000Z");
    putDigits(text.data(), 4, year);
    putDigits(text.data() + 5, 2, month);
    putDigits(text.data() + 8, 2, day);
    putDigits(text.data() + 11, 2, clock.hour());
    putDigits(text.data() + 14, 2, clock.minute());
    putDigits(text.data() + 17, 2, clock.second());
    putDigits(text.data() + 20, 3, clock.msec());
    return text;
}

} // namespace KOZAV::Backend
