#include "tests/support/MariaDbServer.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcessEnvironment>
#include <QRandomGenerator>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTcpServer>
#include <QUuid>

#include <csignal>
#include <pwd.h>
#include <unistd.h>

namespace KOZAV::Test {

using Backend::DatabaseSettings;

namespace {

constexpr int serverWaitMs = 60'000;
constexpr int pollMs = 10;
constexpr const char* host = "127.0.0.1";

QString systemUser()
{
    const passwd* user = ::getpwuid(::geteuid());
    return QString::fromLocal8Bit(user ? user->pw_name : "");
}

/// A port below those that the system gives to connections: none of them takes it while the server is down.
quint16 freePort()
{
    constexpr int lowest = 20'000;
    constexpr int highest = 32'000;
    for (;;) {
        const int port = QRandomGenerator::global()->bounded(lowest, highest);
        if (QTcpServer probe; probe.listen(QHostAddress::LocalHost, static_cast<quint16>(port)))
            return static_cast<quint16>(port);
    }
}

QString writePassword(const QString& path)
{
    QString password = QUuid::createUuid().toString(QUuid::Id128);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly) ||
        !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner) || file.write(password.toLatin1()) < 0)
        qFatal("%s: %s", qPrintable(path), qPrintable(file.errorString()));
    return password;
}

void require(const Backend::Status& status)
{
    if (!status.ok())
        qFatal("%s", qPrintable(status.message()));
}

constexpr const char* connectionsOfAccounts =
    "SELECT id FROM information_schema.processlist WHERE user LIKE 'zav\\_%'";

} // namespace

MariaDbServer::MariaDbServer(MariaDbOptions options)
    : m_options(std::move(options))
{
    constexpr int attempts = 5;
    makeDataFolder();
    m_process.setStandardOutputFile(QProcess::nullDevice());
    m_process.setStandardErrorFile(inFolder("log"), QIODevice::Append);
    for (int attempt = 0; attempt < attempts; ++attempt) {
        m_port = freePort();
        if (start())
            return;
    }
    qFatal("mariadbd does not start: %s", qPrintable(log()));
}

MariaDbServer::~MariaDbServer() = default;

QString MariaDbServer::inFolder(const char* name) const
{
    return m_folder.filePath(QLatin1String(name));
}

