// An archive is not trusted. Each entry's name is judged before anything is made, kinds other than file,
// folder and link are refused, and what comes out is counted as it is written, since headers may lie about
// sizes: in all, against the packed bytes, in entries and in depth. The first problem ends the unpacking;
// what was made until then lies in the work folder, which its owner removes.
//
// Links are made when everything else is there, so that nothing can be written through one, and WorkFolder
// makes none behind another.

#include "host/odb/JobUnpacker.h"

#include "host/odb/WorkFolder.h"

#include <QDir>
#include <QFile>

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
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
        if (open())
            readEntries();
        if (m_result.ok())
            makeLinks();
        return m_result;
    }

private:
    bool fail(const QString& reason)
    {
        m_result.error = reason;
        return false;
    }
    bool failReading() { return fail(QStringLiteral("the archive cannot be read: %1").arg(readerError())); }
    [[nodiscard]] QString readerError() const
    {
        const char* text = archive_error_string(m_reader.get());
        return text ? QString::fromLocal8Bit(text) : QStringLiteral("unknown error");
    }

    bool open();
    void readEntries();
    bool takeEntry(archive_entry* entry);
    bool makeFolder(const QString& path);
    bool takeFile(const QString& path);
    bool writeBlocks(QFile& file, const QString& path);
    bool takeLink(const QString& path, archive_entry* entry);
    bool withinLimits(const QString& path, qint64 moreBytes);
    bool makeLinks();

    const UnpackRequest& m_request;
    WorkFolder m_folder;
    Reader m_reader{archive_read_new()};
    UnpackResult m_result;
    qint64 m_entries = 0;
    /// Path and target. Made last, so that nothing is written through one.
    std::vector<std::pair<QString, QByteArray>> m_links;
};

bool Unpacking::open()
{
    archive* reader = m_reader.get();
    archive_read_support_filter_gzip(reader);
    archive_read_support_format_zip(reader);
    archive_read_support_format_tar(reader);
    archive_read_support_format_rar(reader);
    archive_read_support_format_rar5(reader);
    const QDir folder(m_request.folder);
    if (!folder.mkpath(QStringLiteral(".")) ||
        !folder.isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System) ||
        m_folder.open(m_request.folder))
        return fail(
            QStringLiteral("the work folder %1 cannot be made, or is not empty").arg(m_request.folder));
    constexpr std::size_t blockSize = std::size_t{1024} * 1024;
    if (archive_read_open_filename(reader, QFile::encodeName(m_request.archive).constData(), blockSize) !=
        ARCHIVE_OK)
        return failReading();
    return true;
}

void Unpacking::readEntries()
{
    for (;;) {
        archive_entry* entry = nullptr;
        const int code = archive_read_next_header(m_reader.get(), &entry);
        if (code == ARCHIVE_EOF)
            return;
        // A warning here means a header that only part of was understood: not to be trusted.
        if (code != ARCHIVE_OK) {
            failReading();
            return;
        }
        if (!takeEntry(entry))
            return;
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
        return takeFile(path.path);
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
    m_result.bytes += moreBytes;
    if (m_result.bytes > limits.totalBytes)
        return fail(QStringLiteral("the archive unpacks to more than %1 bytes").arg(limits.totalBytes));
    const qint64 packed = std::max<qint64>(1, archive_filter_bytes(m_reader.get(), -1));
    if (m_result.bytes > limits.ratioFromBytes && m_result.bytes / packed > limits.ratio)
        return fail(QStringLiteral("the archive unpacks to more than %1 times its size").arg(limits.ratio));
    return true;
}

bool Unpacking::makeFolder(const QString& path)
{
    const std::error_code error = m_folder.makeFolder(path);
    return !error ||
           fail(QStringLiteral("the folder %1 cannot be made: %2").arg(path, WorkFolder::reason(error)));
}

bool Unpacking::takeFile(const QString& path)
{
    if (const std::error_code error = m_folder.makeFolderOf(path))
        return fail(
            QStringLiteral("the folder of %1 cannot be made: %2").arg(path, WorkFolder::reason(error)));
    QFile file;
    if (const std::error_code error = m_folder.makeFile(path, file))
        return fail(QStringLiteral("%1 cannot be written: %2").arg(path, WorkFolder::reason(error)));
    if (!writeBlocks(file, path))
        return false;
    ++m_result.files;
    return true;
}

bool Unpacking::writeBlocks(QFile& file, const QString& path)
{
    for (;;) {
        if (m_request.cancelled && *m_request.cancelled) {
            m_result.cancelled = true;
            return false;
        }
        const void* block = nullptr;
        std::size_t size = 0;
        la_int64_t offset = 0;
        const int code = archive_read_data_block(m_reader.get(), &block, &size, &offset);
        if (code == ARCHIVE_EOF)
            return true;
        if (code != ARCHIVE_OK)
            return failReading();
        const auto length = static_cast<qint64>(size);
        if (!withinLimits(path, length))
            return false;
        if (!file.seek(offset) || file.write(static_cast<const char*>(block), length) != length)
            return fail(QStringLiteral("%1 cannot be written: %2").arg(path, file.errorString()));
        if (m_request.progress)
            m_request.progress(archive_filter_bytes(m_reader.get(), -1));
    }
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
