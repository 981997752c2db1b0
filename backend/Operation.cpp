#include "backend/Operation.h"

#include <chrono>
#include <utility>

namespace KOZAV::Backend {

Q_LOGGING_CATEGORY(logConfig, "kozav.backend.config")
Q_LOGGING_CATEGORY(logStore, "kozav.backend.store")
Q_LOGGING_CATEGORY(logPack, "kozav.backend.pack")
Q_LOGGING_CATEGORY(logDatabase, "kozav.backend.database")
Q_LOGGING_CATEGORY(logUi, "kozav.backend.ui")

namespace {

OperationObserver& observerSlot()
{
    static OperationObserver observer;
    return observer;
}

qint64 monotonicMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

void setOperationObserver(OperationObserver observer)
{
    observerSlot() = std::move(observer);
}

Operation::Operation(Category category, const char* name, QString subject)
    : m_category(category)
{
    m_event.operation = QString::fromLatin1(name);
    m_event.subject = std::move(subject);
    m_event.category = QString::fromLatin1(category().categoryName());
    m_event.status = Status::internal(QStringLiteral("ended without an outcome"));
    m_event.startedMs = monotonicMs();
}

Operation::~Operation()
{
    m_event.endedMs = monotonicMs();
    if (!m_event.status.ok())
        qCWarning(m_category).noquote() << m_event.operation + QLatin1Char(' ') + m_event.subject +
                                               QStringLiteral(": ") + m_event.status.message();
    if (observerSlot())
        observerSlot()(m_event);
}

bool Operation::finish(const Status& status, QString result)
{
    m_event.status = status;
    m_event.result = std::move(result);
    return status.ok();
}

} // namespace KOZAV::Backend
