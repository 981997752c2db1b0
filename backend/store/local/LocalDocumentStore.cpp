#include "backend/store/local/LocalDocumentStore.h"

#include "backend/io/FileCopy.h"
#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"
#include "backend/io/GrowingFile.h"
#include "backend/store/StoreNames.h"
#include "backend/store/TargetFile.h"
#include "backend/store/local/LocalIntake.h"
#include "backend/store/local/LocalQuarantine.h"
#include "backend/store/local/LocalSurvey.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace KOZAV::Backend {

namespace {

/// What a file was stored as that could be moved; it stays where it was stored already, and then goes.
Result<StoredFile> endMove(const Result<std::optional<LocalIntake::Addition>>& moved,
                           const std::string& localPath)
{
    if (!moved.ok())
        return moved.status();
    const auto removed = moved.value()->isNew ? Status() : removeFile(localPath);
    return removed.ok() ? Result(moved.value()->file) : removed;
}

/// Copies the data of a stored file to localPath, which gets the content as a whole or stays as it is.
Status copyOut(const LocalStoreFolder& folder, const std::string& dataPath, const StoredFile& file,
               const std::string& localPath)
{
    auto data = File::openForReading(dataPath);
    if (!data.ok())
        return data.status();
    auto target = TargetFile::create(localPath, file.length);
    if (!target.ok())
        return target.status();
    const auto digest = copyFile(data.value(), target->file());
    if (!digest.ok())
        return digest.status();
    auto same = folder.checkDigest(file, digest.value());
    return same.ok() ? target->finish() : same;
}

} // namespace

Result<std::unique_ptr<DocumentStore>> LocalDocumentStore::open(const std::string& root, bool onlyToRead)
{
    std::unique_ptr<LocalDocumentStore> store(new LocalDocumentStore(root, onlyToRead));
    const auto usable = store->checkRoot();
    if (!usable.ok()) {
        // NotFound is said of stored files only.
        const bool absent = usable.code() == ErrorCode::NotFound;
        const QString advice =
            QStringLiteral("; mount its disk or name the right one in document_store/root, bring "
                           "lost files back with \"zav_admin restore-files\", or make a new site "
                           "with \"zav_admin init\"");
        return Status(absent ? ErrorCode::Configuration : usable.code(),
                      usable.message() + (absent ? advice : QString()))
            .in(QStringLiteral("the document store cannot be used"));
    }
    return std::unique_ptr<DocumentStore>(std::move(store));
}

/// Whether the store can be used as its user means to.
Status LocalDocumentStore::checkRoot() const
{
    return m_onlyToRead ? Folder::open(m_root).status() : requireWritableFolder(m_root);
}

Result<StoredFile> LocalDocumentStore::putFile(const StoreLocation& location, const std::string& name,
                                               const std::string& localPath, NameUse /*use*/)
{
    const auto folder = preparedFolder(location);
    if (!folder.ok())
        return folder.status();
    const auto added = LocalIntake(folder.value(), name).copyIn(localPath);
    return added.ok() ? Result(added->file) : added.status();
}

Result<StoredFile> LocalDocumentStore::adoptFile(const StoreLocation& location, const std::string& name,
                                                 const std::string& localPath, NameUse use)
{
    const auto folder = preparedFolder(location);
    if (!folder.ok())
        return folder.status();
    const auto moved = LocalIntake(folder.value(), name).moveIn(localPath);
    if (moved.ok() && !moved.value())
        return DocumentStore::adoptFile(location, name, localPath, use);
    return endMove(moved, localPath);
}

