// libdeflate is faster than zlib and packs as small, but it takes only whole buffers, each to a stream of its
// own. Streams are joined by opening the end of all but the last: the bit that marks the last block is
// cleared, and an empty stored block follows, which ends on a byte whatever came before. Where the last block
// begins is nowhere written; zlib's inflate() stops after every block and tells. So each piece is also read
// back once, which proves it on the way.
//
// Of a large piece a small part in its middle is compressed first. What even that leaves as it was (images,
// archives, encrypted files) costs as much time as any other content and gains nothing: it goes into stored
// blocks, once parts at both ends have said the same. What repeats itself much, on the other hand, comes in
// two kinds. Some layers are made of the same few lines, where looking for better matches takes three times
// as long and finds next to none. In component lists it finds a tenth, and most of the time goes by in long
// matches: they get one level more. All this depends on the content alone, and so does the archive.

#include "backend/pack/PieceCompressor.h"

#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <new>
#include <optional>

namespace KOZAV::Backend {

namespace {

constexpr int rawDeflate = -MAX_WBITS;

constexpr int fastLevel = 1;
/// Whoever asks for a higher level wants the archive small at any price.
constexpr int highestSpared = 5;

constexpr std::size_t sampleSize = 32U << 10U;
/// A piece from this size on is worth a sample.
constexpr std::size_t smallestSampled = 256U << 10U;

/// Whether a sample that compresses to this length holds next to nothing that could be taken from it.
bool isDenseLength(std::size_t length)
{
    return length > sampleSize - sampleSize / 64;
}

/// The most that a stored block holds.
constexpr std::size_t storedBlockSize = 0xffff;

/// Puts bytes into stored blocks, the last of which ends the stream where isLast.
void storeBlocks(const unsigned char* bytes, std::size_t size, bool isLast,
                 std::vector<unsigned char>* deflated)
{
    constexpr std::size_t headerSize = 5;
    deflated->clear();
    deflated->reserve(size + (size / storedBlockSize + 1) * headerSize);
    for (std::size_t done = 0; done < size;) {
        const std::size_t count = std::min(storedBlockSize, size - done);
        const auto low = static_cast<unsigned char>(count & 0xffU);
        const auto high = static_cast<unsigned char>(count >> 8U);
        const bool ends = isLast && done + count == size;
        deflated->insert(deflated->end(),
                         {static_cast<unsigned char>(ends ? 1 : 0), low, high,
                          static_cast<unsigned char>(~low), static_cast<unsigned char>(~high)});
        deflated->insert(deflated->end(), bytes + done, bytes + done + count);
        done += count;
    }
}

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

libdeflate_compressor* PieceCompressor::made(Compressor* compressor, int level)
{
    if (!*compressor)
        compressor->reset(libdeflate_alloc_compressor(level));
    if (!*compressor)
        throw std::bad_alloc();
    return compressor->get();
}

PieceCompressor::PieceCompressor(int level)
    : m_level(level)
{
}

PieceCompressor::~PieceCompressor() = default;

Status PieceCompressor::compress(const unsigned char* bytes, std::size_t size, bool isLast,
                                 std::vector<unsigned char>* deflated)
{
    const Way way = size < smallestSampled ? Way::AtLevel : wayFor(bytes, size);
    if (way == Way::Stored) {
        storeBlocks(bytes, size, isLast, deflated);
        return {};
    }
    const std::size_t length = deflate(compressorFor(way), bytes, size);
    if (length == 0)
        return Status::internal(QStringLiteral("the compression failed"));
    const unsigned char* const output = m_output.ofSize(length);
    deflated->assign(output, output + length);
    return isLast ? Status() : keepOpen(size, deflated);
}

/// Compresses into the buffer of outputs. @return the length; 0 where that failed
std::size_t PieceCompressor::deflate(libdeflate_compressor* compressor, const unsigned char* bytes,
                                     std::size_t size)
{
    const std::size_t bound = libdeflate_deflate_compress_bound(compressor, size);
    return libdeflate_deflate_compress(compressor, bytes, size, m_output.ofSize(bound), bound);
}

libdeflate_compressor* PieceCompressor::compressorFor(Way way)
{
    switch (way) {
    case Way::Fast:
        return made(&m_fast, fastLevel);
    case Way::Thorough:
        return made(&m_thorough, m_level + 1);
    default:
        return made(&m_compressor, m_level);
    }
}

PieceCompressor::Way PieceCompressor::wayFor(const unsigned char* bytes, std::size_t size)
{
    // A sample that shrinks to less than this repeats itself so much that levels are to be compared.
    constexpr std::size_t repetitive = sampleSize / 7;
    const unsigned char* const middle = bytes + (size - sampleSize) / 2;
    const std::size_t fast = deflate(compressorFor(Way::Fast), middle, sampleSize);
    if (isDenseLength(fast))
        return isDense(bytes) && isDense(bytes + size - sampleSize) ? Way::Stored : Way::AtLevel;
    if (m_level > highestSpared || fast > repetitive)
        return Way::AtLevel;
    const std::size_t atLevel = deflate(compressorFor(Way::AtLevel), middle, sampleSize);
    return fast * 16 <= atLevel * 17 ? Way::Fast : Way::Thorough;
}

bool PieceCompressor::isDense(const unsigned char* sample)
{
    return isDenseLength(deflate(compressorFor(Way::Fast), sample, sampleSize));
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
