#pragma once

#include "backend/Status.h"
#include "backend/io/FileCopy.h"
#include "backend/io/Sha256.h"
#include "backend/store/gridfs/ChunkBatch.h"

namespace KOZAV::Backend {

/// Reads a local file once, from its start, into chunks, and hashes what it reads. The file has to outlive
/// it.
class ChunkSource final
{
public:
    ChunkSource(File& file, const SourceWatch& watch, int chunkSize);

    /// Fills the batch with the next chunks, the last one of the file being shorter. Leaves it empty at the
    /// end.
    Status fill(ChunkBatch& batch);

    /// Whether all that the file had at the beginning has been read.
    [[nodiscard]] bool atEnd() const { return m_length >= m_watch.length(); }

    /// What has been read, if the file stayed what it was.
    Result<ContentDigest> digest();

private:
    File& m_file;
    const SourceWatch& m_watch;
    const int m_chunkSize;
    Sha256 m_sha256;
    qint64 m_length = 0;
    int m_chunks = 0;
};

} // namespace KOZAV::Backend
