#include "samples/JobArchive.h"

#include "samples/Files.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <array>
#include <memory>
#include <system_error>
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

class Packer final
{
public:
    /// Creates the archive.
    explicit Packer(const ArchiveRequest& request);

    [[nodiscard]] ArchiveResult pack();

private:
    void setFormat();
    [[nodiscard]] std::vector<QByteArray> sortedNames() const;
    void add(const QByteArray& name);
    void addContent(QFile& file);
    [[nodiscard]] EntryHandle makeEntry(const QByteArray& name, const QFileInfo& info) const;
    void check(int status) const;

    const ArchiveRequest& m_request;
    QFile m_file;
    ArchiveHandle m_archive;
    quint64 m_files = 0;
};

Packer::Packer(const ArchiveRequest& request)
    : m_request(request)
    , m_file(request.archivePath)
    , m_archive(archive_write_new())
{
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
        fail("write", request.archivePath, m_file.errorString());
}

ArchiveResult Packer::pack()
{
    setFormat();
    check(archive_write_set_bytes_in_last_block(m_archive.get(), 1));
    check(archive_write_open_fd(m_archive.get(), m_file.handle()));
    for (const QByteArray& name : sortedNames())
        add(name);
    check(archive_write_close(m_archive.get()));
    if (!m_file.setFileTime(m_request.time, QFileDevice::FileModificationTime))
        fail("write", m_request.archivePath, m_file.errorString());
    return {QString(), m_files, static_cast<quint64>(m_file.size())};
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

std::vector<QByteArray> Packer::sortedNames() const
{
    std::vector<QByteArray> names{QByteArray()};
    QDirIterator entries(m_request.folder,
                         QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    const QDir folder(m_request.folder);
    while (entries.hasNext())
        names.push_back(folder.relativeFilePath(entries.next()).toUtf8());
    std::sort(names.begin(), names.end());
    return names;
}

void Packer::add(const QByteArray& name)
{
    const QString path =
        name.isEmpty() ? m_request.folder : m_request.folder + QLatin1Char('/') + QString::fromUtf8(name);
    const QFileInfo info(path);
    if (info.isSymLink() || (!info.isDir() && !info.isFile()))
        fail("pack", path, QStringLiteral("neither a file nor a folder"));
    QFile file(path);
    if (info.isFile() && !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        fail("pack", path, file.errorString());
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
    qint64 size = 0;
    while ((size = file.read(piece.data(), static_cast<qint64>(piece.size()))) > 0) {
        if (archive_write_data(m_archive.get(), piece.data(), static_cast<std::size_t>(size)) != size)
            check(ARCHIVE_FATAL);
        packed += size;
    }
    if (size < 0)
        fail("pack", file.fileName(), file.errorString());
    if (packed != file.size())
        fail("pack", file.fileName(), QStringLiteral("changed while it was packed"));
    ++m_files;
}

void Packer::check(int status) const
{
    if (status == ARCHIVE_OK)
        return;
    // libarchive's own text of a failed write does not tell why it failed; the number does.
    const int error = archive_errno(m_archive.get());
    const std::string reason =
        error > 0 ? std::generic_category().message(error) : archive_error_string(m_archive.get());
    fail("write", m_request.archivePath, QString::fromStdString(reason));
}

} // namespace

QString archiveSuffix(ArchiveKind kind)
{
    static constexpr std::array<const char*, 4> kSuffixes{{"tgz", "zip", "kos", "tar"}};
    return QString::fromLatin1(kSuffixes.at(static_cast<std::size_t>(kind)));
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
    try {
        Packer packer(request);
        auto unfinished = qScopeGuard([&] { removeAll(request.archivePath); });
        ArchiveResult result = packer.pack();
        unfinished.dismiss();
        return result;
    } catch (const WriteError& error) {
        return {error.text, 0, 0};
    }
}

} // namespace KOZAV::Samples
