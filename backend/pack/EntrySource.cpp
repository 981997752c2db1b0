#include "backend/pack/EntrySource.h"

#include "backend/pack/FolderListing.h"

#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace KOZAV::Backend {

EntrySource::EntrySource(const FolderEntry& entry, ParallelDeflate* pieces, Status* failure)
    : m_entry(entry)
    , m_pieces(pieces)
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
    return true;
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

} // namespace KOZAV::Backend
