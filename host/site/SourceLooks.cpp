#include "host/site/SourceLooks.h"

#include "backend/io/File.h"
#include "backend/io/FileCopy.h"
#include "backend/pack/FolderListing.h"
#include "host/site/KnownJobs.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QFile>
#include <QFileInfo>

#include <string>

namespace KOZAV::Host {

namespace {

/// What tells one state of a file from another.
void describe(const Backend::FileInfo& info, QDataStream& out)
{
    out << info.device << info.inode << info.length << info.modifiedNs << info.changedNs;
}

SourceLook lookOf(const Backend::FileInfo& info)
{
    SourceLook look;
    look.isThere = true;
    look.length = info.length;
    look.isSettled = info.isSettled();
    QDataStream(&look.identity, QIODevice::WriteOnly) << info.device << info.inode;
    QDataStream state(&look.state, QIODevice::WriteOnly);
    describe(info, state);
    return look;
}

} // namespace

SourceLook lookAtFile(const QString& path, bool askForWriters)
{
    const std::string name = QFile::encodeName(path).toStdString();
    const auto info = Backend::fileInfo(name, Backend::LastLink::ItsTarget);
    if (!info.ok() || info->kind != Backend::FileKind::Regular)
        return {};
    SourceLook look = lookOf(info.value());
    if (!askForWriters)
        return look;
    const auto file = Backend::File::openForReading(name);
    look.isOpenForWriting = file.ok() && file->isOpenForWriting().value_or(false);
    return look;
}

SourceLook lookAtFolder(const QString& path)
{
    const auto listing = Backend::listFolder(QFile::encodeName(path).toStdString());
    if (!listing.ok())
        return {};
    SourceLook look;
    look.isThere = true;
    QDataStream(&look.identity, QIODevice::WriteOnly) << listing->rootInfo.device << listing->rootInfo.inode;
    QDataStream state(&look.state, QIODevice::WriteOnly);
    for (const Backend::FolderEntry& entry : listing->entries) {
        if (entry.name == "readme.json" || entry.info.kind == Backend::FileKind::Directory)
            continue;
        state << QByteArray::fromStdString(entry.name);
        describe(entry.info, state);
    }
    look.state = look.identity + QCryptographicHash::hash(look.state, QCryptographicHash::Sha256);
    return look;
}

PackingLook lookAtPacking(const QString& path, bool takesManifest)
{
    PackingLook look;
    const std::string manifest = "readme.json";
    const auto listing =
        Backend::listFolder(QFile::encodeName(path).toStdString(), takesManifest ? manifest : std::string());
    if (!listing.ok())
        return {listing.message(), listing.code(), 0, 0};
    for (const Backend::FolderEntry& entry : listing->entries) {
        const bool isFile = entry.info.kind == Backend::FileKind::Regular;
        const auto length = isFile ? entry.info.length : static_cast<qint64>(entry.linkTarget.size());
        if (entry.info.kind == Backend::FileKind::Directory)
            continue;
        look.bytes += length;
        if (entry.name != manifest)
            look.contentLength += length;
        const QString file = QFile::decodeName(listing->pathOf(entry).c_str());
        if (isFile && !QFileInfo(file).isReadable())
            return {QStringLiteral("cannot read %1: permission denied").arg(file),
                    Backend::ErrorCode::NotPermitted, 0, 0};
    }
    return look;
}

std::optional<bool> hasContent(const QString& path, const SourceContent& content)
{
    auto file = Backend::File::openForReading(QFile::encodeName(path).toStdString());
    const auto digest = file.ok() ? Backend::digestFile(file.value())
                                  : Backend::Result<Backend::ContentDigest>(file.status());
    if (!digest.ok())
        return std::nullopt;
    return digest.value() == Backend::ContentDigest{content.length, content.sha256};
}

} // namespace KOZAV::Host
