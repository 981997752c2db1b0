#include "backend/database/mariadb/MariaDbDialect.h"

#include "backend/Operation.h"
#include "backend/config/Password.h"

#include <QFileInfo>
#include <QSqlQuery>

#include <algorithm>
#include <mutex>

// What makes a server keep texts as they are, and a caller's wait an end.
//
// Values travel within a statement's text, quoted by the driver: one exchange instead of two. The quoting is
// right for one set of modes and one character set, and the driver begins every session with another one (of
// three bytes a character). So each session sets them anew and reads them back: strict, so that a text that
// is too long is refused and not cut; utf8mb4; no mode in which a backslash is a letter. A server that does
// not keep to them is refused.
//
// With a certificate the driver checks the chain, but still takes a server that offers no encryption: the
// state of the connection is read before anything is sent over it. Connecting, reading and writing have
// time-outs; the wait for a lock ends a second before that for the answer, so that the statement's outcome is
// known.
//
// Writes that belong together are one compound statement, again in one exchange. MariaDB can prepare such a
// statement too, but the driver would need two exchanges for it; MySQL has none, and runs a transaction of
// single statements.
//
// Texts compare by code points and with their trailing blanks, as in SQLite: the tables say so
// (MariaDbSchema.cpp), or a job found by one engine would be another one's.

