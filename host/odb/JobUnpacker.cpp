// An archive is not trusted. Each entry's name is judged before anything is made, kinds other than file,
// folder and link are refused, and what comes out is counted as it is written, since headers may lie about
// sizes: in all, against the packed bytes, in entries and in depth. What a header says counts where it is
// more: the disk is asked for it before, and a hole has its length. The first problem ends the unpacking;
// what was made until then lies in the work folder, which its owner removes.
//
// Links are made when everything else is there, so that nothing can be written through one, and WorkFolder
// makes none behind another.
//
// A tar ends with two empty blocks. libarchive takes the end of the input for that too, so a stream that was
// cut between two entries would pass for a whole one: the bytes behind the last entry are counted here.

#include "host/odb/JobUnpacker.h"

#include "host/odb/ArchiveInput.h"
#include "host/odb/WorkFolder.h"

#include <QDir>
#include <QFile>
#include <QStorageInfo>

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

namespace KOZAV::Host {

namespace {

struct ReaderDeleter
{
    void operator()(archive* reader) const { archive_read_free(reader); }
};
using Reader = std::unique_ptr<archive, ReaderDeleter>;

constexpr int longestReason = 600;
constexpr qint64 tarBlock = 512;
/// After so many bytes the disk is asked again what is free.
constexpr qint64 bytesBetweenLooks = 8LL * 1024 * 1024;

Reader zipReader()
{
    Reader reader(archive_read_new());
    archive_read_support_format_zip(reader.get());
    return reader;
}

/// A reader of what the input may be, and of nothing else. It has no filters: the input has taken gzip off.
Reader readerOf(const ArchiveInput& input)
{
    if (!input.isGzip()) {
        Reader reader = zipReader();
        archive_read_support_format_rar(reader.get());
        archive_read_support_format_rar5(reader.get());
        return reader;
    }
    Reader reader(archive_read_new());
    archive_read_support_format_tar(reader.get());
    return reader;
}

/// Sum of lengths that may be made up.
qint64 sumOf(qint64 first, qint64 second)
{
    const qint64 room = std::numeric_limits<qint64>::max() - first;
    return first + std::min(room, std::max<qint64>(0, second));
}

/// One unpacking: ends at the first problem, which m_result then tells.
class Unpacking final
{
public:
    explicit Unpacking(const UnpackRequest& request)
        : m_request(request)
    {
    }

    UnpackResult run()
    {
        if (open() && readEntries() && readToTheEnd())
            makeLinks();
        return m_result;
    }

private:
    bool fail(const QString& reason)
    {
        // A path may have thousands of characters.
        m_result.error =
            reason.size() <= longestReason
                ? reason
                : reason.left(longestReason / 2) + QStringLiteral(" ... ") + reason.right(longestReason / 2);
        return false;
    }
    bool failReading() { return fail(QStringLiteral("the archive cannot be read: %1").arg(readerError())); }
    [[nodiscard]] QString readerError() const
    {
        const char* text = archive_error_string(m_reader.get());
        return text ? QString::fromLocal8Bit(text) : QStringLiteral("unknown error");
    }

    bool open();
    [[nodiscard]] qint64 declaredBytes();
    bool hasRoomFor(qint64 bytes);
    bool readEntries();
    bool takeEntry(archive_entry* entry);
    bool makeFolder(const QString& path);
    bool takeFile(const QString& path, qint64 declaredLength);
    bool writeBlocks(QFile& file, const QString& path, qint64 declaredLength);
    bool writeBlock(QFile& file, const QString& path, const QByteArray& block, qint64 offset);
    bool takeLink(const QString& path, archive_entry* entry);
    bool withinLimits(const QString& path, qint64 moreBytes);
    bool withinBytes(qint64 moreBytes);
    bool isCancelled();
    bool readToTheEnd();
    bool makeLinks();

