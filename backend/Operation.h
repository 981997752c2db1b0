#pragma once

#include "backend/Status.h"

#include <QLoggingCategory>
#include <QString>

#include <functional>

namespace KOZAV::Backend {

Q_DECLARE_LOGGING_CATEGORY(logConfig)   // kozav.backend.config
Q_DECLARE_LOGGING_CATEGORY(logStore)    // kozav.backend.store
Q_DECLARE_LOGGING_CATEGORY(logPack)     // kozav.backend.pack
Q_DECLARE_LOGGING_CATEGORY(logDatabase) // kozav.backend.database
Q_DECLARE_LOGGING_CATEGORY(logUi)       // kozav.backend.ui

/// One finished call of a service operation.
struct OperationEvent
{
    QString operation; ///< name of the service operation, such as "MongodbPut"
    QString subject;   ///< what it was called for: a folder, a stored name, a flow key, a job name
    QString result;    ///< what it returned, where that is a text: an archive identifier, a flow key
    QString category;  ///< logging category of the service
    Status status;
    qint64 startedMs = 0; ///< monotonic clock, milliseconds
    qint64 endedMs = 0;
};

using OperationObserver = std::function<void(const OperationEvent&)>;

/// Has every service operation of this process reported to observer when it ends, on the thread that called
/// it; an empty function ends that. For hosts that show or time the work of the services.
void setOperationObserver(OperationObserver observer);

/// Scope of one service call. Its end logs a failure as a warning of the category ("<operation> <subject>:
/// <message>") and tells the observer.
class Operation final
{
public:
    using Category = const QLoggingCategory& (*)();

    Operation(Category category, const char* name, QString subject);
    ~Operation();
    Q_DISABLE_COPY(Operation)

    /// Records the outcome; returns whether it was a success.
    bool finish(const Status& status, QString result = {});

private:
    Category m_category;
    OperationEvent m_event;
};

} // namespace KOZAV::Backend
