#include "backend/store/gridfs/ChunkSource.h"

#include "backend/io/FilePath.h"

namespace KOZAV::Backend {

ChunkSource::ChunkSource(File& file, const SourceWatch& watch, int chunkSize)
    : m_file(file)
    , m_watch(watch)
    , m_chunkSize(chunkSize)
{
}

Status ChunkSource::fill(ChunkBatch& batch)
{
    batch.restart(m_chunks);
    while (!batch.isFull() && !atEnd()) {
        char* const data = batch.nextData();
        const auto size = m_file.read(data, m_chunkSize);
        if (!size.ok())
            return size.status();
        if (size.value() == 0)
            return m_watch.end(m_length); // it has become shorter
        m_sha256.add(data, size.value());
        batch.add(static_cast<int>(size.value()));
        m_length += size.value();
        ++m_chunks;
    }
    return {};
}

Result<ContentDigest> ChunkSource::digest()
{
    if (Status unchanged = m_watch.end(m_length); !unchanged.ok())
        return unchanged;
    const ContentDigest digest{m_length, m_sha256.result()};
    if (digest.sha256.isEmpty())
        return Status::internal(
            QStringLiteral("Cannot calculate the SHA-256 of %1").arg(displayPath(m_file.path())));
    return digest;
}

} // namespace KOZAV::Backend