    const UnpackRequest& m_request;
    WorkFolder m_folder;
    ArchiveInput m_input;
    Reader m_reader;
    UnpackResult m_result;
    qint64 m_entries = 0;
    qint64 m_writtenSinceLook = 0;
    /// Path and target. Made last, so that nothing is written through one.
    std::vector<std::pair<QString, QByteArray>> m_links;
};

bool Unpacking::open()
{
    const QDir folder(m_request.folder);
    if (!folder.mkpath(QStringLiteral(".")) ||
        !folder.isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System) ||
        m_folder.open(m_request.folder))
        return fail(
            QStringLiteral("the work folder %1 cannot be made, or is not empty").arg(m_request.folder));
    if (!m_input.open(m_request.archive))
        return fail(QStringLiteral("the archive cannot be read: %1").arg(m_input.error()));
    const qint64 declared = declaredBytes();
    if (declared > m_request.limits.totalBytes)
        return fail(QStringLiteral("the archive says that it unpacks to more than %1 bytes")
                        .arg(m_request.limits.totalBytes));
    if (!hasRoomFor(std::max(declared, m_input.length())))
        return false;
    m_reader = readerOf(m_input);
    if (m_input.attach(m_reader.get()) == ARCHIVE_OK)
        return true;
    return m_input.error().isEmpty()
               ? fail(QStringLiteral("the archive cannot be read: it is neither zip, rar nor tgz"))
               : failReading();
}

/// What a zip says that it unpacks to; 0 of another archive, which cannot be known without unpacking it.
qint64 Unpacking::declaredBytes()
{
    if (m_input.isGzip())
        return 0;
    const Reader reader = zipReader();
    qint64 bytes = 0;
    archive_entry* entry = nullptr;
    if (m_input.attach(reader.get()) != ARCHIVE_OK)
        return 0;
    for (qint64 left = m_request.limits.entries; left > 0; --left) {
        if (archive_read_next_header(reader.get(), &entry) != ARCHIVE_OK)
            break;
        bytes = sumOf(bytes, archive_entry_size(entry));
    }
    return bytes;
}

bool Unpacking::hasRoomFor(qint64 bytes)
{
    m_writtenSinceLook = 0;
    const qint64 needed = sumOf(bytes, m_request.limits.reserveBytes);
    const qint64 free = QStorageInfo(m_request.folder).bytesAvailable(); // -1 where it is not known
    return free < 0 || free >= needed ||
           fail(QStringLiteral("no space left on the disk to unpack the archive in %1 (%2 bytes needed, %3 "
                               "bytes free)")
                    .arg(m_request.folder)
                    .arg(needed)
                    .arg(free));
}

bool Unpacking::readEntries()
{
    for (;;) {
        archive_entry* entry = nullptr;
        const int code = archive_read_next_header(m_reader.get(), &entry);
        if (code == ARCHIVE_EOF)
            return true;
        // A warning here means a header that only part of was understood: not to be trusted.
        if (code != ARCHIVE_OK)
            return failReading();
        if (!takeEntry(entry))
            return false;
    }
}

bool Unpacking::takeEntry(archive_entry* entry)
{
    const char* rawName = archive_entry_pathname(entry);
    const EntryPath path = entryPath(QByteArray(rawName ? rawName : ""));
    if (!path.refusal.isEmpty())
        return fail(path.refusal);
    if (path.path.isEmpty())
        return true; // the folder itself
    if (!withinLimits(path.path, 0))
        return false;
    if (++m_entries > m_request.limits.entries)
        return fail(QStringLiteral("the archive holds more than %1 entries").arg(m_request.limits.entries));
    if (archive_entry_hardlink(entry))
        return fail(QStringLiteral("%1 is a hard link").arg(path.path));

    switch (archive_entry_filetype(entry)) {
    case AE_IFDIR:
        return makeFolder(path.path);
    case AE_IFREG:
        return takeFile(path.path, archive_entry_size(entry));
    case AE_IFLNK:
        return takeLink(path.path, entry);
    default:
        return fail(QStringLiteral("%1 is neither a file nor a folder").arg(path.path));
    }
}

bool Unpacking::withinLimits(const QString& path, qint64 moreBytes)
{
    const UnpackLimits& limits = m_request.limits;
    if (path.count(QLatin1Char('/')) > limits.depth)
        return fail(QStringLiteral("%1 lies more than %2 folders deep").arg(path).arg(limits.depth));
    return withinBytes(moreBytes);
}

bool Unpacking::withinBytes(qint64 moreBytes)
{
    const UnpackLimits& limits = m_request.limits;
    m_result.bytes = sumOf(m_result.bytes, moreBytes);
    if (m_result.bytes > limits.totalBytes)
        return fail(QStringLiteral("the archive unpacks to more than %1 bytes").arg(limits.totalBytes));
    // Entries of a zip may overlap: what is read twice still is there once.
    const qint64 packed = std::max<qint64>(1, std::min(m_input.packedBytes(), m_input.length()));
    if (m_result.bytes > limits.ratioFromBytes && m_result.bytes / packed > limits.ratio)
        return fail(QStringLiteral("the archive unpacks to more than %1 times its size").arg(limits.ratio));
    return true;
}

bool Unpacking::isCancelled()
{
    m_result.cancelled = m_result.cancelled || (m_request.cancelled && *m_request.cancelled);
    return m_result.cancelled;
}

bool Unpacking::makeFolder(const QString& path)
{
    const std::error_code error = m_folder.makeFolder(path);
    return !error ||
           fail(QStringLiteral("the folder %1 cannot be made: %2").arg(path, WorkFolder::reason(error)));
}

bool Unpacking::takeFile(const QString& path, qint64 declaredLength)
{
    if (sumOf(m_result.bytes, declaredLength) > m_request.limits.totalBytes)
        return fail(QStringLiteral("with %1 the archive unpacks to more than %2 bytes")
                        .arg(path)
                        .arg(m_request.limits.totalBytes));
    if (declaredLength > bytesBetweenLooks && !hasRoomFor(declaredLength))
        return false;
    if (const std::error_code error = m_folder.makeFolderOf(path))
        return fail(
            QStringLiteral("the folder of %1 cannot be made: %2").arg(path, WorkFolder::reason(error)));
    QFile file;
    if (const std::error_code error = m_folder.makeFile(path, file))
        return fail(QStringLiteral("%1 cannot be written: %2").arg(path, WorkFolder::reason(error)));
    if (!writeBlocks(file, path, declaredLength))
        return false;
    ++m_result.files;
    return true;
}

bool Unpacking::writeBlocks(QFile& file, const QString& path, qint64 declaredLength)
{
    for (;;) {
        if (isCancelled())
            return false;
        const void* block = nullptr;
        std::size_t size = 0;
        la_int64_t offset = 0;
        const int code = archive_read_data_block(m_reader.get(), &block, &size, &offset);
        if (code == ARCHIVE_EOF)
            break;
        if (code != ARCHIVE_OK)
            return failReading();
        const auto bytes = QByteArray::fromRawData(static_cast<const char*>(block), static_cast<int>(size));
        if (!writeBlock(file, path, bytes, offset))
            return false;
        if (m_request.progress)
            m_request.progress(m_input.packedBytes());
    }
    // The hole at the end of a sparse file.
    const qint64 hole = declaredLength - file.size();
    return hole <= 0 || (withinLimits(path, hole) &&
                         (file.resize(declaredLength) ||
                          fail(QStringLiteral("%1 cannot be written: %2").arg(path, file.errorString()))));
}

bool Unpacking::writeBlock(QFile& file, const QString& path, const QByteArray& block, qint64 offset)
{
    if (offset < 0)
        return fail(
            QStringLiteral("the archive cannot be read: %1 has a part before its beginning").arg(path));
    // Each byte counts as often as it is written, and what lies between two parts once.
    const qint64 growth = sumOf(offset, block.size()) - file.size();
    if (!withinLimits(path, std::max<qint64>(growth, block.size())))
        return false;
    m_writtenSinceLook += block.size();
    if (m_writtenSinceLook > bytesBetweenLooks && !hasRoomFor(block.size()))
        return false;
    if (!file.seek(offset) || file.write(block) != block.size())
        return fail(QStringLiteral("%1 cannot be written: %2").arg(path, file.errorString()));
    return true;
}

bool Unpacking::takeLink(const QString& path, archive_entry* entry)
{
    const char* rawTarget = archive_entry_symlink(entry);
    const QByteArray target(rawTarget ? rawTarget : "");
    if (!linkStaysInside(path, target))
        return fail(QStringLiteral("%1 is a link that could lead out of the job").arg(path));
    m_links.emplace_back(path, target);
    return true;
}

/// Reads what lies behind the last entry of a gzip file, so that its checksum is compared, and whether the
/// tar in it ends as one does.
bool Unpacking::readToTheEnd()
{
    if (!m_input.isGzip())
        return true;
    const qint64 unpacked = m_result.bytes;
    const void* bytes = nullptr;
    qint64 count = 0;
    while ((count = m_input.read(&bytes)) > 0) {
        if (isCancelled() || !withinBytes(count))
            return false;
    }
    m_result.bytes = unpacked;
    if (count < 0)
        return fail(QStringLiteral("the archive cannot be read: %1").arg(m_input.error()));
    if (m_input.plainBytes() - archive_read_header_position(m_reader.get()) < 2 * tarBlock)
        m_result.warnings << QStringLiteral("the tar archive has no end mark: it may have been cut short");
    if (m_input.hasTrailingBytes())
        m_result.warnings << QStringLiteral("bytes behind the end of the gzip stream were left out");
    return true;
}

bool Unpacking::makeLinks()
{
    for (const auto& [path, target] : m_links) {
        std::error_code error = m_folder.makeFolderOf(path);
        if (!error)
            error = m_folder.makeLink(path, target);
        if (error)
            return fail(
                QStringLiteral("the link %1 cannot be made: %2").arg(path, WorkFolder::reason(error)));
    }
    return true;
}

} // namespace

UnpackResult unpackJob(const UnpackRequest& request)
{
    return Unpacking(request).run();
}

} // namespace KOZAV::Host
