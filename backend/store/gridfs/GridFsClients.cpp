#include "backend/store/gridfs/GridFsClients.h"

#include "backend/ServerPause.h"
#include "backend/store/gridfs/Bson.h"

#include <chrono>
#include <cstring>
#include <utility>

// A client of the driver keeps its connections and what it knows of the servers; making one costs a handshake
// and a login. So each operation takes one that an earlier operation has left and gives it back. Whether a
// server can be reached is settled at that moment and not by the first request: where the client knows its
// server, this costs no exchange.
//
// After a failed look for a server a client answers from memory for some seconds, though the server may be
// back. Such a client is dropped and a new one asks; what the store waits for is its own pause, which begins
// only where a server did not answer in time, and holds for all threads.

namespace KOZAV::Backend {

namespace {

// More operations at once than this make connections that end with them.
constexpr size_t mostKept = 8;

constexpr std::chrono::minutes noSecondFor{1};

constexpr const char* commandDatabase = "admin";

Status failedLook(const GridFsServer& server, const bson_error_t& error)
{
    return mongoFailure(QStringLiteral("look at the document store"), server.hosts, error);
}

Status ask(mongoc_client_t* client, const GridFsServer& server, const char* what, Bson& reply)
{
    Bson command;
    bson_error_t error = {};
    command.int32(what, 1);
    const bool answered = mongoc_client_command_simple(client, commandDatabase, command.get(), nullptr,
                                                       reply.forReply(), &error);
    return answered ? Status() : failedLook(server, error);
}

Result<QString> versionText(mongoc_client_t* client, const GridFsServer& server)
{
    Bson build;
    if (auto told = ask(client, server, "buildInfo", build); !told.ok())
        return told;
    return QString::fromStdString(BsonView(build.get()).text("version").value_or("?"));
}

QString topologyText(const mongoc_server_description_t* description)
{
    const char* type = mongoc_server_description_type(description);
    const auto set = BsonView(mongoc_server_description_hello_response(description)).text("setName");
    if (set)
        return QStringLiteral("replica set %1").arg(QString::fromStdString(*set));
    if (std::strcmp(type, "Mongos") == 0)
        return QStringLiteral("sharded cluster");
    return {};
}

} // namespace

GridFsClients::Lease::Lease(MongoClient client, GridFsClients* home)
    : m_client(std::move(client))
    , m_home(home)
{
}

GridFsClients::Lease::~Lease()
{
    if (m_client && m_home != nullptr)
        m_home->giveBack(std::move(m_client));
}

GridFsClients::GridFsClients(GridFsServer server)
    : m_server(std::move(server))
{
    m_free.reserve(mostKept);
}

Result<GridFsClients::Lease> GridFsClients::lease()
{
    auto kept = keptConnection();
    if (!kept.ok())
        return kept.status();
    const bool isNew = !kept.value();
    const AnswerWatch watch;
    auto client = reached(std::move(kept.value()));
    // For some seconds the driver tells from memory that a server is gone, which may be back: a new
    // connection asks it.
    if (!isNew && watch.foundClosed(client.status()))
        client = reached({});
    if (client.ok())
        return Lease(std::move(client.value()), this);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_pause.note(client.status(), watch);
    return client.status();
}

/// The connection, or a new one in the place of none, once a server that takes writes is found.
Result<MongoClient> GridFsClients::reached(MongoClient client) const
{
    if (!client) {
        auto made = connection(m_server.uri.get());
        if (!made.ok())
            return made;
        client = std::move(made.value());
    }
    bson_error_t error = {};
    const MongoServerDescription server(mongoc_client_select_server(client.get(), true, nullptr, &error));
    if (!server)
        return mongoFailure(QStringLiteral("reach the document store"), m_server.hosts, error);
    return client;
}

/// One that is free; null where none is. The pause's failure while that lasts.
Result<MongoClient> GridFsClients::keptConnection()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (auto standing = m_pause.standing(); !standing.ok())
        return standing;
    if (m_free.empty())
        return MongoClient();
    MongoClient client = std::move(m_free.back());
    m_free.pop_back();
    return client;
}

Result<GridFsClients::Lease> GridFsClients::recoveryLease() const
{
    auto client = connection(m_server.recoveryUri().get());
    return client.ok() ? Result(Lease(std::move(client.value()), nullptr)) : client.status();
}

Result<GridFsClients::Lease> GridFsClients::secondLease()
{
    MongoClient kept;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_noSecond.hasExpired())
            return Status::unavailable(QStringLiteral("there is no second connection"));
        if (!m_free.empty()) {
            kept = std::move(m_free.back());
            m_free.pop_back();
        }
    }
    const MongoLogPause quiet;
    auto client = reached(std::move(kept));
    if (client.ok())
        return Lease(std::move(client.value()), this);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_noSecond = QDeadlineTimer(noSecondFor);
    return client.status();
}

Result<ServiceHealth> GridFsClients::health()
{
    const auto lease = this->lease();
    if (!lease.ok())
        return lease.status();
    mongoc_client_t* const client = lease->get();
    bson_error_t error = {};
    const MongoServerDescription description(mongoc_client_select_server(client, true, nullptr, &error));
    if (!description)
        return failedLook(m_server, error);
    const AnswerWatch watch;
    auto version = versionText(client, m_server);
    if (watch.foundClosed(version.status()))
        version = versionText(client, m_server);
    if (!version.ok())
        return version.status();
    const auto latency = fastestAnswerMs([&] {
        Bson answer;
        return ask(client, m_server, "ping", answer);
    });
    if (!latency.ok())
        return latency.status();
    ServiceHealth health;
    health.engine = QStringLiteral("MongoDB %1").arg(version.value());
    health.place = m_server.hosts;
    health.remote = true;
    health.encryption = m_server.encrypted ? QStringLiteral("TLS") : QString();
    health.topology = topologyText(description.get());
    health.latencyMs = latency.value();
    return health;
}

Result<MongoClient> GridFsClients::connection(const mongoc_uri_t* uri) const
{
    bson_error_t error = {};
    MongoClient client(mongoc_client_new_from_uri_with_error(uri, &error));
    if (!client)
        return mongoFailure(QStringLiteral("use the document store"), m_server.hosts, error);
    mongoc_client_set_error_api(client.get(), MONGOC_ERROR_API_VERSION_2);
    return client;
}

void GridFsClients::giveBack(MongoClient client)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_free.size() < mostKept)
        m_free.push_back(std::move(client));
}

GridFsSession::GridFsSession(GridFsClients::Lease lease, const GridFsServer& server,
                             const StoreLocation& location)
    : m_lease(std::move(lease))
    , m_bucket(m_lease.get(), server, location)
{
}

Result<GridFsSession> GridFsSession::open(GridFsClients& clients, const StoreLocation& location)
{
    auto lease = clients.lease();
    if (!lease.ok())
        return lease.status();
    return GridFsSession(std::move(lease.value()), clients.server(), location);
}

Result<GridFsSession> GridFsSession::openSecond(GridFsClients& clients, const StoreLocation& location)
{
    auto lease = clients.secondLease();
    if (!lease.ok())
        return lease.status();
    return GridFsSession(std::move(lease.value()), clients.server(), location);
}

Result<GridFsSession> GridFsSession::openForRecovery(const GridFsClients& clients,
                                                     const StoreLocation& location)
{
    auto lease = clients.recoveryLease();
    if (!lease.ok())
        return lease.status();
    return GridFsSession(std::move(lease.value()), clients.server(), location);
}

} // namespace KOZAV::Backend
