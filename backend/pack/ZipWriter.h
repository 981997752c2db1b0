#pragma once

#include "backend/Status.h"
#include "backend/io/FileCopy.h"

namespace KOZAV::Backend {

class GrowingFile;
class TempFile;
struct FolderListing;

struct ZipOptions
{
    int threads = 0;                ///< compressing threads; 0: one for each core
    int level = 5;                  ///< deflate level, 1 to 9
    GrowingFile* growing = nullptr; ///< told how much of the file is final; it has begun
};

struct WrittenZip
{
    qint64 length = 0;
    ContentDigest content; ///< of the folder, see FolderDigest
};

/// Writes the listed folder as a zip archive (docs/zip-layout.md) into the empty file.
Result<WrittenZip> writeZip(const FolderListing& listing, const ZipOptions& options, TempFile& file);

} // namespace KOZAV::Backend
