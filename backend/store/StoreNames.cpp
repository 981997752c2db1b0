#include "backend/store/StoreNames.h"

#include "backend/io/FilePath.h"

namespace KOZAV::Backend {

namespace {

Status refused(const QString& what, const std::string& name)
{
    return Status::invalidArgument(
        QStringLiteral("\"%1\" cannot be used as %2").arg(displayPath(name), what));
}

Status checkLocationPart(const QString& what, const std::string& name)
{
    const auto accepted = isPlainFileName(name) && name.find('\\') == std::string::npos;
    return accepted ? Status() : refused(what, name);
}

} // namespace

Status checkStoredName(const std::string& name)
{
    return isPlainFileName(name) ? Status() : refused(QStringLiteral("name of a stored file"), name);
}

Status checkStoreLocation(const StoreLocation& location)
{
    auto database = checkLocationPart(QStringLiteral("database of the document store"), location.database);
    if (!database.ok())
        return database;
    return checkLocationPart(QStringLiteral("file store of the document store"), location.fileStore);
}

QString locationText(const StoreLocation& location)
{
    return displayPath(location.database) + QLatin1Char('/') + displayPath(location.fileStore);
}

Status notStored(const StoreLocation& location, const std::string& name)
{
    return Status::notFound(
        QStringLiteral("%1 has no file named %2").arg(locationText(location), displayPath(name)));
}

Status otherContent(const StoreLocation& location, const std::string& name)
{
    return Status::alreadyExists(QStringLiteral("%1 already has a file named %2 with other content")
                                     .arg(locationText(location), displayPath(name)));
}

Status damagedFile(const StoreLocation& location, const std::string& name, const QString& reason)
{
    return Status::corrupt(QStringLiteral("the stored file %1 of %2 is damaged: %3")
                               .arg(displayPath(name), locationText(location), reason));
}

Status otherSha256(const StoreLocation& location, const StoredFile& file, const QByteArray& found)
{
    return damagedFile(location, file.name,
                       QStringLiteral("its SHA-256 is %1 instead of %2")
                           .arg(QString::fromLatin1(found), QString::fromLatin1(file.sha256)));
}

} // namespace KOZAV::Backend
