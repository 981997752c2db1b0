#pragma once

#include "backend/Status.h"
#include "backend/store/gridfs/GridFsBucket.h"
#include "backend/store/gridfs/GridFsClients.h"

namespace KOZAV::Backend {

/// What one operation works with: a connection of its own, and a location on it.
class GridFsSession final
{
public:
    static Result<GridFsSession> open(GridFsClients& clients, const StoreLocation& location);

    /// Over a new connection with short time-outs, after the one of an operation has been lost.
    static Result<GridFsSession> openForRecovery(const GridFsClients& clients, const StoreLocation& location);

    [[nodiscard]] GridFsBucket& bucket() { return m_bucket; }

private:
    GridFsSession(GridFsClients::Lease lease, const GridFsServer& server, const StoreLocation& location);

    GridFsClients::Lease m_lease;
    GridFsBucket m_bucket; // after the lease: it uses the connection until it is destroyed
};

} // namespace KOZAV::Backend
