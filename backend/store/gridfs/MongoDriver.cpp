#include "backend/store/gridfs/MongoDriver.h"

#include "backend/Operation.h"
#include "backend/config/Redaction.h"

#include <mongoc/mongoc.h>

namespace KOZAV::Backend {

namespace {

thread_local int logPauses = 0;

QString shownMessage(const char* domain, const char* message)
{
    return QStringLiteral("%1: %2").arg(QString::fromUtf8(domain),
                                        withoutPassword(QString::fromUtf8(message)));
}

void logDriverMessage(mongoc_log_level_t level, const char* domain, const char* message, void* /*unused*/)
{
    if (logPauses > 0)
        return;
    if (level <= MONGOC_LOG_LEVEL_WARNING)
        qCWarning(logStore).noquote() << shownMessage(domain, message);
    else if (level <= MONGOC_LOG_LEVEL_INFO)
        qCInfo(logStore).noquote() << shownMessage(domain, message);
    else
        qCDebug(logStore).noquote() << shownMessage(domain, message);
}

} // namespace

void startMongoDriver()
{
    // Never ended: the library cannot be started again, and stores may live until the statics are destroyed.
    static const bool started = [] {
        mongoc_log_set_handler(logDriverMessage, nullptr);
        mongoc_init();
        return true;
    }();
    Q_UNUSED(started)
}

MongoLogPause::MongoLogPause()
{
    ++logPauses;
}

MongoLogPause::~MongoLogPause()
{
    --logPauses;
}

} // namespace KOZAV::Backend
