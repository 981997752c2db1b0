#include "samples/RecordBuffer.h"

#include <array>

namespace KOZAV::Samples {

namespace {

constexpr quint64 kMillion = 1000000;

/// Writes the digits of a number so that they end before `end`, and returns where they begin.
char* digitsBefore(char* end, quint64 number)
{
    do {
        *--end = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number > 0);
    return end;
}

/// Writes six decimals, leaves out the zeros at their end, and returns where they end.
char* putDecimals(char* begin, quint32 fraction)
{
    // Every digit is worked out from the number itself: nothing waits for the digit before it.
    begin[0] = static_cast<char>('0' + fraction / 100000);
    begin[1] = static_cast<char>('0' + fraction / 10000 % 10);
    begin[2] = static_cast<char>('0' + fraction / 1000 % 10);
    begin[3] = static_cast<char>('0' + fraction / 100 % 10);
    begin[4] = static_cast<char>('0' + fraction / 10 % 10);
    begin[5] = static_cast<char>('0' + fraction % 10);
    char* end = begin + 6;
    while (end[-1] == '0')
        --end;
    return end;
}

} // namespace

RecordBuffer& RecordBuffer::number(quint64 number)
{
    std::array<char, 20> text;
    char* const end = text.data() + text.size();
    const char* const begin = digitsBefore(end, number);
    m_text.append(begin, static_cast<std::size_t>(end - begin));
    return *this;
}

RecordBuffer& RecordBuffer::length(qint64 millionths)
{
    const auto magnitude = static_cast<quint64>(millionths < 0 ? -millionths : millionths);
    const auto fraction = static_cast<quint32>(magnitude % kMillion);
    std::array<char, 32> text;
    char* const point = text.data() + 24;
    char* end = point;
    if (fraction != 0) {
        *end++ = '.';
        end = putDecimals(end, fraction);
    }
    char* begin = digitsBefore(point, magnitude / kMillion);
    if (millionths < 0)
        *--begin = '-';
    m_text.append(begin, static_cast<std::size_t>(end - begin));
    return *this;
}

} // namespace KOZAV::Samples
