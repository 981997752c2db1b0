#pragma once

#include "backend/Status.h"
#include "backend/io/FileCopy.h"
#include "backend/io/FileDescriptor.h"
#include "backend/io/Sha256.h"
#include "backend/io/SourceWatch.h"
#include "backend/store/gridfs/ChunkBatch.h"

#include <string>

namespace KOZAV::Backend {

/// Reads a local file once, from its start, into chunks, and hashes what it reads. File and path have to
/// outlive it.
class ChunkSource final
{
public:
    ChunkSource(const FileDescriptor& file, const std::string& path, const SourceWatch& watch, int chunkSize);

    /// Fills the batch with the next chunks, the last one of the file being shorter. Leaves it empty at the
    /// end.
    Status fill(ChunkBatch& batch);

    /// Whether all that the file had at the beginning has been read.
    [[nodiscard]] bool atEnd() const { return m_length >= m_watch.length(); }

    /// What has been read, if the file stayed what it was.
    Result<ContentDigest> digest();

private:
    const FileDescriptor& m_file;
    const std::string& m_path;
    const SourceWatch& m_watch;
    const int m_chunkSize;
    Sha256 m_sha256;
    qint64 m_length = 0;
    int m_chunks = 0;
};

} // namespace KOZAV::Backend
