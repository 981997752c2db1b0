// The window is a queue of jobs, parts of files, in the order of the listing. Threads claim jobs of it and
// put what they made of them in their place. Whoever takes the pieces waits for the first one only, so the
// archive is the same for any number of threads, and the first failure in the order of the entries is the one
// that is told.
//
// Jobs are claimed in their order, so that what is taken comes early and steadily. But a long one that is
// begun last has all others wait at the end: as soon as the rest would be done in the time of its longest
// job, that one goes first.
//
// A file up to eight mebibytes is one piece: cutting costs a little size, and most files of a job are small.
// A longer one is cut into pieces of one mebibyte, so that one large file too keeps all cores busy. The
// window is bounded by the bytes of its jobs, in whatever state: no job gets in while it is full, and only a
// take makes room. Every job in it can be claimed, so the first one comes to be done, and the take always
// comes; memory does not grow with the files.
//
// What must stay true: a slot is written by the thread that claimed it alone, until done is set under the
// mutex; the deque keeps slots where they are while others are added behind and taken in front. A piece is
// read from a file that still is as it was listed afterwards, or it is a failure. The hash of a file takes
// its pieces in their order (PieceHash), which are claimed in it.

#include "backend/pack/ParallelDeflate.h"

#include "backend/Guarded.h"
#include "backend/WorkWatch.h"
#include "backend/pack/FolderListing.h"
#include "backend/pack/PieceCompressor.h"
#include "backend/pack/PieceHash.h"

#include <libdeflate.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <numeric>
#include <utility>

namespace KOZAV::Backend {

namespace {

constexpr qint64 mebibyte = 1 << 20;

/// A file up to this length is one piece; a longer one is cut.
constexpr qint64 longestWholeFile = 8 * mebibyte;
constexpr qint64 pieceSize = 1 * mebibyte;

constexpr qint64 windowPerThread = 2 * longestWholeFile;
constexpr qint64 smallestWindow = 4 * longestWholeFile;

/// What a piece takes of the window besides its content.
constexpr qint64 pieceOverhead = 4096;

qint64 listedBytes(const FolderListing& listing)
{
    return std::accumulate(listing.entries.begin(), listing.entries.end(), qint64(0),
                           [](qint64 sum, const FolderEntry& entry) {
                               return sum + (entry.info.kind == FileKind::Regular ? entry.info.length : 0);
                           });
}

int threadCount(int requested)
{
    if (requested > 0)
        return requested;
    return std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
}

/// One thread's means to read and compress pieces.
class PieceWorker final
{
public:
    PieceWorker(const FolderListing& listing, int level)
        : m_listing(listing)
        , m_compressor(level)
    {
    }

    Status compress(const FolderEntry& entry, qint64 offset, PieceHash::Turn* turn, DeflatedPiece* piece);

private:
    [[nodiscard]] Status read(const FolderEntry& entry, qint64 offset, qint64 size,
                              unsigned char* content) const;

    const FolderListing& m_listing;
    PieceCompressor m_compressor;
    GrowingBuffer m_content;
};

Status PieceWorker::compress(const FolderEntry& entry, qint64 offset, PieceHash::Turn* turn,
                             DeflatedPiece* piece)
{
    const auto size = static_cast<std::size_t>(piece->uncompressedSize);
    unsigned char* const content = m_content.ofSize(size);
    if (auto contentRead = read(entry, offset, piece->uncompressedSize, content); !contentRead.ok())
        return contentRead;
    turn->add(content);
    if (piece->isLast)
        piece->sha256 = turn->result();
    piece->crc = libdeflate_crc32(0, content, size);
    return m_compressor.compress(content, size, piece->isLast, &piece->bytes);
}

/// Reads a part of a file that is as it was listed: what is so afterwards was never otherwise.
Status PieceWorker::read(const FolderEntry& entry, qint64 offset, qint64 size, unsigned char* content) const
{
    const std::string path = m_listing.pathOf(entry);
    const auto file = File::openForReadingIn(m_listing.root, entry.name);
    if (!file.ok())
        return file.code() == ErrorCode::NotPermitted || file.code() == ErrorCode::Io
                   ? file.status()
                   : changedWhilePacked(path);
    const auto length = file->readAt(reinterpret_cast<char*>(content), size, offset);
    if (!length.ok())
        return length.status();
    const auto info = file->info();
    const bool isAsListed = info.ok() && info->isSameState(entry.info);
    return length.value() == size && isAsListed ? Status() : changedWhilePacked(path);
}

} // namespace

ParallelDeflate::ParallelDeflate(const FolderListing& listing, int threads, int level)
    : m_listing(listing)
    , m_contentBytes(listedBytes(listing))
    , m_threadCount(threadCount(threads))
    , m_windowLimit(std::max(smallestWindow, m_threadCount * windowPerThread))
    , m_unclaimedBytes(m_contentBytes)
{
    startThreads(level);
}

ParallelDeflate::~ParallelDeflate()
{
    stop();
}

void ParallelDeflate::startThreads(int level)
{
    const auto threads = static_cast<std::size_t>(m_threadCount);
    m_threads.reserve(threads);
    try {
        while (m_threads.size() < threads)
            m_threads.emplace_back([this, level] { work(level); });
    } catch (const std::exception&) {
        // Fewer threads than wanted do the same, only slower.
        if (m_threads.empty())
            throw;
    }
}

void ParallelDeflate::stop()
{
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_stopping = true;
    }
    m_roomMade.notify_all();
    for (std::thread& thread : m_threads)
        thread.join();
}

