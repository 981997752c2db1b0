#include "backend/config/SitePlaces.h"

#include "backend/config/Redaction.h"
#include "backend/io/FileInfo.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStringList>

#include <algorithm>

namespace KOZAV::Backend {

namespace {

bool isSameFile(const QString& one, const QString& other)
{
    const auto first = fileInfo(QFile::encodeName(one).toStdString(), LastLink::ItsTarget);
    const auto second = fileInfo(QFile::encodeName(other).toStdString(), LastLink::ItsTarget);
    return first.ok() && second.ok() ? first->isSameFile(second.value()) : one == other;
}

/// One name for all that lead to this machine, but for sockets: each has a server of its own.
QString hostKey(const QString& host)
{
    const QString name = host.toLower();
    return isLoopback(name) && !name.startsWith(QLatin1Char('/')) ? QStringLiteral("localhost") : name;
}

/// The servers that a MongoDB URI names, without user and password.
QStringList serversOf(const QString& uri)
{
    const QString behindScheme = uri.section(QStringLiteral("://"), 1);
    const QString authority = behindScheme.section(QLatin1Char('/'), 0, 0).section(QLatin1Char('?'), 0, 0);
    // A password that is not written as a URI asks for may reach beyond: no part of it is to be shown.
    if (behindScheme.mid(authority.size()).contains(QLatin1Char('@')))
        return {QStringLiteral("***")};
    const QString servers = authority.section(QLatin1Char('@'), -1);
    if (holdsPassword(QStringLiteral("mongodb://") + servers))
        return {QStringLiteral("***")};
    return servers.split(QLatin1Char(','));
}

QString serverKey(const QString& server)
{
    static const QRegularExpression parts(QStringLiteral("^(\\[[^\\]]*\\]|[^:]*)(?::([0-9]+))?"));
    const QRegularExpressionMatch match = parts.match(server);
    const QString port = match.captured(2).isEmpty() ? QStringLiteral("27017") : match.captured(2);
    return hostKey(match.captured(1)) + QLatin1Char(':') + port;
}

QStringList serverKeys(const QString& uri)
{
    const QStringList servers = serversOf(uri);
    if (servers.contains(QStringLiteral("***")))
        return {uri};
    QStringList keys;
    for (const QString& server : servers)
        keys << serverKey(server);
    std::sort(keys.begin(), keys.end());
    return keys;
}

} // namespace

bool isLoopback(const QString& host)
{
    static const QRegularExpression pattern(
        QStringLiteral(
            "\\A(/.+|localhost|::1|\\[::1\\]|127(\\.(25[0-5]|2[0-4][0-9]|[01]?[0-9]?[0-9])){3})\\z"),
        QRegularExpression::CaseInsensitiveOption);
    return pattern.match(host).hasMatch();
}

QString placeOf(const DatabaseSettings& settings)
{
    if (settings.driver == QLatin1String("QSQLITE"))
        return settings.file;
    return QStringLiteral("%1:%2/%3").arg(settings.host).arg(settings.port).arg(settings.name);
}

QString placeOf(const DocumentStoreSettings& settings)
{
    if (settings.kind == QLatin1String("local"))
        return settings.root;
    return serversOf(settings.uri).join(QLatin1Char(',')) + QLatin1Char('/') + settings.database;
}

bool isSamePlace(const DatabaseSettings& one, const DatabaseSettings& other)
{
    if (one.driver != other.driver)
        return false;
    if (one.driver == QLatin1String("QSQLITE"))
        return isSameFile(one.file, other.file);
    return hostKey(one.host) == hostKey(other.host) && one.port == other.port && one.name == other.name;
}

bool isSamePlace(const DocumentStoreSettings& one, const DocumentStoreSettings& other)
{
    if (one.kind != other.kind || one.database != other.database || one.fileStore != other.fileStore)
        return false;
    if (one.kind == QLatin1String("local"))
        return isSameFile(one.root, other.root);
    return serverKeys(one.uri) == serverKeys(other.uri);
}

} // namespace KOZAV::Backend
