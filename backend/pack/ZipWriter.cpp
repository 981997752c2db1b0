#include "backend/pack/ZipWriter.h"

#include "backend/io/FilePath.h"
#include "backend/io/TempFile.h"
#include "backend/pack/FolderDigest.h"
#include "backend/pack/FolderListing.h"
#include "backend/pack/ParallelDeflate.h"
#include "backend/pack/ZipSources.h"

#include <zip.h>

#include <array>
#include <deque>
#include <limits>
#include <memory>

namespace KOZAV::Backend {

namespace {

// What a Unix system keeps of a file, as zip archives carry it in the upper half of the external attributes.
constexpr quint32 unixRegular = 0100000;
constexpr quint32 unixFolder = 0040000;
constexpr quint32 unixLink = 0120000;
constexpr quint32 unixPermissions = 0777;
constexpr quint32 dosFolder = 0x10;

struct DiscardArchive
{
    void operator()(zip_t* archive) const { zip_discard(archive); }
};

using Archive = std::unique_ptr<zip_t, DiscardArchive>;

struct ZipError
{
    ZipError() { zip_error_init(&error); }
    ~ZipError() { zip_error_fini(&error); }
    Q_DISABLE_COPY(ZipError)

    zip_error_t error = {};
};

Status zipFailure(zip_error_t* error, const std::string& path)
{
    return Status::internal(QStringLiteral("cannot pack %1: %2")
                                .arg(displayPath(path), QString::fromLocal8Bit(zip_error_strerror(error))));
}

quint32 externalAttributes(const FileInfo& info)
{
    const quint32 permissions = info.permissions & unixPermissions;
    switch (info.kind) {
    case FileKind::Directory:
        return (unixFolder | permissions) << 16U | dosFolder;
    case FileKind::SymbolicLink:
        return (unixLink | permissions) << 16U;
    default:
        return (unixRegular | permissions) << 16U;
    }
}

qint64 modifiedSeconds(const FileInfo& info)
{
    constexpr qint64 perSecond = 1'000'000'000;
    return info.modifiedNs >= 0 ? info.modifiedNs / perSecond
                                : -((-info.modifiedNs + perSecond - 1) / perSecond);
}

class ZipWriter final
{
public:
    ZipWriter(const FolderListing& listing, const ZipOptions& options, TempFile& file)
        : m_listing(listing)
        , m_file(file)
        , m_pieces(listing, options.threads, options.level)
        , m_digest(listing)
        , m_target(file.file(), options.growing)
    {
    }

    Result<WrittenZip> write();

private:
    Status open();
    Status add(const FolderEntry& entry);
    zip_source_t* contentOf(const FolderEntry& entry);
    [[nodiscard]] bool setAttributes(zip_uint64_t index, const FolderEntry& entry) const;
    [[nodiscard]] bool setModified(zip_uint64_t index, const FolderEntry& entry) const;
    Status close();
    [[nodiscard]] Status checkEntryCount() const;

