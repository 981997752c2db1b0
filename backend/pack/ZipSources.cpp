// libzip asks what it reads from, and what it writes to, for everything through one function with a command
// (answer()): it decides when, these classes only have to be ready.
//
// All work happens when the archive is closed. For each entry libzip asks for the size, leaves room for the
// header, copies the compressed pieces as they come, asks for CRC and compressed size, and goes back to write
// the header. So the archive is written in order but for small steps back, most of which a buffer catches in
// memory; and everything before the end is final at the moment at which libzip comes back to it from a
// header. libzip itself can only tell a number of what went wrong: the failures of ours are kept beside it,
// the first one as it was.

#include "backend/pack/ZipSources.h"

#include "backend/Guarded.h"
#include "backend/io/File.h"
#include "backend/io/GrowingFile.h"
#include "backend/pack/FolderDigest.h"
#include "backend/pack/FolderListing.h"

#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace KOZAV::Backend {

namespace {

constexpr qint64 bufferSize = 256 << 10;
/// The system is asked to begin with its writing for so many bytes at once.
constexpr qint64 writeAtOnce = 1 << 20;

} // namespace

EntrySource::EntrySource(const FolderEntry& entry, ParallelDeflate* pieces, ListedFolderDigest* digest,
                         Status* failure)
    : m_entry(entry)
    , m_pieces(pieces)
    , m_digest(digest)
    , m_failure(failure)
    , m_error()
{
    zip_error_init(&m_error);
}

zip_source_t* EntrySource::create(zip_t* archive)
{
    return zip_source_function(archive, call, this);
}

zip_int64_t EntrySource::call(void* self, void* data, zip_uint64_t length, zip_source_cmd_t command)
{
    return static_cast<EntrySource*>(self)->answer(data, length, command);
}

zip_int64_t EntrySource::answer(void* data, zip_uint64_t length, zip_source_cmd_t command)
{
    switch (command) {
    case ZIP_SOURCE_SUPPORTS:
        return ZIP_SOURCE_SUPPORTS_READABLE;
    case ZIP_SOURCE_STAT:
        describe(static_cast<zip_stat_t*>(data));
        return sizeof(zip_stat_t);
    case ZIP_SOURCE_READ:
        return read(static_cast<char*>(data), length);
    case ZIP_SOURCE_ERROR:
        return zip_error_to_data(&m_error, data, length);
    case ZIP_SOURCE_OPEN:
    case ZIP_SOURCE_CLOSE:
    case ZIP_SOURCE_FREE:
        return 0;
    default:
        zip_error_set(&m_error, ZIP_ER_OPNOTSUPP, 0);
        return -1;
    }
}

zip_int64_t EntrySource::read(char* buffer, zip_uint64_t length)
{
    zip_uint64_t done = 0;
    while (done < length) {
        const std::size_t available = m_piece.bytes.size() - m_readOfPiece;
        if (available == 0) {
            if (m_ended)
                break;
            if (!takePiece())
                return -1;
            continue;
        }
        const auto count = std::min<zip_uint64_t>(available, length - done);
        std::memcpy(buffer + done, m_piece.bytes.data() + m_readOfPiece, count);
        m_readOfPiece += count;
        done += count;
    }
    return static_cast<zip_int64_t>(done);
}

bool EntrySource::takePiece()
{
    m_piece = m_pieces->take();
    m_readOfPiece = 0;
    if (!m_piece.status.ok()) {
        *m_failure = m_piece.status;
        zip_error_set(&m_error, ZIP_ER_READ, EIO);
        return false;
    }
    m_crc = static_cast<quint32>(
        crc32_combine(m_crc, m_piece.crc, static_cast<z_off_t>(m_piece.uncompressedSize)));
    m_compressedSize += static_cast<qint64>(m_piece.bytes.size());
    m_ended = m_piece.isLast;
    return !m_ended || noteHash();
}

/// libzip is no place for an exception to pass through.
bool EntrySource::noteHash()
{
    const auto noted = guarded("hash the content of the folder", [this] {
        m_digest->addFile(m_entry, m_piece.sha256);
        return Status();
    });
    if (noted.ok())
        return true;
    *m_failure = noted;
    zip_error_set(&m_error, ZIP_ER_MEMORY, 0);
    return false;
}

/// libzip asks before it reads, when only the size is known, and again after it.
void EntrySource::describe(zip_stat_t* description) const
{
    zip_stat_init(description);
    description->valid = ZIP_STAT_SIZE | ZIP_STAT_COMP_METHOD;
    description->size = static_cast<zip_uint64_t>(m_entry.info.length);
    description->comp_method = ZIP_CM_DEFLATE;
    if (!m_ended)
        return;
    description->valid |= ZIP_STAT_CRC | ZIP_STAT_COMP_SIZE;
    description->crc = m_crc;
    description->comp_size = static_cast<zip_uint64_t>(m_compressedSize);
}

