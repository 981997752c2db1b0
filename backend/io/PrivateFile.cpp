#include "backend/io/PrivateFile.h"

#include "backend/io/FileAccess.h"
#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"
#include "backend/io/TempFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace KOZAV::Backend {

namespace {

std::string nativePath(const QString& path)
{
    return QFile::encodeName(path).toStdString();
}

std::string targetOf(const QString& path, ExistingTarget existing)
{
    const QString canonical =
        existing == ExistingTarget::Replace ? QFileInfo(path).canonicalFilePath() : QString();
    return nativePath(canonical.isEmpty() ? path : canonical);
}

} // namespace

Status writePrivateFile(const QString& path, const QByteArray& content, ExistingTarget existing)
{
    const std::string target = targetOf(path, existing);
    const std::string folder = parentFolder(target);
    Result<TempFile> file = TempFile::create(folder);
    if (!file.ok())
        return file.status();
    Status written =
        writeFully(file->descriptor(), content.constData(), content.size(), target, content.size());
    if (!written.ok())
        return written;
    Status complete = file->complete(content.size());
    if (!complete.ok())
        return complete;
    const Status named = existing == ExistingTarget::Replace ? file->replace(target) : file->moveTo(target);
    return named.ok() ? syncFolder(folder) : named;
}

Result<bool> makePrivateFolder(const QString& path)
{
    const QString clean = QDir::cleanPath(path);
    if (QFileInfo(clean).isDir())
        return false;
    const QString parent = QFileInfo(clean).absolutePath();
    if (parent != clean && !QFileInfo(parent).isDir()) {
        Result<bool> made = makePrivateFolder(parent);
        if (!made.ok())
            return made;
    }
    const Status made = createFolder(nativePath(clean));
    if (!made.ok())
        return made;
    return true;
}

} // namespace KOZAV::Backend
