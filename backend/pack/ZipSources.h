#pragma once

#include "backend/Status.h"
#include "backend/pack/ParallelDeflate.h"

#include <zip.h>

#include <vector>

namespace KOZAV::Backend {

class File;
class GrowingFile;
class ListedFolderDigest;
struct FolderEntry;

/// One file's content for libzip, compressed already: libzip copies the pieces as they come.
class EntrySource final
{
public:
    /// digest is told the file's hash, failure why a piece could not be had. All must outlive the archive
    /// that the source is given to.
    EntrySource(const FolderEntry& entry, ParallelDeflate* pieces, ListedFolderDigest* digest,
                Status* failure);
    Q_DISABLE_COPY(EntrySource)

    /// The source for zip_file_add(), which then owns it.
    zip_source_t* create(zip_t* archive);

private:
    static zip_int64_t call(void* self, void* data, zip_uint64_t length, zip_source_cmd_t command);

    zip_int64_t answer(void* data, zip_uint64_t length, zip_source_cmd_t command);
    zip_int64_t read(char* buffer, zip_uint64_t length);
    bool takePiece();
    bool noteHash();
    void describe(zip_stat_t* description) const;

    const FolderEntry& m_entry;
    ParallelDeflate* m_pieces;
    ListedFolderDigest* m_digest;
    Status* m_failure;
    zip_error_t m_error;
    DeflatedPiece m_piece;
    std::size_t m_readOfPiece = 0;
    quint32 m_crc = 0;
    qint64 m_compressedSize = 0;
    bool m_ended = false;
};

/// The file that libzip writes an archive to. libzip goes back after every entry to complete its header; a
/// buffer lets most of that happen in memory.
class ArchiveFile final
{
public:
    /// @param growing  told how much of the file is final, where there is one; writing fails with Stopped
    /// once
    ///                 it is given up
    /// Both must outlive this object, and this object the archive.
    ArchiveFile(File& file, GrowingFile* growing);
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
    void tellFinal();
    zip_int64_t failed(int zipError, int systemError);

    File& m_file;
    GrowingFile* m_growing;
    zip_error_t m_error;
    Status m_failure;
    std::vector<char> m_buffer;
    qint64 m_bufferStart = 0; ///< where the buffer lies in the file
    qint64 m_buffered = 0;
    qint64 m_position = 0;
    qint64 m_length = 0;
    qint64 m_finalLength = 0; ///< libzip does not go back behind it
    qint64 m_writeStarted = 0;
};

} // namespace KOZAV::Backend