ArchiveFile::ArchiveFile(File& file, GrowingFile* growing)
    : m_file(file)
    , m_growing(growing)
    , m_error()
    , m_buffer(bufferSize)
{
    zip_error_init(&m_error);
}

zip_source_t* ArchiveFile::create(zip_error_t* error)
{
    return zip_source_function_create(call, this, error);
}

zip_int64_t ArchiveFile::call(void* self, void* data, zip_uint64_t length, zip_source_cmd_t command)
{
    return static_cast<ArchiveFile*>(self)->answer(data, length, command);
}

zip_int64_t ArchiveFile::answer(void* data, zip_uint64_t length, zip_source_cmd_t command)
{
    switch (command) {
    case ZIP_SOURCE_SUPPORTS:
        return ZIP_SOURCE_SUPPORTS_WRITABLE;
    case ZIP_SOURCE_STAT:
        return failed(ZIP_ER_READ, ENOENT); // there is no archive yet
    case ZIP_SOURCE_ERROR:
        return zip_error_to_data(&m_error, data, length);
    case ZIP_SOURCE_WRITE:
        return write(static_cast<const char*>(data), static_cast<qint64>(length));
    case ZIP_SOURCE_SEEK_WRITE:
        return seek(data, length);
    case ZIP_SOURCE_TELL_WRITE:
        return m_position;
    case ZIP_SOURCE_COMMIT_WRITE:
        m_finalLength = m_length;
        m_failure = flush();
        return m_failure.ok() ? 0 : failed(ZIP_ER_WRITE, EIO);
    case ZIP_SOURCE_BEGIN_WRITE:
    case ZIP_SOURCE_ROLLBACK_WRITE:
    case ZIP_SOURCE_FREE:
        return 0;
    default:
        return failed(ZIP_ER_OPNOTSUPP, 0);
    }
}

zip_int64_t ArchiveFile::write(const char* bytes, qint64 size)
{
    if (m_growing && m_growing->isGivenUp()) {
        m_failure = Status(ErrorCode::Stopped,
                           QStringLiteral("the packing was stopped, since nobody takes the archive"));
        return failed(ZIP_ER_WRITE, EIO);
    }
    for (qint64 done = 0; done < size;) {
        const auto written = writeSome(bytes + done, size - done);
        if (!written.ok()) {
            m_failure = written.status();
            return failed(ZIP_ER_WRITE, EIO);
        }
        done += written.value();
        m_position += written.value();
    }
    m_length = std::max(m_length, m_position);
    return size;
}

/// Writes as much as lies in one place: before the buffer, or in it.
Result<qint64> ArchiveFile::writeSome(const char* bytes, qint64 size)
{
    if (m_position < m_bufferStart) {
        const qint64 count = std::min(size, m_bufferStart - m_position);
        const auto written = m_file.writeAt(bytes, count, m_position);
        return written.ok() ? Result(count) : written;
    }
    if (m_position > m_bufferStart + m_buffered || m_position == m_bufferStart + bufferSize) {
        if (const auto flushed = flush(); !flushed.ok())
            return flushed;
        m_bufferStart = m_position;
    }
    const qint64 at = m_position - m_bufferStart;
    const qint64 count = std::min(size, bufferSize - at);
    std::memcpy(m_buffer.data() + at, bytes, static_cast<std::size_t>(count));
    m_buffered = std::max(m_buffered, at + count);
    return count;
}

Status ArchiveFile::flush()
{
    auto written = m_file.writeAt(m_buffer.data(), m_buffered, m_bufferStart);
    m_bufferStart += m_buffered;
    m_buffered = 0;
    if (!written.ok())
        return written;
    if (m_bufferStart - m_writeStarted >= writeAtOnce) {
        m_file.startWriting(m_writeStarted, m_bufferStart - m_writeStarted);
        m_writeStarted = m_bufferStart;
    }
    tellFinal();
    return {};
}

/// What lies before the last header that was gone back to, and is no longer in the buffer.
void ArchiveFile::tellFinal()
{
    if (m_growing)
        m_growing->advance(std::min(m_finalLength, m_bufferStart));
}

zip_int64_t ArchiveFile::seek(void* data, zip_uint64_t length)
{
    const zip_int64_t target = zip_source_seek_compute_offset(
        static_cast<zip_uint64_t>(m_position), static_cast<zip_uint64_t>(m_length), data, length, &m_error);
    if (target < 0)
        return -1;
    const bool completed = m_position < m_length && target == m_length;
    m_position = target;
    if (completed) {
        m_finalLength = m_length;
        tellFinal();
    }
    return 0;
}

zip_int64_t ArchiveFile::failed(int zipError, int systemError)
{
    zip_error_set(&m_error, zipError, systemError);
    return -1;
}

} // namespace KOZAV::Backend
