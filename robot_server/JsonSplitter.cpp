// Where a document ends can be told without reading it: with the bracket that closes its first one. So each
// byte is looked at once, when it comes, and only for what decides that: brackets count up and down, but for
// those in strings, and a string ends with the first quote that no backslash escapes. Bytes above ASCII are
// none of these, so a packet may end inside a character. Whether brackets match in kind, and all else that
// makes JSON, is left to QJsonDocument, which reads the document when it is whole, once: however the stream
// is cut, the work is linear. Only bare control characters and unknown escapes, which Qt would take, are
// refused on the way through a string.
//
// What a peer can make the splitter hold is bounded before anything is read: a document that is too long is
// given up with the first byte too many, one that is too deep with the bracket. The depth must stay below the
// 1024 levels of Qt's reader, which calls itself for each.

#include "robot_server/JsonSplitter.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace KOZAV::Robot {

namespace {

bool isSpace(char byte)
{
    return byte == ' ' || byte == '\n' || byte == '\r' || byte == '\t';
}

bool opens(char byte)
{
    return byte == '{' || byte == '[';
}

} // namespace

JsonSplitter::JsonSplitter(JsonLimits limits)
    : m_limits(limits)
{
}

std::vector<SplitDocument> JsonSplitter::feed(const QByteArray& packet)
{
    std::vector<SplitDocument> documents;
    for (auto byte = packet.begin(); byte != packet.end() && m_fault == JsonFault::None; ++byte) {
        ++m_work;
        take(*byte, documents);
        ++m_position;
    }
    return documents;
}

void JsonSplitter::take(char byte, std::vector<SplitDocument>& documents)
{
    if (!insideDocument() && isSpace(byte))
        return;
    if (!insideDocument() && !opens(byte)) {
        fail(JsonFault::OutsideDocument, m_position,
             QStringLiteral("neither white space nor the start of an object or array"));
    } else if (m_document.size() >= m_limits.maxBytes) {
        fail(JsonFault::TooLong, m_position, QStringLiteral("in a document that is too long"));
    } else {
        m_document += byte;
        follow(byte);
        if (!insideDocument())
            read(documents);
    }
}

void JsonSplitter::follow(char byte)
{
    if (m_inString)
        followString(byte);
    else if (opens(byte) && ++m_depth > m_limits.maxDepth)
        fail(JsonFault::TooDeep, m_position, QStringLiteral("nested too deeply"));
    else if (byte == '}' || byte == ']')
        --m_depth;
    else
        m_inString = byte == '"';
}

void JsonSplitter::followString(char byte)
{
    constexpr std::string_view escapes = "\"\\/bfnrtu";
    if (m_escaped && escapes.find(byte) == std::string_view::npos)
        fail(JsonFault::BadString, m_position, QStringLiteral("an unknown escape in a string"));
    else if (static_cast<unsigned char>(byte) < 0x20)
        fail(JsonFault::BadString, m_position, QStringLiteral("a control character in a string"));
    m_inString = m_escaped || byte != '"';
    m_escaped = byte == '\\' && !m_escaped;
}

// Of a member name that comes twice Qt's reader takes the last, and what the first one held, where that is an
// object or array, it never frees (seen in 5.15.8).
void JsonSplitter::read(std::vector<SplitDocument>& documents)
{
    const QByteArray bytes = std::exchange(m_document, QByteArray());
    m_work += bytes.size();
    QJsonParseError error;
    const QJsonDocument json = QJsonDocument::fromJson(bytes, &error);
    if (error.error == QJsonParseError::NoError) {
        documents.push_back({json, bytes.size()});
        return;
    }
    // Qt counts the byte at which it stopped, or the one behind it, which can lie behind the document.
    const int last = bytes.size() - 1;
    fail(JsonFault::NotJson, m_position - last + std::min(error.offset, last),
         QStringLiteral("not JSON up to here: ") + error.errorString());
}

void JsonSplitter::fail(JsonFault fault, qint64 position, const QString& reason)
{
    m_fault = fault;
    m_faultPosition = position;
    m_faultMessage = QStringLiteral("byte %1: %2").arg(position).arg(reason);
    m_document.clear();
}

} // namespace KOZAV::Robot
