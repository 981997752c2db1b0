#include "robot_server/JsonFault.h"

namespace KOZAV::Robot {

QString faultText(JsonFault fault)
{
    switch (fault) {
    case JsonFault::None:
        return {};
    case JsonFault::OutsideDocument:
        return QStringLiteral("neither white space nor the start of an object or array");
    case JsonFault::UnexpectedByte:
        return QStringLiteral("cannot stand here in a JSON document");
    case JsonFault::WrongBracket:
        return QStringLiteral("a closing bracket of the wrong kind");
    case JsonFault::ControlCharacter:
        return QStringLiteral("a control character in a string");
    case JsonFault::BadEscape:
        return QStringLiteral("an unknown escape in a string");
    case JsonFault::BadUtf8:
        return QStringLiteral("no UTF-8");
    case JsonFault::BadNumber:
        return QStringLiteral("cannot stand here in a number");
    case JsonFault::InexactInteger:
        return QStringLiteral("the end of an integer beyond 2^53");
    case JsonFault::NumberRange:
        return QStringLiteral("the end of a document with a number that a double cannot hold");
    case JsonFault::DuplicateKey:
        return QStringLiteral("the end of a document with a member name twice in one object");
    case JsonFault::TooDeep:
        return QStringLiteral("nested too deeply");
    case JsonFault::TooLong:
        return QStringLiteral("in a document that is too long");
    case JsonFault::Unreadable:
        return QStringLiteral("the end of a document that cannot be read");
    }
    return {};
}

} // namespace KOZAV::Robot
