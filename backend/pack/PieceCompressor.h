#pragma once

#include "backend/Status.h"
#include "backend/pack/GrowingBuffer.h"

#include <cstddef>
#include <memory>
#include <vector>

struct libdeflate_compressor;

namespace KOZAV::Backend {

/// Compresses a file's content piece by piece into one raw deflate stream. The pieces do not depend on each
/// other, so several threads, each with a compressor of its own, can work on one file. The level is that of
/// most contents: one that cannot be compressed is stored within the stream, and one that repeats itself much
/// is compressed with another level where that is nearly as good, or hardly slower.
class PieceCompressor final
{
public:
    /// level: 1 (fast) to 9 (small).
    explicit PieceCompressor(int level);
    ~PieceCompressor();
    Q_DISABLE_COPY(PieceCompressor)

    /// Replaces deflated by the piece's part of the stream. All parts but the last end on a byte and can be
    /// continued. Throws std::bad_alloc.
    Status compress(const unsigned char* bytes, std::size_t size, bool isLast,
                    std::vector<unsigned char>* deflated);

private:
    struct FreeCompressor
    {
        void operator()(libdeflate_compressor* compressor) const;
    };

    using Compressor = std::unique_ptr<libdeflate_compressor, FreeCompressor>;

    /// How a piece is best treated.
    enum class Way { Stored, Fast, AtLevel, Thorough };

    /// The compressor of a level, made when it is first needed. Throws std::bad_alloc.
    static libdeflate_compressor* made(Compressor* compressor, int level);
    [[nodiscard]] libdeflate_compressor* compressorFor(Way way);
    [[nodiscard]] Way wayFor(const unsigned char* bytes, std::size_t size);
    std::size_t deflate(libdeflate_compressor* compressor, const unsigned char* bytes, std::size_t size);
    [[nodiscard]] bool isDense(const unsigned char* sample);
    Status keepOpen(std::size_t uncompressedSize, std::vector<unsigned char>* deflated);

    const int m_level;
    Compressor m_compressor;
    Compressor m_fast;
    Compressor m_thorough;
    GrowingBuffer m_output;
    GrowingBuffer m_inflated;
};

} // namespace KOZAV::Backend
