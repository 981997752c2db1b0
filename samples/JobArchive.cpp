#include "samples/JobArchive.h"

#include "samples/Folders.h"
#include "samples/OutputFile.h"
#include "samples/WriteError.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <vector>

namespace KOZAV::Samples {

namespace {

struct ArchiveFree
{
    void operator()(archive* handle) const { archive_write_free(handle); }
    void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};
using ArchiveHandle = std::unique_ptr<archive, ArchiveFree>;
using EntryHandle = std::unique_ptr<archive_entry, ArchiveFree>;

/// Where libarchive's bytes go. Its callbacks are C: an error is kept here and thrown by the caller.
struct Sink
{
    OutputFile file;
    QString error;
};

la_ssize_t writeToSink(archive* handle, void* clientData, const void* data, std::size_t size)
{
    auto* sink = static_cast<Sink*>(clientData);
    try {
        sink->file.write(static_cast<const char*>(data), static_cast<qint64>(size));
        return static_cast<la_ssize_t>(size);
    } catch (const WriteError& error) {
        sink->error = error.text();
        archive_set_error(handle, EIO, "the file cannot be written");
        return -1;
    }
}

class Packer
{
public:
    Packer(const ArchiveRequest& request);

    void addAll();
    void finish();
    [[nodiscard]] ArchiveResult result() const { return {QString(), m_files, m_sink.file.size()}; }

private:
    void setFormat();
    void add(const QByteArray& name);
    void addContent(QFile& file);
    [[nodiscard]] EntryHandle makeEntry(const QByteArray& name, const QFileInfo& info) const;
    void check(int status) const;
    [[noreturn]] void fail(const QString& path, const QString& reason) const;

    const ArchiveRequest& m_request;
    Sink m_sink;
    ArchiveHandle m_archive;
    quint64 m_files = 0;
};

Packer::Packer(const ArchiveRequest& request)
    : m_request(request)
    , m_sink{OutputFile(request.archivePath), {}}
    , m_archive(archive_write_new())
{
    setFormat();
    check(archive_write_set_bytes_in_last_block(m_archive.get(), 1));
    check(archive_write_open(m_archive.get(), &m_sink, nullptr, writeToSink, nullptr));
}

void Packer::setFormat()
{
    archive* handle = m_archive.get();
    if (m_request.kind == ArchiveKind::Zip) {
        check(archive_write_set_format_zip(handle));
        check(archive_write_set_options(
            handle, "zip:compression=deflate,zip:compression-level=1,zip:hdrcharset=UTF-8"));
        return;
    }
    // Of the tar formats this one takes long names as they are, in every locale of the process.
    check(archive_write_set_format_gnutar(handle));
    if (m_request.kind == ArchiveKind::Tar)
        return;
    check(archive_write_add_filter_gzip(handle));
    // Without this option the gzip header tells the time of packing.
    check(archive_write_set_options(handle, "gzip:compression-level=1,gzip:!timestamp"));
}

void Packer::addAll()
{
    std::vector<QByteArray> names{QByteArray()};
    QDirIterator entries(m_request.folder,
                         QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    const QDir folder(m_request.folder);
    while (entries.hasNext())
        names.push_back(folder.relativeFilePath(entries.next()).toUtf8());
    std::sort(names.begin(), names.end());
    for (const QByteArray& name : names)
        add(name);
}

void Packer::add(const QByteArray& name)
{
    const QString path =
        name.isEmpty() ? m_request.folder : m_request.folder + QLatin1Char('/') + QString::fromUtf8(name);
    const QFileInfo info(path);
    if (info.isSymLink() || (!info.isDir() && !info.isFile()))
        fail(path, QStringLiteral("neither a file nor a folder"));
    QFile file(path);
    if (info.isFile() && !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        fail(path, file.errorString());
    const EntryHandle entry = makeEntry(name, info);
    check(archive_write_header(m_archive.get(), entry.get()));
    if (info.isFile())
        addContent(file);
}

EntryHandle Packer::makeEntry(const QByteArray& name, const QFileInfo& info) const
{
    QByteArray fullName = m_request.rootName.toUtf8();
    if (!name.isEmpty())
        fullName += '/' + name;
    EntryHandle entry(archive_entry_new());
    if (m_request.kind == ArchiveKind::Zip)
        archive_entry_set_pathname_utf8(entry.get(), fullName.constData());
    else
        archive_entry_copy_pathname(entry.get(), fullName.constData());
    archive_entry_set_filetype(entry.get(), info.isDir() ? AE_IFDIR : AE_IFREG);
    archive_entry_set_perm(entry.get(), info.isDir() ? 0755 : 0644);
    archive_entry_set_uid(entry.get(), 0);
    archive_entry_set_gid(entry.get(), 0);
    archive_entry_set_size(entry.get(), info.isDir() ? 0 : info.size());
    if (m_request.kind != ArchiveKind::Zip)
        archive_entry_set_mtime(entry.get(), m_request.time.toSecsSinceEpoch(), 0);
    return entry;
}

void Packer::addContent(QFile& file)
{
    std::vector<char> piece(1U << 20U);
    qint64 packed = 0;
    for (;;) {
        const qint64 size = file.read(piece.data(), static_cast<qint64>(piece.size()));
        if (size < 0)
            fail(file.fileName(), file.errorString());
        if (size == 0)
            break;
        if (archive_write_data(m_archive.get(), piece.data(), static_cast<std::size_t>(size)) != size)
            check(ARCHIVE_FATAL);
        packed += size;
    }
    if (packed != file.size())
        fail(file.fileName(), QStringLiteral("changed while it was packed"));
    ++m_files;
}

void Packer::finish()
{
    check(archive_write_close(m_archive.get()));
    m_sink.file.finish();
}

void Packer::check(int status) const
{
    if (!m_sink.error.isEmpty())
        throw WriteError(m_sink.error);
    if (status != ARCHIVE_OK)
        fail(m_request.folder, QString::fromUtf8(archive_error_string(m_archive.get())));
}

void Packer::fail(const QString& path, const QString& reason) const
{
    throw WriteError(QStringLiteral("cannot pack %1: %2").arg(path, reason));
}

} // namespace

QString archiveSuffix(ArchiveKind kind)
{
    switch (kind) {
    case ArchiveKind::Tgz:
        return QStringLiteral("tgz");
    case ArchiveKind::Zip:
        return QStringLiteral("zip");
    case ArchiveKind::Kos:
        return QStringLiteral("kos");
    case ArchiveKind::Tar:
        return QStringLiteral("tar");
    }
    return {};
}

std::optional<ArchiveKind> archiveKind(const QString& suffix)
{
    for (const ArchiveKind kind : {ArchiveKind::Tgz, ArchiveKind::Zip, ArchiveKind::Kos})
        if (suffix == archiveSuffix(kind))
            return kind;
    return std::nullopt;
}

ArchiveResult writeArchive(const ArchiveRequest& request)
{
    if (QFileInfo::exists(request.archivePath))
        return {QStringLiteral("%1 exists already").arg(request.archivePath), 0, 0};
    if (!QFileInfo(request.folder).isDir())
        return {QStringLiteral("%1 is not a folder").arg(request.folder), 0, 0};
    RemovalGuard unfinished(request.archivePath);
    try {
        Packer packer(request);
        packer.addAll();
        packer.finish();
        unfinished.keep();
        return packer.result();
    } catch (const WriteError& error) {
        return {error.text(), 0, 0};
    }
}

} // namespace KOZAV::Samples
