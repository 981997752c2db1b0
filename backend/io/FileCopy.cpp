// Hashing costs more than reading and writing from memory, so it goes beside them: while a second thread
// hashes one block, this one writes it and reads the next. Two buffers are enough: before a block is handed
// over, the hash of the one before is waited for, and with that the buffer that is filled next is free.
//
// A source is copied as it was at one moment or not at all: its state is compared before and after, and its
// length with what was read. The first byte too many ends the pass, so that a file which grows without end
// does not.

#include "backend/io/FileCopy.h"

#include "backend/WorkWatch.h"
#include "backend/io/FilePath.h"
#include "backend/io/Sha256.h"

#include <algorithm>
#include <array>
#include <future>
#include <memory>

namespace KOZAV::Backend {

namespace {

constexpr qint64 blockSize = 1 << 20;

/// One pass over a file. While one block is hashed on a second thread, it is written and the next one is
/// read.
class CopyPass final
{
public:
    /// target: nullptr where the file is read only to be hashed.
    CopyPass(File& source, File* target)
        : m_source(source)
        , m_target(target)
    {
    }

    Result<ContentDigest> run();

private:
    using Buffer = std::unique_ptr<char[]>;

    Status transfer();
    Status write(const char* block, qint64 size);
    void hash(const char* block, qint64 size);

    File& m_source;
    File* m_target;
    Sha256 m_sha256;
    std::array<Buffer, 2> m_buffers;
    qint64 m_expectedLength = 0;
    qint64 m_length = 0;
    std::future<void> m_hashing; // last: its destructor waits for the thread that uses the others
};

Result<ContentDigest> CopyPass::run()
{
    const auto watch = SourceWatch::begin(m_source);
    if (!watch.ok())
        return watch.status();
    m_expectedLength = watch->length();
    if (const auto transferred = transfer(); !transferred.ok())
        return transferred;
    if (const auto unchanged = watch->end(m_length); !unchanged.ok())
        return unchanged;
    return digestOf(m_length, m_sha256, displayPath(m_source.path()));
}

Status CopyPass::transfer()
{
    const auto bufferSize = static_cast<size_t>(std::min(blockSize, m_expectedLength + 1));
    for (size_t turn = 0;; turn = 1 - turn) {
        if (!m_buffers[turn])
            m_buffers[turn].reset(new char[bufferSize]); // NOLINT(modernize-make-unique): left unset
        char* const block = m_buffers[turn].get();
        const auto size = m_source.read(block, static_cast<qint64>(bufferSize));
        if (!size.ok())
            return size.status();
        hash(block, size.value());
        if (auto written = write(block, size.value()); !written.ok())
            return written;
        m_length += size.value();
        tellWork(m_target ? WorkProgress::Stage::Copying : WorkProgress::Stage::Reading, m_length,
                 m_expectedLength);
        // A file that grows without end is noticed at the first byte too many.
        if (size.value() < static_cast<qint64>(bufferSize) || m_length > m_expectedLength)
            break;
    }
    if (m_hashing.valid())
        m_hashing.get();
    return {};
}

void CopyPass::hash(const char* block, qint64 size)
{
    if (m_hashing.valid())
        m_hashing.get();
    if (size < blockSize)
        m_sha256.add(block, size);
    else
        m_hashing = std::async(std::launch::async, [this, block, size] { m_sha256.add(block, size); });
}

Status CopyPass::write(const char* block, qint64 size)
{
    if (!m_target)
        return {};
    auto written = m_target->write(block, size, m_expectedLength);
    if (written.ok() && size == blockSize)
        m_target->startWriting(m_length, size);
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
    return CopyPass(source, nullptr).run();
}

Result<ContentDigest> readThrough(File& source, const std::function<void(qint64 bytes)>& onBytes)
{
    const auto watch = SourceWatch::begin(source);
    if (!watch.ok())
        return watch.status();
    source.expectReadingThrough();
    const qint64 size = std::min(blockSize, watch->length() + 1);
    const std::unique_ptr<char[]> block(new char[static_cast<size_t>(size)]); // left unset
    Sha256 hash;
    qint64 length = 0;
    for (qint64 got = size; got == size && length <= watch->length();) {
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
    return CopyPass(source, &target).run();
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
