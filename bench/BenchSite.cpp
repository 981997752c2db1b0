#include "bench/BenchSite.h"

#include "backend/Site.h"
#include "backend/SiteCreation.h"
#include "backend/config/Settings.h"
#include "backend/database/Database.h"
#include "backend/records/SiteRecords.h"
#include "backend/store/DocumentStore.h"
#include "tests/support/GridFsPeer.h"
#include "tests/support/MariaDbServer.h"

#include <QFile>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QUrl>
#include <QUuid>

namespace KOZAV::Bench {

using Backend::Site;

namespace {

constexpr const char* thisMachine = "127.0.0.1";
constexpr int mariaDbPort = 3306;

void require(const Backend::Status& status)
{
    if (!status.ok())
        qFatal("%s", qUtf8Printable(status.message()));
}

QUrl givenRowServer()
{
    return QUrl(qEnvironmentVariable("ZAV_TEST_MARIADB_URI"));
}

QString freshName()
{
    return QStringLiteral("zav_bench_") + QUuid::createUuid().toString(QUuid::Id128);
}

/// The places in a connection text.
struct UriParts
{
    QString before; ///< scheme and login
    QString host;   ///< the first
    QString port;
    QString after;
};

UriParts partsOf(const QString& uri)
{
    static const QRegularExpression form(
        QStringLiteral("^(mongodb://(?:[^@/]*@)?)([^:/,?]+)(?::(\\d+))?(?:,[^/?]*)?(.*)$"));
    const auto match = form.match(uri);
    if (!match.hasMatch())
        qFatal("ZAV_TEST_MONGODB_URI names no server by mongodb://HOST:PORT");
    const QString port = match.captured(3);
    return {match.captured(1), match.captured(2), port.isEmpty() ? QStringLiteral("27017") : port,
            match.captured(4)};
}

/// Has the account of the URL carry out a statement.
void administer(const QUrl& server, const QString& statement)
{
    const QString connection = QStringLiteral("bench-administrator");
    {
        auto database = QSqlDatabase::addDatabase(QStringLiteral("QMYSQL"), connection);
        database.setHostName(server.host());
        database.setPort(server.port(mariaDbPort));
        if (!database.open(server.userName(QUrl::FullyDecoded), server.password(QUrl::FullyDecoded)))
            qFatal("%s", qUtf8Printable(database.lastError().text()));
        QSqlQuery query(database);
        if (!query.exec(statement))
            qFatal("%s", qUtf8Printable(query.lastError().text()));
    }
    QSqlDatabase::removeDatabase(connection);
}

/// Makes an empty database on the server that the URL names. @return the settings of a site there
Backend::DatabaseSettings makeDatabaseAt(const QUrl& server, const QString& passwordFile)
{
    Backend::DatabaseSettings settings;
    settings.host = server.host();
    settings.port = server.port(mariaDbPort);
    settings.user = server.userName(QUrl::FullyDecoded);
    settings.passwordFile = passwordFile;
    settings.driver = QStringLiteral("QMYSQL");
    settings.name = freshName();
    QFile file(passwordFile);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly) ||
        !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner) ||
        file.write(server.password(QUrl::FullyDecoded).toUtf8()) < 0)
        qFatal("%s: %s", qUtf8Printable(passwordFile), qUtf8Printable(file.errorString()));
    administer(server, QStringLiteral("CREATE DATABASE ") + settings.name);
    return settings;
}

} // namespace

FileServer::FileServer()
    : m_peer(std::make_unique<Test::GridFsPeer>())
{
    if (const QString problem = m_peer->problem(); !problem.isEmpty())
        qFatal("%s", qUtf8Printable(problem));
}

FileServer::~FileServer() = default;

QString FileServer::uri() const
{
    return m_peer->uri();
}

QString FileServer::uriAt(std::uint16_t port) const
{
    const UriParts parts = partsOf(uri());
    QString moved = parts.before + QLatin1String(thisMachine) + QStringLiteral(":%1").arg(port) + parts.after;
    // Members of a set would be met at their own addresses, past the proxy.
    if (moved.contains(QStringLiteral("directConnection")))
        return moved;
    const QString separator = moved.contains(QLatin1Char('?'))           ? QStringLiteral("&")
                              : parts.after.startsWith(QLatin1Char('/')) ? QStringLiteral("?")
                                                                         : QStringLiteral("/?");
    return moved + separator + QStringLiteral("directConnection=true");
}

