// What is looked at of each kind is what a copy that is still being written, or broke off, cannot have right:
//
// - zip: the end record lies at the very end, with nothing but its comment behind it. It says where the
// directory
//   lies and how many entries that has; the directory says where each entry lies. All of that has to fit into
//   the file without overlapping. An archive with something in front of it (a program that unpacks itself) is
//   accepted: its numbers are all short by the same amount.
// - gzip: the stream, or several one after the other, is read to its end, where its CRC and length stand.
// Only
//   zero bytes may follow, as tapes have them. A small one is unpacked at once, which takes half the time;
//   what is wrong with one that is not whole, the stream tells.
// - rar: libarchive goes from header to header. What it skips of the last entry's data is held against the
// length
//   of the file, since skipping over the end of a file is no error.
//
// The file may be any bytes. Every number in it is compared with the file's length before it is used.

#include "host/core/ArchiveCheck.h"

#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <archive.h>
#include <archive_entry.h>
#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>

namespace KOZAV::Host {

namespace {

using FlawKind = ArchiveFlaw::Kind;

ArchiveFlaw cutShort(const char* text)
{
    return {FlawKind::CutShort, QLatin1String(text)};
}

ArchiveFlaw damaged(const QString& text)
{
    return {FlawKind::Damaged, text};
}

/// Reads exactly so many bytes; a null array where the file has them not.
QByteArray bytesAt(QFile& file, qint64 offset, qint64 size)
{
    if (offset < 0 || size < 0 || offset > file.size() - size || !file.seek(offset))
        return {};
    QByteArray bytes = file.read(size);
    return bytes.size() == size ? bytes : QByteArray();
}

template <typename Number>
quint64 numberAt(const QByteArray& bytes, int offset)
{
    return qFromLittleEndian<Number>(bytes.constData() + offset);
}

// ---- zip

constexpr char endMark[] = "PK\5\6";
constexpr char end64Mark[] = "PK\6\6";
constexpr char end64LocatorMark[] = "PK\6\7";
constexpr char entryMark[] = "PK\1\2";
constexpr int endLength = 22;
constexpr int end64Length = 56;
constexpr int end64LocatorLength = 20;
constexpr int entryLength = 46;
constexpr int localLength = 30;
constexpr qint64 longestComment = 0xffff;
constexpr quint64 full16 = 0xffff;
constexpr quint64 full32 = 0xffffffff;

/// The directory of a zip archive, as its end record has it.
struct ZipDirectory
{
    quint64 entries = 0;
    quint64 size = 0;
    quint64 offset = 0;
    quint64 end = 0; ///< place of the record that follows it
};

/// Place of the end record; -1 where there is none whose comment ends with the file.
qint64 findEnd(QFile& file)
{
    const qint64 tailSize = std::min(file.size(), endLength + longestComment);
    const QByteArray tail = bytesAt(file, file.size() - tailSize, tailSize);
    for (int at = tail.lastIndexOf(endMark); at >= 0; at = at == 0 ? -1 : tail.lastIndexOf(endMark, at - 1)) {
        if (at + endLength <= tail.size() &&
            at + endLength + qint64(numberAt<quint16>(tail, at + 20)) == tail.size())
            return file.size() - tailSize + at;
    }
    return -1;
}

/// Takes the numbers from the larger record before the end record, where there is one.
bool readEnd64(QFile& file, qint64 endPlace, ZipDirectory& directory)
{
    const QByteArray locator = bytesAt(file, endPlace - end64LocatorLength, end64LocatorLength);
    if (!locator.startsWith(end64LocatorMark))
        return false;
    // Without anything in front of the archive the record lies where the locator says, else right before it.
    for (const qint64 place :
         {qint64(numberAt<quint64>(locator, 8)), endPlace - end64LocatorLength - end64Length}) {
        const QByteArray record = bytesAt(file, place, end64Length);
        if (!record.startsWith(end64Mark))
            continue;
        directory = {numberAt<quint64>(record, 32), numberAt<quint64>(record, 40),
                     numberAt<quint64>(record, 48), quint64(place)};
        return true;
    }
    return false;
}

std::optional<ZipDirectory> readDirectoryPlace(QFile& file)
{
    const qint64 endPlace = findEnd(file);
    const QByteArray end = endPlace < 0 ? QByteArray() : bytesAt(file, endPlace, endLength);
    if (end.isEmpty())
        return std::nullopt;
    ZipDirectory directory = {numberAt<quint16>(end, 10), numberAt<quint32>(end, 12),
                              numberAt<quint32>(end, 16), quint64(endPlace)};
    const bool needsMore =
        directory.entries == full16 || directory.size == full32 || directory.offset == full32;
    // Some writers add the larger record although everything fits into this one.
    if (!readEnd64(file, endPlace, directory) && needsMore && directory.offset == full32)
        return std::nullopt;
    return directory;
}

/// Where an entry's data ends at the least, as the directory has it: its header and its packed bytes.
quint64 endOfEntry(const QByteArray& header, const QByteArray& extra)
{
    const quint64 unpacked = numberAt<quint32>(header, 24);
    quint64 packed = numberAt<quint32>(header, 20);
    quint64 offset = numberAt<quint32>(header, 42);
    // The field 1 has those numbers that do not fit, in this order, and no others.
    for (int at = 0; at + 4 <= extra.size();) {
        const int fieldSize = int(numberAt<quint16>(extra, at + 2));
        if (numberAt<quint16>(extra, at) == 1) {
            int place = at + 4 + (unpacked == full32 ? 8 : 0);
            const int fieldEnd = std::min(at + 4 + fieldSize, extra.size());
            for (quint64* number : {&packed, &offset}) {
                if (*number == full32 && place + 8 <= fieldEnd) {
                    *number = numberAt<quint64>(extra, place);
                    place += 8;
                }
            }
        }
        at += 4 + fieldSize;
    }
    constexpr quint64 most = quint64(1) << 62;
    return std::min(offset, most) + localLength + std::min(packed, most);
}

ArchiveFlaw checkZip(QFile& file, const std::atomic<bool>& cancelled)
{
    const auto directory = readDirectoryPlace(file);
    if (!directory)
        return cutShort("the directory at its end is missing");
    if (directory->size > directory->end || directory->offset > directory->end - directory->size)
        return cutShort("its directory does not lie where its end says");
    qint64 at = qint64(directory->end - directory->size);
    quint64 entries = 0;
    while (at < qint64(directory->end) && !cancelled) {
        const QByteArray header = bytesAt(file, at, entryLength);
        if (!header.startsWith(entryMark))
            return cutShort("its directory breaks off");
        const qint64 nameSize = qint64(numberAt<quint16>(header, 28));
        const qint64 extraSize = qint64(numberAt<quint16>(header, 30));
        const QByteArray extra = bytesAt(file, at + entryLength + nameSize, extraSize);
        if (endOfEntry(header, extra) > directory->offset)
            return cutShort("an entry lies beyond its directory");
        at += entryLength + nameSize + extraSize + qint64(numberAt<quint16>(header, 32));
        ++entries;
    }
    // Writers that do not know the large form let the count run over.
    if (!cancelled && (entries & full16) != (directory->entries & full16))
        return cutShort("its directory has another number of entries than its end says");
    return {};
}

// ---- gzip

constexpr int gzipBlock = 256 * 1024;

/// Reads a gzip stream without keeping what comes out.
class GzipReading final
{
public:
    explicit GzipReading(QFile& file)
        : m_file(file)
    {
        constexpr int gzipWindow = 15 + 16; // the largest window, in gzip's own form with its sums
        m_ready = inflateInit2(&m_stream, gzipWindow) == Z_OK;
    }
    ~GzipReading() { inflateEnd(&m_stream); }
    Q_DISABLE_COPY(GzipReading)

