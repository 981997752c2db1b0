#include "backend/store/gridfs/GridFsServer.h"

#include "backend/config/Password.h"
#include "backend/config/Redaction.h"
#include "backend/config/SitePlaces.h"

#include <QByteArray>
#include <QStringList>

#include <algorithm>
#include <limits>

namespace KOZAV::Backend {

namespace {

constexpr int selectionTimeoutMs = 3000;
constexpr int connectTimeoutMs = 3000;
constexpr int socketTimeoutMs = 30000;

Status refused(const QString& reason)
{
    return Status::configuration(QStringLiteral("document_store/uri cannot be used: %1").arg(reason));
}

Status malformed()
{
    return refused(QStringLiteral("it is not a MongoDB URI (in a user name or a password, the characters "
                                  ": / ? # [ ] @ % are written as %3A %2F %3F %23 %5B %5D %40 %25)"));
}

/// What is wrong with a URI is told without a part of it where it may hold a password.
Result<MongoUri> parsed(const QString& text)
{
    const MongoLogPause pause;
    const bool hasLogin = text.contains(QLatin1Char('@')) || holdsPassword(text);
    bson_error_t error = {};
    MongoUri uri(mongoc_uri_new_with_error(text.toUtf8().constData(), &error));
    if (!uri)
        return hasLogin ? malformed() : refused(QString::fromUtf8(error.message));
    // An unescaped character of a password can end the login early: its rest is then part of a host.
    const mongoc_host_list_t* host = mongoc_uri_get_hosts(uri.get());
    if (hasLogin && (mongoc_uri_get_username(uri.get()) == nullptr ||
                     (host != nullptr && QByteArray(host->host).contains('@'))))
        return malformed();
    return uri;
}

QString hostsOf(const mongoc_uri_t* uri)
{
    if (const char* service = mongoc_uri_get_srv_hostname(uri))
        return QString::fromUtf8(service);
    QStringList hosts;
    for (const mongoc_host_list_t* host = mongoc_uri_get_hosts(uri); host != nullptr; host = host->next)
        hosts << QString::fromUtf8(host->host_and_port);
    return hosts.join(QLatin1String(", "));
}

bool isOnThisMachine(const mongoc_uri_t* uri)
{
    if (mongoc_uri_get_srv_hostname(uri) != nullptr)
        return false;
    const mongoc_host_list_t* host = mongoc_uri_get_hosts(uri);
    while (host != nullptr && isLoopback(QString::fromUtf8(host->host)))
        host = host->next;
    return host == nullptr;
}

Status checkCertificateChecks(const mongoc_uri_t* uri)
{
    // The library knows the ssl spellings as these.
    for (const char* option : {MONGOC_URI_TLSINSECURE, MONGOC_URI_TLSALLOWINVALIDCERTIFICATES,
                               MONGOC_URI_TLSALLOWINVALIDHOSTNAMES}) {
        if (mongoc_uri_get_option_as_bool(uri, option, false))
            return refused(
                QStringLiteral("the option %1 would let anybody play the server").arg(QLatin1String(option)));
    }
    return {};
}

Status checkAcknowledged(const mongoc_uri_t* uri)
{
    if (mongoc_write_concern_is_acknowledged(mongoc_uri_get_write_concern(uri)))
        return {};
    return refused(QStringLiteral("with w=0 or safe=false nobody would be told of a write that failed"));
}

/// Whether the way of logging in that the URI names takes a password.
bool takesPassword(const mongoc_uri_t* uri)
{
    const QByteArray mechanism = mongoc_uri_get_auth_mechanism(uri);
    return mechanism.isEmpty() || mechanism.startsWith("SCRAM-") || mechanism == "PLAIN";
}

Status setPassword(mongoc_uri_t* uri, const QString& file)
{
    const bool wanted = mongoc_uri_get_username(uri) != nullptr && mongoc_uri_get_password(uri) == nullptr &&
                        takesPassword(uri);
    if (!wanted && file.isEmpty())
        return {};
    const auto password = readPassword(file, documentStorePasswordVariable);
    if (!password.ok())
        return password.status();
    if (mongoc_uri_get_username(uri) == nullptr)
        return refused(QStringLiteral("there is a password file, but the URI names no user"));
    if (wanted && !password->isEmpty() && !mongoc_uri_set_password(uri, password->toUtf8().constData()))
        return refused(QStringLiteral("the password is not accepted"));
    return {};
}

Status checkTransport(const mongoc_uri_t* uri, const QString& hosts, bool allowPlaintext)
{
    const bool hasLogin = mongoc_uri_get_username(uri) != nullptr;
    if (!hasLogin || mongoc_uri_get_tls(uri) || allowPlaintext || isOnThisMachine(uri))
        return {};
    return refused(
        QStringLiteral("the login to %1 would go over the network unencrypted; add tls=true to the "
                       "URI, or set document_store/allow_plaintext = true")
            .arg(hosts));
}

/// What the URI says, or the default; without a bound a call might never end.
int bounded(const mongoc_uri_t* uri, const char* option, int byDefault)
{
    const int value = mongoc_uri_get_option_as_int32(uri, option, byDefault);
    return value > 0 ? value : byDefault;
}

void setTimeouts(mongoc_uri_t* uri)
{
    const auto bind = [uri](const char* option, int byDefault) {
        mongoc_uri_set_option_as_int32(uri, option, bounded(uri, option, byDefault));
    };
    bind(MONGOC_URI_SERVERSELECTIONTIMEOUTMS, selectionTimeoutMs);
    bind(MONGOC_URI_CONNECTTIMEOUTMS, connectTimeoutMs);
    bind(MONGOC_URI_SOCKETTIMEOUTMS, socketTimeoutMs);
    // A read that was not answered in time would be sent a second time, and the call take twice as long.
    if (!mongoc_uri_has_option(uri, MONGOC_URI_RETRYREADS))
        mongoc_uri_set_option_as_bool(uri, MONGOC_URI_RETRYREADS, false);
}

/// Less than the socket's time-out, so that a server can say that it could not confirm a write in time before
/// the connection is given up, which would leave the outcome open.
qint64 writeTimeoutOf(const mongoc_uri_t* uri)
{
    const qint64 named = mongoc_write_concern_get_wtimeout_int64(mongoc_uri_get_write_concern(uri));
    const qint64 socket = bounded(uri, MONGOC_URI_SOCKETTIMEOUTMS, socketTimeoutMs);
    return named > 0 ? std::min<qint64>(named, std::numeric_limits<int>::max()) : socket - socket / 6;
}

} // namespace

Result<GridFsServer> GridFsServer::from(const DocumentStoreSettings& settings)
{
    auto uri = parsed(settings.uri);
    if (!uri.ok())
        return uri.status();
    GridFsServer server;
    server.uri = std::move(uri.value());
    mongoc_uri_t* const raw = server.uri.get();
    server.hosts = hostsOf(raw);
    server.encrypted = mongoc_uri_get_tls(raw);
    for (const Status& checked :
         {checkCertificateChecks(raw), checkAcknowledged(raw), setPassword(raw, settings.passwordFile),
          checkTransport(raw, server.hosts, settings.allowPlaintext)}) {
        if (!checked.ok())
            return checked;
    }
    setTimeouts(raw);
    server.writeTimeoutMs = writeTimeoutOf(raw);
    return server;
}

MongoUri GridFsServer::recoveryUri() const
{
    MongoUri copy(mongoc_uri_copy(uri.get()));
    const int patience = std::min(bounded(copy.get(), MONGOC_URI_CONNECTTIMEOUTMS, connectTimeoutMs),
                                  bounded(copy.get(), MONGOC_URI_SOCKETTIMEOUTMS, socketTimeoutMs));
    mongoc_uri_set_option_as_int32(copy.get(), MONGOC_URI_SOCKETTIMEOUTMS, patience);
    return copy;
}

} // namespace KOZAV::Backend
