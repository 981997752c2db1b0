#pragma once

#include "backend/Status.h"
#include "backend/io/File.h"

#include <zip.h>

#include <vector>

namespace KOZAV::Backend {

/// The file that libzip writes an archive to. libzip goes back after every entry to complete its header; a
/// buffer lets most of that happen in memory.
class ArchiveFile final
{
public:
    /// The file must outlive this object, and this object the archive.
    explicit ArchiveFile(File& file);
    Q_DISABLE_COPY(ArchiveFile)

    /// The target for zip_open_from_source(), which then owns it; nullptr with error set on failure.
    zip_source_t* create(zip_error_t* error);

    [[nodiscard]] qint64 length() const { return m_length; }

    /// The first failure to write.
    [[nodiscard]] const Status& failure() const { return m_failure; }

private:
    static zip_int64_t call(void* self, void* data, zip_uint64_t length, zip_source_cmd_t command);

    zip_int64_t answer(void* data, zip_uint64_t length, zip_source_cmd_t command);
    zip_int64_t write(const char* bytes, qint64 size);
    zip_int64_t seek(void* data, zip_uint64_t length);
    Result<qint64> writeSome(const char* bytes, qint64 size);
    Status flush();
    zip_int64_t failed(int zipError, int systemError);

    File& m_file;
    zip_error_t m_error;
    Status m_failure;
    std::vector<char> m_buffer;
    qint64 m_bufferStart = 0; ///< where the buffer lies in the file
    qint64 m_buffered = 0;
    qint64 m_position = 0;
    qint64 m_length = 0;
};

} // namespace KOZAV::Backend
