#include "samples/Files.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

#include <filesystem>
#include <system_error>

namespace KOZAV::Samples {

namespace {

std::filesystem::path nativePath(const QString& path)
{
    return std::filesystem::u8path(path.toStdString());
}

void check(const std::error_code& error, const char* what, const QString& path)
{
    if (error)
        fail(what, path, QString::fromStdString(error.message()));
}

} // namespace

void fail(const char* what, const QString& path, const QString& reason)
{
    throw WriteError{QStringLiteral("cannot %1 %2: %3").arg(QString::fromLatin1(what), path, reason)};
}

OutputFile::OutputFile(const QString& path)
    : m_file(path)
{
    // Unbuffered, so that a full disk shows in the result of the write that met it. Callers write large
    // pieces.
    check(m_file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered));
}

void OutputFile::write(const QByteArray& data)
{
    for (int written = 0; written < data.size();) {
        const auto step = static_cast<int>(m_file.write(data.constData() + written, data.size() - written));
        check(step > 0);
        written += step;
    }
    for (const char byte : data)
        m_sum += static_cast<unsigned char>(byte);
    m_size += static_cast<quint64>(data.size());
}

void OutputFile::finish(const QDateTime& time)
{
    check(m_file.flush());
    if (static_cast<quint64>(m_file.size()) != m_size)
        fail("write", m_file.fileName(),
             QStringLiteral("only %1 of %2 bytes are in the file").arg(m_file.size()).arg(m_size));
    check(m_file.setFileTime(time, QFileDevice::FileModificationTime));
    m_file.close();
    check(m_file.error() == QFileDevice::NoError);
}

void OutputFile::check(bool success) const
{
    if (!success)
        fail("write", m_file.fileName(), m_file.errorString());
}

void makeFolder(const QString& path)
{
    std::error_code error;
    std::filesystem::create_directories(nativePath(path), error);
    check(error, "make the folder", path);
}

void makeEmptyFolder(const QString& path)
{
    const QFileInfo info(path);
    if (info.exists() && !info.isDir())
        throw WriteError{QStringLiteral("%1 exists and is not a folder").arg(path)};
    if (info.isDir() &&
        !QDir(path).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot))
        throw WriteError{QStringLiteral("the folder %1 exists and is not empty").arg(path)};
    makeFolder(path);
}

void stampFolder(const QString& folder, const QString& like)
{
    // QFile sets the time of files only; a folder takes it over from something that has it.
    std::error_code error;
    const auto time = std::filesystem::last_write_time(nativePath(like), error);
    if (!error)
        std::filesystem::last_write_time(nativePath(folder), time, error);
    check(error, "set the time of", folder);
}

void stampFolders(const QString& folder, const QString& like)
{
    QDirIterator folders(folder, QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (folders.hasNext())
        stampFolder(folders.next(), like);
    stampFolder(folder, like);
}

void removeAll(const QString& path)
{
    if (QFileInfo(path).isDir())
        QDir(path).removeRecursively();
    else
        QFile::remove(path);
}

} // namespace KOZAV::Samples
