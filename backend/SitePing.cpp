#include "backend/SitePing.h"

#include "backend/config/SitePlaces.h"
#include "backend/database/Database.h"
#include "backend/store/DocumentStore.h"

namespace KOZAV::Backend {

namespace {

QString encryptionText(const ServiceHealth& health)
{
    if (!health.remote)
        return QStringLiteral("local");
    return health.encryption.isEmpty() ? QStringLiteral("no") : health.encryption;
}

Result<ServiceHealth> healthOfFiles(const Settings& settings, DocumentStore& store)
{
    const StoreLocation location = storeLocation(settings.documentStore);
    if (const auto mark = store.siteMark(location); !mark.ok())
        return mark.status();
    if (const auto files = store.findSome(location, {"ping"}); !files.ok())
        return files.status();
    return store.health();
}

} // namespace

LookWords ServiceLook::words() const
{
    if (!health.ok())
        return {QStringLiteral("failed"), {}, place, {}, {}, {}};
    const double ms = health->latencyMs;
    return {QStringLiteral("reachable"),
            health->engine,
            health->place,
            encryptionText(health.value()),
            health->topology,
            QStringLiteral("%1 ms").arg(ms, 0, 'f', ms < 1 ? 3 : 1)};
}

ServiceLook lookAtRows(const Settings& settings)
{
    return {QStringLiteral("rows"), placeOf(settings.database), Database::probe(settings.database)};
}

ServiceLook lookAtFiles(const Settings& settings, const Result<DocumentStore*>& store)
{
    return {QStringLiteral("files"), placeOf(settings.documentStore),
            store.ok() ? healthOfFiles(settings, *store.value()) : store.status()};
}

ServiceLook lookAtFiles(const Settings& settings)
{
    const auto store = openDocumentStore(settings.documentStore);
    return lookAtFiles(settings, store.ok() ? Result<DocumentStore*>(store->get()) : store.status());
}

} // namespace KOZAV::Backend
