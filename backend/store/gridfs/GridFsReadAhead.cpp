#include "backend/store/gridfs/GridFsReadAhead.h"

#include "backend/Guarded.h"
#include "backend/store/gridfs/ChunkBatch.h"

#include <algorithm>
#include <chrono>
#include <system_error>

// A request names the numbers of the chunks that it wants, so each stands for itself: they can be sent over
// several connections, and one whose connection turns out to be closed is sent again. While a reply is on its
// way over one connection the next one is asked for over the other, so that the network has something to do
// all the time, whatever its latency; a cursor would wait for each reply before it asks for the next.
//
// Each connection has a thread, which takes the next range, reads it, and goes on as long as no more than a
// few replies wait to be taken: memory is that of those replies, whatever the length of the file. Requests
// are small at first, so that the first bytes come early, and grow where each takes long, which is where the
// latency of the network shows.
//
// The second connection is a help that may fail: a server or the system may allow no more of them. Then the
// first one reads alone.

namespace KOZAV::Backend {

namespace {

/// Content that one request asks for, about: as a rule, and where the server is far. With the fields of the
/// chunks beside it, a reply stays below the next power of two, which is what the driver allocates.
constexpr qint64 usualBytes = qint64(8) * gridFsChunkSize;
constexpr qint64 farBytes = qint64(32) * gridFsChunkSize;
constexpr std::chrono::milliseconds farFrom{3};

/// Another program may have made many small chunks.
constexpr qint64 mostChunksAtOnce = 1000;

/// Replies that are on their way or wait to be taken.
constexpr size_t mostAhead = 3;

// What makes a second connection worth its while: more requests than that.
constexpr qint64 fewRequests = 3;

qint64 chunksOfRequest(const GridFsBucket& bucket, const GridFsFile& file)
{
    const qint64 bytes = bucket.quickestAnswer() < farFrom ? usualBytes : farBytes;
    return std::clamp<qint64>(bytes / file.chunkSize(), 1, mostChunksAtOnce);
}

qint64 chunksOf(const GridFsFile& file)
{
    const qint64 length = file.stored().length;
    return length / file.chunkSize() + (length % file.chunkSize() > 0 ? 1 : 0);
}

} // namespace

GridFsReadAhead::GridFsReadAhead(GridFsBucket& bucket, GridFsClients* clients, const GridFsFile& file)
    : m_bucket(bucket)
    , m_clients(clients)
    , m_file(file)
    , m_chunks(chunksOf(file))
    , m_atOnce(chunksOfRequest(bucket, file))
{
}

GridFsReadAhead::~GridFsReadAhead()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isStopped = true;
    }
    m_changed.notify_all();
}

Result<ChunkReplies> GridFsReadAhead::next()
{
    if (!m_readers[0].valid()) {
        if (m_next > 0)
            return ChunkReplies();
        if (m_chunks <= m_atOnce)
            return readWhole();
        start();
    }
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_parts.empty() ? isAllAskedFor() : m_parts.front().isThere; });
    if (m_parts.empty())
        return ChunkReplies();
    Part part = std::move(m_parts.front());
    m_parts.pop_front();
    lock.unlock();
    m_changed.notify_all();
    return part.status.ok() ? Result(std::move(part.replies)) : part.status;
}

Result<ChunkReplies> GridFsReadAhead::readWhole()
{
    Part whole;
    whole.range = nextRange();
    auto status = read(m_bucket, whole);
    return status.ok() ? Result(std::move(whole.replies)) : status;
}

void GridFsReadAhead::start()
{
    m_readers[0] = std::async(std::launch::async, [this] { readOn(m_bucket); });
    if (m_clients == nullptr || m_chunks <= fewRequests * m_atOnce)
        return;
    try {
        m_readers[1] = std::async(std::launch::async, [this] { readOnSecondConnection(); });
    } catch (const std::system_error&) {
        return; // no thread to be had: the first one reads alone
    }
}

void GridFsReadAhead::readOnSecondConnection()
{
    (void)guarded("use a second connection", [this]() -> Status {
        auto session = GridFsSession::openSecond(*m_clients, m_bucket.location());
        if (session.ok())
            readOn(session->bucket());
        return session.status();
    });
}

void GridFsReadAhead::readOn(GridFsBucket& bucket)
{
    while (Part* const part = begin()) {
        end(*part, guarded("read chunks", [&] { return read(bucket, *part); }));
    }
}

/// The next range that is to be read, once there is room for it; null where there is none.
GridFsReadAhead::Part* GridFsReadAhead::begin()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_isStopped || isAllAskedFor() || m_parts.size() < mostAhead; });
    if (m_isStopped || isAllAskedFor())
        return nullptr;
    m_parts.emplace_back(); // others stay where they are
    m_parts.back().range = nextRange();
    return &m_parts.back();
}

void GridFsReadAhead::end(Part& part, const Status& status)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        part.status = status;
        part.isThere = true;
        if (!status.ok())
            m_isStopped = true;
    }
    m_changed.notify_all();
}

ChunkRange GridFsReadAhead::nextRange()
{
    const qint64 count = std::min(m_atOnce, m_chunks - m_next);
    const ChunkRange range{m_next, count, m_next + count >= m_chunks};
    m_next += std::max<qint64>(count, 1);
    return range;
}

/// A server may bring less than it was asked for: the rest is asked for anew, until there is none.
Status GridFsReadAhead::read(GridFsBucket& bucket, Part& part) const
{
    ChunkRange rest = part.range;
    for (int found = 1; found > 0 && (part.replies.empty() || rest.count > 0);) {
        part.replies.push_back(std::make_unique<Bson>());
        if (auto asked = bucket.readChunks(m_file.id(), rest, *part.replies.back()); !asked.ok())
            return asked;
        found = BsonView(part.replies.back()->get()).elements(chunksOfReply);
        rest.first += found;
        rest.count -= found;
    }
    return {};
}

} // namespace KOZAV::Backend
