#include "backend/store/DocumentStore.h"

#include "backend/Guarded.h"
#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"
#include "backend/io/GrowingFile.h"
#include "backend/store/StoreNames.h"
#include "backend/store/local/LocalDocumentStore.h"
#ifdef ZAV_WITH_MONGODB
#include "backend/store/gridfs/GridFsDocumentStore.h"
#endif

#include <QFile>

#include <algorithm>
#include <iterator>
#include <utility>

namespace KOZAV::Backend {

namespace {

using OpenedStore = Result<std::unique_ptr<DocumentStore>>;

OpenedStore openLocal(const DocumentStoreSettings& settings)
{
    if (settings.root.isEmpty())
        return Status::configuration(
            QStringLiteral("the document store has no directory: document_store/root is empty"));
    return LocalDocumentStore::open(QFile::encodeName(settings.root).toStdString(), settings.onlyToRead);
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
auto DocumentStore::onLocation(const char* task, const StoreLocation& location, Work&& work)
    -> decltype(work())
{
    return guarded(task, [&]() -> decltype(work()) {
        if (auto accepted = checkLocation(location); !accepted.ok())
            return accepted;
        return work();
    });
}

template <typename Work>
auto DocumentStore::onName(const char* task, const StoreLocation& location, const std::string& name,
                           Work&& work) -> decltype(work())
{
    return onLocation(task, location, [&]() -> decltype(work()) {
        if (auto accepted = checkName(name); !accepted.ok())
            return accepted;
        return work();
    });
}

Result<StoredFile> DocumentStore::put(const StoreLocation& location, const std::string& name,
                                      const std::string& localPath, NameUse use)
{
    return onName("store a file", location, name, [&] { return putFile(location, name, localPath, use); });
}

Result<StoredFile> DocumentStore::adopt(const StoreLocation& location, const std::string& name,
                                        const std::string& localPath, NameUse use)
{
    return onName("take a file into the store", location, name, [&]() -> Result<StoredFile> {
        auto removable = requireWritableFolder(parentFolder(localPath));
        return removable.ok() ? adoptFile(location, name, localPath, use) : removable;
    });
}

Result<StoredFile> DocumentStore::adoptGrowing(const StoreLocation& location, const std::string& name,
                                               const std::string& localPath, GrowingFile& growing,
                                               NameUse use)
{
    auto stored = onName("take a file into the store", location, name, [&]() -> Result<StoredFile> {
        auto removable = requireWritableFolder(parentFolder(localPath));
        return removable.ok() ? adoptGrowingFile(location, name, localPath, growing, use) : removable;
    });
    const bool isAnswered =
        stored.code() != ErrorCode::Unavailable && stored.code() != ErrorCode::OutcomeUnknown;
    if (!stored.ok() && isAnswered)
        growing.giveUp();
    return stored;
}

Status DocumentStore::get(const StoreLocation& location, const std::string& name,
                          const std::string& localPath)
{
    return onName("fetch a stored file", location, name, [&] { return getFile(location, name, localPath); });
}

Result<ContentDigest> DocumentStore::verify(const StoreLocation& location, const std::string& name,
                                            const ReadObserver& onBytes)
{
    return onName("read a stored file", location, name, [&] { return verifyFile(location, name, onBytes); });
}

Result<StoredFile> DocumentStore::find(const StoreLocation& location, const std::string& name)
{
    return onName("find a stored file", location, name, [&] { return findFile(location, name); });
}

Result<std::vector<StoredFile>> DocumentStore::list(const StoreLocation& location)
{
    return onLocation("list the stored files", location, [&] { return listFiles(location); });
}

Result<DocumentStore::FilePages> DocumentStore::listInPages(const StoreLocation& location)
{
    return onLocation("list the stored files", location, [&]() -> Result<FilePages> {
        auto pages = filePages(location);
        if (!pages.ok())
            return pages;
        return FilePages(
            [next = std::move(pages.value())] { return guarded("list the stored files", next); });
    });
}

Status DocumentStore::remove(const StoreLocation& location, const std::string& name)
{
    return onName("remove a stored file", location, name, [&] { return removeStored(location, name); });
}

Result<std::vector<StoredFile>> DocumentStore::findSome(const StoreLocation& location,
                                                        const std::vector<std::string>& names)
{
    return onLocation("find stored files", location, [&] {
        std::vector<std::string> wanted;
        std::copy_if(names.begin(), names.end(), std::back_inserter(wanted),
                     [this](const std::string& name) { return checkName(name).ok(); });
        std::sort(wanted.begin(), wanted.end());
        wanted.erase(std::unique(wanted.begin(), wanted.end()), wanted.end());
        return findFiles(location, wanted);
    });
}

Status DocumentStore::quarantine(const StoreLocation& location, const std::string& name)
{
    return onName("move a stored file to the quarantine", location, name,
                  [&] { return quarantineFile(location, name); });
}

Result<std::vector<QuarantinedFile>> DocumentStore::listQuarantine(const StoreLocation& location)
{
    return onLocation("list the quarantine", location, [&] { return listQuarantined(location); });
}

Status DocumentStore::getQuarantined(const StoreLocation& location, const std::string& name,
                                     const std::string& localPath)
{
    return onName("fetch a file from the quarantine", location, name,
                  [&] { return getQuarantinedFile(location, name, localPath); });
}

Status DocumentStore::restoreQuarantined(const StoreLocation& location, const std::string& name)
{
    return onName("put a file back from the quarantine", location, name,
                  [&] { return restoreFile(location, name); });
}

Status DocumentStore::purgeQuarantined(const StoreLocation& location, const std::string& name)
{
    return onName("remove a file from the quarantine", location, name,
                  [&] { return purgeFile(location, name); });
}

Result<QString> DocumentStore::siteMark(const StoreLocation& location)
{
    return onLocation("read the mark of the document store", location,
                      [&] { return readSiteMark(location); });
}

Status DocumentStore::setSiteMark(const StoreLocation& location, const QString& identity)
{
    return onLocation("mark the document store", location, [&] {
        auto accepted = checkSiteIdentity(identity);
        return accepted.ok() ? writeSiteMark(location, identity) : accepted;
    });
}

Result<std::vector<StoreFlaw>> DocumentStore::survey(const StoreLocation& location)
{
    return onLocation("look through the document store", location, [&] { return surveyLocation(location); });
}

Status DocumentStore::removeFlaw(const StoreLocation& location, const StoreFlaw& flaw)
{
    return onLocation("mend the document store", location, [&] { return mendFlaw(location, flaw); });
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
                                            const std::string& localPath, NameUse use)
{
    auto stored = putFile(location, name, localPath, use);
    if (!stored.ok())
        return stored;
    const auto removed = removeFile(localPath);
    return removed.ok() ? stored : removed;
}

Result<StoredFile> DocumentStore::adoptGrowingFile(const StoreLocation& location, const std::string& name,
                                                   const std::string& localPath, GrowingFile& growing,
                                                   NameUse use)
{
    const auto ended = growing.waitForEnd();
    return ended.ok() ? adoptFile(location, name, localPath, use) : ended.status();
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
