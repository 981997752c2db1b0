// The archive of a folder holds the times of its files, so the same job packed twice gives two archives. What
// tells that both hold the same is a hash over a text with a record for each file: its kind, length, hash and
// name. The length of a name stands before it, since a name may hold any character; so no two folders have
// one text.
//
// The same digest is taken of a folder while it is packed and of an archive that is there. Both go through
// FolderDigest, which alone knows what counts; the entries of an archive are put in order first, whoever
// wrote it.

#include "backend/pack/FolderDigest.h"

#include "backend/Guarded.h"
#include "backend/io/FilePath.h"
#include "backend/pack/FolderListing.h"

#include <zip.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace KOZAV::Backend {

namespace {

const std::string manifestName = "readme.json";
const std::string firstLine = "folder content 1\n";

QByteArray sha256Of(const std::string& content)
{
    Sha256 hash;
    hash.add(content.data(), static_cast<qint64>(content.size()));
    return hash.result();
}

struct EndReading
{
    void operator()(zip_t* archive) const { zip_discard(archive); }
};
using ReadArchive = std::unique_ptr<zip_t, EndReading>;

struct CloseEntry
{
    void operator()(zip_file_t* file) const { zip_fclose(file); }
};

/// One entry of an archive, as its directory has it.
struct ArchiveEntry
{
    std::string name;
    FileKind kind = FileKind::Regular;
    qint64 length = 0;
    zip_uint64_t index = 0;
};

/// A disk that cannot be read is another failure than an archive that is none.
Status unreadable(const QString& what, zip_error_t* error)
{
    const bool isSystems = zip_error_system_type(error) == ZIP_ET_SYS;
    return Status(isSystems ? ErrorCode::Io : ErrorCode::Corrupt,
                  QStringLiteral("%1 cannot be read as the archive of a folder: %2")
                      .arg(what, QString::fromLocal8Bit(zip_error_strerror(error))));
}

QString placeOf(const ArchiveEntry& entry, const std::string& archive)
{
    return QStringLiteral("\"%1\" in %2").arg(displayPath(entry.name), displayPath(archive));
}

Result<ReadArchive> openArchive(const std::string& path)
{
    int code = 0;
    ReadArchive archive(zip_open(path.c_str(), ZIP_RDONLY, &code));
    if (archive)
        return archive;
    zip_error_t error;
    zip_error_init_with_code(&error, code);
    auto failure = unreadable(displayPath(path), &error);
    zip_error_fini(&error);
    return failure;
}

/// The directory's attributes tell a link from a file; an archive of another system has no links.
FileKind kindOf(zip_t* archive, const std::string& name, zip_uint64_t index)
{
    constexpr quint32 kindBits = 0170000;
    constexpr quint32 unixLink = 0120000;
    if (!name.empty() && name.back() == '/')
        return FileKind::Directory;
    zip_uint8_t system = 0;
    zip_uint32_t attributes = 0;
    if (zip_file_get_external_attributes(archive, index, 0, &system, &attributes) != 0 ||
        system != ZIP_OPSYS_UNIX)
        return FileKind::Regular;
    return (attributes >> 16U & kindBits) == unixLink ? FileKind::SymbolicLink : FileKind::Regular;
}

/// All entries, in the order of their names.
Result<std::vector<ArchiveEntry>> entriesOf(zip_t* archive, const std::string& path)
{
    std::vector<ArchiveEntry> entries;
    const zip_int64_t count = zip_get_num_entries(archive, 0);
    for (zip_int64_t i = 0; i < count; ++i) {
        zip_stat_t about;
        const auto index = static_cast<zip_uint64_t>(i);
        const char* name = zip_get_name(archive, index, ZIP_FL_ENC_RAW);
        if (!name || zip_stat_index(archive, index, 0, &about) != 0 || (about.valid & ZIP_STAT_SIZE) == 0)
            return unreadable(displayPath(path), zip_get_error(archive));
        entries.push_back({name, kindOf(archive, name, index), static_cast<qint64>(about.size), index});
    }
    std::sort(entries.begin(), entries.end(),
              [](const ArchiveEntry& one, const ArchiveEntry& other) { return one.name < other.name; });
    return entries;
}

/// libzip compares the CRC-32 when it comes to the end.
Result<QByteArray> hashEntry(zip_t* archive, const ArchiveEntry& entry, const std::string& path)
{
    constexpr std::size_t blockBytes = 1 << 16;
    const std::unique_ptr<zip_file_t, CloseEntry> file(zip_fopen_index(archive, entry.index, 0));
    if (!file)
        return unreadable(placeOf(entry, path), zip_get_error(archive));
    Sha256 hash;
    std::vector<char> block(blockBytes);
    qint64 length = 0;
    for (;;) {
        const zip_int64_t count = zip_fread(file.get(), block.data(), block.size());
        if (count < 0)
            return unreadable(placeOf(entry, path), zip_file_get_error(file.get()));
        if (count == 0)
            break;
        hash.add(block.data(), count);
        length += count;
    }
    if (length != entry.length)
        return Status::corrupt(QStringLiteral("%1 has another length than the archive's directory says")
                                   .arg(placeOf(entry, path)));
    return hash.result();
}

} // namespace

