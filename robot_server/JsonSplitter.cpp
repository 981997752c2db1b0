#include "robot_server/JsonSplitter.h"

#include "robot_server/DuplicateKey.h"

#include <utility>

namespace KOZAV::Robot {

JsonSplitter::JsonSplitter(JsonLimits limits)
    : m_limits(limits)
    , m_scanner(limits.maxDepth)
{
}

std::vector<SplitDocument> JsonSplitter::feed(const QByteArray& packet)
{
    std::vector<SplitDocument> documents;
    m_start = 0;
    int at = 0;
    while (m_fault == JsonFault::None && at < packet.size() && take(packet, at, documents))
        ++at;
    if (m_fault == JsonFault::None && insideDocument())
        keep(packet, packet.size());
    m_fed += packet.size();
    return documents;
}

bool JsonSplitter::take(const QByteArray& packet, int at, std::vector<SplitDocument>& documents)
{
    if (!insideDocument())
        m_start = at;
    ++m_work;
    const ScanStep step = m_scanner.take(static_cast<unsigned char>(packet.at(at)));
    if (step == ScanStep::Fault) {
        fail(m_scanner.fault(), m_fed + at);
    } else if (step == ScanStep::Continue && !insideDocument()) {
        return true;
    } else if (m_pending.size() + at - m_start >= m_limits.maxBytes) {
        fail(JsonFault::TooLong, m_fed + at);
    } else if (step == ScanStep::Complete) {
        keep(packet, at + 1);
        complete(m_fed + at, documents);
    }
    return m_fault == JsonFault::None;
}

void JsonSplitter::keep(const QByteArray& packet, int end)
{
    m_pending.append(packet.constData() + m_start, end - m_start);
    m_work += end - m_start;
}

// Member names are compared first: Qt's reader (seen in 5.15.8) leaks an object or array whose name comes
// twice.
void JsonSplitter::complete(qint64 position, std::vector<SplitDocument>& documents)
{
    const QByteArray bytes = std::exchange(m_pending, QByteArray());
    m_work += qint64(bytes.size()) * 2;
    if (const auto key = duplicateKey(bytes)) {
        fail(JsonFault::DuplicateKey, position, *key);
        return;
    }
    QJsonParseError error;
    const QJsonDocument json = QJsonDocument::fromJson(bytes, &error);
    if (error.error == QJsonParseError::IllegalNumber)
        fail(JsonFault::NumberRange, position);
    else if (error.error != QJsonParseError::NoError)
        fail(JsonFault::Unreadable, position, error.errorString());
    else
        documents.push_back({json, bytes.size()});
}

void JsonSplitter::fail(JsonFault fault, qint64 position, const QString& detail)
{
    constexpr int longestDetail = 64;
    m_fault = fault;
    m_faultPosition = position;
    m_faultDetail = detail.left(longestDetail);
    m_pending.clear();
}

QString JsonSplitter::faultMessage() const
{
    if (m_fault == JsonFault::None)
        return {};
    const QString message = QStringLiteral("byte %1: %2").arg(m_faultPosition).arg(faultText(m_fault));
    return m_faultDetail.isEmpty() ? message : message + QStringLiteral(": \"%1\"").arg(m_faultDetail);
}

} // namespace KOZAV::Robot
