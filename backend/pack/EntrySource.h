#pragma once

#include "backend/Status.h"
#include "backend/pack/ParallelDeflate.h"

#include <zip.h>

namespace KOZAV::Backend {

struct FolderEntry;

/// One file's content for libzip, compressed already: libzip copies the pieces as they come.
class EntrySource final
{
public:
    /// failure is told why a piece could not be had. All must outlive the archive that the source is given
    /// to.
    EntrySource(const FolderEntry& entry, ParallelDeflate* pieces, Status* failure);
    Q_DISABLE_COPY(EntrySource)

    /// The source for zip_file_add(), which then owns it.
    zip_source_t* create(zip_t* archive);

private:
    static zip_int64_t call(void* self, void* data, zip_uint64_t length, zip_source_cmd_t command);

    zip_int64_t answer(void* data, zip_uint64_t length, zip_source_cmd_t command);
    zip_int64_t read(char* buffer, zip_uint64_t length);
    bool takePiece();
    void describe(zip_stat_t* description) const;

    const FolderEntry& m_entry;
    ParallelDeflate* m_pieces;
    Status* m_failure;
    zip_error_t m_error;
    DeflatedPiece m_piece;
    std::size_t m_readOfPiece = 0;
    quint32 m_crc = 0;
    qint64 m_compressedSize = 0;
    bool m_ended = false;
};

} // namespace KOZAV::Backend