    ArchiveFlaw run(const std::atomic<bool>& cancelled)
    {
        if (!m_ready)
            return damaged(QStringLiteral("there is no memory to read it"));
        for (int code = Z_OK; !cancelled;) {
            if (m_stream.avail_in == 0 && !readMore())
                return code == Z_STREAM_END ? ArchiveFlaw() : cutShort("its gzip stream breaks off");
            if (code == Z_STREAM_END && onlyZerosFollow())
                return {};
            if (code == Z_STREAM_END && inflateReset(&m_stream) != Z_OK)
                return damaged(QStringLiteral("there is no memory to read it"));
            m_stream.next_out = m_out.get();
            m_stream.avail_out = gzipBlock;
            code = inflate(&m_stream, Z_NO_FLUSH);
            if (code != Z_OK && code != Z_STREAM_END && code != Z_BUF_ERROR)
                return damaged(QStringLiteral("its gzip stream is damaged: %1")
                                   .arg(QLatin1String(m_stream.msg ? m_stream.msg : "unknown error")));
        }
        return {};
    }

private:
    bool readMore()
    {
        const qint64 got = m_file.read(reinterpret_cast<char*>(m_in.get()), gzipBlock);
        m_stream.next_in = m_in.get();
        m_stream.avail_in = static_cast<uInt>(std::max<qint64>(got, 0));
        return got > 0;
    }

    /// Passes over what is left of the file, where it is nothing but zero bytes.
    bool onlyZerosFollow()
    {
        do {
            const Bytef* const end = m_stream.next_in + m_stream.avail_in;
            if (std::any_of(static_cast<const Bytef*>(m_stream.next_in), end,
                            [](Bytef byte) { return byte != 0; }))
                return false;
        } while (readMore());
        return true;
    }

