#include "tests/support/CapturedLog.h"

#include <QMutex>
#include <QVector>

#include <utility>

namespace KOZAV::Test {

namespace {

QMutex mutex;

QVector<std::pair<QtMsgType, QString>>& messages()
{
    static QVector<std::pair<QtMsgType, QString>> all;
    return all;
}

void keep(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    const QMutexLocker lock(&mutex);
    messages().append({type, QLatin1String(context.category) + QStringLiteral(": ") + message});
}

} // namespace

CapturedLog::CapturedLog()
    : m_before(qInstallMessageHandler(keep))
{
    const QMutexLocker lock(&mutex);
    messages().clear();
}

CapturedLog::~CapturedLog()
{
    qInstallMessageHandler(m_before);
}

QStringList CapturedLog::of(QtMsgType type)
{
    const QMutexLocker lock(&mutex);
    QStringList found;
    for (const auto& message : qAsConst(messages())) {
        if (message.first == type)
            found << message.second;
    }
    return found;
}

} // namespace KOZAV::Test
