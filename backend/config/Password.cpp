#include "backend/config/Password.h"

#include "backend/io/File.h"

#include <QFile>

namespace KOZAV::Backend {

namespace {

constexpr qint64 longestFile = 4096;

Status unusable(const QString& file, const QString& reason)
{
    return Status::configuration(
        QStringLiteral("the password file \"%1\" cannot be used: %2").arg(file, reason));
}

} // namespace

Result<QString> readPassword(const QString& file, const char* variable)
{
    if (file.isEmpty())
        return QString::fromUtf8(qgetenv(variable));
    const std::string path = QFile::encodeName(file).toStdString();
    const auto info = fileInfo(path, LastLink::ItsTarget);
    if (!info.ok())
        return unusable(file, info.message());
    if (info->othersMayRead())
        return unusable(file, QStringLiteral("other users may read it; it must be for its owner alone "
                                             "(chmod 600)"));
    const auto content = readSmallFile(path, longestFile);
    if (!content.ok())
        return unusable(file, content.message());
    const QString password =
        QString::fromStdString(content.value().substr(0, content.value().find_first_of("\r\n")));
    if (password.isEmpty())
        return unusable(file, QStringLiteral("its first line is empty"));
    return password;
}

} // namespace KOZAV::Backend