/// Hashes the file behind its writer, so that at its end it has to be moved only.
Result<StoredFile> LocalDocumentStore::adoptGrowingFile(const StoreLocation& location,
                                                        const std::string& name, const std::string& localPath,
                                                        GrowingFile& growing, NameUse use)
{
    const auto folder = preparedFolder(location);
    if (!folder.ok())
        return folder.status();
    const auto digest = digestGrowing(growing);
    if (!digest.ok())
        return digest.status();
    const LocalIntake intake(folder.value(), name);
    if (!intake.canMove(localPath))
        return DocumentStore::adoptFile(location, name, localPath, use);
    const auto moved = intake.moveHashed(growing.file(), digest.value());
    if (moved.ok() && !moved.value())
        return DocumentStore::adoptFile(location, name, localPath, use);
    return endMove(moved, localPath);
}

Status LocalDocumentStore::getFile(const StoreLocation& location, const std::string& name,
                                   const std::string& localPath)
{
    const auto file = findFile(location, name);
    if (!file.ok())
        return file.status();
    const LocalStoreFolder folder(m_root, location);
    return copyOut(folder, folder.dataPath(name), file.value(), localPath);
}

Result<ContentDigest> LocalDocumentStore::verifyFile(const StoreLocation& location, const std::string& name,
                                                     const ReadObserver& onBytes)
{
    const auto file = findFile(location, name);
    if (!file.ok())
        return file.status();
    const LocalStoreFolder folder(m_root, location);
    auto data = File::openForReading(folder.dataPath(name));
    if (!data.ok())
        return data.status();
    auto digest = readThrough(data.value(), onBytes);
    const auto same = digest.ok() ? folder.checkDigest(file.value(), digest.value()) : Status();
    return same.ok() ? std::move(digest) : same;
}

Result<StoredFile> LocalDocumentStore::findFile(const StoreLocation& location, const std::string& name)
{
    const LocalStoreFolder folder(m_root, location);
    const auto file = folder.stored(name);
    if (!file.ok())
        return file.status();
    if (file.value())
        return *file.value();
    auto ours = requireSite(folder);
    return ours.ok() ? notStored(location, name) : ours;
}

Result<std::vector<StoredFile>> LocalDocumentStore::listFiles(const StoreLocation& location)
{
    return LocalStoreFolder(m_root, location).storedFiles();
}

/// A folder has no order: the names are held, and what is known of a file is read with its page.
Result<DocumentStore::FilePages> LocalDocumentStore::filePages(const StoreLocation& location)
{
    constexpr std::size_t filesAtOnce = 1000;
    const LocalStoreFolder folder(m_root, location);
    auto listed = namesIn(folder.filesFolder());
    if (!listed.ok() && listed.code() != ErrorCode::NotFound)
        return listed.status();
    const auto names = std::make_shared<std::vector<std::string>>();
    if (listed.ok())
        *names = std::move(listed.value());
    std::sort(names->begin(), names->end());
    return FilePages([folder, names, at = std::size_t(0)]() mutable -> Result<std::vector<StoredFile>> {
        std::vector<StoredFile> page;
        while (page.empty() && at < names->size()) {
            const auto begin = names->begin() + static_cast<std::ptrdiff_t>(at);
            at = std::min(names->size(), at + filesAtOnce);
            auto files = folder.storedFiles({begin, names->begin() + static_cast<std::ptrdiff_t>(at)});
            if (!files.ok())
                return files;
            page = std::move(files.value());
        }
        return page;
    });
}

Status LocalDocumentStore::removeStored(const StoreLocation& location, const std::string& name)
{
    const auto removed = LocalStoreFolder(m_root, location).remove(name);
    if (!removed.ok())
        return removed.status();
    return removed.value() ? Status() : notStored(location, name);
}

Result<std::vector<StoredFile>> LocalDocumentStore::findFiles(const StoreLocation& location,
                                                              const std::vector<std::string>& names)
{
    return LocalStoreFolder(m_root, location).storedFiles(names);
}

Status LocalDocumentStore::quarantineFile(const StoreLocation& location, const std::string& name)
{
    const LocalStoreFolder folder(m_root, location);
    return LocalQuarantine(folder).take(name);
}

Result<std::vector<QuarantinedFile>> LocalDocumentStore::listQuarantined(const StoreLocation& location)
{
    const LocalStoreFolder folder(m_root, location);
    return LocalQuarantine(folder).files();
}

