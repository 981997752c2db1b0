#include "robot_server/NumberScanner.h"

namespace KOZAV::Robot {

namespace {

constexpr quint64 largestExactInteger = quint64(1) << 53;

bool isDigit(unsigned char byte)
{
    return byte >= '0' && byte <= '9';
}

} // namespace

bool NumberScanner::begins(unsigned char byte)
{
    return byte == '-' || byte == '+' || byte == '.' || isDigit(byte);
}

ScanStep NumberScanner::take(unsigned char byte)
{
    if (isDigit(byte))
        return digit(byte);
    if (byte == '-' && m_place == Place::Start)
        return moveTo(Place::Minus);
    if (byte == '.' && isInteger())
        return moveTo(Place::Point);
    if ((byte == 'e' || byte == 'E') && (isInteger() || m_place == Place::Fraction))
        return moveTo(Place::Exponent);
    if ((byte == '+' || byte == '-') && m_place == Place::Exponent)
        return moveTo(Place::ExponentSign);
    return end();
}

ScanStep NumberScanner::digit(unsigned char byte)
{
    switch (m_place) {
    case Place::Zero:
        return fail(JsonFault::BadNumber);
    case Place::Start:
    case Place::Minus:
    case Place::Integer:
        if (m_magnitude <= largestExactInteger)
            m_magnitude = m_magnitude * 10 + (byte - quint64('0'));
        return moveTo(m_place != Place::Integer && byte == '0' ? Place::Zero : Place::Integer);
    case Place::Point:
    case Place::Fraction:
        return moveTo(Place::Fraction);
    case Place::Exponent:
    case Place::ExponentSign:
    case Place::ExponentDigits:
        break;
    }
    return moveTo(Place::ExponentDigits);
}

ScanStep NumberScanner::end()
{
    if (!isInteger() && m_place != Place::Fraction && m_place != Place::ExponentDigits)
        return fail(JsonFault::BadNumber);
    if (m_place == Place::Integer && m_magnitude > largestExactInteger)
        return fail(JsonFault::InexactInteger);
    return ScanStep::Complete;
}

ScanStep NumberScanner::moveTo(Place place)
{
    m_place = place;
    return ScanStep::Continue;
}

ScanStep NumberScanner::fail(JsonFault fault)
{
    m_fault = fault;
    return ScanStep::Fault;
}

} // namespace KOZAV::Robot
