// An entry's sum and length stand before its content. So a place is left for them, and the content's end is
// returned from when they are known.

#include "ZipFile.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <array>
#include <limits>

namespace {

constexpr qint64 pieceBytes = 1 << 16;
constexpr auto mostEntries = std::numeric_limits<quint16>::max();
constexpr auto mostBytes = std::numeric_limits<quint32>::max();
constexpr quint16 version = 20;
// Of who made it: names and modes are those of a Unix system.
constexpr quint16 unixSystem = 3U << 8U;
constexpr quint32 folderMode = 040755U << 16U;
constexpr quint32 fileMode = 0100644U << 16U;
constexpr quint16 namesAreUtf8 = 1U << 11U;
constexpr int localHeaderBytes = 30;

std::array<quint32, 256> crcTable()
{
    std::array<quint32, 256> table = {};
    for (quint32 byte = 0; byte < table.size(); ++byte) {
        quint32 value = byte;
        for (int bit = 0; bit < 8; ++bit)
            value = (value & 1U) != 0 ? (value >> 1U) ^ 0xedb88320U : value >> 1U;
        table.at(byte) = value;
    }
    return table;
}

quint32 addToCrc(quint32 crc, const QByteArray& bytes)
{
    static const std::array<quint32, 256> table = crcTable();
    crc = ~crc;
    for (const char byte : bytes)
        crc = table.at((crc ^ static_cast<quint8>(byte)) & 0xffU) ^ (crc >> 8U);
    return ~crc;
}

/// The number in so many bytes, the lowest first.
QByteArray number(quint32 value, int bytes)
{
    QByteArray text;
    for (; bytes > 0; --bytes, value >>= 8U)
        text += static_cast<char>(value & 0xffU);
    return text;
}

} // namespace

ZipFile::ZipFile(QIODevice& target)
    : m_target(target)
{
}

QString ZipFile::addFolder(const QString& folder)
{
    if (!QFileInfo(folder).isDir())
        return folder + QStringLiteral(" is no folder");
    const QDir root(QFileInfo(folder).absoluteFilePath());
    QDirIterator walk(root.path(), QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                      QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        const QFileInfo entry(walk.next());
        const QByteArray name = root.relativeFilePath(entry.filePath()).toUtf8();
        if (entry.isSymLink() || (!entry.isFile() && !entry.isDir()))
            return entry.filePath() + QStringLiteral(" is neither file nor folder");
        QString reason = entry.isDir() ? addFile(QString(), name + '/') : addFile(entry.filePath(), name);
        if (!reason.isEmpty())
            return reason;
    }
    return {};
}

/// An empty path adds an entry without content.
QString ZipFile::addFile(const QString& path, const QByteArray& name)
{
    if (m_entries.size() == mostEntries || name.size() > mostEntries)
        return QStringLiteral("the folder has too many entries, or too long a name");
    const qint64 start = m_target.pos();
    Entry entry{name, 0, 0, static_cast<quint32>(start)};
    const qint64 contentStart = start + localHeaderBytes + name.size();
    write(QByteArray(localHeaderBytes, '\0') + name);
    if (!path.isEmpty()) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return path + QStringLiteral(" cannot be read");
        while (!file.atEnd()) {
            const QByteArray piece = file.read(pieceBytes);
            if (piece.isEmpty())
                return path + QStringLiteral(" cannot be read");
            entry.crc = addToCrc(entry.crc, piece);
            write(piece);
        }
    }
    const qint64 end = m_target.pos();
    if (end > mostBytes)
        return QStringLiteral("the folder is too large for this kind of archive");
    entry.size = static_cast<quint32>(end - contentStart);
    m_target.seek(start);
    write("PK\x03\x04" + fields(entry) + name);
    m_target.seek(end);
    m_entries.push_back(entry);
    return {};
}

/// What the header before an entry's content and its line in the directory at the end have alike.
QByteArray ZipFile::fields(const Entry& entry)
{
    constexpr quint32 firstDay = (1U << 5U) + 1U; // of 1980: the times of files are not kept
    return number(version, 2) + number(namesAreUtf8, 2) + number(0, 2) + number(0, 2) + number(firstDay, 2) +
           number(entry.crc, 4) + number(entry.size, 4) + number(entry.size, 4) +
           number(static_cast<quint32>(entry.name.size()), 2) + number(0, 2);
}

QString ZipFile::finish()
{
    const qint64 start = m_target.pos();
    for (const Entry& entry : m_entries)
        write("PK\x01\x02" + number(unixSystem | version, 2) + fields(entry) + QByteArray(6, '\0') +
              number(entry.name.endsWith('/') ? folderMode : fileMode, 4) + number(entry.offset, 4) +
              entry.name);
    const auto count = static_cast<quint32>(m_entries.size());
    const qint64 end = m_target.pos();
    if (end > mostBytes)
        return QStringLiteral("the folder is too large for this kind of archive");
    write("PK\x05\x06" + number(0, 4) + number(count, 2) + number(count, 2) +
          number(static_cast<quint32>(end - start), 4) + number(static_cast<quint32>(start), 4) +
          number(0, 2));
    return m_isWhole ? QString() : m_target.errorString();
}

void ZipFile::write(const QByteArray& bytes)
{
    m_isWhole = m_target.write(bytes) == bytes.size() && m_isWhole;
}
