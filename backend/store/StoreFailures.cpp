#include "backend/store/StoreFailures.h"

#include "backend/io/FilePath.h"
#include "backend/store/StoreNames.h"

namespace KOZAV::Backend {

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
