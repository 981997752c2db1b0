#include "backend/pack/PackFolder.h"

#include "backend/io/CallGuard.h"
#include "backend/io/FileNames.h"
#include "backend/io/FilePath.h"
#include "backend/io/SystemError.h"
#include "backend/io/TempFile.h"
#include "backend/pack/FolderListing.h"
#include "backend/pack/ZipWriter.h"

#include <utility>

namespace KOZAV::Backend {

namespace {

constexpr int fastestLevel = 1;
constexpr int smallestLevel = 9;

Status checkRequest(const PackRequest& request)
{
    if (request.level < fastestLevel || request.level > smallestLevel || request.threads < 0)
        return Status::invalidArgument(
            QStringLiteral("Cannot pack %1: the level has to be 1 to 9, the number of threads not negative")
                .arg(displayPath(request.folder)));
    if (fileInfo(request.target).ok())
        return Status::alreadyExists(
            QStringLiteral("Cannot write %1: it exists already").arg(displayPath(request.target)));
    return {};
}

/// An archive inside the folder that it is made of would be packed into itself.
Status checkPlaces(const PackRequest& request)
{
    const auto folder = resolvedPath(request.folder);
    if (!folder.ok())
        return folder.status();
    const auto targetFolder = resolvedPath(parentFolder(request.target));
    if (!targetFolder.ok())
        return targetFolder.status();
    const std::string inside = joinPath(folder.value(), {});
    if (joinPath(targetFolder.value(), {}).compare(0, inside.size(), inside) != 0)
        return {};
    return Status::invalidArgument(QStringLiteral("Cannot pack %1 to %2, which lies inside of it")
                                       .arg(displayPath(request.folder), displayPath(request.target)));
}

/// Gives the archive its name, durably; otherwise no archive is left.
Status publish(TempFile* archive, qint64 length, const std::string& target)
{
    if (Status completed = archive->complete(length); !completed.ok())
        return completed;
    if (Status moved = archive->moveTo(target); !moved.ok())
        return moved;
    Status synced = syncFolder(parentFolder(target));
    if (!synced.ok())
        (void)removeFile(target);
    return synced;
}

PackResult resultOf(const FolderListing& listing, qint64 archiveBytes)
{
    PackResult result;
    for (const FolderEntry& entry : listing.entries) {
        const bool isFolder = entry.info.kind == FileKind::Directory;
        result.folders += isFolder ? 1 : 0;
        result.files += isFolder ? 0 : 1;
        result.inputBytes += isFolder ? 0 : entry.info.length;
    }
    result.archiveBytes = archiveBytes;
    return result;
}

Result<PackResult> packListed(const FolderListing& listing, const PackRequest& request)
{
    const std::string targetFolder = parentFolder(request.target);
    removeStaleTempFiles(targetFolder);
    auto archive = TempFile::create(targetFolder, TempFile::Access::AsUserDefault);
    if (!archive.ok())
        return archive.status();
    const auto length = writeZip(listing, {request.threads, request.level}, archive.value());
    if (!length.ok())
        return length.status();
    if (Status unchanged = verifyUnchanged(listing); !unchanged.ok())
        return unchanged;
    const Status published = publish(&archive.value(), length.value(), request.target);
    return published.ok() ? Result(resultOf(listing, length.value())) : published;
}

} // namespace

Result<PackResult> packFolder(const PackRequest& request)
{
    return guardedCall("pack a folder", [&]() -> Result<PackResult> {
        if (Status accepted = checkRequest(request); !accepted.ok())
            return accepted;
        const auto listing = listFolder(request.folder);
        if (!listing.ok())
            return listing.status();
        if (Status placed = checkPlaces(request); !placed.ok())
            return placed;
        return packListed(listing.value(), request);
    });
}

} // namespace KOZAV::Backend
