#include "robot_server/JsonScanner.h"

namespace KOZAV::Robot {

namespace {

bool isSpace(unsigned char byte)
{
    return byte == ' ' || byte == '\n' || byte == '\r' || byte == '\t';
}

} // namespace

JsonScanner::JsonScanner(int maxDepth)
    : m_maxDepth(static_cast<std::size_t>(maxDepth))
{
    m_open.reserve(m_maxDepth);
}

ScanStep JsonScanner::take(unsigned char byte)
{
    switch (m_token) {
    case Token::String:
        return insideString(byte);
    case Token::Number:
        return insideNumber(byte);
    case Token::Literal:
        return insideLiteral(byte);
    case Token::None:
        break;
    }
    return isSpace(byte) ? ScanStep::Continue : structure(byte);
}

ScanStep JsonScanner::structure(unsigned char byte)
{
    switch (m_expected) {
    case Expected::Document:
        return byte == '{' || byte == '[' ? open(byte) : fail(JsonFault::OutsideDocument);
    case Expected::Value:
        return value(byte);
    case Expected::ValueOrEnd:
        return byte == ']' ? close(byte) : value(byte);
    case Expected::Key:
        return key(byte);
    case Expected::KeyOrEnd:
        return byte == '}' ? close(byte) : key(byte);
    case Expected::Colon:
        return byte == ':' ? expect(Expected::Value) : unexpected(byte);
    case Expected::CommaOrEnd:
        break;
    }
    return commaOrEnd(byte);
}

ScanStep JsonScanner::value(unsigned char byte)
{
    if (NumberScanner::begins(byte))
        return beginNumber(byte);
    switch (byte) {
    case '{':
    case '[':
        return open(byte);
    case '"':
        return beginString(Expected::CommaOrEnd);
    case 't':
        return beginLiteral("rue");
    case 'f':
        return beginLiteral("alse");
    case 'n':
        return beginLiteral("ull");
    default:
        return unexpected(byte);
    }
}

ScanStep JsonScanner::key(unsigned char byte)
{
    return byte == '"' ? beginString(Expected::Colon) : unexpected(byte);
}

ScanStep JsonScanner::open(unsigned char byte)
{
    if (m_open.size() >= m_maxDepth)
        return fail(JsonFault::TooDeep);
    m_open.push_back(byte == '{' ? '}' : ']');
    return expect(byte == '{' ? Expected::KeyOrEnd : Expected::ValueOrEnd);
}

ScanStep JsonScanner::commaOrEnd(unsigned char byte)
{
    if (byte == ',')
        return expect(m_open.back() == '}' ? Expected::Key : Expected::Value);
    return byte == m_open.back() ? close(byte) : unexpected(byte);
}

ScanStep JsonScanner::close(unsigned char byte)
{
    if (byte != m_open.back())
        return fail(JsonFault::WrongBracket);
    m_open.pop_back();
    m_expected = m_open.empty() ? Expected::Document : Expected::CommaOrEnd;
    return m_open.empty() ? ScanStep::Complete : ScanStep::Continue;
}

ScanStep JsonScanner::beginString(Expected behindIt)
{
    m_string = StringScanner();
    m_token = Token::String;
    return expect(behindIt);
}

ScanStep JsonScanner::beginNumber(unsigned char byte)
{
    m_number = NumberScanner();
    m_token = Token::Number;
    m_expected = Expected::CommaOrEnd;
    return insideNumber(byte);
}

ScanStep JsonScanner::beginLiteral(const char* remaining)
{
    m_literal = remaining;
    m_token = Token::Literal;
    return expect(Expected::CommaOrEnd);
}

ScanStep JsonScanner::insideString(unsigned char byte)
{
    const ScanStep step = m_string.take(byte);
    if (step == ScanStep::Fault)
        return fail(m_string.fault());
    if (step == ScanStep::Complete)
        m_token = Token::None;
    return ScanStep::Continue;
}

ScanStep JsonScanner::insideNumber(unsigned char byte)
{
    const ScanStep step = m_number.take(byte);
    if (step == ScanStep::Fault)
        return fail(m_number.fault());
    if (step == ScanStep::Continue)
        return step;
    m_token = Token::None;
    return take(byte);
}

ScanStep JsonScanner::insideLiteral(unsigned char byte)
{
    if (byte != static_cast<unsigned char>(*m_literal))
        return unexpected(byte);
    if (*++m_literal == '\0')
        m_token = Token::None;
    return ScanStep::Continue;
}

ScanStep JsonScanner::unexpected(unsigned char byte)
{
    const bool otherBracket = (byte == '}' || byte == ']') && byte != m_open.back();
    return fail(otherBracket ? JsonFault::WrongBracket : JsonFault::UnexpectedByte);
}

ScanStep JsonScanner::expect(Expected expected)
{
    m_expected = expected;
    return ScanStep::Continue;
}

ScanStep JsonScanner::fail(JsonFault fault)
{
    m_fault = fault;
    return ScanStep::Fault;
}

} // namespace KOZAV::Robot
