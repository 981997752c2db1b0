#pragma once

#include <QString>

namespace KOZAV::Robot {

/// Why a stream is not one JSON document after the other.
enum class JsonFault {
    None,
    OutsideDocument,  ///< between documents: neither white space nor the start of an object or array
    UnexpectedByte,   ///< against the grammar
    WrongBracket,     ///< a closing bracket of the other kind than the open one
    ControlCharacter, ///< bare in a string
    BadEscape,
    BadUtf8,
    BadNumber,
    InexactInteger, ///< beyond 2^53, where readers that use doubles no longer agree
    NumberRange,    ///< beyond what a double can hold
    DuplicateKey,   ///< twice in one object: readers do not agree on which of them counts
    TooDeep,
    TooLong,
    Unreadable ///< refused by Qt's reader for another reason
};

/// The fault in words, to stand behind the place where it was found.
[[nodiscard]] QString faultText(JsonFault fault);

} // namespace KOZAV::Robot