    QFile& m_file;
    z_stream m_stream = {};
    bool m_ready = false;
    std::unique_ptr<Bytef[]> m_in{new Bytef[gzipBlock]};
    std::unique_ptr<Bytef[]> m_out{new Bytef[gzipBlock]};
};

constexpr qint64 mostAtOnce = qint64(4) * 1024 * 1024;
constexpr quint64 mostUnpackedAtOnce = quint64(16) * 1024 * 1024;

struct GzipDecompressorDeleter
{
    void operator()(libdeflate_decompressor* decompressor) const
    {
        libdeflate_free_decompressor(decompressor);
    }
};

/// Whether it is a small gzip file of streams that are whole, with nothing behind them.
bool isWholeAtOnce(QFile& file)
{
    constexpr int lengthField = 4;
    const QByteArray packed =
        file.size() > lengthField && file.size() <= mostAtOnce ? bytesAt(file, 0, file.size()) : QByteArray();
    // The last stream's length; others may be as long, and of a longer one it is the length less 4 GB.
    const quint64 longest = packed.isEmpty() ? 0 : numberAt<quint32>(packed, packed.size() - lengthField);
    const std::unique_ptr<libdeflate_decompressor, GzipDecompressorDeleter> decompressor(
        libdeflate_alloc_decompressor());
    if (packed.isEmpty() || longest > mostUnpackedAtOnce || !decompressor)
        return false;
    const std::unique_ptr<char[]> unpacked(new char[longest]);
    for (std::size_t at = 0; at < static_cast<std::size_t>(packed.size());) {
        // A header's own sum is looked at by the stream alone.
        constexpr int flagsPlace = 3;
        constexpr int headerSumFlag = 2;
        const int flags = static_cast<int>(at) + flagsPlace;
        if (flags < packed.size() && (packed.at(flags) & headerSumFlag) != 0)
            return false;
        std::size_t read = 0;
        std::size_t written = 0;
        if (libdeflate_gzip_decompress_ex(decompressor.get(), packed.constData() + at,
                                          static_cast<std::size_t>(packed.size()) - at, unpacked.get(),
                                          longest, &read, &written) != LIBDEFLATE_SUCCESS)
            return false;
        at += read;
    }
    return true;
}

// ---- rar

constexpr std::size_t rarBlock = std::size_t{64} * 1024;

struct RarReaderDeleter
{
    void operator()(archive* reader) const { archive_read_free(reader); }
};

ArchiveFlaw checkRar(const QString& path, const std::atomic<bool>& cancelled)
{
    const std::unique_ptr<archive, RarReaderDeleter> reader(archive_read_new());
    archive_read_support_format_rar(reader.get());
    archive_read_support_format_rar5(reader.get());
    int code = archive_read_open_filename(reader.get(), QFile::encodeName(path).constData(), rarBlock);
    while (code == ARCHIVE_OK || code == ARCHIVE_WARN) {
        archive_entry* entry = nullptr;
        if (cancelled)
            return {};
        code = archive_read_next_header(reader.get(), &entry);
    }
    if (code == ARCHIVE_EOF)
        return {};
    const char* text = archive_error_string(reader.get());
    return {FlawKind::CutShort,
            QStringLiteral("its headers break off: %1").arg(QString::fromLocal8Bit(text ? text : ""))};
}

} // namespace

ArchiveFlaw checkArchive(const QString& path, const std::atomic<bool>& cancelled)
{
    if (!QFileInfo::exists(path))
        return {FlawKind::Gone, QStringLiteral("it is gone")};
    QFile file(path);
    // Opening a pipe would wait for its writer.
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return damaged(QStringLiteral("it cannot be read"));
    const QByteArray start = file.read(8);
    if (start.isEmpty())
        return cutShort("it is empty");
    if (start.startsWith("Rar!"))
        return checkRar(path, cancelled);
    if (start.startsWith("\x1f\x8b")) {
        if (isWholeAtOnce(file))
            return {};
        file.seek(0);
        return GzipReading(file).run(cancelled);
    }
    if (start.startsWith("PK") || findEnd(file) >= 0)
        return checkZip(file, cancelled);
    return {FlawKind::Unknown, QStringLiteral("its content is neither a zip, rar nor gzip archive")};
}

std::optional<Remark> remarkOf(const ArchiveFlaw& flaw, bool isSavedJob)
{
    if (flaw.kind == FlawKind::None || (flaw.kind == FlawKind::Unknown && isSavedJob))
        return std::nullopt;
    if (flaw.kind == FlawKind::CutShort)
        return Remark{QStringLiteral("archive-cut-short"),
                      QStringLiteral("the archive is cut short: %1").arg(flaw.text)};
    return Remark{QStringLiteral("archive-unreadable"),
                  QStringLiteral("the archive cannot be used: %1").arg(flaw.text)};
}

} // namespace KOZAV::Host
