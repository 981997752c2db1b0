#include "backend/store/gridfs/ChunkBatch.h"

#include "backend/store/gridfs/Bson.h"

#include <cstring>

namespace KOZAV::Backend {

namespace {

// A chunk document is the one with empty data, with the content in front of its last byte. Its data is the
// last field: length, subtype, content.
constexpr size_t tailSize = 1;
constexpr size_t lengthBeforeContent = 5;

void fillEmptyChunk(Bson& document, const GridFsId& file, int number)
{
    document.value("_id", GridFsId::fresh().value())
        .value("files_id", file.value())
        .int32("n", number)
        .emptyBinary("data");
}

size_t headSizeOf(const GridFsId& file)
{
    Bson document;
    fillEmptyChunk(document, file, 0);
    return document.get()->len - tailSize;
}

void setNumber(uint8_t* at, size_t value)
{
    const uint32_t stored = BSON_UINT32_TO_LE(static_cast<uint32_t>(value));
    std::memcpy(at, &stored, sizeof stored);
}

} // namespace

ChunkBatch::ChunkBatch(const GridFsId& file, int chunkSize, int capacity)
    : m_file(file)
    , m_capacity(static_cast<size_t>(capacity))
    , m_headSize(headSizeOf(file))
    , m_slotSize(m_headSize + static_cast<size_t>(chunkSize) + tailSize)
    , m_memory(new uint8_t[m_slotSize * m_capacity]) // NOLINT(modernize-make-unique): left unset
{
}

void ChunkBatch::restart(int firstNumber)
{
    m_size = 0;
    m_firstNumber = firstNumber;
}

uint8_t* ChunkBatch::nextSlot()
{
    return m_memory.get() + m_slotSize * m_size;
}

char* ChunkBatch::nextData()
{
    return reinterpret_cast<char*>(nextSlot() + m_headSize);
}

void ChunkBatch::add(int size)
{
    const size_t wholeSize = m_headSize + static_cast<size_t>(size) + tailSize;
    Bson empty;
    fillEmptyChunk(empty, m_file, m_firstNumber + static_cast<int>(m_size));
    uint8_t* const slot = nextSlot();
    std::memcpy(slot, bson_get_data(empty.get()), m_headSize);
    setNumber(slot, wholeSize);
    setNumber(slot + m_headSize - lengthBeforeContent, static_cast<size_t>(size));
    slot[wholeSize - tailSize] = 0;
    bson_init_static(&m_documents[m_size], slot, wholeSize);
    m_pointers[m_size] = &m_documents[m_size];
    ++m_size;
}

} // namespace KOZAV::Backend
