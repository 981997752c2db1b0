#pragma once

#include "backend/Status.h"
#include "backend/store/gridfs/Bson.h"
#include "backend/store/gridfs/GridFsBucket.h"
#include "backend/store/gridfs/GridFsClients.h"
#include "backend/store/gridfs/GridFsFile.h"

#include <array>
#include <condition_variable>
#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <vector>

namespace KOZAV::Backend {

/// Replies with consecutive chunks of a file, in the order of their numbers.
using ChunkReplies = std::vector<std::unique_ptr<Bson>>;

/// Reads the chunks of a stored file in several requests, ahead of the thread that takes the replies. What
/// fits one request is asked for by that thread itself. For one thread; uses the bucket until it is
/// destroyed.
class GridFsReadAhead final
{
public:
    /// @param clients  where a long file gets a second connection from; null: it gets none
    GridFsReadAhead(GridFsBucket& bucket, GridFsClients* clients, const GridFsFile& file);
    ~GridFsReadAhead();
    Q_DISABLE_COPY(GridFsReadAhead)

    /// The next replies; none behind the last chunk. Whether these are the chunks that the file should have
    /// is for the caller to see: some may be missing, and one more may be there. To be called until it fails.
    Result<ChunkReplies> next();

private:
    struct Part
    {
        ChunkRange range;
        ChunkReplies replies;
        Status status;
        bool isThere = false;
    };

    Result<ChunkReplies> readWhole();
    void start();
    void readOn(GridFsBucket& bucket);
    void readOnSecondConnection();
    Part* begin();
    void end(Part& part, const Status& status);
    Status read(GridFsBucket& bucket, Part& part) const;
    ChunkRange nextRange();
    [[nodiscard]] bool isAllAskedFor() const { return m_next >= m_chunks && m_next > 0; }

    GridFsBucket& m_bucket;
    GridFsClients* m_clients;
    const GridFsFile& m_file;
    const qint64 m_chunks; ///< that the file should have
    const qint64 m_atOnce; ///< that a request asks for
    std::mutex m_mutex;    ///< guards everything below but m_readers
    std::condition_variable m_changed;
    std::deque<Part> m_parts; ///< asked for and not taken, in order
    qint64 m_next = 0;        ///< number of the first chunk that has not been asked for
    bool m_isStopped = false;
    std::array<std::future<void>, 2> m_readers; // last: their destructors wait for the threads
};

} // namespace KOZAV::Backend
