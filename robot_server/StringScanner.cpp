#include "robot_server/StringScanner.h"

#include <cstring>

namespace KOZAV::Robot {

namespace {

bool isOneOf(const char* characters, unsigned char byte)
{
    return byte != 0 && std::strchr(characters, byte) != nullptr;
}

} // namespace

ScanStep StringScanner::take(unsigned char byte)
{
    if (m_continuations > 0)
        return continuation(byte);
    if (m_hexDigits > 0)
        return hexDigit(byte);
    return m_escaped ? escape(byte) : plain(byte);
}

ScanStep StringScanner::plain(unsigned char byte)
{
    if (byte == '"')
        return ScanStep::Complete;
    if (byte < 0x20)
        return fail(JsonFault::ControlCharacter);
    m_escaped = byte == '\\';
    return byte < 0x80 ? ScanStep::Continue : lead(byte);
}

ScanStep StringScanner::escape(unsigned char byte)
{
    m_escaped = false;
    if (byte == 'u')
        m_hexDigits = 4;
    else if (!isOneOf("\"\\/bfnrt", byte))
        return fail(JsonFault::BadEscape);
    return ScanStep::Continue;
}

ScanStep StringScanner::hexDigit(unsigned char byte)
{
    if (!isOneOf("0123456789abcdefABCDEF", byte))
        return fail(JsonFault::BadEscape);
    --m_hexDigits;
    return ScanStep::Continue;
}

// The second byte's range is narrower behind some lead bytes: without overlong forms, surrogates and code
// points past U+10FFFF.
ScanStep StringScanner::lead(unsigned char byte)
{
    if (byte < 0xc2 || byte > 0xf4)
        return fail(JsonFault::BadUtf8);
    m_continuations = byte < 0xe0 ? 1 : byte < 0xf0 ? 2 : 3;
    m_lowest = byte == 0xe0 ? 0xa0 : byte == 0xf0 ? 0x90 : 0x80;
    m_highest = byte == 0xed ? 0x9f : byte == 0xf4 ? 0x8f : 0xbf;
    return ScanStep::Continue;
}

ScanStep StringScanner::continuation(unsigned char byte)
{
    if (byte < m_lowest || byte > m_highest)
        return fail(JsonFault::BadUtf8);
    --m_continuations;
    m_lowest = 0x80;
    m_highest = 0xbf;
    return ScanStep::Continue;
}

ScanStep StringScanner::fail(JsonFault fault)
{
    m_fault = fault;
    return ScanStep::Fault;
}

} // namespace KOZAV::Robot
