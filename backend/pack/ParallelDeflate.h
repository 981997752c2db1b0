#pragma once

#include "backend/Status.h"

#include <QByteArray>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <queue>
#include <thread>
#include <vector>

namespace KOZAV::Backend {

class PieceHash;
struct FolderListing;

/// A compressed part of a file.
struct DeflatedPiece
{
    Status status;
    std::vector<unsigned char> bytes; ///< of the file's raw deflate stream
    quint32 crc = 0;                  ///< CRC-32 of what was compressed
    qint64 uncompressedSize = 0;
    bool isLast = false; ///< of its file
    QByteArray sha256;   ///< of the whole file, with its last piece: lower-case hexadecimal
};

/// Reads, hashes and compresses the files of a listing on several threads, ahead of whoever takes the pieces.
/// How far ahead is bounded by bytes, so memory does not depend on the sizes of the files. The pieces do not
/// depend on the number of threads.
class ParallelDeflate final
{
public:
    /// threads: 0 stands for one for each core. The listing must outlive this object.
    ParallelDeflate(const FolderListing& listing, int threads, int level);
    ~ParallelDeflate();
    Q_DISABLE_COPY(ParallelDeflate)

    /// The next piece: those of the first file that is not empty, then those of the second, and so on. Waits
    /// until it is there. A piece with a failed status is the last one to take.
    DeflatedPiece take();

private:
    /// What is to be compressed, in the order of the pieces.
    struct Job
    {
        std::size_t entry = 0;
        qint64 offset = 0;
        qint64 size = 0;
        bool isLast = false;
        std::shared_ptr<PieceHash> hash; ///< of a file of several pieces
    };

    struct Slot
    {
        Job job;
        DeflatedPiece piece;
        bool claimed = false;
        bool done = false;
    };

    /// A job of the window by its length. Of two alike the one that comes first goes first: the pieces of a
    /// file are begun in their order.
    struct ByLength
    {
        qint64 size = 0;
        std::size_t number = 0; ///< of its slot, counted from the first of all

        bool operator<(const ByLength& other) const
        {
            return size != other.size ? size < other.size : number > other.number;
        }
    };

    void awaitFirst(std::unique_lock<std::mutex>& lock);
    void startThreads(int level);
    void stop();
    void work(int level);
    Slot* claim();
    void fillWindow();
    bool addNextJob();
    [[nodiscard]] std::size_t nextInOrder();
    [[nodiscard]] std::size_t nextByLength();
    [[nodiscard]] bool isUnclaimed(std::size_t number) const;
    void finish(Slot* slot, DeflatedPiece piece);

    const FolderListing& m_listing;
    const qint64 m_contentBytes;
    const int m_threadCount;
    const qint64 m_windowLimit;
    qint64 m_takenBytes = 0; ///< of whoever takes

    std::mutex m_mutex; ///< guards everything below
    std::condition_variable m_roomMade;
    std::condition_variable m_firstDone;
    std::deque<Slot> m_window;               ///< to be claimed, claimed, or done, and not taken yet
    std::priority_queue<ByLength> m_longest; ///< of the window; some have been claimed meanwhile
    std::size_t m_taken = 0;                 ///< the number of the slot in front of the window
    std::size_t m_inOrder = 0;               ///< what comes before it has been claimed
    std::size_t m_unclaimed = 0;             ///< slots of the window
    qint64 m_unclaimedBytes = 0;             ///< of the whole listing
    qint64 m_windowBytes = 0;
    std::size_t m_nextEntry = 0;
    qint64 m_nextOffset = 0;
    std::shared_ptr<PieceHash> m_nextHash;
    bool m_stopping = false;

    std::vector<std::thread> m_threads;
};

} // namespace KOZAV::Backend