    const FolderListing& m_listing;
    const TempFile& m_file;
    ParallelDeflate m_pieces;
    ListedFolderDigest m_digest;
    ArchiveFile m_target;
    Status m_readFailure;
    std::deque<EntrySource> m_sources;
    Archive m_archive; ///< last: it uses the others until it is gone
};

Result<WrittenZip> ZipWriter::write()
{
    if (const auto opened = open(); !opened.ok())
        return opened;
    for (const FolderEntry& entry : m_listing.entries) {
        if (const auto added = add(entry); !added.ok())
            return added;
    }
    if (const auto closed = close(); !closed.ok())
        return closed;
    if (const auto complete = checkEntryCount(); !complete.ok())
        return complete;
    const auto content = m_digest.result();
    if (!content.ok())
        return content.status();
    return WrittenZip{m_target.length(), content.value()};
}

Status ZipWriter::open()
{
    ZipError error;
    zip_source_t* target = m_target.create(&error.error);
    if (!target)
        return zipFailure(&error.error, m_listing.root.path());
    m_archive.reset(zip_open_from_source(target, ZIP_CREATE | ZIP_TRUNCATE, &error.error));
    if (m_archive)
        return {};
    zip_source_free(target);
    return zipFailure(&error.error, m_listing.root.path());
}

Status ZipWriter::add(const FolderEntry& entry)
{
    zip_source_t* content = contentOf(entry);
    const zip_int64_t index =
        content ? zip_file_add(m_archive.get(), entry.name.c_str(), content, ZIP_FL_ENC_UTF_8) : -1;
    if (index < 0) {
        zip_source_free(content);
        return zipFailure(zip_get_error(m_archive.get()), m_listing.pathOf(entry));
    }
    const auto position = static_cast<zip_uint64_t>(index);
    if (!setAttributes(position, entry) || !setModified(position, entry))
        return zipFailure(zip_get_error(m_archive.get()), m_listing.pathOf(entry));
    return {};
}

zip_source_t* ZipWriter::contentOf(const FolderEntry& entry)
{
    if (entry.info.kind == FileKind::Regular && entry.info.length > 0)
        return m_sources.emplace_back(entry, &m_pieces, &m_digest, &m_readFailure).create(m_archive.get());
    return zip_source_buffer(m_archive.get(), entry.linkTarget.data(), entry.linkTarget.size(), 0);
}

bool ZipWriter::setAttributes(zip_uint64_t index, const FolderEntry& entry) const
{
    // Only what EntrySource delivers is compressed; the rest would grow by it.
    const bool compressed = entry.info.kind == FileKind::Regular && entry.info.length > 0;
    const zip_int32_t method = compressed ? ZIP_CM_DEFLATE : ZIP_CM_STORE;
    return zip_set_file_compression(m_archive.get(), index, method, 0) == 0 &&
           zip_file_set_external_attributes(m_archive.get(), index, 0, ZIP_OPSYS_UNIX,
                                            externalAttributes(entry.info)) == 0;
}

/// The archive's own time is local time in steps of two seconds; an extra field beside it carries the exact
/// second, UTC.
bool ZipWriter::setModified(zip_uint64_t index, const FolderEntry& entry) const
{
    constexpr zip_uint16_t timestampField = 0x5455;
    constexpr zip_uint8_t hasModified = 1;
    const qint64 seconds = modifiedSeconds(entry.info);
    if (zip_file_set_mtime(m_archive.get(), index, static_cast<time_t>(seconds), 0) != 0)
        return false;
    if (seconds < std::numeric_limits<qint32>::min() || seconds > std::numeric_limits<qint32>::max())
        return true;
    const auto bits = static_cast<quint32>(seconds);
    const auto byte = [bits](unsigned shift) { return static_cast<zip_uint8_t>(bits >> shift & 0xffU); };
    const std::array<zip_uint8_t, 5> field = {hasModified, byte(0), byte(8), byte(16), byte(24)};
    return zip_file_extra_field_set(m_archive.get(), index, timestampField, ZIP_EXTRA_FIELD_NEW, field.data(),
                                    static_cast<zip_uint16_t>(field.size()),
                                    ZIP_FL_LOCAL | ZIP_FL_CENTRAL) == 0;
}

Status ZipWriter::close()
{
    if (zip_close(m_archive.get()) == 0) {
        (void)m_archive.release();
        return {};
    }
    if (!m_readFailure.ok())
        return m_readFailure;
    if (!m_target.failure().ok())
        return m_target.failure();
    return zipFailure(zip_get_error(m_archive.get()), m_listing.root.path());
}

/// Reads the directory of the archive back.
Status ZipWriter::checkEntryCount() const
{
    ZipError error;
    int code = 0;
    const Archive written(zip_open(m_file.path().c_str(), ZIP_RDONLY, &code));
    if (!written) {
        zip_error_init_with_code(&error.error, code);
        return zipFailure(&error.error, m_listing.root.path());
    }
    if (zip_get_num_entries(written.get(), 0) != static_cast<zip_int64_t>(m_listing.entries.size()))
        return Status::internal(QStringLiteral("cannot pack %1: the archive does not have all entries")
                                    .arg(displayPath(m_listing.root.path())));
    return {};
}

/// An archive without entries is its end record alone; libzip would rather make no file.
Result<WrittenZip> writeEmptyArchive(TempFile& file)
{
    constexpr std::array<char, 22> endRecord = {'P', 'K', 5, 6};
    const auto size = static_cast<qint64>(endRecord.size());
    if (const auto written = file.file().write(endRecord.data(), size); !written.ok())
        return written;
    const auto content = FolderDigest().result();
    if (!content.ok())
        return content.status();
    return WrittenZip{size, content.value()};
}

} // namespace

Result<WrittenZip> writeZip(const FolderListing& listing, const ZipOptions& options, TempFile& file)
{
    if (listing.entries.empty())
        return writeEmptyArchive(file);
    return ZipWriter(listing, options, file).write();
}

} // namespace KOZAV::Backend
