#include "backend/store/gridfs/GridFsNames.h"

#include "backend/Utf8.h"
#include "backend/io/FilePath.h"
#include "backend/store/StoreNames.h"

namespace KOZAV::Backend {

namespace {

constexpr const char* refusedInDatabases = "$ .\"*<>:|?";
constexpr size_t longestDatabase = 63;   // bytes
constexpr size_t longestNamespace = 255; // bytes of "<database>.<file store>.chunks"
const std::string longestSuffix = ".chunks";
const std::string reservedPrefix = "system.";

Status refused(const QString& what, const std::string& name, const QString& reason)
{
    return Status::invalidArgument(
        QStringLiteral("\"%1\" cannot be used as %2: %3").arg(displayPath(name), what, reason));
}

Status checkDatabase(const std::string& name)
{
    const QString what = QStringLiteral("MongoDB database");
    if (name.size() > longestDatabase)
        return refused(what, name, QStringLiteral("it has more than %1 bytes").arg(longestDatabase));
    if (name.find_first_of(refusedInDatabases) != std::string::npos)
        return refused(what, name,
                       QStringLiteral("it holds a blank or one of %1").arg(QLatin1String("$.\"*<>:|?")));
    return isValidUtf8(name) ? Status() : refused(what, name, QStringLiteral("it is not valid UTF-8"));
}

Status checkFileStore(const StoreLocation& location)
{
    const QString what = QStringLiteral("GridFS file store");
    const std::string& name = location.fileStore;
    if (name.find('$') != std::string::npos)
        return refused(what, name, QStringLiteral("it holds a $"));
    if (name.compare(0, reservedPrefix.size(), reservedPrefix) == 0)
        return refused(what, name, QStringLiteral("MongoDB keeps such names for itself"));
    if (location.database.size() + 1 + name.size() + longestSuffix.size() > longestNamespace)
        return refused(what, name, QStringLiteral("it is too long"));
    return isValidUtf8(name) ? Status() : refused(what, name, QStringLiteral("it is not valid UTF-8"));
}

} // namespace

Status checkGridFsLocation(const StoreLocation& location)
{
    if (Status accepted = checkStoreLocation(location); !accepted.ok())
        return accepted;
    const Status database = checkDatabase(location.database);
    return database.ok() ? checkFileStore(location) : database;
}

Status checkGridFsName(const std::string& name)
{
    if (Status accepted = checkStoredName(name); !accepted.ok())
        return accepted;
    return isValidUtf8(name) ? Status()
                             : refused(QStringLiteral("name of a file in GridFS"), name,
                                       QStringLiteral("it is not valid UTF-8"));
}

} // namespace KOZAV::Backend
