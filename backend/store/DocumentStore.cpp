#include "backend/store/DocumentStore.h"

#include "backend/Guarded.h"
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