DeflatedPiece ParallelDeflate::take()
{
    DeflatedPiece piece;
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        awaitFirst(lock);
        piece = std::move(m_window.front().piece);
        m_windowBytes -= piece.uncompressedSize + pieceOverhead;
        m_window.pop_front();
        ++m_taken;
    }
    m_roomMade.notify_all();
    m_takenBytes += piece.uncompressedSize;
    tellWork(WorkProgress::Stage::Packing, m_takenBytes, m_contentBytes);
    return piece;
}

/// Whoever takes is the thread of the operation: it tells the host while it waits, and holds up nobody with
/// that.
void ParallelDeflate::awaitFirst(std::unique_lock<std::mutex>& lock)
{
    const auto isThere = [this] { return !m_window.empty() && m_window.front().done; };
    if (!isWorkWatched())
        return m_firstDone.wait(lock, isThere);
    while (!m_firstDone.wait_for(lock, workTellInterval, isThere)) {
        lock.unlock();
        tellWork(WorkProgress::Stage::Packing, m_takenBytes, m_contentBytes);
        lock.lock();
    }
}

void ParallelDeflate::work(int level)
{
    std::unique_ptr<PieceWorker> worker;
    while (Slot* slot = claim()) {
        const Job& job = slot->job;
        DeflatedPiece piece;
        piece.uncompressedSize = job.size;
        piece.isLast = job.isLast;
        {
            PieceHash::Turn turn(job.hash, job.offset, job.size);
            piece.status = guarded("compress a file", [&] {
                if (!worker)
                    worker = std::make_unique<PieceWorker>(m_listing, level);
                return worker->compress(m_listing.entries[job.entry], job.offset, &turn, &piece);
            });
        }
        finish(slot, std::move(piece));
    }
}

/// The next job, once there is one in the window; nullptr at the end.
ParallelDeflate::Slot* ParallelDeflate::claim()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const auto isListed = [this] { return m_nextEntry == m_listing.entries.size(); };
    m_roomMade.wait(lock, [&] {
        fillWindow();
        return m_stopping || m_unclaimed > 0 || isListed();
    });
    if (m_stopping || m_unclaimed == 0)
        return nullptr;
    std::size_t number = nextInOrder();
    const std::size_t longest = nextByLength();
    if (isListed() && m_window[longest - m_taken].job.size * m_threadCount >= m_unclaimedBytes)
        number = longest;
    Slot& slot = m_window[number - m_taken];
    slot.claimed = true;
    --m_unclaimed;
    m_unclaimedBytes -= slot.job.size;
    return &slot;
}

void ParallelDeflate::fillWindow()
{
    while (m_windowBytes < m_windowLimit && addNextJob()) {
    }
}

/// Adds the next job of the listing to the window; false at the end.
bool ParallelDeflate::addNextJob()
{
    const auto& entries = m_listing.entries;
    const auto hasContent = [](const FolderEntry& entry) {
        return entry.info.kind == FileKind::Regular && entry.info.length > 0;
    };
    while (m_nextEntry < entries.size() && !hasContent(entries[m_nextEntry]))
        ++m_nextEntry;
    if (m_nextEntry == entries.size())
        return false;
    const qint64 length = entries[m_nextEntry].info.length;
    Job job;
    job.entry = m_nextEntry;
    job.offset = m_nextOffset;
    job.size = length <= longestWholeFile ? length : std::min(pieceSize, length - m_nextOffset);
    job.isLast = job.offset + job.size == length;
    if (job.offset == 0)
        m_nextHash = job.isLast ? nullptr : std::make_shared<PieceHash>();
    job.hash = m_nextHash;
    m_nextEntry += job.isLast ? 1 : 0;
    m_nextOffset = job.isLast ? 0 : job.offset + job.size;
    m_windowBytes += job.size + pieceOverhead;
    m_longest.push({job.size, m_taken + m_window.size()});
    m_window.push_back({job, {}, false, false});
    ++m_unclaimed;
    return true;
}

std::size_t ParallelDeflate::nextInOrder()
{
    m_inOrder = std::max(m_inOrder, m_taken);
    while (!isUnclaimed(m_inOrder))
        ++m_inOrder;
    return m_inOrder;
}

std::size_t ParallelDeflate::nextByLength()
{
    while (!isUnclaimed(m_longest.top().number))
        m_longest.pop();
    return m_longest.top().number;
}

bool ParallelDeflate::isUnclaimed(std::size_t number) const
{
    return number >= m_taken && !m_window[number - m_taken].claimed;
}

void ParallelDeflate::finish(Slot* slot, DeflatedPiece piece)
{
    bool isFirst = false;
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        slot->piece = std::move(piece);
        slot->done = true;
        isFirst = slot == &m_window.front();
    }
    if (isFirst)
        m_firstDone.notify_one();
}

} // namespace KOZAV::Backend
