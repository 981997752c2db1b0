// libarchive's own gzip filter skips the eight bytes behind a stream, so that a damaged archive goes through
// as a whole one; and it finds filters within filters. So gzip is taken off here, by zlib, which compares
// checksum and length, and libarchive is given no filter at all: what it sees is a file or what came out of
// one gzip.
//
// The input of a file without gzip can be sought in, which the zip reader needs for the directory at its end.

#include "host/odb/ArchiveInput.h"

#include "host/odb/WorkFolder.h"

#include <archive.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

namespace KOZAV::Host {

namespace {

constexpr int blockSize = 1024 * 1024;
constexpr int inputSize = 256 * 1024;
/// As zlib counts windows: the largest, with a gzip header before the stream and a trailer behind it.
constexpr int gzipWindow = 15 + 16;

} // namespace

/// zlib's state and the compressed bytes that it has not taken yet.
struct ArchiveInput::Inflater
{
    z_stream stream = {};
    std::array<unsigned char, inputSize> input = {};
    bool ready = false;
    bool ended = false; ///< nothing follows

    Inflater() { ready = ::inflateInit2(&stream, gzipWindow) == Z_OK; }
    ~Inflater() { ::inflateEnd(&stream); }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;
};

ArchiveInput::ArchiveInput()
    : m_block(blockSize, Qt::Uninitialized)
{
}

bool ArchiveInput::open(const QString& path)
{
    if (const std::error_code error = openRegularFile(path, m_file)) {
        m_error = WorkFolder::reason(error);
        return false;
    }
    m_length = m_file.size();
    std::array<char, 2> magic = {};
    m_offset = 0;
    if (readFile(magic.data(), static_cast<qint64>(magic.size())) < 0)
        return false;
    if (magic[0] == '\x1f' && magic[1] == '\x8b')
        m_inflater = std::make_unique<Inflater>();
    if (isGzip() && !m_inflater->ready)
        m_error = QStringLiteral("there is no memory to take gzip off");
    return m_error.isEmpty();
}

ArchiveInput::~ArchiveInput() = default;

int ArchiveInput::attach(archive* reader)
{
    if (!isGzip())
        archive_read_set_seek_callback(reader, [](archive*, void* self, la_int64_t offset, int whence) {
            return static_cast<la_int64_t>(static_cast<ArchiveInput*>(self)->seek(offset, whence));
        });
    m_offset = 0;
    return archive_read_open(
        reader, this, nullptr,
        [](archive* caller, void* self, const void** bytes) {
            auto* const input = static_cast<ArchiveInput*>(self);
            const qint64 count = input->read(bytes);
            if (count < 0)
                archive_set_error(caller, EILSEQ, "%s", input->error().toLocal8Bit().constData());
            return static_cast<la_ssize_t>(count);
        },
        nullptr);
}

qint64 ArchiveInput::seek(qint64 offset, int whence)
{
    const qint64 from = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? m_offset : m_length;
    if (offset < -from || offset > m_length - from)
        return ARCHIVE_FATAL;
    m_offset = from + offset;
    return m_offset;
}

qint64 ArchiveInput::read(const void** bytes)
{
    if (!m_error.isEmpty())
        return -1;
    *bytes = m_block.constData();
    const qint64 count = isGzip() ? inflateBlock() : readFile(m_block.data(), m_block.size());
    m_plainBytes += std::max<qint64>(0, count);
    return count;
}

qint64 ArchiveInput::readFile(char* buffer, qint64 size)
{
    const qint64 count = m_file.seek(m_offset) ? m_file.read(buffer, size) : -1;
    if (count < 0)
        return fail(m_file.errorString());
    m_offset += count;
    return count;
}

qint64 ArchiveInput::fail(const QString& reason)
{
    m_error = reason;
    return -1;
}

/// Has zlib something to take, if there is anything left of the file.
bool ArchiveInput::fillInput()
{
    z_stream& stream = m_inflater->stream;
    if (stream.avail_in > 0)
        return true;
    const qint64 count = readFile(reinterpret_cast<char*>(m_inflater->input.data()), inputSize);
    stream.next_in = m_inflater->input.data();
    stream.avail_in = static_cast<uInt>(std::max<qint64>(0, count));
    return count > 0;
}

qint64 ArchiveInput::inflateBlock()
{
    z_stream& stream = m_inflater->stream;
    stream.next_out = reinterpret_cast<unsigned char*>(m_block.data());
    stream.avail_out = blockSize;
    while (stream.avail_out > 0 && !m_inflater->ended) {
        if (!fillInput())
            return fail(m_error.isEmpty() ? QStringLiteral("its gzip stream is cut short") : m_error);
        const int code = ::inflate(&stream, Z_NO_FLUSH);
        if (code == Z_STREAM_END)
            m_inflater->ended = !beginNextMember();
        else if (code != Z_OK && code != Z_BUF_ERROR)
            return fail(QStringLiteral("its gzip stream is damaged (%1)")
                            .arg(QLatin1String(stream.msg ? stream.msg : "no message")));
    }
    return m_error.isEmpty() ? blockSize - static_cast<qint64>(stream.avail_out) : -1;
}

/// Whether another gzip stream follows the one that has ended. Zeros, which tapes are filled with, do not
/// count as trailing bytes.
bool ArchiveInput::beginNextMember()
{
    z_stream& stream = m_inflater->stream;
    bool padded = false;
    while (fillInput()) {
        if (*stream.next_in == 0) {
            padded = true;
            ++stream.next_in;
            --stream.avail_in;
            continue;
        }
        m_trailing = padded || *stream.next_in != 0x1f;
        return !m_trailing && ::inflateReset2(&stream, gzipWindow) == Z_OK;
    }
    return false;
}

} // namespace KOZAV::Host
