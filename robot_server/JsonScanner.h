#pragma once

#include "robot_server/JsonFault.h"
#include "robot_server/NumberScanner.h"
#include "robot_server/ScanStep.h"
#include "robot_server/StringScanner.h"

#include <vector>

namespace KOZAV::Robot {

/// Follows the JSON grammar byte by byte: tells the last byte of each document, and the first byte that
/// cannot stand where it stands. A document is an object or an array. Holds no text, and nothing but one
/// bracket for each level.
class JsonScanner final
{
public:
    explicit JsonScanner(int maxDepth);

    /// Complete: the byte ends a document. After a Fault nothing more may be given.
    [[nodiscard]] ScanStep take(unsigned char byte);
    [[nodiscard]] JsonFault fault() const { return m_fault; }
    /// Whether a document has begun and not ended.
    [[nodiscard]] bool insideDocument() const { return !m_open.empty(); }

private:
    enum class Token { None, String, Number, Literal };
    enum class Expected { Document, Value, ValueOrEnd, Key, KeyOrEnd, Colon, CommaOrEnd };

    ScanStep structure(unsigned char byte);
    ScanStep value(unsigned char byte);
    ScanStep key(unsigned char byte);
    ScanStep open(unsigned char byte);
    ScanStep commaOrEnd(unsigned char byte);
    ScanStep close(unsigned char byte);
    ScanStep beginString(Expected behindIt);
    ScanStep beginNumber(unsigned char byte);
    ScanStep beginLiteral(const char* remaining);
    ScanStep insideString(unsigned char byte);
    ScanStep insideNumber(unsigned char byte);
    ScanStep insideLiteral(unsigned char byte);
    ScanStep unexpected(unsigned char byte);
    ScanStep expect(Expected expected);
    ScanStep fail(JsonFault fault);

    std::size_t m_maxDepth;
    std::vector<unsigned char> m_open; ///< the closing bracket of each open object and array
    Token m_token = Token::None;
    Expected m_expected = Expected::Document; ///< where in a token: behind it
    StringScanner m_string;
    NumberScanner m_number;
    const char* m_literal = nullptr; ///< what is still to come of it
    JsonFault m_fault = JsonFault::None;
};

} // namespace KOZAV::Robot
