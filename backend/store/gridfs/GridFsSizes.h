#pragma once

#include <QtGlobal>

namespace KOZAV::Backend {

/// Content of a chunk, in bytes: what GridFS uses by default.
constexpr int gridFsChunkSize = 255 * 1024;

/// Chunks that are sent in one request.
constexpr int gridFsBatchChunks = 16;

/// Content that one reply of the server brings, about.
constexpr qint64 gridFsFetchBytes = qint64(gridFsBatchChunks) * gridFsChunkSize;

/// The same, where another program has made small chunks.
constexpr qint64 gridFsMostChunksAtOnce = 1000;

} // namespace KOZAV::Backend