namespace KOZAV::Backend {

namespace {

constexpr int longestDatabaseName = 64;

/// The driver takes its options as one text, parted by semicolons.
QString option(const char* name, const QString& value)
{
    return QLatin1String(name) + QLatin1Char('=') + value;
}

Status checkTlsFile(const QString& path)
{
    if (path.contains(QLatin1Char(';')) || path.contains(QLatin1Char('=')))
        return Status::configuration(
            QStringLiteral("the path \"%1\" of database/tls_ca holds a ';' or '='").arg(path));
    if (!QFileInfo(path).isReadable())
        return Status::configuration(
            QStringLiteral("the file \"%1\" of database/tls_ca cannot be read").arg(path));
    return {};
}

QString connectOptions(const DatabaseSettings& settings)
{
    // FOUND_ROWS: a change that leaves a row as it was has found it all the same.
    QStringList options = {
        QStringLiteral("CLIENT_FOUND_ROWS=1"),
        option("MYSQL_OPT_CONNECT_TIMEOUT", QString::number(settings.connectTimeoutSeconds)),
        option("MYSQL_OPT_READ_TIMEOUT", QString::number(settings.readTimeoutSeconds)),
        option("MYSQL_OPT_WRITE_TIMEOUT", QString::number(settings.writeTimeoutSeconds))};
    if (!settings.tlsCaFile.isEmpty())
        options << option("SSL_CA", settings.tlsCaFile);
    return options.join(QLatin1Char(';'));
}

QString sessionSql(const DatabaseSettings& settings)
{
    // A wait for a lock has to end before the wait for the answer does: its outcome is known then.
    const int lockWait = std::max(1, settings.readTimeoutSeconds - 1);
    return QStringLiteral("SET SESSION sql_mode = 'STRICT_ALL_TABLES,ERROR_FOR_DIVISION_BY_ZERO,"
                          "NO_ENGINE_SUBSTITUTION', autocommit = 1, foreign_key_checks = 1,"
                          " unique_checks = 1, innodb_lock_wait_timeout = %1, lock_wait_timeout = %1")
        .arg(lockWait);
}

void warnOfDeferredFlush(const QString& value)
{
    static std::once_flag told;
    std::call_once(told, [&value] {
        qCWarning(logDatabase).noquote()
            << QStringLiteral("the database server has innodb_flush_log_at_trx_commit = %1: it may lose "
                              "imports that were answered when its machine fails")
                   .arg(value);
    });
}

} // namespace

QString MariaDbDialect::describe(const DatabaseSettings& settings) const
{
    return QStringLiteral("%1:%2/%3").arg(settings.host).arg(settings.port).arg(settings.name);
}

Status MariaDbDialect::prepare(const DatabaseSettings& settings, MissingDatabase /*missing*/) const
{
    if (settings.name.isEmpty() || settings.name.size() > longestDatabaseName)
        return Status::configuration(
            QStringLiteral("database/name has 1 to %1 characters").arg(longestDatabaseName));
    return settings.tlsCaFile.isEmpty() ? Status() : checkTlsFile(settings.tlsCaFile);
}

Status MariaDbDialect::configure(QSqlDatabase& connection, const DatabaseSettings& settings) const
{
    const auto password = readPassword(settings.passwordFile, databasePasswordVariable);
    if (!password.ok())
        return password.status();
    connection.setHostName(settings.host);
    connection.setPort(settings.port);
    connection.setDatabaseName(settings.name);
    connection.setUserName(settings.user);
    connection.setPassword(password.value());
    connection.setConnectOptions(connectOptions(settings));
    return {};
}

Status MariaDbDialect::checkTransport(const QSqlDatabase& connection, const DatabaseSettings& settings) const
{
    if (settings.tlsCaFile.isEmpty())
        return {};
    // With a certificate the driver still takes a server that offers no encryption at all.
    ServiceHealth health;
    if (auto status = inspect(connection, health); !status.ok())
        return status;
    if (!health.encryption.isEmpty())
        return {};
    return Status::notPermitted(
        QStringLiteral("the server does not encrypt the connection, and database/tls_ca asks for it"));
}

Status MariaDbDialect::identify(const QSqlDatabase& connection) const
{
    // One statement: another process that makes this database now makes the marked table first.
    QSqlQuery tables(connection);
    if (!tables.exec(QStringLiteral(
            "SELECT COUNT(*), COALESCE(SUM(table_name = 'schema_version' AND table_comment LIKE "
            "'job import%'), 0) FROM information_schema.tables WHERE table_schema = DATABASE()")) ||
        !tables.next())
        return failure(tables.lastError());
    if (tables.value(0).toInt() == 0 || tables.value(1).toInt() == 1)
        return {};
    return Status::configuration(QStringLiteral("it holds tables, and they are those of another program"));
}

Status MariaDbDialect::startSession(const QSqlDatabase& connection, const DatabaseSettings& settings)
{
    // The driver begins with a character set of three bytes a character.
    if (auto status = run(connection, "SET NAMES utf8mb4"); !status.ok())
        return status;
    if (auto status = run(connection, sessionSql(settings).toLatin1().constData()); !status.ok())
        return status;
    if (auto status = run(connection, "SET SESSION TRANSACTION ISOLATION LEVEL REPEATABLE READ");
        !status.ok())
        return status;
    return checkSession(connection);
}

Status MariaDbDialect::checkSession(const QSqlDatabase& connection)
{
    QSqlQuery session(connection);
    if (!session.exec(QStringLiteral("SELECT @@SESSION.sql_mode, @@SESSION.character_set_client,"
                                     " @@GLOBAL.innodb_flush_log_at_trx_commit, VERSION()")) ||
        !session.next())
        return failure(session.lastError());
    // The driver quotes a backslash with another one; ANSI quotes would not change what it writes.
    const QString mode = session.value(0).toString();
    if (!mode.contains(QLatin1String("STRICT_ALL_TABLES")) ||
        mode.contains(QLatin1String("NO_BACKSLASH_ESCAPES")) ||
        session.value(1).toString() != QLatin1String("utf8mb4"))
        return Status::configuration(
            QStringLiteral("the server does not keep the mode and the character set that a session "
                           "asks for, and could store other texts than it is given"));
    if (session.value(2).toString() != QLatin1String("1"))
        warnOfDeferredFlush(session.value(2).toString());
    m_hasCompounds = session.value(3).toString().contains(QLatin1String("MariaDB"));
    return {};
}

Status MariaDbDialect::inspect(const QSqlDatabase& connection, ServiceHealth& health) const
{
    health.remote = true;
    QSqlQuery status(connection);
    if (!status.exec(QStringLiteral("SHOW SESSION STATUS WHERE Variable_name IN ('Ssl_version', "
                                    "'wsrep_cluster_size')")))
        return failure(status.lastError());
    while (status.next()) {
        const QString value = status.value(1).toString();
        if (status.value(0).toString().compare(QLatin1String("Ssl_version"), Qt::CaseInsensitive) == 0)
            health.encryption = value;
        else if (value.toInt() > 0)
            health.topology = QStringLiteral("Galera cluster of %1").arg(value);
    }
    return {};
}

Result<bool> MariaDbDialect::createDatabase(QSqlDatabase& connection, const DatabaseSettings& settings) const
{
    connection.setDatabaseName(QString());
    if (!connection.open())
        return failure(connection.lastError());
    if (auto status = checkTransport(connection, settings); !status.ok())
        return status;
    QSqlQuery known(connection);
    known.prepare(QStringLiteral("SELECT 1 FROM information_schema.schemata WHERE schema_name = ?"));
    known.addBindValue(settings.name);
    if (!known.exec())
        return failure(known.lastError());
    if (known.next())
        return false;
    QString quoted = settings.name;
    quoted.replace(QLatin1Char('`'), QLatin1String("``"));
    QSqlQuery create(connection);
    if (!create.exec(QStringLiteral("CREATE DATABASE IF NOT EXISTS `%1` CHARACTER SET utf8mb4").arg(quoted)))
        return failure(create.lastError());
    return true;
}

Dialect::SchemaLock MariaDbDialect::schemaLock() const
{
    return {"SELECT GET_LOCK(CONCAT('job import ', MD5(DATABASE())), 0)",
            "SELECT RELEASE_LOCK(CONCAT('job import ', MD5(DATABASE())))"};
}

const char* MariaDbDialect::durabilitySql(Durability /*durability*/) const
{
    return nullptr;
}

const char* MariaDbDialect::versionTableSql() const
{
    return "SELECT COUNT(*) FROM information_schema.tables"
           " WHERE table_schema = DATABASE() AND table_name = 'schema_version'";
}

const Dialect::HoldStatements* MariaDbDialect::holdStatements() const
{
// A time of expiry further ahead than any lease was written before the server's clock was set back.
#define IS_FREE "(expires <= UTC_TIMESTAMP(3) OR expires > UTC_TIMESTAMP(3) + INTERVAL 120 SECOND)"
#define LEASE_END "UTC_TIMESTAMP(3) + INTERVAL ? MICROSECOND"
#define SINCE "CONCAT(LEFT(DATE_FORMAT(since, '%Y-%m-%dT%H:%i:%s.%f'), 23), 'Z')"
    static const HoldStatements statements = {
        "UPDATE company_hold SET holder = ?, user_name = ?, host = ?, process_id = ?, since = "
        "UTC_TIMESTAMP(3),"
        " expires = " LEASE_END " WHERE company_id = ? AND (" IS_FREE " OR holder = ?)",
        "INSERT INTO company_hold (company_id, holder, user_name, host, process_id, since, expires)"
        " VALUES (?, ?, ?, ?, ?, UTC_TIMESTAMP(3), " LEASE_END ")",
        "UPDATE company_hold SET expires = " LEASE_END " WHERE company_id = ? AND holder = ?",
        "UPDATE company_hold SET holder = 'nobody', expires = '1970-01-01' WHERE company_id = ? AND holder = "
        "?",
        "SELECT user_name, host, process_id, " SINCE ", NOT " IS_FREE
        " FROM company_hold WHERE company_id = ?",
        "SELECT company_id, user_name, host, process_id, " SINCE " FROM company_hold WHERE NOT " IS_FREE
        " ORDER BY company_id"};
#undef IS_FREE
#undef LEASE_END
#undef SINCE
    return &statements;
}

/// A write that was killed leaves the compound's transaction open, which the next START TRANSACTION would
/// commit: so each begins by undoing what there is.
const Dialect::CompoundParts* MariaDbDialect::compoundParts() const
{
    static const CompoundParts parts = {
        "BEGIN NOT ATOMIC ROLLBACK; START TRANSACTION; ",
        "; IF ROW_COUNT() = 0 THEN SIGNAL SQLSTATE '45000' SET MESSAGE_TEXT = 'no row was found'; END IF; ",
        "COMMIT; END"};
    return m_hasCompounds ? &parts : nullptr;
}

const char* MariaDbDialect::engineVersionSql() const
{
    return "SELECT CONCAT(IF(VERSION() LIKE '%MariaDB%', 'MariaDB ', 'MySQL '),"
           " SUBSTRING_INDEX(VERSION(), '-', 1))";
}

} // namespace KOZAV::Backend
