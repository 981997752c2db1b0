#include "backend/store/gridfs/MongoDriver.h"

#include "backend/Operation.h"
#include "backend/ServerPause.h"
#include "backend/config/Redaction.h"
#include "backend/store/gridfs/KeptMemory.h"

#include <algorithm>
#include <iterator>

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

struct ServerCode
{
    uint32_t number;
    ErrorCode code;
};

// What servers call their failures by number.
constexpr ServerCode serverCodes[] = {
    {13, ErrorCode::NotPermitted},     // Unauthorized
    {18, ErrorCode::NotPermitted},     // AuthenticationFailed
    {11000, ErrorCode::AlreadyExists}, // DuplicateKey
    {12501, ErrorCode::NoSpace},       // the quota is used up
    {14031, ErrorCode::NoSpace},       // OutOfDiskSpace
    {50, ErrorCode::Unavailable},      // MaxTimeMSExpired
    {64, ErrorCode::Unavailable},      // WriteConcernFailed
    {79, ErrorCode::Unavailable},      // UnknownReplWriteConcern
    {100, ErrorCode::Unavailable},     // CannotSatisfyWriteConcern
    {10107, ErrorCode::Unavailable},   // NotWritablePrimary
    {13435, ErrorCode::Unavailable},   // NotPrimaryNoSecondaryOk
    {10058, ErrorCode::Unavailable},   // LegacyNotPrimary
};

// A member of a replica set that is stopped or loses its role; what it was asked it may have done.
constexpr uint32_t interruptions[] = {6, 7, 89, 91, 189, 262, 9001, 11600, 11602, 13436};

bool isInterruption(uint32_t code)
{
    return std::find(std::begin(interruptions), std::end(interruptions), code) != std::end(interruptions);
}

ErrorCode serverErrorCode(uint32_t number)
{
    const auto known = std::find_if(std::begin(serverCodes), std::end(serverCodes),
                                    [number](const ServerCode& entry) { return entry.number == number; });
    if (known != std::end(serverCodes))
        return known->code;
    return isInterruption(number) ? ErrorCode::Unavailable : ErrorCode::Io;
}

/// libmongoc calls all that fails while a connection logs in an authentication error, also the loss of the
/// connection, which only its text tells apart.
ErrorCode loginErrorCode(const bson_error_t& error)
{
    const bool lost = QLatin1String(error.message).startsWith(QLatin1String("Failed to send"));
    return lost ? ErrorCode::Unavailable : ErrorCode::NotPermitted;
}

ErrorCode errorCodeOf(const bson_error_t& error)
{
    switch (error.domain) {
    case MONGOC_ERROR_SERVER_SELECTION:
    case MONGOC_ERROR_STREAM:
    case MONGOC_ERROR_WRITE_CONCERN:
        return ErrorCode::Unavailable;
    case MONGOC_ERROR_SERVER:
        return serverErrorCode(error.code);
    case MONGOC_ERROR_SASL:
    case MONGOC_ERROR_SCRAM:
        return ErrorCode::NotPermitted;
    case MONGOC_ERROR_CLIENT:
        return error.code == MONGOC_ERROR_CLIENT_AUTHENTICATE ? loginErrorCode(error) : ErrorCode::Internal;
    case MONGOC_ERROR_PROTOCOL:
        return ErrorCode::Io;
    default:
        return ErrorCode::Internal;
    }
}

QString reasonText(ErrorCode code, const QString& server, const QString& message)
{
    if (code == ErrorCode::Unavailable)
        return ServerPause::withAdvice(
            QStringLiteral("the MongoDB server %1 is not available (%2)").arg(server, message));
    if (code == ErrorCode::NotPermitted)
        return QStringLiteral("the MongoDB server %1 does not permit it (%2)").arg(server, message);
    if (code == ErrorCode::NoSpace)
        return QStringLiteral("the MongoDB server %1 has no space left (%2)").arg(server, message);
    return QStringLiteral("the MongoDB server %1 reports: %2").arg(server, message);
}

} // namespace

void startMongoDriver()
{
    // Never ended: the library cannot be started again, and stores may live until the statics are destroyed.
    static const bool started = [] {
        keepDriverMemory();
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

Status mongoFailure(const QString& action, const QString& server, const bson_error_t& error)
{
    const ErrorCode code = errorCodeOf(error);
    const QString message = withoutPassword(QString::fromUtf8(error.message));
    return Status(code, QStringLiteral("cannot %1: %2").arg(action, reasonText(code, server, message)));
}

bool isRefusal(const bson_error_t& error)
{
    return error.domain == MONGOC_ERROR_SERVER && !isInterruption(error.code);
}

} // namespace KOZAV::Backend
