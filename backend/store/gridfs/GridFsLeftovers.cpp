#include "backend/store/gridfs/GridFsLeftovers.h"

#include "backend/Operation.h"
#include "backend/store/StoreNames.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace KOZAV::Backend {

namespace {

// A server that refuses to remove something will do so again.
constexpr int mostTries = 3;

bool isSame(const StoreLocation& one, const StoreLocation& other)
{
    return one.database == other.database && one.fileStore == other.fileStore;
}

/// The files document first: a file that loses its chunks must not be there any more.
Status removeWhole(GridFsBucket& bucket, const GridFsId& id)
{
    const MongoWrite removed = bucket.removeFile(id);
    return removed.ok() ? bucket.removeChunks(id) : removed.status;
}

} // namespace

void GridFsLeftovers::remember(const StoreLocation& location, const GridFsId& id)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_leftovers.push_back({location, id, 0});
}

Status GridFsLeftovers::clear(GridFsBucket& bucket)
{
    Status unavailable;
    for (Leftover& leftover : taken(bucket.location())) {
        const auto removed = unavailable.ok() ? removeWhole(bucket, leftover.id) : unavailable;
        if (removed.ok())
            continue;
        if (removed.code() == ErrorCode::Unavailable)
            unavailable = removed;
        keep(std::move(leftover), removed);
    }
    return unavailable;
}

std::vector<GridFsLeftovers::Leftover> GridFsLeftovers::taken(const StoreLocation& location)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto mine =
        std::stable_partition(m_leftovers.begin(), m_leftovers.end(), [&location](const Leftover& leftover) {
            return !isSame(leftover.location, location);
        });
    std::vector<Leftover> taken(std::make_move_iterator(mine), std::make_move_iterator(m_leftovers.end()));
    m_leftovers.erase(mine, m_leftovers.end());
    return taken;
}

void GridFsLeftovers::keep(Leftover leftover, const Status& why)
{
    if (why.code() != ErrorCode::Unavailable && ++leftover.tries >= mostTries) {
        qCWarning(logStore).noquote() << QStringLiteral("chunks of a file that was not stored stay in %1: %2")
                                             .arg(locationText(leftover.location), why.message());
        return;
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_leftovers.push_back(std::move(leftover));
}

} // namespace KOZAV::Backend