QString MariaDbServer::log() const
{
    QFile file(inFolder("log"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : m_process.errorString();
}

void MariaDbServer::makeDataFolder() const
{
    // A server that starts removes what looks like its temporary tables, also those of others beside it.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TMPDIR"), inFolder("tmp"));
    if (!QDir().mkpath(inFolder("tmp")))
        qFatal("the folder %s cannot be made", qPrintable(inFolder("tmp")));
    QProcess install;
    install.setProcessEnvironment(environment);
    install.setProcessChannelMode(QProcess::MergedChannels);
    install.start(
        QStringLiteral(ZAV_MARIADB_INSTALL_DB),
        {QStringLiteral("--no-defaults"), QStringLiteral("--datadir=") + inFolder("data"),
         QStringLiteral("--user=") + systemUser(), QStringLiteral("--auth-root-authentication-method=socket"),
         QStringLiteral("--auth-root-socket-user=") + systemUser(), QStringLiteral("--skip-test-db"),
         QStringLiteral("--skip-name-resolve"), QStringLiteral("--innodb-log-file-size=16M")});
    if (!install.waitForFinished(serverWaitMs) || install.exitCode() != 0)
        qFatal("mariadb-install-db: %s%s", install.readAll().constData(), qPrintable(install.errorString()));
}

QStringList MariaDbServer::startArguments() const
{
    QStringList list = {QStringLiteral("--no-defaults"),
                        QStringLiteral("--datadir=") + inFolder("data"),
                        QStringLiteral("--tmpdir=") + inFolder("tmp"),
                        QStringLiteral("--socket=") + inFolder("socket"),
                        QStringLiteral("--pid-file=") + inFolder("pid"),
                        QStringLiteral("--bind-address=") + QLatin1String(host),
                        QStringLiteral("--port=%1").arg(m_port),
                        QStringLiteral("--skip-name-resolve"),
                        QStringLiteral("--local-infile=OFF"),
                        QStringLiteral("--innodb-flush-log-at-trx-commit=1"),
                        QStringLiteral("--innodb-log-file-size=16M"),
                        QStringLiteral("--innodb-buffer-pool-size=64M")};
    if (::geteuid() == 0)
        list << QStringLiteral("--user=root");
    if (!m_options.certificate.isEmpty())
        list << QStringLiteral("--ssl-cert=") + m_options.certificate
             << QStringLiteral("--ssl-key=") + m_options.key;
    return list + m_options.arguments;
}

bool MariaDbServer::start()
{
    m_process.start(QStringLiteral(ZAV_MARIADBD), startArguments());
    const QDeadlineTimer deadline(serverWaitMs);
    const auto ready = [this] { return administer(QString(), [](const QSqlDatabase&) { return true; }); };
    while (!ready())
        if (deadline.hasExpired() || m_process.state() == QProcess::NotRunning ||
            m_process.waitForFinished(pollMs))
            return false;
    return true;
}

void MariaDbServer::restart()
{
    kill();
    if (!start())
        qFatal("mariadbd does not start again: %s", qPrintable(log()));
}

void MariaDbServer::stop()
{
    m_process.send(SIGSTOP);
    const QDeadlineTimer deadline(serverWaitMs);
    while (!m_process.isStopped())
        if (deadline.hasExpired())
            qFatal("mariadbd does not stop");
}

void MariaDbServer::resume() const
{
    m_process.send(SIGCONT);
}

QString MariaDbServer::openConnection(const QString& database) const
{
    QString name = QUuid::createUuid().toString();
    bool opened = false;
    {
        QSqlDatabase connection = QSqlDatabase::addDatabase(QStringLiteral("QMYSQL"), name);
        connection.setHostName(QStringLiteral("localhost"));
        connection.setConnectOptions(QStringLiteral("UNIX_SOCKET=") + inFolder("socket"));
        connection.setUserName(systemUser());
        connection.setDatabaseName(database);
        opened = connection.open();
    }
    if (opened)
        return name;
    QSqlDatabase::removeDatabase(name);
    return {};
}

/// Opens a connection of the administrator for use. @return false where it cannot be opened, or use's result
template <typename Use>
bool MariaDbServer::administer(const QString& database, const Use& use) const
{
    const QString name = openConnection(database);
    if (name.isEmpty())
        return false;
    const bool done = use(QSqlDatabase::database(name));
    QSqlDatabase::removeDatabase(name);
    return done;
}

bool MariaDbServer::run(const DatabaseSettings& settings, const QString& sql) const
{
    return administer(settings.name, [&sql](const QSqlDatabase& connection) {
        QSqlQuery query(connection);
        const bool done = query.exec(sql);
        while (query.nextResult()) {
        }
        return done && query.lastError().type() == QSqlError::NoError;
    });
}

QString MariaDbServer::value(const DatabaseSettings& settings, const QString& sql) const
{
    QString found;
    const bool done = administer(settings.name, [&](const QSqlDatabase& connection) {
        QSqlQuery query(connection);
        const bool any = query.exec(sql) && query.next();
        found = any ? query.value(0).toString() : query.lastError().text();
        return any;
    });
    if (!done)
        qFatal("%s: %s", qPrintable(sql), qPrintable(found));
    return found;
}

DatabaseSettings MariaDbServer::makeDatabase()
{
    DatabaseSettings settings;
    settings.driver = QStringLiteral("QMYSQL");
    settings.host = QLatin1String(host);
    settings.port = m_port;
    settings.user = QStringLiteral("zav_%1").arg(++m_databases);
    settings.passwordFile = m_folder.filePath(settings.user + QStringLiteral(".password"));
    const QString password = writePassword(settings.passwordFile);
    const QString account = QStringLiteral("'%1'@'%2'").arg(settings.user, QLatin1String(host));
    for (const QString& sql :
         {QStringLiteral("CREATE DATABASE %1").arg(settings.user),
          QStringLiteral("CREATE USER %1 IDENTIFIED BY '%2'").arg(account, password),
          QStringLiteral(
              "GRANT SELECT, INSERT, UPDATE, DELETE, CREATE, ALTER, INDEX, REFERENCES ON %1.* TO %2")
              .arg(settings.user, account)})
        if (!run({}, sql))
            qFatal("the server does not carry out: %s", qPrintable(sql.section(QLatin1Char('\''), 0, 0)));
    settings.name = settings.user;
    return settings;
}

void MariaDbServer::writeTo(const QString& configuration, const DatabaseSettings& settings)
{
    const auto set = [&configuration](const char* key, const QString& value) {
        if (!value.isEmpty())
            require(Backend::writeSetting(configuration, QLatin1String(key), value));
    };
    set("database/host", settings.host);
    set("database/port", QString::number(settings.port));
    set("database/name", settings.name);
    set("database/user", settings.user);
    set("database/password_file", settings.passwordFile);
    set("database/tls_ca", settings.tlsCaFile);
    set("database/connect_timeout", QString::number(settings.connectTimeoutSeconds));
    set("database/read_timeout", QString::number(settings.readTimeoutSeconds));
    set("database/write_timeout", QString::number(settings.writeTimeoutSeconds));
    set("database/driver", settings.driver);
}

int MariaDbServer::connections() const
{
    return value(
               {},
               QStringLiteral("SELECT COUNT(*) FROM (%1) AS open").arg(QLatin1String(connectionsOfAccounts)))
        .toInt();
}

int MariaDbServer::killConnections() const
{
    int killed = 0;
    const bool done = administer(QString(), [&killed](const QSqlDatabase& connection) {
        QSqlQuery open(connection);
        if (!open.exec(QLatin1String(connectionsOfAccounts)))
            return false;
        QStringList ids;
        while (open.next())
            ids << open.value(0).toString();
        killed = ids.size();
        QSqlQuery order(connection);
        for (const QString& id : qAsConst(ids))
            (void)order.exec(QStringLiteral("KILL ") + id); // one that has ended by itself is as good
        const QString left =
            QLatin1String(connectionsOfAccounts) +
            QStringLiteral(" AND id IN (0%1)").arg(QLatin1Char(',') + ids.join(QLatin1Char(',')));
        const QDeadlineTimer deadline(serverWaitMs);
        while (!ids.isEmpty() && open.exec(left) && open.next() && !deadline.hasExpired()) {
        }
        return !deadline.hasExpired();
    });
    if (!done)
        qFatal("the connections cannot be ended");
    return killed;
}

} // namespace KOZAV::Test
