#include "backend/store/DocumentStore.h"

#include "backend/Guarded.h"
#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"
#include "backend/store/StoreNames.h"
#include "backend/store/local/LocalDocumentStore.h"
#ifdef ZAV_WITH_MONGODB
#include "backend/store/gridfs/GridFsDocumentStore.h"
#endif

#include <QFile>

#include <utility>

namespace KOZAV::Backend {

namespace {

using OpenedStore = Result<std::unique_ptr<DocumentStore>>;

OpenedStore openLocal(const DocumentStoreSettings& settings)
{
    if (settings.root.isEmpty())
        return Status::configuration(
            QStringLiteral("the document store has no directory: document_store/root is empty"));
    return LocalDocumentStore::open(QFile::encodeName(settings.root).toStdString());
}

OpenedStore openMongoDb(const DocumentStoreSettings& settings)
{
#ifdef ZAV_WITH_MONGODB
    return GridFsDocumentStore::open(settings);
#else
    Q_UNUSED(settings)
    return Status::configuration(
        QStringLiteral("document_store/kind is \"mongodb\", but this build has no MongoDB support"));
#endif
}

struct StoreKind
{
    QLatin1String name;
    OpenedStore (*open)(const DocumentStoreSettings&);
};

const StoreKind storeKinds[] = {
    {QLatin1String("local"), openLocal},
    {QLatin1String("mongodb"), openMongoDb},
};

} // namespace

StoreLocation storeLocation(const DocumentStoreSettings& settings)
{
    return storeLocation(settings, settings.fileStore.toStdString());
}

StoreLocation storeLocation(const DocumentStoreSettings& settings, std::string fileStore)
{
    return {settings.database.toStdString(), std::move(fileStore)};
}

DocumentStore::~DocumentStore() = default;

template <typename Work>
auto DocumentStore::onName(const char* task, const StoreLocation& location, const std::string& name,
                           Work&& work) -> decltype(work())
{
    return guarded(task, [&]() -> decltype(work()) {
        if (auto accepted = checkLocation(location); !accepted.ok())
            return accepted;
        if (auto accepted = checkName(name); !accepted.ok())
            return accepted;
        return work();
    });
}

Result<StoredFile> DocumentStore::put(const StoreLocation& location, const std::string& name,
                                      const std::string& localPath)
{
    return onName("store a file", location, name, [&] { return putFile(location, name, localPath); });
}

Result<StoredFile> DocumentStore::adopt(const StoreLocation& location, const std::string& name,
                                        const std::string& localPath)
{
    return onName("take a file into the store", location, name, [&]() -> Result<StoredFile> {
        auto removable = requireWritableFolder(parentFolder(localPath));
        return removable.ok() ? adoptFile(location, name, localPath) : removable;
    });
}

Status DocumentStore::get(const StoreLocation& location, const std::string& name,
                          const std::string& localPath)
{
    return onName("fetch a stored file", location, name, [&] { return getFile(location, name, localPath); });
}

Result<StoredFile> DocumentStore::find(const StoreLocation& location, const std::string& name)
{
    return onName("find a stored file", location, name, [&] { return findFile(location, name); });
}

Result<std::vector<StoredFile>> DocumentStore::list(const StoreLocation& location)
{
    return guarded("list the stored files", [&]() -> Result<std::vector<StoredFile>> {
        auto accepted = checkLocation(location);
        return accepted.ok() ? listFiles(location) : accepted;
    });
}

Status DocumentStore::remove(const StoreLocation& location, const std::string& name)
{
    return onName("remove a stored file", location, name, [&] { return removeStored(location, name); });
}

Result<ServiceHealth> DocumentStore::health()
{
    return guarded("look at the document store", [this] { return engineHealth(); });
}

Status DocumentStore::checkLocation(const StoreLocation& location) const
{
    return checkStoreLocation(location);
}

Status DocumentStore::checkName(const std::string& name) const
{
    return checkStoredName(name);
}

Result<StoredFile> DocumentStore::adoptFile(const StoreLocation& location, const std::string& name,
                                            const std::string& localPath)
{
    auto stored = putFile(location, name, localPath);
    if (!stored.ok())
        return stored;
    const auto removed = removeFile(localPath);
    return removed.ok() ? stored : removed;
}

Result<std::unique_ptr<DocumentStore>> openDocumentStore(const DocumentStoreSettings& settings)
{
    return guarded("open the document store", [&]() -> OpenedStore {
        for (const StoreKind& kind : storeKinds) {
            if (settings.kind == kind.name)
                return kind.open(settings);
        }
        return Status::configuration(
            QStringLiteral("document_store/kind is \"%1\": \"local\" and \"mongodb\" are accepted")
                .arg(settings.kind));
    });
}

} // namespace KOZAV::Backend