Status LocalDocumentStore::getQuarantinedFile(const StoreLocation& location, const std::string& name,
                                              const std::string& localPath)
{
    const LocalStoreFolder folder(m_root, location);
    const LocalQuarantine quarantine(folder);
    const auto taken = quarantine.find(name);
    if (!taken)
        return notQuarantined(location, name);
    auto copied = copyOut(folder, quarantine.dataPath(name), taken->file, localPath);
    return copied.code() == ErrorCode::NotFound ? notQuarantined(location, name) : copied;
}

Status LocalDocumentStore::restoreFile(const StoreLocation& location, const std::string& name)
{
    const LocalStoreFolder folder(m_root, location);
    return LocalQuarantine(folder).putBack(name);
}

Status LocalDocumentStore::purgeFile(const StoreLocation& location, const std::string& name)
{
    const LocalStoreFolder folder(m_root, location);
    return LocalQuarantine(folder).purge(name);
}

Result<QString> LocalDocumentStore::readSiteMark(const StoreLocation& location)
{
    return LocalStoreFolder(m_root, location).siteMark();
}

Status LocalDocumentStore::writeSiteMark(const StoreLocation& location, const QString& identity)
{
    return LocalStoreFolder(m_root, location).setSiteMark(identity);
}

Result<std::vector<StoreFlaw>> LocalDocumentStore::surveyLocation(const StoreLocation& location)
{
    const LocalStoreFolder folder(m_root, location);
    return LocalSurvey(folder).flaws();
}

Status LocalDocumentStore::mendFlaw(const StoreLocation& location, const StoreFlaw& flaw)
{
    const LocalStoreFolder folder(m_root, location);
    return LocalSurvey(folder).mend(flaw);
}

Result<ServiceHealth> LocalDocumentStore::engineHealth()
{
    const auto latency = fastestAnswerMs([this] { return checkRoot(); });
    if (!latency.ok())
        return latency.status();
    ServiceHealth health;
    health.engine = QStringLiteral("local folder");
    health.place = displayPath(m_root);
    health.latencyMs = latency.value();
    return health;
}

Result<LocalStoreFolder> LocalDocumentStore::preparedFolder(const StoreLocation& location)
{
    std::call_once(m_swept, [this] { removeLeftovers(); });
    LocalStoreFolder folder(m_root, location);
    if (folder.isPrepared())
        return folder;
    auto prepared = requireSite(folder);
    if (prepared.ok())
        prepared = folder.prepare();
    return prepared.ok() ? Result(std::move(folder)) : prepared;
}

/// A root without any location of a site is the empty folder below a mount point: nothing is filled into it,
/// and what is not found there may well be stored.
Status LocalDocumentStore::requireSite(const LocalStoreFolder& folder) const
{
    if (folder.isPrepared())
        return {};
    for (const StoreLocation& location : locations())
        if (fileInfo(LocalStoreFolder(m_root, location).markPath()).ok())
            return {};
    return Status::configuration(
        QStringLiteral("the document store %1 holds no site's files: mount its disk or name the right one in "
                       "document_store/root, or bring the files back with \"zav_admin restore-files\"")
            .arg(displayPath(m_root)));
}

/// Every two folders of which the lower one may be a location.
std::vector<StoreLocation> LocalDocumentStore::locations() const
{
    std::vector<StoreLocation> found;
    const auto databases = namesIn(m_root);
    if (!databases.ok())
        return found;
    for (const std::string& database : databases.value()) {
        const auto fileStores = namesIn(joinPath(m_root, database));
        if (!fileStores.ok())
            continue;
        for (const std::string& fileStore : fileStores.value())
            found.push_back({database, fileStore});
    }
    return found;
}

void LocalDocumentStore::removeLeftovers() const
{
    for (const StoreLocation& location : locations())
        removeStaleTempFiles(LocalStoreFolder(m_root, location).tempFolder());
}

} // namespace KOZAV::Backend
