#pragma once

#include "robot_server/JsonFault.h"
#include "robot_server/JsonScanner.h"

#include <QByteArray>
#include <QJsonDocument>
#include <QString>

#include <vector>

namespace KOZAV::Robot {

struct JsonLimits
{
    int maxBytes = 1024 * 1024; ///< of one document, from its first bracket to its last
    int maxDepth = 32;          ///< of objects and arrays in each other
};

/// One document of a stream.
struct SplitDocument
{
    QJsonDocument json;
    int bytes = 0; ///< its length in the stream
};

/// Takes a stream of JSON documents apart that has neither lengths nor terminators: a document ends with the
/// bracket that closes its first one. White space may stand between documents; how the stream is cut into
/// packets means nothing. Strict where readers disagree: no duplicate member names, no integers beyond 2^53,
/// no stray control characters.
///
/// Each byte is looked at once when it comes, kept once with its document, and read twice when that is whole.
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
    /// The fault in one sentence; empty without one.
    [[nodiscard]] QString faultMessage() const;

    [[nodiscard]] bool insideDocument() const { return m_scanner.insideDocument(); }
    /// Bytes touched so far, each time it is touched: at most four for each byte fed.
    [[nodiscard]] qint64 work() const { return m_work; }

private:
    bool take(const QByteArray& packet, int at, std::vector<SplitDocument>& documents);
    void keep(const QByteArray& packet, int end);
    void complete(qint64 position, std::vector<SplitDocument>& documents);
    void fail(JsonFault fault, qint64 position, const QString& detail = {});

    JsonLimits m_limits;
    JsonScanner m_scanner;
    QByteArray m_pending; ///< of the current document, from earlier packets
    int m_start = 0;      ///< in the current packet, of what belongs to the current document
    qint64 m_fed = 0;     ///< bytes of earlier packets
    JsonFault m_fault = JsonFault::None;
    QString m_faultDetail;
    qint64 m_faultPosition = 0;
    qint64 m_work = 0;
};

} // namespace KOZAV::Robot
