#include "backend/operations/StoredFileCheck.h"

#include "backend/Site.h"

namespace KOZAV::Backend {

Result<StoreLocation> configuredLocation()
{
    const Result<Settings> settings = Site::current().settings();
    if (!settings.ok())
        return settings.status();
    return storeLocation(settings->documentStore);
}

Status requireStoredFile(const StoreLocation& location, const std::string& storedName)
{
    const Result<DocumentStore*> store = Site::current().documentStore();
    if (!store.ok())
        return store.status();
    const Result<StoredFile> file = store.value()->find(location, storedName);
    if (file.ok())
        return {};
    return Status(file.code(), QStringLiteral("no row is written for the stored file \"%1\": %2")
                                   .arg(QString::fromStdString(storedName), file.message()));
}

} // namespace KOZAV::Backend