FolderDigest::FolderDigest()
{
    m_hash.add(firstLine.data(), static_cast<qint64>(firstLine.size()));
}

void FolderDigest::add(const std::string& name, FileKind kind, qint64 length, const QByteArray& sha256)
{
    if (kind == FileKind::Directory || name == manifestName)
        return;
    m_failed = m_failed || sha256.isEmpty();
    m_length += length;
    std::string record = kind == FileKind::SymbolicLink ? "link " : "file ";
    record += std::to_string(length) + ' ' + sha256.toStdString() + ' ';
    record += std::to_string(name.size()) + ':' + name + '\n';
    m_hash.add(record.data(), static_cast<qint64>(record.size()));
}

Result<ContentDigest> FolderDigest::result()
{
    if (m_failed)
        return Status::internal(QStringLiteral("cannot hash the content of the folder"));
    return digestOf(m_length, m_hash, QStringLiteral("the content of the folder"));
}

ListedFolderDigest::ListedFolderDigest(const FolderListing& listing)
    : m_listing(listing)
    , m_next(listing.entries.data())
{
}

void ListedFolderDigest::addFile(const FolderEntry& file, const QByteArray& sha256)
{
    addOthersBefore(&file);
    m_digest.add(file.name, file.info.kind, file.info.length, sha256);
    m_next = &file + 1;
}

Result<ContentDigest> ListedFolderDigest::result()
{
    addOthersBefore(m_listing.entries.data() + m_listing.entries.size());
    return m_digest.result();
}

/// Links and empty files, which nobody reads, have no content but what the listing says.
void ListedFolderDigest::addOthersBefore(const FolderEntry* end)
{
    for (; m_next != end; ++m_next) {
        const auto length = static_cast<qint64>(m_next->linkTarget.size());
        if (m_next->info.kind != FileKind::Directory)
            m_digest.add(m_next->name, m_next->info.kind, length, sha256Of(m_next->linkTarget));
    }
}

Result<qint64> folderContentLength(const std::string& folder)
{
    return guarded("look through a folder", [&]() -> Result<qint64> {
        const auto listing = listFolder(folder, manifestName);
        if (!listing.ok())
            return listing.status();
        qint64 length = 0;
        for (const FolderEntry& entry : listing->entries) {
            if (entry.info.kind == FileKind::SymbolicLink)
                length += static_cast<qint64>(entry.linkTarget.size());
            else if (entry.info.kind == FileKind::Regular && entry.name != manifestName)
                length += entry.info.length;
        }
        return length;
    });
}

Result<ContentDigest> digestFolder(const std::string& folder,
                                   const std::function<void(qint64 bytes)>& onBytes)
{
    return guarded("hash the content of a folder", [&]() -> Result<ContentDigest> {
        const auto listing = listFolder(folder, manifestName);
        if (!listing.ok())
            return listing.status();
        ListedFolderDigest digest(listing.value());
        for (const FolderEntry& entry : listing->entries) {
            if (entry.info.kind != FileKind::Regular || entry.info.length == 0 || entry.name == manifestName)
                continue;
            auto file = File::openForReadingIn(listing->root, entry.name);
            if (!file.ok())
                return file.status();
            const auto content = readThrough(file.value(), onBytes);
            if (!content.ok())
                return content.status();
            if (content->length != entry.info.length)
                return changedWhilePacked(listing->pathOf(entry));
            digest.addFile(entry, content->sha256);
        }
        if (auto unchanged = verifyUnchanged(listing.value()); !unchanged.ok())
            return unchanged;
        return digest.result();
    });
}

Result<ContentDigest> digestPackedFolder(const std::string& archive)
{
    return guarded("hash the content of an archive", [&]() -> Result<ContentDigest> {
        const auto opened = openArchive(archive);
        if (!opened.ok())
            return opened.status();
        const auto entries = entriesOf(opened->get(), archive);
        if (!entries.ok())
            return entries.status();
        FolderDigest digest;
        for (const ArchiveEntry& entry : entries.value()) {
            if (entry.kind == FileKind::Directory)
                continue;
            const auto sha256 = hashEntry(opened->get(), entry, archive);
            if (!sha256.ok())
                return sha256.status();
            digest.add(entry.name, entry.kind, entry.length, sha256.value());
        }
        return digest.result();
    });
}

} // namespace KOZAV::Backend
