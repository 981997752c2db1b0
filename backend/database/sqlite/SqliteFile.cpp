#include "backend/database/sqlite/SqliteFile.h"

#include "backend/io/PrivateFile.h"

#include <QFileInfo>

namespace KOZAV::Backend {

namespace {

Status refused(ErrorCode code, const QString& path, const QString& reason)
{
    return Status(code, QStringLiteral("cannot use \"%1\" as the database file: %2").arg(path, reason));
}

/// SQLite takes an empty file for a new database, and gives its other files the same mode.
Status makeEmptyFile(const QFileInfo& file)
{
    if (Result<bool> folder = makePrivateFolder(file.absolutePath()); !folder.ok())
        return folder.status();
    Status made = writePrivateFile(file.absoluteFilePath(), {}, ExistingTarget::Keep);
    return made.code() == ErrorCode::AlreadyExists ? Status() : made;
}

Status checkExistingFile(const QFileInfo& file, const QString& path)
{
    if (!file.isFile())
        return refused(ErrorCode::Configuration, path, QStringLiteral("it is not a regular file"));
    if (!file.isReadable() || !file.isWritable())
        return refused(ErrorCode::NotPermitted, path, QStringLiteral("it may not be read and written"));
    return {};
}

} // namespace

Status prepareSqliteFile(const QString& path)
{
    if (path.isEmpty())
        return refused(ErrorCode::Configuration, path, QStringLiteral("the name is empty"));
    if (path.contains(QChar(QChar::Null)))
        return refused(ErrorCode::Configuration, path, QStringLiteral("the name holds a NUL character"));
    const QFileInfo file(QFileInfo(path).absoluteFilePath());
    if (file.exists())
        return checkExistingFile(file, path);
    if (file.isSymLink())
        return refused(ErrorCode::Configuration, path,
                       QStringLiteral("it is a link to a file that does not exist"));
    const Status made = makeEmptyFile(file);
    return made.ok() ? made : refused(made.code(), path, made.message());
}

} // namespace KOZAV::Backend