std::unique_ptr<DelayingProxy> FileServer::proxy(std::chrono::microseconds delay) const
{
    const UriParts parts = partsOf(uri());
    return std::make_unique<DelayingProxy>(0, parts.host.toStdString(), parts.port.toStdString(), delay);
}

QString FileServer::description() const
{
    return qEnvironmentVariableIsEmpty("ZAV_TEST_MONGODB_URI")
               ? QStringLiteral("the tests' own GridFS peer (Python, files in memory)")
               : QStringLiteral("the GridFS server of ZAV_TEST_MONGODB_URI");
}

BenchSite::BenchSite(Engines engines, std::chrono::microseconds delay)
{
    require(Backend::createDefaultSettings(configuration(), path(QStringLiteral("data"))));
    if (engines != Engines::Embedded)
        nameRowServer(delay);
    if (engines == Engines::MariaDbGridFs)
        nameFileServer(delay);
    require(Backend::createSite({configuration()}).status());
    Site::current().setConfigurationPath(configuration());
    require(Site::current().database().status());
    require(Site::current().documentStore().status());
}

BenchSite::~BenchSite()
{
    Site::current().close();
    if (!m_givenDatabase.isEmpty())
        administer(givenRowServer(), QStringLiteral("DROP DATABASE ") + m_givenDatabase);
}

void BenchSite::set(const char* key, const QString& value) const
{
    require(Backend::writeSetting(configuration(), QLatin1String(key), value));
}

void BenchSite::nameRowServer(std::chrono::microseconds delay)
{
    Backend::DatabaseSettings settings;
    if (const QUrl given = givenRowServer(); !given.isEmpty()) {
        settings = makeDatabaseAt(given, path(QStringLiteral("password")));
        m_givenDatabase = settings.name;
        m_rowDescription = QStringLiteral("the MariaDB server of ZAV_TEST_MARIADB_URI");
    } else {
        m_rowServer = std::make_unique<Test::MariaDbServer>();
        settings = m_rowServer->makeDatabase();
        // What a whole check looks at.
        if (!m_rowServer->run({}, QStringLiteral("GRANT TRIGGER, EXECUTE, EVENT ON %1.* TO '%1'@'%2'")
                                      .arg(settings.user, QLatin1String(thisMachine))))
            qFatal("the server does not give the account its rights");
        m_rowDescription = QStringLiteral("a MariaDB server of this machine");
    }
    m_rowProxy =
        std::make_unique<DelayingProxy>(0, settings.host.toStdString(), std::to_string(settings.port), delay);
    settings.host = QLatin1String(thisMachine);
    settings.port = m_rowProxy->port();
    Test::MariaDbServer::writeTo(configuration(), settings);
}

void BenchSite::nameFileServer(std::chrono::microseconds delay)
{
    m_fileServer.emplace();
    m_fileProxy = m_fileServer->proxy(delay);
    set("document_store/database", freshName());
    set("document_store/uri", m_fileServer->uriAt(m_fileProxy->port()));
    set("document_store/kind", QStringLiteral("mongodb"));
}

QString BenchSite::configuration() const
{
    return path(QStringLiteral("zav.ini"));
}

void BenchSite::addCompany(const QString& code, const QString& name) const
{
    require(Backend::addCompany(*Site::current().database().value(), code, name).status());
}

int BenchSite::jobs() const
{
    const auto listed = Backend::listOrigFiles(*Site::current().database().value());
    require(listed.status());
    return static_cast<int>(listed->size());
}

qint64 BenchSite::storedBytes() const
{
    const auto settings = Site::current().settings();
    const auto listed =
        Site::current().documentStore().value()->list(Backend::storeLocation(settings->documentStore));
    require(listed.status());
    qint64 sum = 0;
    for (const auto& file : listed.value())
        sum += file.length;
    return sum;
}

Traffic BenchSite::rowTraffic() const
{
    return m_rowProxy ? m_rowProxy->traffic() : Traffic();
}

Traffic BenchSite::fileTraffic() const
{
    return m_fileProxy ? m_fileProxy->traffic() : Traffic();
}

QString BenchSite::serverDescription() const
{
    return m_fileServer ? m_rowDescription + QStringLiteral(", ") + m_fileServer->description()
                        : m_rowDescription;
}

} // namespace KOZAV::Bench
