#include "backend/Text.h"

namespace KOZAV::Backend {

namespace {

/// The length that the first byte of a UTF-8 character announces; 0 for a byte that cannot be the first.
std::size_t announcedLength(unsigned char first)
{
    if (first < 0x80)
        return 1;
    if (first >= 0xc2 && first <= 0xdf)
        return 2;
    if ((first & 0xf0) == 0xe0)
        return 3;
    return first >= 0xf0 && first <= 0xf4 ? 4 : 0;
}

/// Whether the second byte keeps the character out of the overlong forms, the surrogates and beyond U+10FFFF.
bool isSecondByte(unsigned char first, unsigned char second)
{
    switch (first) {
    case 0xe0:
        return second >= 0xa0 && second <= 0xbf;
    case 0xed:
        return second >= 0x80 && second <= 0x9f;
    case 0xf0:
        return second >= 0x90 && second <= 0xbf;
    case 0xf4:
        return second >= 0x80 && second <= 0x8f;
    default:
        return (second & 0xc0) == 0x80;
    }
}

void putDigits(char* text, int count, int value)
{
    constexpr int base = 10;
    for (int i = count - 1; i >= 0; --i, value /= base)
        text[i] = static_cast<char>('0' + value % base);
}

} // namespace

std::size_t utf8SequenceLength(const std::string& bytes, std::size_t at)
{
    const auto byteAt = [&bytes](std::size_t position) {
        return static_cast<unsigned char>(bytes[position]);
    };
    const std::size_t length = announcedLength(byteAt(at));
    if (length == 0 || at + length > bytes.size())
        return 0;
    if (length > 1 && !isSecondByte(byteAt(at), byteAt(at + 1)))
        return 0;
    for (std::size_t i = 2; i < length; ++i) {
        if ((byteAt(at + i) & 0xc0) != 0x80)
            return 0;
    }
    return length;
}

bool isValidUtf8(const std::string& bytes)
{
    std::size_t at = 0;
    while (at < bytes.size()) {
        const std::size_t length = utf8SequenceLength(bytes, at);
        if (length == 0)
            return false;
        at += length;
    }
    return true;
}

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
