#include "backend/store/gridfs/KeptMemory.h"

#include <bson/bson.h>

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>

// The driver takes a new block for each reply, reads it there, copies it to another new one and frees both:
// with replies of some megabytes the allocator gives the pages back to the system each time, and to get them
// again costs as much as the content itself. So long blocks come from slots that stay: as many as a fetch
// with two connections and two more operations have at once; whatever finds none is allocated as ever. A slot
// has room for the largest reply that is asked for, so that a block which grows stays where it is.
//
// The allocator of the whole process is not touched: only libbson's, which nobody else here uses. Blocks of
// both kinds are told apart by where they lie, so blocks from before this was set may be freed after it.

namespace KOZAV::Backend {

namespace {

constexpr std::size_t slotSize = std::size_t(8) << 20;
constexpr std::size_t slotCount = 12;
constexpr std::size_t longFrom = std::size_t(128) << 10;

class Slots final
{
public:
    Slots()
        // Memory that nobody has written to takes up addresses alone.
        : m_begin(static_cast<char*>(std::malloc(slotSize * slotCount)))
        , m_free(m_begin ? (1U << slotCount) - 1 : 0)
    {
    }

    /// Null where none is free.
    void* take()
    {
        std::uint32_t free = m_free;
        while (free != 0) {
            const std::uint32_t lowest = free & (~free + 1);
            if (m_free.compare_exchange_weak(free, free & ~lowest))
                return m_begin + slotSize * static_cast<std::size_t>(__builtin_ctz(lowest));
        }
        return nullptr;
    }

    [[nodiscard]] bool holds(const void* block) const
    {
        const auto at = reinterpret_cast<std::uintptr_t>(block);
        const auto begin = reinterpret_cast<std::uintptr_t>(m_begin);
        return at >= begin && at < begin + slotSize * slotCount;
    }

    void giveBack(const void* block)
    {
        const auto offset = static_cast<std::size_t>(static_cast<const char*>(block) - m_begin);
        m_free |= 1U << (offset / slotSize);
    }

private:
    char* const m_begin;
    std::atomic<std::uint32_t> m_free; ///< a bit for each slot
};

/// Never destroyed: the driver may free memory until the process ends.
Slots& keptSlots()
{
    static auto* const kept = new Slots;
    return *kept;
}

void* allocate(std::size_t size)
{
    void* const slot = size >= longFrom && size <= slotSize ? keptSlots().take() : nullptr;
    return slot ? slot : std::malloc(size);
}

void* allocateZeroed(std::size_t count, std::size_t size)
{
    return std::calloc(count, size);
}

void release(void* block)
{
    if (keptSlots().holds(block))
        keptSlots().giveBack(block);
    else
        std::free(block);
}

void* reallocate(void* block, std::size_t size)
{
    const bool inSlot = keptSlots().holds(block);
    if (inSlot && size <= slotSize)
        return block;
    if (!inSlot && (size < longFrom || size > slotSize))
        return std::realloc(block, size);
    void* const moved = allocate(size);
    if (moved == nullptr)
        return nullptr;
    if (block != nullptr)
        std::memcpy(moved, block, std::min(size, inSlot ? slotSize : ::malloc_usable_size(block)));
    release(block);
    return moved;
}

} // namespace

void keepDriverMemory()
{
    bson_mem_vtable_t functions = {};
    functions.malloc = allocate;
    functions.calloc = allocateZeroed;
    functions.realloc = reallocate;
    functions.free = release;
    functions.aligned_alloc = std::aligned_alloc;
    bson_mem_set_vtable(&functions);
}

} // namespace KOZAV::Backend
