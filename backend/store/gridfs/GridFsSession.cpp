#include "backend/store/gridfs/GridFsSession.h"

#include <utility>

namespace KOZAV::Backend {

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

Result<GridFsSession> GridFsSession::openForRecovery(const GridFsClients& clients,
                                                     const StoreLocation& location)
{
    auto lease = clients.recoveryLease();
    if (!lease.ok())
        return lease.status();
    return GridFsSession(std::move(lease.value()), clients.server(), location);
}

} // namespace KOZAV::Backend
