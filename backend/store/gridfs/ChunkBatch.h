#pragma once

#include "backend/store/gridfs/GridFsFile.h"

#include <bson/bson.h>

#include <memory>

namespace KOZAV::Backend {

/// Content of a chunk, in bytes: what GridFS uses by default.
constexpr int gridFsChunkSize = 255 * 1024;

/// Chunks that are sent in one request.
constexpr int gridFsBatchChunks = 16;

/// Consecutive chunk documents of one file, in one block of memory. The content is read right to where it
/// stays until it is sent.
class ChunkBatch final
{
public:
    /// @param chunkSize  bytes of content a chunk
    /// @param capacity   most chunks at once, up to gridFsBatchChunks
    ChunkBatch(const GridFsId& file, int chunkSize, int capacity);
    Q_DISABLE_COPY(ChunkBatch)

    /// Empties the batch; the next chunk gets this number.
    void restart(int firstNumber);

    [[nodiscard]] bool isFull() const { return m_size == m_capacity; }
    [[nodiscard]] bool isEmpty() const { return m_size == 0; }

    /// Where the content of the next chunk goes: room for chunkSize bytes. Only where it is not full.
    [[nodiscard]] char* nextData();

    /// Makes a chunk of the first size bytes at nextData().
    void add(int size);

    [[nodiscard]] size_t size() const { return m_size; }
    /// As many as size(); valid until the batch changes.
    [[nodiscard]] const bson_t** documents() { return m_pointers; }

private:
    [[nodiscard]] uint8_t* nextSlot();

    bson_t m_documents[gridFsBatchChunks]; // first: they have to lie at multiples of 128
    const bson_t* m_pointers[gridFsBatchChunks];
    const GridFsId m_file;
    const size_t m_capacity;
    const size_t m_headSize; ///< bytes of a chunk document in front of its content
    const size_t m_slotSize;
    std::unique_ptr<uint8_t[]> m_memory;
    size_t m_size = 0;
    int m_firstNumber = 0;
};

} // namespace KOZAV::Backend
