#pragma once

#include "backend/Status.h"
#include "backend/io/FileCopy.h"

#include <string>

namespace KOZAV::Backend {

class GrowingFile;

struct PackRequest
{
    std::string folder; ///< folder to pack, local 8-bit
    std::string target; ///< archive to write, local 8-bit; must not exist
    int threads = 0;    ///< compressing threads; 0: one for each core
    int level = 5; ///< deflate level, 1 (fast) to 9 (small); 5 packs as small as the usual 6 of other packers
    bool isStaged = false; ///< the archive is taken away from there at once: nothing of it is brought to the
                           ///< disk
    GrowingFile* growing = nullptr; ///< who reads the archive while it is written; it ends with the packing,
                                    ///< in success and failure
};

struct PackResult
{
    qint64 files = 0;
    qint64 folders = 0;
    qint64 inputBytes = 0;
    qint64 archiveBytes = 0;
    ContentDigest content; ///< of the folder, whatever its times: see FolderDigest
};

/// Packs a folder into a zip archive (docs/zip-layout.md). On failure no target remains. Stopped where the
/// reader of the growing archive has given it up.
Result<PackResult> packFolder(const PackRequest& request);

} // namespace KOZAV::Backend
