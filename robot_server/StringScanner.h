#pragma once

#include "robot_server/JsonFault.h"
#include "robot_server/ScanStep.h"

namespace KOZAV::Robot {

/// Scans what follows the opening quote of a JSON string, byte by byte: escapes, UTF-8, the closing quote.
class StringScanner final
{
public:
    [[nodiscard]] ScanStep take(unsigned char byte);
    [[nodiscard]] JsonFault fault() const { return m_fault; }

private:
    ScanStep plain(unsigned char byte);
    ScanStep escape(unsigned char byte);
    ScanStep hexDigit(unsigned char byte);
    ScanStep lead(unsigned char byte);
    ScanStep continuation(unsigned char byte);
    ScanStep fail(JsonFault fault);

    bool m_escaped = false;
    int m_hexDigits = 0;           ///< of a \u escape, still to come
    int m_continuations = 0;       ///< bytes of a UTF-8 sequence, still to come
    unsigned char m_lowest = 0x80; ///< that the next of them may be
    unsigned char m_highest = 0xbf;
    JsonFault m_fault = JsonFault::None;
};

} // namespace KOZAV::Robot
