#include "samples/Folders.h"

#include "samples/WriteError.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

namespace KOZAV::Samples {

namespace {

std::filesystem::path nativePath(const QString& path)
{
    return std::filesystem::u8path(path.toStdString());
}

void stampFile(const QString& path, const QDateTime& time)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly) ||
        !file.setFileTime(time, QFileDevice::FileModificationTime))
        throw WriteError(QStringLiteral("cannot set the time of %1: %2").arg(path, file.errorString()));
}

QString reasonOf(const std::error_code& error)
{
    return QString::fromLocal8Bit(error.message().c_str());
}

} // namespace

void makeFolder(const QString& path)
{
    std::error_code error;
    std::filesystem::create_directories(nativePath(path), error);
    if (error)
        throw WriteError(QStringLiteral("cannot make the folder %1: %2").arg(path, reasonOf(error)));
}

void makeEmptyFolder(const QString& path)
{
    const QFileInfo info(path);
    if (info.exists() && !info.isDir())
        throw WriteError(QStringLiteral("%1 exists and is not a folder").arg(path));
    if (info.isDir() &&
        !QDir(path).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot))
        throw WriteError(QStringLiteral("the folder %1 exists and is not empty").arg(path));
    makeFolder(path);
}

void stampTree(const QString& path, const QDateTime& time)
{
    if (QFileInfo(path).isFile())
        return stampFile(path, time);
    std::vector<QString> folders{path};
    QString stampedFile;
    QDirIterator entries(path, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString entry = entries.next();
        if (entries.fileInfo().isDir()) {
            folders.push_back(entry);
            continue;
        }
        stampFile(entry, time);
        stampedFile = entry;
    }
    if (stampedFile.isEmpty())
        return;
    for (const QString& folder : folders)
        stampFolder(folder, stampedFile);
}

void stampFolder(const QString& folder, const QString& like)
{
    // QFile sets the time of files only; a folder takes it over from something that has it.
    std::error_code error;
    const auto time = std::filesystem::last_write_time(nativePath(like), error);
    if (!error)
        std::filesystem::last_write_time(nativePath(folder), time, error);
    if (error)
        throw WriteError(QStringLiteral("cannot set the time of %1: %2").arg(folder, reasonOf(error)));
}

void removeTree(const QString& path)
{
    if (QFileInfo(path).isDir())
        QDir(path).removeRecursively();
    else
        QFile::remove(path);
}

RemovalGuard::RemovalGuard(QString path)
    : m_path(std::move(path))
{
}

RemovalGuard::~RemovalGuard()
{
    if (!m_keep)
        removeTree(m_path);
}

} // namespace KOZAV::Samples
