// libdeflate is faster than zlib and packs as small, but it takes only whole buffers, each to a stream of its
// own. Streams are joined by opening the end of all but the last: the bit that marks the last block is
// cleared, and an empty stored block follows, which ends on a byte whatever came before. Where the last block
// begins is nowhere written; zlib's inflate() stops after every block and tells. So each piece is also read
// back once, which proves it on the way.

#include "backend/pack/PieceCompressor.h"

#include <libdeflate.h>
#include <zlib.h>

#include <new>
#include <optional>

namespace KOZAV::Backend {

namespace {

constexpr int rawDeflate = -MAX_WBITS;

struct CloseInflate
{
    void operator()(z_stream* stream) const { inflateEnd(stream); }
};

/// Where in a deflate stream its last block begins and ends, in bits.
struct LastBlock
{
    std::size_t begin = 0;
    std::size_t end = 0;
};

/// Reads through a whole deflate stream; nothing where it is not one of uncompressedSize bytes.
std::optional<LastBlock> findLastBlock(std::vector<unsigned char>* deflated, GrowingBuffer* inflated,
                                       std::size_t uncompressedSize)
{
    // What inflate() tells in data_type when it stops after a block.
    constexpr int unusedBits = 7;
    constexpr int wasLastBlock = 64;
    constexpr int isBetweenBlocks = 128;

    z_stream stream = {};
    if (inflateInit2(&stream, rawDeflate) != Z_OK)
        throw std::bad_alloc();
    const std::unique_ptr<z_stream, CloseInflate> closing(&stream);
    stream.next_in = deflated->data();
    stream.avail_in = static_cast<uInt>(deflated->size());
    stream.next_out = inflated->ofSize(uncompressedSize + 1);
    stream.avail_out = static_cast<uInt>(uncompressedSize + 1);

    LastBlock block;
    while (inflate(&stream, Z_BLOCK) == Z_OK) {
        if ((stream.data_type & isBetweenBlocks) == 0)
            continue;
        block.end = stream.total_in * 8U - static_cast<std::size_t>(stream.data_type & unusedBits);
        if ((stream.data_type & wasLastBlock) != 0)
            return stream.total_out == uncompressedSize ? std::optional(block) : std::nullopt;
        block.begin = block.end;
    }
    return std::nullopt;
}

} // namespace

void PieceCompressor::FreeCompressor::operator()(libdeflate_compressor* compressor) const
{
    libdeflate_free_compressor(compressor);
}

PieceCompressor::PieceCompressor(int level)
    : m_compressor(libdeflate_alloc_compressor(level))
{
    if (!m_compressor)
        throw std::bad_alloc();
}

PieceCompressor::~PieceCompressor() = default;

Status PieceCompressor::compress(const unsigned char* bytes, std::size_t size, bool isLast,
                                 std::vector<unsigned char>* deflated)
{
    const std::size_t bound = libdeflate_deflate_compress_bound(m_compressor.get(), size);
    unsigned char* const output = m_output.ofSize(bound);
    const std::size_t length = libdeflate_deflate_compress(m_compressor.get(), bytes, size, output, bound);
    if (length == 0)
        return Status::internal(QStringLiteral("the compression failed"));
    deflated->assign(output, output + length);
    return isLast ? Status() : keepOpen(size, deflated);
}

/// A compressed piece is a whole deflate stream. To let another one follow, its last block is no longer
/// marked as the last, and an empty stored block, which always ends on a byte, is put behind it.
Status PieceCompressor::keepOpen(std::size_t uncompressedSize, std::vector<unsigned char>* deflated)
{
    constexpr std::size_t blockHeaderBits = 3;
    const auto last = findLastBlock(deflated, &m_inflated, uncompressedSize);
    if (!last)
        return Status::internal(QStringLiteral("the compressed data cannot be read back"));
    (*deflated)[last->begin / 8] &= static_cast<unsigned char>(~(1U << (last->begin % 8)));
    // The bits behind the end are zero, and zero is the header of a stored block that is not the last.
    if (deflated->size() * 8 - last->end < blockHeaderBits)
        deflated->push_back(0);
    deflated->insert(deflated->end(), {0x00, 0x00, 0xff, 0xff});
    return {};
}

} // namespace KOZAV::Backend
