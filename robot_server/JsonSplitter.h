#pragma once

#include <QByteArray>
#include <QJsonDocument>
#include <QString>

#include <vector>

namespace KOZAV::Robot {

/// Why a stream is not one JSON document after the other.
enum class JsonFault {
    None,
    OutsideDocument, ///< between documents: neither white space nor the start of an object or array
    BadString,       ///< with a control character or an unknown escape
    NotJson,         ///< refused by Qt's reader
    TooDeep,
    TooLong
};

struct JsonLimits
{
    int maxBytes = 1024 * 1024; ///< of one document, from its first bracket to its last
    int maxDepth = 32;          ///< of objects and arrays in each other; at most 1000
};

/// One document of a stream.
struct SplitDocument
{
    QJsonDocument json;
    int bytes = 0; ///< its length in the stream
};

/// Takes a stream of JSON documents apart that has neither lengths nor terminators: a document is an object
/// or an array and ends with the bracket that closes its first one. White space may stand between documents;
/// how the stream is cut into packets means nothing.
class JsonSplitter final
{
public:
    explicit JsonSplitter(JsonLimits limits = {});

    /// @return the documents that this packet completes. Those before a fault are returned too; after it
    /// nothing is.
    [[nodiscard]] std::vector<SplitDocument> feed(const QByteArray& packet);

    [[nodiscard]] JsonFault fault() const { return m_fault; }
    /// Position in the stream, from 0, of the byte at which the fault was found.
    [[nodiscard]] qint64 faultPosition() const { return m_faultPosition; }
    /// The fault and its position in one sentence; empty without one.
    [[nodiscard]] QString faultMessage() const { return m_faultMessage; }

    [[nodiscard]] bool insideDocument() const { return m_depth > 0; }
    /// Bytes looked at so far, each time it is done: at most two for each byte fed.
    [[nodiscard]] qint64 work() const { return m_work; }

private:
    void take(char byte, std::vector<SplitDocument>& documents);
    void follow(char byte);
    void followString(char byte);
    void read(std::vector<SplitDocument>& documents);
    void fail(JsonFault fault, qint64 position, const QString& reason);

    JsonLimits m_limits;
    QByteArray m_document; ///< as far as it has come
    int m_depth = 0;       ///< brackets that are open
    bool m_inString = false;
    bool m_escaped = false; ///< in a string, behind a backslash
    qint64 m_position = 0;  ///< in the stream, of the byte that is looked at
    JsonFault m_fault = JsonFault::None;
    qint64 m_faultPosition = 0;
    QString m_faultMessage;
    qint64 m_work = 0;
};

} // namespace KOZAV::Robot
