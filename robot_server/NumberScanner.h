#pragma once

#include "robot_server/JsonFault.h"
#include "robot_server/ScanStep.h"

#include <QtGlobal>

namespace KOZAV::Robot {

/// Scans a JSON number, byte by byte. A number has no mark at its end: Complete means that the byte is not
/// the number's any more.
class NumberScanner final
{
public:
    /// Whether this byte begins a number, or what is meant for one: none begins with a point or a plus.
    [[nodiscard]] static bool begins(unsigned char byte);

    [[nodiscard]] ScanStep take(unsigned char byte);
    [[nodiscard]] JsonFault fault() const { return m_fault; }

private:
    enum class Place { Start, Minus, Zero, Integer, Point, Fraction, Exponent, ExponentSign, ExponentDigits };

    ScanStep digit(unsigned char byte);
    ScanStep end();
    ScanStep moveTo(Place place);
    ScanStep fail(JsonFault fault);
    [[nodiscard]] bool isInteger() const { return m_place == Place::Zero || m_place == Place::Integer; }

    Place m_place = Place::Start;
    quint64 m_magnitude = 0; ///< of the integer part; stands still once it is past the limit
    JsonFault m_fault = JsonFault::None;
};

} // namespace KOZAV::Robot
