// A hash takes its bytes in their order, while several threads compress the pieces of one file in any. So a
// piece is hashed between its being read and its being compressed: pieces are begun in order, and what comes
// before a turn is reading and hashing only, which is short beside compressing. Each thread then has waited
// for its hash, if at all, before the long part, and all cores compress. Hashing behind the compression would
// have each thread wait for the slowest.

#include "backend/pack/PieceHash.h"

#include <utility>

namespace KOZAV::Backend {

PieceHash::Turn::Turn(std::shared_ptr<PieceHash> shared, qint64 offset, qint64 size)
    : m_shared(std::move(shared))
    , m_offset(offset)
    , m_size(size)
{
}

PieceHash::Turn::~Turn()
{
    if (m_shared && !m_taken)
        take(nullptr);
}

void PieceHash::Turn::add(const unsigned char* bytes)
{
    if (m_shared) {
        take(bytes);
        return;
    }
    Sha256 hash;
    hash.add(reinterpret_cast<const char*>(bytes), m_size);
    m_result = hash.result();
}

QByteArray PieceHash::Turn::result()
{
    return m_shared ? m_shared->m_hash.result() : m_result;
}

/// Nobody else touches the hash from the moment at which the place is this piece's until it moves on.
void PieceHash::Turn::take(const unsigned char* bytes)
{
    m_taken = true;
    {
        std::unique_lock<std::mutex> lock(m_shared->m_mutex);
        m_shared->m_moved.wait(lock, [this] { return m_shared->m_offset == m_offset; });
    }
    if (bytes)
        m_shared->m_hash.add(reinterpret_cast<const char*>(bytes), m_size);
    {
        const std::lock_guard<std::mutex> lock(m_shared->m_mutex);
        m_shared->m_offset += m_size;
    }
    m_shared->m_moved.notify_all();
}

} // namespace KOZAV::Backend
