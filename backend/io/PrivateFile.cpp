#include "backend/io/PrivateFile.h"

#include "backend/io/Folder.h"
#include "backend/io/TempFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <pwd.h>
#include <unistd.h>

#include <array>

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

Status writeWhole(TempFile& file, const QByteArray& content, ExistingTarget existing)
{
    if (auto written = file.file().write(content.constData(), content.size(), content.size()); !written.ok())
        return written;
    return file.publish(content.size(), existing);
}

} // namespace

Status writePrivateFile(const QString& path, const QByteArray& content, ExistingTarget existing)
{
    auto temp = TempFile::create(targetOf(path, existing));
    return temp.ok() ? writeWhole(temp.value(), content, existing) : temp.status();
}

Status replaceOwnFile(const QString& path, const QByteArray& content)
{
    const auto present = fileInfo(nativePath(path), LastLink::ItsTarget);
    if (!present.ok())
        return present.status();
    if (!present->isOwn())
        return Status::notPermitted(QStringLiteral("\"%1\" belongs to another user").arg(path));
    auto temp = TempFile::create(targetOf(path, ExistingTarget::Replace));
    if (!temp.ok())
        return temp.status();
    temp->setPermissions(present->permissions);
    return writeWhole(temp.value(), content, ExistingTarget::Replace);
}

Result<bool> makePrivateFolder(const QString& path)
{
    const QString clean = QDir::cleanPath(path);
    if (QFileInfo(clean).isDir())
        return false;
    const QString parent = QFileInfo(clean).absolutePath();
    if (parent != clean && !QFileInfo(parent).isDir()) {
        if (auto made = makePrivateFolder(parent); !made.ok())
            return made;
    }
    if (const auto made = createFolder(nativePath(clean)); !made.ok())
        return made;
    return true;
}

QString loginName()
{
    std::array<char, 16384> buffer = {};
    struct passwd entry = {};
    struct passwd* found = nullptr;
    if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
        *found->pw_name != '\0')
        return QString::fromLocal8Bit(found->pw_name);
    return QStringLiteral("operator");
}

} // namespace KOZAV::Backend
