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

} // namespace KOZAV::Backend
