#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>

namespace KOZAV::Backend {

/// Memory that is written before it is read and used again and again, for the largest content so far. It is
/// left unset: to fill it, and to have the system find pages for what a content does not reach, would cost a
/// few percent of compressing.
class GrowingBuffer final
{
public:
    /// At least size bytes; what was in them before may be gone. Throws std::bad_alloc.
    unsigned char* ofSize(std::size_t size)
    {
        if (size > m_size) {
            m_bytes.reset();
            m_size = 0;
            const std::size_t grown = std::max(size, smallest);
            m_bytes.reset(new unsigned char[grown]); // NOLINT(modernize-make-unique): left unset
            m_size = grown;
        }
        return m_bytes.get();
    }

private:
    /// Costs next to nothing until it is used, and spares growing with every file.
    static constexpr std::size_t smallest = std::size_t(1) << 22;

    std::unique_ptr<unsigned char[]> m_bytes;
    std::size_t m_size = 0;
};

} // namespace KOZAV::Backend
