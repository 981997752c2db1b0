#include "backend/database/mariadb/MariaDbDialect.h"

#include <QSqlError>

#include <algorithm>
#include <iterator>

namespace KOZAV::Backend {

namespace {

// Numbers of mysqld_error.h (a server's: 1000 to 1999, 3000 to 4999) and errmsg.h (the client library's: 2000
// to 2999, 5000 and above).
enum Number {
    DiskFull = 1021,
    DuplicateKey = 1022,
    ErrorOnRead = 1024,
    ErrorOnWrite = 1026,
    StorageEngine = 1030,
    CrashedFile = 1034,
    ReadOnlyTable = 1036,
    ConnectionCount = 1040,
    HostIsBlocked = 1129,
    HostNotPrivileged = 1130,
    DatabaseAccessDenied = 1044,
    AccessDenied = 1045,
    NodeNotPrepared = 1047, // of a cluster: it holds no majority, or has not caught up with the others
    UnknownDatabase = 1049,
    ShutDown = 1053,
    DuplicateEntry = 1062,
    TableFull = 1114,
    TableAccessDenied = 1142,
    ColumnAccessDenied = 1143,
    PacketTooLarge = 1153,
    NetworkRead = 1158,
    NetworkReadInterrupted = 1159,
    NetworkWrite = 1160,
    NetworkWriteInterrupted = 1161,
    CrashedTable = 1194,
    UserConnectionCount = 1203,
    LockWaitTimeout = 1205,
    Deadlock = 1213,
    RowNotReferenced = 1216,
    UserResources = 1226,
    SpecialAccessDenied = 1227,
    OutOfRange = 1264,
    Truncated = 1265,
    IncorrectNumber = 1366,
    ReadOnlyServer = 1290,
    IncorrectValue = 1292,
    Interrupted = 1317,
    DataTooLong = 1406,
    NoReferencedRow = 1452,
    AccessDeniedNoPassword = 1698,
    DuplicateEntryWithKeyName = 1586,
    ReadOnlyTransaction = 1792,
    ReadOnlyMode = 1836,
    StatementTimeout = 1969,
    ConnectionKilled = 1927,
    TooLongKey = 1071,
    CheckFailedMySql = 3819,
    CheckFailed = 4025,
    ConnectionFailedSocket = 2002,
    ConnectionFailed = 2003,
    UnknownHost = 2005,
    ServerGone = 2006,
    ServerLost = 2013,
    PacketTooLargeHere = 2020,
    TlsFailed = 2026,
    ServerLostWithReason = 2055,
    UnknownAuthentication = 2059
};

struct Meaning
{
    int number;
    ErrorCode code;
};

constexpr Meaning meanings[] = {
    {DiskFull, ErrorCode::NoSpace},
    {TableFull, ErrorCode::NoSpace},
    {ErrorOnRead, ErrorCode::Io},
    {ErrorOnWrite, ErrorCode::Io},
    {StorageEngine, ErrorCode::Io},
    {CrashedFile, ErrorCode::Corrupt},
    {CrashedTable, ErrorCode::Corrupt},
    {ReadOnlyTable, ErrorCode::NotPermitted},
    {HostIsBlocked, ErrorCode::NotPermitted},
    {HostNotPrivileged, ErrorCode::NotPermitted},
    {DatabaseAccessDenied, ErrorCode::NotPermitted},
    {AccessDenied, ErrorCode::NotPermitted},
    {AccessDeniedNoPassword, ErrorCode::NotPermitted},
    {TableAccessDenied, ErrorCode::NotPermitted},
    {ColumnAccessDenied, ErrorCode::NotPermitted},
    {SpecialAccessDenied, ErrorCode::NotPermitted},
    {ReadOnlyServer, ErrorCode::NotPermitted},
    {ReadOnlyTransaction, ErrorCode::NotPermitted},
    {ReadOnlyMode, ErrorCode::NotPermitted},
    {TlsFailed, ErrorCode::NotPermitted},
    {UnknownAuthentication, ErrorCode::Configuration},
    {UnknownDatabase, ErrorCode::Configuration},
    {UnknownHost, ErrorCode::Unavailable},
    {NodeNotPrepared, ErrorCode::Unavailable},
    {ConnectionCount, ErrorCode::Unavailable},
    {UserConnectionCount, ErrorCode::Unavailable},
    {UserResources, ErrorCode::Unavailable},
    {ConnectionFailedSocket, ErrorCode::Unavailable},
    {ConnectionFailed, ErrorCode::Unavailable},
    {LockWaitTimeout, ErrorCode::Unavailable},
    {Deadlock, ErrorCode::Unavailable},
    {Interrupted, ErrorCode::Unavailable},
    {StatementTimeout, ErrorCode::Unavailable},
    {DuplicateKey, ErrorCode::AlreadyExists},
    {DuplicateEntry, ErrorCode::AlreadyExists},
    {DuplicateEntryWithKeyName, ErrorCode::AlreadyExists},
    {RowNotReferenced, ErrorCode::NotFound},
    {NoReferencedRow, ErrorCode::NotFound},
    {DataTooLong, ErrorCode::InvalidArgument},
    {OutOfRange, ErrorCode::InvalidArgument},
    {Truncated, ErrorCode::InvalidArgument},
    {IncorrectNumber, ErrorCode::InvalidArgument},
    {IncorrectValue, ErrorCode::InvalidArgument},
    {PacketTooLarge, ErrorCode::InvalidArgument},
    {PacketTooLargeHere, ErrorCode::InvalidArgument},
    {TooLongKey, ErrorCode::InvalidArgument},
    {CheckFailed, ErrorCode::InvalidArgument},
    {CheckFailedMySql, ErrorCode::InvalidArgument},
};

/// The server answered with them, or the client library found out while it waited for the answer: over TLS
/// the end of a connection is an error of TLS.
constexpr int lostWhileWaiting[] = {
    ShutDown,         NetworkRead, NetworkReadInterrupted, NetworkWrite, NetworkWriteInterrupted,
    ConnectionKilled, ServerLost,  ServerLostWithReason,   TlsFailed};

/// The server refuses the statement and ends the connection.
constexpr int lostWithRefusal[] = {PacketTooLarge, PacketTooLargeHere};

template <typename Numbers>
bool holds(const Numbers& numbers, int number)
{
    return std::find(std::begin(numbers), std::end(numbers), number) != std::end(numbers);
}

Dialect::FailureKind failureKind(int number)
{
    if (number == Deadlock)
        return Dialect::FailureKind::Contended;
    if (number == ServerGone)
        return Dialect::FailureKind::LostUnsent;
    if (holds(lostWhileWaiting, number))
        return Dialect::FailureKind::LostUnanswered;
    return holds(lostWithRefusal, number) ? Dialect::FailureKind::LostRefused
                                          : Dialect::FailureKind::Definite;
}

} // namespace

ErrorCode MariaDbDialect::classify(const QSqlError& error) const
{
    const int number = error.nativeErrorCode().toInt();
    const auto* const found = std::find_if(std::begin(meanings), std::end(meanings),
                                           [number](const Meaning& m) { return m.number == number; });
    if (found != std::end(meanings))
        return found->code;
    return failureKind(number) == FailureKind::Definite ? ErrorCode::Internal : ErrorCode::Unavailable;
}

/// A database that is gone is told with what to do.
Status MariaDbDialect::failure(const QSqlError& error) const
{
    auto failed = Dialect::failure(error);
    if (error.nativeErrorCode().toInt() != UnknownDatabase)
        return failed;
    return failed.retold(
        failed.message() +
        QStringLiteral(
            "; name the right one in database/name, bring a lost one back with \"zav_admin restore\", "
            "or make a new site with \"zav_admin init\""));
}

Dialect::FailureKind MariaDbDialect::kindOf(const QSqlError& error) const
{
    return failureKind(error.nativeErrorCode().toInt());
}

} // namespace KOZAV::Backend
