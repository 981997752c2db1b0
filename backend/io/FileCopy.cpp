// Hashing costs more than reading and writing from memory, so it goes beside them: one thread reads the
// blocks into a ring of buffers and writes them, a second one hashes them in the same order. The ring is
// small, so that a block is still in the processor's cache when it is hashed. What is written is handed to
// the disk now and then, so that little is left for the flush at the end. A small file is not worth a thread.
//
// A source is copied as it was at one moment or not at all: its state is compared before and after, and its
// length with what was read. The first byte too many ends the pass, so that a file which grows without end
// does not.

#include "backend/io/FileCopy.h"

#include "backend/SafePoint.h"
#include "backend/WorkWatch.h"
#include "backend/io/FilePath.h"
#include "backend/io/Sha256.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace KOZAV::Backend {

namespace {

constexpr qint64 blockSize = 256 << 10;
/// A file from this length on is hashed beside its reading, and shares its content with its copy where the
/// file system can do that.
constexpr qint64 longFile = 1 << 20;
/// So much is handed to the disk at a time.
constexpr qint64 writtenAtOnce = 8 << 20;
/// One core reads and hashes by turns: blocks that leave the disk time to read ahead.
constexpr qint64 readAtOnce = 1 << 20;

/// Blocks that are hashed in the order in which they are filled: on a second thread, if that is wanted.
class BlockHash final
{
public:
    BlockHash(qint64 size, bool beside);
    ~BlockHash();
    Q_DISABLE_COPY(BlockHash)

    /// The block that is to be filled next; waits until it is free.
    char* block();
    /// Has the first bytes of that block hashed. It may still be read until the next block() returns.
    void add(qint64 size);
    /// Waits until all is hashed.
    Sha256& finish();

private:
    struct Block
    {
        std::unique_ptr<char[]> bytes;
        qint64 size = 0;
    };

    void hashAll();

    // One is being filled, one hashed, and two let neither wait for the other.
    std::array<Block, 4> m_blocks;
    const qint64 m_blockSize;
    Sha256 m_sha256;
    std::mutex m_mutex; ///< guards what follows
    std::condition_variable m_changed;
    std::size_t m_filled = 0;
    std::size_t m_hashed = 0;
    bool m_ended = false;
    std::thread m_thread; // last: it uses the others
};

BlockHash::BlockHash(qint64 size, bool beside)
    : m_blockSize(size)
{
    if (beside)
        m_thread = std::thread([this] { hashAll(); });
}

BlockHash::~BlockHash()
{
    (void)finish();
}

char* BlockHash::block()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_filled - m_hashed < m_blocks.size(); });
    Block& next = m_blocks[m_filled % m_blocks.size()];
    if (!next.bytes)
        next.bytes.reset(
            new char[static_cast<size_t>(m_blockSize)]); // NOLINT(modernize-make-unique): left unset
    return next.bytes.get();
}

void BlockHash::add(qint64 size)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    Block& next = m_blocks[m_filled % m_blocks.size()];
    next.size = size;
    if (!m_thread.joinable()) {
        m_sha256.add(next.bytes.get(), size);
        return;
    }
    ++m_filled;
    lock.unlock();
    m_changed.notify_one();
}

void BlockHash::hashAll()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_filled > m_hashed || m_ended; });
        if (m_filled == m_hashed)
            return;
        const Block& block = m_blocks[m_hashed % m_blocks.size()];
        lock.unlock();
        m_sha256.add(block.bytes.get(), block.size);
        lock.lock();
        ++m_hashed;
        m_changed.notify_one();
    }
}

Sha256& BlockHash::finish()
{
    if (m_thread.joinable()) {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_ended = true;
        }
        m_changed.notify_one();
        m_thread.join();
    }
    return m_sha256;
}

/// One pass over a file, from its beginning.
class CopyPass final
{
public:
    /// target: nullptr where the file is read only to be hashed.
    CopyPass(File& source, File* target)
        : m_source(source)
        , m_target(target)
    {
    }

    Result<ContentDigest> run(const SourceWatch& watch);

private:
    Status transfer(BlockHash& hash, qint64 bufferSize);
    Status write(const char* block, qint64 size);

    File& m_source;
    File* m_target;
    qint64 m_expectedLength = 0;
    qint64 m_length = 0;
    qint64 m_startedLength = 0; ///< what the disk was handed
};

