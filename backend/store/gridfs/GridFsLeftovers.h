#pragma once

#include "backend/Status.h"
#include "backend/store/gridfs/GridFsBucket.h"

#include <mutex>
#include <vector>

namespace KOZAV::Backend {

/// Files that failed operations could not clear away: the next operation on their location does it. Can be
/// used by several threads.
class GridFsLeftovers final
{
public:
    GridFsLeftovers() = default;
    Q_DISABLE_COPY(GridFsLeftovers)

    /// Remembers a file that is not to be there: neither chunks nor a files document.
    void remember(const StoreLocation& location, const GridFsId& id);

    /// Removes what is remembered of the bucket's location. Fails only where the server is not available.
    Status clear(GridFsBucket& bucket);

private:
    struct Leftover
    {
        StoreLocation location;
        GridFsId id;
        int tries = 0;
    };

    std::vector<Leftover> taken(const StoreLocation& location);
    void keep(Leftover leftover, const Status& why);

    std::mutex m_mutex;
    std::vector<Leftover> m_leftovers; ///< guarded by m_mutex
};

} // namespace KOZAV::Backend
