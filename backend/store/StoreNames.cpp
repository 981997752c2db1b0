#include "backend/store/StoreNames.h"

#include "backend/io/FilePath.h"

#include <QRegularExpression>

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

Status checkSiteIdentity(const QString& identity)
{
    static const QRegularExpression accepted(QStringLiteral("\\A[0-9A-Za-z-]{1,64}\\z"));
    return accepted.match(identity).hasMatch()
               ? Status()
               : Status::invalidArgument(
                     QStringLiteral("\"%1\" cannot be used as identity of a site").arg(identity));
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

Status notQuarantined(const StoreLocation& location, const std::string& name)
{
    return Status::notFound(QStringLiteral("the quarantine of %1 has no file named %2")
                                .arg(locationText(location), displayPath(name)));
}

Status quarantinedAlready(const StoreLocation& location, const std::string& name)
{
    return Status::alreadyExists(QStringLiteral("the quarantine of %1 already has a file named %2")
                                     .arg(locationText(location), displayPath(name)));
}

Status storedAnew(const StoreLocation& location, const std::string& name)
{
    return Status::alreadyExists(QStringLiteral("%1 cannot be put back: %2 has a file of that name")
                                     .arg(displayPath(name), locationText(location)));
}

Status otherSite(const StoreLocation& location, const QString& identity)
{
    return Status::alreadyExists(QStringLiteral("the document store %1 belongs to another site, %2")
                                     .arg(locationText(location), identity));
}

Status notMendable(const StoreLocation& location, const StoreFlaw& flaw)
{
    return Status::invalidArgument(QStringLiteral("%1 of %2 is damaged, which cannot be mended here: %3")
                                       .arg(displayPath(flaw.name), locationText(location), flaw.text));
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