Result<ContentDigest> CopyPass::run(const SourceWatch& watch)
{
    m_expectedLength = watch.length();
    const qint64 bufferSize = std::min(blockSize, m_expectedLength + 1);
    BlockHash hash(bufferSize, m_expectedLength >= longFile);
    if (const auto transferred = transfer(hash, bufferSize); !transferred.ok())
        return transferred;
    if (const auto unchanged = watch.end(m_length); !unchanged.ok())
        return unchanged;
    return digestOf(m_length, hash.finish(), displayPath(m_source.path()));
}

Status CopyPass::transfer(BlockHash& hash, qint64 bufferSize)
{
    for (qint64 got = bufferSize; got == bufferSize && m_length <= m_expectedLength;) {
        if (auto goOn = safePoint(); !goOn.ok())
            return goOn;
        char* const block = hash.block();
        const auto size = m_source.read(block, bufferSize);
        if (!size.ok())
            return size.status();
        got = size.value();
        hash.add(got);
        if (auto written = write(block, got); !written.ok())
            return written;
        m_length += got;
        tellWork(m_target ? WorkProgress::Stage::Copying : WorkProgress::Stage::Reading, m_length,
                 m_expectedLength);
    }
    return {};
}

Status CopyPass::write(const char* block, qint64 size)
{
    if (!m_target)
        return {};
    auto written = m_target->write(block, size, m_expectedLength);
    const qint64 length = m_length + size;
    if (written.ok() && length - m_startedLength >= writtenAtOnce) {
        m_target->startWriting(m_startedLength, length - m_startedLength);
        m_startedLength = length;
    }
    return written;
}

} // namespace

Result<ContentDigest> digestOf(qint64 length, Sha256& hash, const QString& what)
{
    ContentDigest digest{length, hash.result()};
    if (digest.sha256.isEmpty())
        return Status::internal(QStringLiteral("cannot calculate the SHA-256 of %1").arg(what));
    return digest;
}

Result<ContentDigest> digestFile(File& source)
{
    const auto watch = SourceWatch::begin(source);
    return watch.ok() ? CopyPass(source, nullptr).run(watch.value()) : watch.status();
}

Result<ContentDigest> readThrough(File& source, const std::function<void(qint64 bytes)>& onBytes)
{
    const auto watch = SourceWatch::begin(source);
    if (!watch.ok())
        return watch.status();
    source.expectReadingThrough();
    const qint64 size = std::min(readAtOnce, watch->length() + 1);
    const std::unique_ptr<char[]> block(new char[static_cast<size_t>(size)]); // left unset
    Sha256 hash;
    qint64 length = 0;
    for (qint64 got = size; got == size && length <= watch->length();) {
        if (auto goOn = safePoint(); !goOn.ok())
            return goOn;
        const auto read = source.read(block.get(), size);
        if (!read.ok())
            return read.status();
        got = read.value();
        hash.add(block.get(), got);
        length += got;
        tellWork(WorkProgress::Stage::Reading, length, watch->length());
        if (onBytes)
            onBytes(got);
    }
    if (const auto unchanged = watch->end(length); !unchanged.ok())
        return unchanged;
    return digestOf(length, hash, displayPath(source.path()));
}

Result<ContentDigest> copyFile(File& source, File& target)
{
    const auto watch = SourceWatch::begin(source);
    return watch.ok() ? copyFile(source, target, watch.value()) : watch.status();
}

Result<ContentDigest> copyFile(File& source, File& target, const SourceWatch& watch)
{
    if (watch.length() < longFile || !target.shareContent(source))
        return CopyPass(source, &target).run(watch);
    const auto digest = digestFile(target);
    const auto unchanged = digest.ok() ? watch.end(digest->length) : Status();
    return unchanged.ok() ? digest : unchanged;
}

Result<SourceWatch> SourceWatch::begin(const File& source)
{
    const auto info = source.info();
    if (!info.ok())
        return info.status();
    return SourceWatch(source, info.value());
}

Status SourceWatch::end(qint64 readLength) const
{
    const auto after = m_source->info();
    if (!after.ok())
        return after.status();
    if (after->isSameState(m_before) && readLength == m_before.length)
        return {};
    return Status::changedWhileRead(QStringLiteral("cannot read %1: it was changed while it was read")
                                        .arg(displayPath(m_source->path())));
}

} // namespace KOZAV::Backend
