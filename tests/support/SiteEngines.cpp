#include "tests/support/SiteEngines.h"

#include "backend/config/Settings.h"
#include "tests/support/GridFsPeer.h"
#include "tests/support/MariaDbServer.h"

#include <QStringList>
#include <QUuid>

namespace KOZAV::Test {

namespace {

QStringList named()
{
    return qEnvironmentVariable("ZAV_TEST_SITE", QStringLiteral("sqlite/local")).split(QLatin1Char('/'));
}

bool hasRowServer()
{
    return named().value(0) == QLatin1String("mariadb");
}

bool hasFileServer()
{
    return named().value(1) == QLatin1String("gridfs");
}

void set(const QString& configuration, const char* key, const QString& value)
{
    const Backend::Status status = Backend::writeSetting(configuration, QLatin1String(key), value);
    if (!status.ok())
        qFatal("%s", qPrintable(status.message()));
}

void nameFileServer(const QString& configuration, const GridFsPeer& server)
{
    // The server may be one that earlier runs have written to.
    const QString fresh = QStringLiteral("zav_") + QUuid::createUuid().toString(QUuid::Id128);
    set(configuration, "document_store/database", fresh);
    set(configuration, "document_store/uri", server.uri());
    set(configuration, "document_store/kind", QStringLiteral("mongodb"));
}

} // namespace

QString SiteEngines::problem()
{
    const bool known = named().size() == 2 && (hasRowServer() || named().at(0) == QLatin1String("sqlite")) &&
                       (hasFileServer() || named().at(1) == QLatin1String("local"));
    if (!known)
        return QStringLiteral("ZAV_TEST_SITE names no known engines: \"%1\"")
            .arg(named().join(QLatin1Char('/')));
    return hasFileServer() ? fileServer()->problem() : QString();
}

MariaDbServer* SiteEngines::rowServer()
{
    if (!hasRowServer())
        return nullptr;
    static MariaDbServer server;
    return &server;
}

GridFsPeer* SiteEngines::fileServer()
{
    if (!hasFileServer())
        return nullptr;
    static GridFsPeer peer;
    return &peer;
}

void SiteEngines::applyTo(const QString& configuration)
{
    if (MariaDbServer* server = rowServer())
        MariaDbServer::writeTo(configuration, server->makeDatabase());
    if (const GridFsPeer* server = fileServer())
        nameFileServer(configuration, *server);
}

} // namespace KOZAV::Test
