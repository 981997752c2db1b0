#pragma once

#include "backend/Status.h"
#include "backend/pack/GrowingBuffer.h"

#include <cstddef>
#include <memory>
#include <vector>

struct libdeflate_compressor;

namespace KOZAV::Backend {

/// Compresses a file's content piece by piece into one raw deflate stream. The pieces do not depend on each
/// other, so several threads, each with a compressor of its own, can work on one file.
class PieceCompressor final
{
public:
    /// level: 1 (fast) to 9 (small). Throws std::bad_alloc.
    explicit PieceCompressor(int level);
    ~PieceCompressor();
    Q_DISABLE_COPY(PieceCompressor)

    /// Replaces deflated by the piece's part of the stream. All parts but the last end on a byte and can be
    /// continued.
    Status compress(const unsigned char* bytes, std::size_t size, bool isLast,
                    std::vector<unsigned char>* deflated);

private:
    struct FreeCompressor
    {
        void operator()(libdeflate_compressor* compressor) const;
    };

    Status keepOpen(std::size_t uncompressedSize, std::vector<unsigned char>* deflated);

    std::unique_ptr<libdeflate_compressor, FreeCompressor> m_compressor;
    GrowingBuffer m_output;
    GrowingBuffer m_inflated;
};

} // namespace KOZAV::Backend
