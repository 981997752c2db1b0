#include "host/site/ImportSpace.h"

#include "backend/Site.h"
#include "backend/io/FileInfo.h"
#include "backend/io/FilePath.h"
#include "backend/io/SystemError.h"

#include <QFile>

#include <string>

namespace KOZAV::Host {

namespace {

std::string withoutSeparator(const QString& folder)
{
    const bool hasSeparator = folder.size() > 1 && folder.endsWith(QLatin1Char('/'));
    return QFile::encodeName(hasSeparator ? folder.chopped(1) : folder).toStdString();
}

/// The file system that a folder lies on, or will.
quint64 deviceOf(const std::string& folder)
{
    const auto found = Backend::fileInfo(folder, Backend::LastLink::ItsTarget);
    if (found.ok())
        return found->device;
    const auto parent = Backend::fileInfo(Backend::parentFolder(folder), Backend::LastLink::ItsTarget);
    return parent.ok() ? parent->device : 0;
}

} // namespace

std::optional<ImportSpace> importSpace(QString& failure)
{
    const auto settings = Backend::Site::current().settings();
    if (!settings.ok()) {
        failure = settings.message();
        return std::nullopt;
    }
    ImportSpace space;
    const std::string staging = withoutSeparator(settings->uploadCache);
    space.staging = settings->uploadCache;
    space.stagingFree = Backend::freeBytes(staging).value_or(-1);
    if (settings->documentStore.kind != QLatin1String("local"))
        return space;
    const std::string store = withoutSeparator(settings->documentStore.root);
    space.store = settings->documentStore.root;
    space.storeFree = Backend::freeBytes(store).value_or(-1);
    space.isOneDisk = deviceOf(store) == deviceOf(staging);
    return space;
}

} // namespace KOZAV::Host
