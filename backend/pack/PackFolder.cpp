#include "backend/pack/PackFolder.h"

#include "backend/Guarded.h"
#include "backend/io/FilePath.h"
#include "backend/io/GrowingFile.h"
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
            QStringLiteral("cannot pack %1: the level has to be 1 to 9, the number of threads not negative")
                .arg(displayPath(request.folder)));
    if (fileInfo(request.target).ok())
        return Status::alreadyExists(
            QStringLiteral("cannot write %1: it exists already").arg(displayPath(request.target)));
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
    return Status::invalidArgument(QStringLiteral("cannot pack %1 to %2, which lies inside of it")
                                       .arg(displayPath(request.folder), displayPath(request.target)));
}

PackResult resultOf(const FolderListing& listing, const WrittenZip& archive)
{
    PackResult result;
    for (const FolderEntry& entry : listing.entries) {
        const bool isFolder = entry.info.kind == FileKind::Directory;
        result.folders += isFolder ? 1 : 0;
        result.files += isFolder ? 0 : 1;
        result.inputBytes += isFolder ? 0 : entry.info.length;
    }
    result.archiveBytes = archive.length;
    result.content = archive.content;
    return result;
}

Status publish(TempFile& archive, qint64 length, const PackRequest& request)
{
    if (!request.isStaged)
        return archive.publish(length, ExistingTarget::Keep);
    if (auto closed = archive.close(length); !closed.ok())
        return closed;
    return archive.rename(ExistingTarget::Keep);
}

Result<PackResult> packListed(const FolderListing& listing, const PackRequest& request)
{
    removeStaleTempFiles(parentFolder(request.target));
    auto archive = TempFile::create(request.target, TempFile::Access::AsUserDefault);
    if (!archive.ok())
        return archive.status();
    if (request.growing)
        request.growing->begin(archive.value());
    const ZipOptions options{request.threads, request.level, request.growing};
    const auto written = writeZip(listing, options, archive.value());
    if (!written.ok())
        return written.status();
    if (const auto unchanged = verifyUnchanged(listing); !unchanged.ok())
        return unchanged;
    const auto published = publish(archive.value(), written->length, request);
    return published.ok() ? Result(resultOf(listing, written.value())) : published;
}

} // namespace

Result<PackResult> packFolder(const PackRequest& request)
{
    auto packed = guarded("pack a folder", [&]() -> Result<PackResult> {
        if (const auto accepted = checkRequest(request); !accepted.ok())
            return accepted;
        const auto listing = listFolder(request.folder);
        if (!listing.ok())
            return listing.status();
        if (const auto placed = checkPlaces(request); !placed.ok())
            return placed;
        return packListed(listing.value(), request);
    });
    if (request.growing && packed.ok())
        request.growing->finish(packed->archiveBytes);
    else if (request.growing)
        request.growing->fail(packed.status());
    return packed;
}

} // namespace KOZAV::Backend
