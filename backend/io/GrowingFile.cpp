#include "backend/io/GrowingFile.h"

#include "backend/io/FilePath.h"
#include "backend/io/Sha256.h"
#include "backend/io/TempFile.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace KOZAV::Backend {

Status GrowingFile::begin(const std::string& path, const std::string& name)
{
    auto opened = File::openForReading(path);
    if (!opened.ok())
        return opened.status();
    m_file = File(opened->release(), name);
    return {};
}

void GrowingFile::begin(TempFile& file)
{
    m_file = file.lend();
}

/// An end is final: a writer that fails on its way out of a finished file has nothing to add.
template <typename Change>
void GrowingFile::change(Change&& change)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_ended)
            return;
        change();
    }
    m_changed.notify_all();
}

void GrowingFile::advance(qint64 finalBytes)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_ended || finalBytes <= m_finalBytes) // a reader who wakes up for nothing costs two switches
            return;
        m_finalBytes = finalBytes;
    }
    m_changed.notify_all();
}

void GrowingFile::finish(qint64 length)
{
    change([&] {
        m_finalBytes = length;
        m_ended = true;
    });
}

void GrowingFile::fail(const Status& reason)
{
    change([&] {
        m_failure = reason;
        m_ended = true;
    });
}

Result<qint64> GrowingFile::waitBeyond(qint64 offset)
{
    m_readBytes = offset;
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [&] { return m_ended || m_finalBytes > offset; });
    return m_failure.ok() ? Result(m_finalBytes) : m_failure;
}

Result<qint64> GrowingFile::waitForEnd()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [&] { return m_ended; });
    return m_failure.ok() ? Result(m_finalBytes) : m_failure;
}

Result<ContentDigest> digestGrowing(GrowingFile& growing)
{
    constexpr qint64 hashedAtOnce = 256 << 10;
    const std::unique_ptr<char[]> block(new char[hashedAtOnce]); // NOLINT(modernize-make-unique): left unset
    Sha256 hash;
    for (qint64 offset = 0;;) {
        const auto ready = growing.waitBeyond(offset);
        if (!ready.ok())
            return ready.status();
        if (ready.value() == offset)
            return digestOf(offset, hash, displayPath(growing.file().path()));
        while (offset < ready.value()) {
            const qint64 size = std::min(hashedAtOnce, ready.value() - offset);
            const auto read = growing.file().readAt(block.get(), size, offset);
            if (!read.ok())
                return read.status();
            if (read.value() != size)
                return Status::changedWhileRead(QStringLiteral("cannot read %1: others cut it off meanwhile")
                                                    .arg(displayPath(growing.file().path())));
            hash.add(block.get(), size);
            offset += size;
        }
    }
}

} // namespace KOZAV::Backend
