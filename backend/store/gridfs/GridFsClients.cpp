#include "backend/store/gridfs/GridFsClients.h"

#include "backend/store/gridfs/MongoFailure.h"

#include <utility>

namespace KOZAV::Backend {

namespace {

// More operations at once than this make connections that end with them.
constexpr size_t mostKept = 8;

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
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_free.empty()) {
            MongoClient client = std::move(m_free.back());
            m_free.pop_back();
            return Lease(std::move(client), this);
        }
    }
    auto client = connection(m_server.uri.get());
    return client.ok() ? Result(Lease(std::move(client.value()), this)) : client.status();
}

Result<GridFsClients::Lease> GridFsClients::recoveryLease() const
{
    auto client = connection(m_server.recoveryUri().get());
    return client.ok() ? Result(Lease(std::move(client.value()), nullptr)) : client.status();
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

} // namespace KOZAV::Backend
