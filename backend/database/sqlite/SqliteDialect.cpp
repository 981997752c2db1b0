#include "backend/database/sqlite/SqliteDialect.h"

#include "backend/io/PrivateFile.h"
#include "backend/io/SystemError.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QThread>
#include <QUrl>

#include <cstring>

namespace KOZAV::Backend {

namespace {

/// The driver does not give the number of the constraint, but SQLite's texts for them do not change.
ErrorCode brokenConstraint(const QString& text)
{
    if (text.startsWith(QLatin1String("UNIQUE")))
        return ErrorCode::AlreadyExists;
    if (text.startsWith(QLatin1String("FOREIGN KEY")))
        return ErrorCode::NotFound;
    return ErrorCode::InvalidArgument;
}

Status refused(ErrorCode code, const QString& path, const QString& reason)
{
    return Status(code, QStringLiteral("cannot use \"%1\" as the database file: %2").arg(path, reason));
}

/// SQLite takes an empty file for a new database, and gives its other files the same mode.
Status makeEmptyFile(const QFileInfo& file)
{
    if (const auto folder = makePrivateFolder(file.absolutePath()); !folder.ok())
        return folder.status();
    auto made = writePrivateFile(file.absoluteFilePath(), {}, ExistingTarget::Keep);
    return made.code() == ErrorCode::AlreadyExists ? Status() : made;
}

/// What is to be done where the file is not the site's database.
QString advice()
{
    return QStringLiteral("mount its disk or name the right one in database/file, bring a lost one back with "
                          "\"zav_admin restore\", or make a new site with \"zav_admin init\"");
}

Status checkExistingFile(const QFileInfo& file, const DatabaseSettings& settings, MissingDatabase missing)
{
    const QString& path = settings.file;
    if (!file.isFile())
        return refused(ErrorCode::Configuration, path, QStringLiteral("it is not a regular file"));
    if (!file.isReadable())
        return refused(ErrorCode::NotPermitted, path, QStringLiteral("it may not be read"));
    if (!file.isWritable() && !settings.onlyToRead)
        return refused(ErrorCode::NotPermitted, path, QStringLiteral("it may not be written"));
    if (file.size() == 0 && missing == MissingDatabase::Refused)
        return refused(ErrorCode::Configuration, path, QStringLiteral("it is empty; ") + advice());
    return {};
}

/// Checks that a path names a writable regular file, or makes an empty one there if it is to be made: mode
/// 0600, missing folders 0700. A file that exists is left as it is, also where another program makes it at
/// the same time.
Status prepareFile(const DatabaseSettings& settings, MissingDatabase missing)
{
    const QString& path = settings.file;
    if (path.isEmpty())
        return refused(ErrorCode::Configuration, path, QStringLiteral("the name is empty"));
    if (path.contains(QChar(QChar::Null)))
        return refused(ErrorCode::Configuration, path, QStringLiteral("the name holds a NUL character"));
    const QFileInfo file(QFileInfo(path).absoluteFilePath());
    if (file.exists())
        return checkExistingFile(file, settings, missing);
    if (file.isSymLink())
        return refused(ErrorCode::Configuration, path,
                       QStringLiteral("it is a link to a file that does not exist"));
    if (missing == MissingDatabase::Refused)
        return refused(ErrorCode::Configuration, path, QStringLiteral("it does not exist; ") + advice());
    const auto made = makeEmptyFile(file);
    return made.ok() ? made : refused(made.code(), path, made.message());
}

constexpr const char* readOnlyOption = ";QSQLITE_OPEN_READONLY";
constexpr const char* immutableName = "?immutable=1";

/// SQLite's write-ahead log needs its folder too.
bool mayWrite(const QFileInfo& file)
{
    return file.isWritable() && QFileInfo(file.absolutePath()).isWritable();
}

/// Whether nobody has the database open and nothing of it lies in its log. Only then the file alone is all of
/// it; a reader who may not make the log's index has to take it so.
bool isWholeByItself(const QString& path)
{
    return !QFileInfo::exists(path + QStringLiteral("-shm")) &&
           QFileInfo(path + QStringLiteral("-wal")).size() == 0;
}

} // namespace

QString SqliteDialect::fileOf(const QSqlDatabase& connection)
{
    QString name = connection.databaseName();
    if (!name.startsWith(QLatin1String("file:")))
        return name;
    const QByteArray path = name.section(QLatin1Char('?'), 0, 0).mid(int(std::strlen("file:"))).toUtf8();
    return QUrl::fromPercentEncoding(path);
}

QString SqliteDialect::describe(const DatabaseSettings& settings) const
{
    return settings.file;
}

Status SqliteDialect::prepare(const DatabaseSettings& settings, MissingDatabase missing) const
{
    return prepareFile(settings, missing);
}

Status SqliteDialect::configure(QSqlDatabase& connection, const DatabaseSettings& settings) const
{
    // An absolute path is always a file; names such as ":memory:" would be a database that ends with the
    // program.
    const QFileInfo file(QFileInfo(settings.file).absoluteFilePath());
    QString name = file.filePath();
    QString options = QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(settings.busyTimeoutMs);
    if (settings.onlyToRead && !mayWrite(file)) {
        options += QLatin1String(readOnlyOption);
        if (isWholeByItself(name)) {
            name = QStringLiteral("file:") + QString::fromLatin1(QUrl::toPercentEncoding(name, "/")) +
                   QLatin1String(immutableName);
            options += QStringLiteral(";QSQLITE_OPEN_URI");
        }
    }
    connection.setDatabaseName(name);
    connection.setConnectOptions(options);
    return {};
}

Status SqliteDialect::identify(const QSqlDatabase& connection) const
{
    // The tables first: another process that makes this database now sets its mark and its tables in one
    // transaction, and a mark that was read before the tables were there would be taken for a missing one.
    const auto tables = scalar(connection, "SELECT count(*) FROM sqlite_master");
    if (!tables.ok())
        return tables.status();
    const auto application = scalar(connection, "PRAGMA application_id");
    if (!application.ok())
        return application.status();
    const int mark = application.value().toInt();
    if (mark == applicationId || (mark == 0 && tables.value().toInt() == 0))
        return {};
    return Status::configuration(QStringLiteral("the file is a database of another program"));
}

Status SqliteDialect::startSession(const QSqlDatabase& connection, const DatabaseSettings& settings)
{
    const bool writes = !connection.connectOptions().contains(QLatin1String(readOnlyOption));
    if (auto status = writes ? switchToWriteAheadLog(connection, settings.busyTimeoutMs) : Status();
        !status.ok())
        return status;
    for (const char* setting :
         {"PRAGMA foreign_keys = ON", "PRAGMA trusted_schema = OFF", "PRAGMA cache_size = -65536"})
        if (auto status = run(connection, setting); !status.ok())
            return status;
    return {};
}

Status SqliteDialect::switchToWriteAheadLog(const QSqlDatabase& connection, int busyTimeoutMs) const
{
    // SQLite does not wait by itself here: two programs that open a new database at once would refuse each
    // other.
    QDeadlineTimer deadline(busyTimeoutMs);
    auto mode = scalar(connection, "PRAGMA journal_mode = WAL");
    while (!mode.ok() && mode.code() == ErrorCode::Unavailable && !deadline.hasExpired()) {
        QThread::msleep(2);
        mode = scalar(connection, "PRAGMA journal_mode = WAL");
    }
    if (!mode.ok())
        return mode.status();
    if (mode.value().toString() == QLatin1String("wal"))
        return {};
    return Status::configuration(
        QStringLiteral("the folder of the database does not allow a write-ahead log; "
                       "a database on a network share needs a server engine"));
}

const char* SqliteDialect::beginSql() const
{
    // A deferred transaction that reads first is refused at once when another one has written in between.
    return "BEGIN IMMEDIATE";
}

const char* SqliteDialect::beginReadSql() const
{
    return "BEGIN DEFERRED";
}

const char* SqliteDialect::durabilitySql(Durability durability) const
{
    return durability == Durability::Immediate ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL";
}

const char* SqliteDialect::versionTableSql() const
{
    return "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = 'schema_version'";
}

const char* SqliteDialect::engineVersionSql() const
{
    return "SELECT 'SQLite ' || sqlite_version()";
}

Status SqliteDialect::failure(const QSqlError& error) const
{
    const Status status = Dialect::failure(error);
    // SQLite does not tell which error of the system it was.
    return status.code() == ErrorCode::Io ? status.retold(status.message() + fileSizeLimitText()) : status;
}

ErrorCode SqliteDialect::classify(const QSqlError& error) const
{
    // Result codes of sqlite3.h. Newer versions of the driver give extended ones, whose low byte is the plain
    // one.
    enum { Permission = 3, Busy = 5, Locked = 6, ReadOnly = 8, InOut = 10, Corrupt = 11, Full = 13 };
    enum { CannotOpen = 14, TooBig = 18, Constraint = 19, Authorization = 23, NotADatabase = 26 };
    switch (error.nativeErrorCode().toInt() & 0xff) {
    case Busy:
    case Locked:
        return ErrorCode::Unavailable;
    case Permission:
    case ReadOnly:
    case CannotOpen:
    case Authorization:
        return ErrorCode::NotPermitted;
    case InOut:
        return ErrorCode::Io;
    case Full:
        return ErrorCode::NoSpace;
    case Corrupt:
    case NotADatabase:
        return ErrorCode::Corrupt;
    case Constraint:
        return brokenConstraint(error.databaseText());
    case TooBig:
        return ErrorCode::InvalidArgument;
    default:
        return ErrorCode::Internal;
    }
}

} // namespace KOZAV::Backend
