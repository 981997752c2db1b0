#include "backend/HostInterface.h"

#include "backend/Guarded.h"
#include "backend/Site.h"
#include "backend/config/SitePlaces.h"
#include "backend/database/Database.h"
#include "backend/store/DocumentStore.h"

namespace KOZAV::Backend {

namespace {

Result<ServiceHealth> lookAt(SitePart part)
{
    if (part == SitePart::Rows) {
        const auto database = Site::current().database();
        return database.ok() ? database.value()->health() : Result<ServiceHealth>(database.status());
    }
    const auto store = Site::current().documentStore();
    return store.ok() ? store.value()->health() : Result<ServiceHealth>(store.status());
}

QString configuredPlace(SitePart part)
{
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return {};
    return part == SitePart::Rows ? placeOf(settings->database) : placeOf(settings->documentStore);
}

} // namespace

void setConfigurationFile(const QString& path)
{
    Site::current().setConfigurationPath(path);
}

QString configurationFile()
{
    return Site::current().configurationPath();
}

ServiceHealth healthOf(SitePart part)
{
    ServiceHealth health;
    const auto looked = guarded([&]() -> Status {
        if (part == SitePart::None)
            return Status::invalidArgument(QStringLiteral("no part of the site is named"));
        const auto found = lookAt(part);
        if (found.ok())
            health = found.value();
        else
            health.place = configuredPlace(part);
        return found.status();
    });
    health.failure = looked.message();
    return health;
}

} // namespace KOZAV::Backend
