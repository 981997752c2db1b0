#pragma once

#include "backend/Status.h"
#include "backend/io/FileCopy.h"

#include <string>

namespace KOZAV::Backend {

struct PackRequest
{
    std::string folder; ///< folder to pack, local 8-bit
    std::string target; ///< archive to write, local 8-bit; must not exist
    int threads = 0;    ///< compressing threads; 0: one for each core
    int level = 5; ///< deflate level, 1 (fast) to 9 (small); 5 packs as small as the usual 6 of other packers
    bool isStaged = false; ///< the archive is taken away from there at once: its content is brought to the
                           ///< disk, but its name may be gone after a crash
};

struct PackResult
{
    qint64 files = 0;
    qint64 folders = 0;
    qint64 inputBytes = 0;
    qint64 archiveBytes = 0;
    ContentDigest content; ///< of the folder, whatever its times: see FolderDigest
};

/// Packs a folder into a zip archive (docs/zip-layout.md). On failure no target remains.
Result<PackResult> packFolder(const PackRequest& request);

} // namespace KOZAV::Backend
