#include "robot_server/RequestLog.h"

#include "terminal/PrintableText.h"

#include <QFileDevice>
#include <QJsonArray>
#include <QJsonObject>

namespace KOZAV::Robot {

namespace {

/// A peer's text on one line of a terminal, between quotes if there are any: its own quotes and backslashes
/// are escaped like all that is not printable, and what is longer than 200 characters is cut off.
QString shown(QString text, const QString& quote = {})
{
    constexpr int longestShown = 200;
    const QString mark = text.size() > longestShown ? QStringLiteral("...") : QString();
    text.truncate(longestShown);
    text.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    if (!quote.isEmpty())
        text.replace(quote, QLatin1Char('\\') + quote);
    return quote + Terminal::printable(text) + quote + mark;
}

QString timeText(const QDateTime& time)
{
    return time.toUTC().toString(Qt::ISODateWithMs);
}

QString lineOf(const ReceivedRequest& request)
{
    if (!request.check.valid())
        return QStringLiteral("jobname=- fromWeb=- invalid: ") + shown(request.check.whyNot);
    return QStringLiteral("jobname=%1 fromWeb=%2 valid")
        .arg(shown(request.check.jobName, QStringLiteral("\"")),
             request.check.fromWeb ? QStringLiteral("true") : QStringLiteral("false"));
}

QJsonValue valueOf(const QJsonDocument& document)
{
    return document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
}

QJsonObject recordOf(const ReceivedRequest& request)
{
    QJsonObject record{{QStringLiteral("event"), QStringLiteral("request")},
                       {QStringLiteral("bytes"), request.bytes},
                       {QStringLiteral("document"), valueOf(request.document)},
                       {QStringLiteral("valid"), request.check.valid()}};
    if (request.check.valid()) {
        record.insert(QStringLiteral("jobname"), request.check.jobName);
        record.insert(QStringLiteral("fromWeb"), request.check.fromWeb);
    } else {
        record.insert(QStringLiteral("reason"), request.check.whyNot);
    }
    return record;
}

} // namespace

bool RequestLog::openFile(const QString& name, const Terminal::LogLimits& limits)
{
    m_error = m_file.open(name, limits);
    return m_error.isEmpty();
}

bool RequestLog::write(const ReceivedRequest& request)
{
    QJsonObject record = recordOf(request);
    record.insert(QStringLiteral("time"), timeText(request.time));
    record.insert(QStringLiteral("peer"), request.peer);
    return write(QStringLiteral("%1 %2 ").arg(timeText(request.time), request.peer) + lineOf(request),
                 record);
}

bool RequestLog::write(const DroppedConnection& connection)
{
    const QString time = timeText(connection.time);
    const QString line = QStringLiteral("%1 %2 ").arg(time, connection.peer);
    return write(line + QStringLiteral("dropped: ") + shown(connection.reason),
                 {{QStringLiteral("event"), QStringLiteral("dropped")},
                  {QStringLiteral("time"), time},
                  {QStringLiteral("peer"), connection.peer},
                  {QStringLiteral("reason"), connection.reason}});
}

// The file first: it is what is kept.
bool RequestLog::write(const QString& line, const QJsonObject& record)
{
    if (m_file.isOpen())
        m_error = m_file.append(QJsonDocument(record).toJson(QJsonDocument::Compact) + '\n');
    return m_error.isEmpty() && print(line.toUtf8() + '\n');
}

bool RequestLog::print(const QByteArray& line)
{
    auto* const file = qobject_cast<QFileDevice*>(&m_print);
    if (m_print.write(line) == line.size() && (!file || file->flush()))
        return true;
    m_error = QStringLiteral("the standard output cannot be written to: %1").arg(m_print.errorString());
    return false;
}

} // namespace KOZAV::Robot
