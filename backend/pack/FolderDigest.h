#pragma once

#include "backend/Status.h"
#include "backend/io/FileCopy.h"
#include "backend/io/FileInfo.h"
#include "backend/io/Sha256.h"

#include <QByteArray>

#include <cstddef>
#include <functional>
#include <string>

namespace KOZAV::Backend {

struct FolderEntry;
struct FolderListing;

/// The digest of what a packed folder holds: names and content of its files and links, without the job
/// manifest at its top, and nothing of times, permissions and folders (docs/zip-layout.md). Its length is
/// that of these files together.
class FolderDigest final
{
public:
    FolderDigest();

    /// To be called for every entry, in the bytewise order of the names; what does not count is passed over.
    /// @param name    relative to the folder, with '/' between its parts
    /// @param sha256  of the content, lower-case hexadecimal; of a link, of its target
    void add(const std::string& name, FileKind kind, qint64 length, const QByteArray& sha256);

    /// Ends the calculation. Internal where the cryptographic library failed, here or for a file.
    [[nodiscard]] Result<ContentDigest> result();

private:
    Sha256 m_hash;
    qint64 m_length = 0;
    bool m_failed = false;
};

/// The same of a listed folder whose files are hashed on the way. The listing has to outlive it.
class ListedFolderDigest final
{
public:
    explicit ListedFolderDigest(const FolderListing& listing);

    /// To be called for every file that is not empty, in the order of the listing.
    void addFile(const FolderEntry& file, const QByteArray& sha256);

    [[nodiscard]] Result<ContentDigest> result();

private:
    void addOthersBefore(const FolderEntry* end);

    const FolderListing& m_listing;
    const FolderEntry* m_next; ///< what comes before it has been added
    FolderDigest m_digest;
};

/// The length that the digest of a folder (local 8-bit path) would have, from a listing alone.
Result<qint64> folderContentLength(const std::string& folder);

/// Reads a folder, with one core, and tells its digest: that of a job that it would be packed to. Fails as
/// packing does, but never for the job manifest. onBytes, where given, is told of bytes as they are read.
Result<ContentDigest> digestFolder(const std::string& folder,
                                   const std::function<void(qint64 bytes)>& onBytes = {});

/// Reads an archive that a folder was packed to (local 8-bit path) and tells the digest of that folder.
/// Corrupt where it is no such archive or its content is not what its directory says.
Result<ContentDigest> digestPackedFolder(const std::string& archive);

} // namespace KOZAV::Backend
