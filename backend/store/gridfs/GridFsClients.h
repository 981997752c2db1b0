#pragma once

#include "backend/ServerPause.h"
#include "backend/ServiceHealth.h"
#include "backend/Status.h"
#include "backend/store/gridfs/GridFsBucket.h"
#include "backend/store/gridfs/GridFsServer.h"
#include "backend/store/gridfs/MongoDriver.h"

#include <QDeadlineTimer>

#include <mutex>
#include <vector>

namespace KOZAV::Backend {

/// The connections of a store. Each serves one operation of one thread at a time and is kept for the next.
/// After a server that did not answer, the store pauses as a whole (ServerPause).
class GridFsClients final
{
public:
    explicit GridFsClients(GridFsServer server);
    Q_DISABLE_COPY(GridFsClients)

    /// A connection for one operation; it goes back when this ends.
    class Lease final
    {
    public:
        Lease(MongoClient client, GridFsClients* home);
        Lease(Lease&& other) noexcept = default;
        Lease& operator=(Lease&& other) = delete;
        ~Lease();
        Q_DISABLE_COPY(Lease)

        [[nodiscard]] mongoc_client_t* get() const { return m_client.get(); }

    private:
        MongoClient m_client;
        GridFsClients* m_home; ///< null: the connection ends with the lease
    };

    /// Over a server that takes writes; Unavailable where none is found.
    Result<Lease> lease();

    /// One more connection for an operation that has one. Where it cannot be had it is not asked for again
    /// for a while, and nothing else comes of that.
    Result<Lease> secondLease();

    /// A new connection with short time-outs, for a look at what a lost one has left behind.
    [[nodiscard]] Result<Lease> recoveryLease() const;

    /// Asks the server for its version, its role and how fast it answers.
    Result<ServiceHealth> health();

    [[nodiscard]] const GridFsServer& server() const { return m_server; }

private:
    [[nodiscard]] Result<MongoClient> connection(const mongoc_uri_t* uri) const;
    [[nodiscard]] Result<MongoClient> reached(MongoClient client) const;
    Result<MongoClient> keptConnection();
    void giveBack(MongoClient client);

    const GridFsServer m_server;
    std::mutex m_mutex;
    std::vector<MongoClient> m_free; ///< guarded by m_mutex
    ServerPause m_pause;             ///< guarded by m_mutex
    QDeadlineTimer m_noSecond{0}; ///< while it runs there is one connection an operation; guarded by m_mutex
};

/// What one operation works with: a connection of its own, and a location on it.
class GridFsSession final
{
public:
    static Result<GridFsSession> open(GridFsClients& clients, const StoreLocation& location);

    /// Over a new connection with short time-outs, after the one of an operation has been lost.
    static Result<GridFsSession> openForRecovery(const GridFsClients& clients, const StoreLocation& location);

    /// Over a second connection for an operation that has a session.
    static Result<GridFsSession> openSecond(GridFsClients& clients, const StoreLocation& location);

    [[nodiscard]] GridFsBucket& bucket() { return m_bucket; }

private:
    GridFsSession(GridFsClients::Lease lease, const GridFsServer& server, const StoreLocation& location);

    GridFsClients::Lease m_lease;
    GridFsBucket m_bucket; // after the lease: it uses the connection until it is destroyed
};

} // namespace KOZAV::Backend
