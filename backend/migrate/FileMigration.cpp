// A source in use is copied in passes. Each lists what is there, copies what no pass before has brought, and
// notes the content that the target then held. The last pass runs in the same snapshot as the rows, so no row
// points at a file that was not brought; verify() lists both sides again and compares them with the notes.
// Nothing is locked: what changes meanwhile is told, and the next run goes on from there, since files that
// the target has are only compared.
//
// Each content is compared with what rows say of it: where two files have changed places and their sums with
// them, a store finds nothing. The last pass knows the rows of all files.
//
// The first file that cannot be brought ends the run, and its failure is the one that is told.

#include "backend/migrate/FileMigration.h"

#include "backend/io/FilePath.h"
#include "backend/migrate/FileCrew.h"
#include "backend/store/StoreNames.h"

namespace KOZAV::Backend {

namespace {

bool isKnownToDiffer(const StoredFile& source, const StoredFile& target)
{
    if (source.length != target.length)
        return true;
    return !source.sha256.isEmpty() && !target.sha256.isEmpty() && source.sha256 != target.sha256;
}

} // namespace

Result<std::unique_ptr<FileMigration>> FileMigration::open(const DocumentStoreSettings& source,
                                                           const DocumentStoreSettings& target,
                                                           ProgressMeter& meter)
{
    std::unique_ptr<FileMigration> migration(new FileMigration(source, target, meter));
    auto stores = StorePair::open(source, target);
    if (!stores.ok())
        return stores.status();
    migration->m_stores = std::move(stores.value());
    return migration;
}

FileMigration::FileMigration(DocumentStoreSettings source, DocumentStoreSettings target, ProgressMeter& meter)
    : m_sourceSettings(std::move(source))
    , m_targetSettings(std::move(target))
    , m_meter(meter)
{
}

Result<FileMigration::Listing> FileMigration::list(DocumentStore& store,
                                                   const DocumentStoreSettings& settings,
                                                   const QStringList& fileStores)
{
    Listing listing;
    for (const QString& name : fileStores) {
        const std::string fileStore = name.toStdString();
        auto files = store.list(storeLocation(settings, fileStore));
        if (!files.ok())
            return files.status();
        for (StoredFile& file : files.value()) {
            FileKey key(fileStore, file.name);
            listing.emplace(std::move(key), std::move(file));
        }
    }
    return listing;
}

Result<FileMigration::Listings> FileMigration::listBoth(const QStringList& fileStores)
{
    auto source = list(*m_stores.source, m_sourceSettings, fileStores);
    if (!source.ok())
        return source.status();
    auto target = list(*m_stores.target, m_targetSettings, fileStores);
    if (!target.ok())
        return target.status();
    return Listings{std::move(source.value()), std::move(target.value())};
}

void FileMigration::expect(const std::vector<FileClaim>& claims)
{
    m_claims.clear();
    for (const FileClaim& claim : claims) {
        const QString& fileStore = claim.fileStore.isEmpty() ? m_sourceSettings.fileStore : claim.fileStore;
        m_claims.emplace(FileKey(fileStore.toStdString(), claim.storedName.toStdString()), claim);
    }
}

Status FileMigration::checkClaims(const FileKey& key, const ContentDigest& found) const
{
    const auto [first, last] = m_claims.equal_range(key);
    for (auto claim = first; claim != last; ++claim)
        if (auto right = checkClaim(claim->second, found); !right.ok())
            return right;
    return {};
}

/// A store that gives something else than it lists fails a get.
Status FileMigration::checkListed(const FileKey& key, const StoredFile& file) const
{
    return file.sha256.isEmpty() ? Status() : checkClaims(key, {file.length, file.sha256});
}

/// What a store has no hash of is only known once it was fetched.
FileTask FileMigration::taskOf(const FileKey& key, StoredFile file) const
{
    FileTask task{key.first, std::move(file)};
    if (const auto claim = m_claims.find(key); claim != m_claims.end())
        task.expected = claim->second.stored;
    return task;
}

Status FileMigration::check(const QStringList& fileStores)
{
    const auto now = listBoth(fileStores);
    if (!now.ok())
        return now.status();
    if (auto fits = compareWithTarget(now.value()); !fits.ok())
        return fits;
    m_meter.expectFiles(m_all.files, m_missing.bytes);
    return {};
}

Status FileMigration::compareWithTarget(const Listings& now)
{
    qint64 present = 0;
    for (const auto& [key, file] : now.source) {
        if (auto right = checkListed(key, file); !right.ok())
            return right;
        const auto there = now.target.find(key);
        if (there != now.target.end() && isKnownToDiffer(file, there->second))
            return targetDiffers(storeLocation(m_targetSettings, key.first), file.name);
        m_all.files += 1;
        m_all.bytes += file.length;
        present += there == now.target.end() ? 0 : 1;
        m_missing.bytes += there == now.target.end() ? file.length : 0;
    }
    m_missing.files = m_all.files - present;
    m_others = static_cast<qint64>(now.target.size()) - present;
    return {};
}

Status FileMigration::copy(const QStringList& fileStores, const TransferFolder& folder)
{
    for (const auto& [key, content] : m_brought)
        if (auto right = checkClaims(key, content); !right.ok())
            return right;
    auto source = list(*m_stores.source, m_sourceSettings, fileStores);
    if (!source.ok())
        return source.status();
    std::vector<FileTask> tasks;
    for (auto& [key, file] : source.value()) {
        if (m_brought.count(key) != 0)
            continue;
        if (auto right = checkListed(key, file); !right.ok())
            return right;
        tasks.push_back(taskOf(key, std::move(file)));
    }
    FileCrew crew(m_sourceSettings, m_targetSettings, folder, m_meter);
    return crew.bring(tasks, [this](const FileTask& task, const Result<FileCopier::Outcome>& outcome) {
        if (outcome.ok())
            note(task, outcome.value());
        return outcome.status();
    });
}

void FileMigration::note(const FileTask& task, const FileCopier::Outcome& outcome)
{
    m_brought.emplace(FileKey(task.fileStore, task.file.name), outcome.content);
    if (outcome.copied) {
        m_copied.files += 1;
        m_copied.bytes += outcome.content.length;
    }
    m_meter.addFile();
}

Status FileMigration::verify(const QStringList& fileStores)
{
    const auto now = listBoth(fileStores);
    if (!now.ok())
        return now.status();
    m_all = {};
    for (const auto& [key, content] : m_brought) {
        const auto from = now->source.find(key);
        if (from == now->source.end() || !holds(from->second, content))
            return sourceChanged(storeLocation(m_sourceSettings, key.first), key.second,
                                 QStringLiteral("is gone or has other content"));
        const auto to = now->target.find(key);
        if (to == now->target.end() || !holds(to->second, content))
            return Status::corrupt(
                QStringLiteral("the target no longer has the stored file \"%1\" that it took")
                    .arg(displayPath(key.second)));
        m_all.files += 1;
        m_all.bytes += content.length;
    }
    for (const auto& [key, file] : now->source)
        if (m_brought.count(key) == 0)
            return sourceChanged(storeLocation(m_sourceSettings, key.first), file.name,
                                 QStringLiteral("is new"));
    m_others = static_cast<qint64>(now->target.size()) - m_all.files;
    return {};
}

} // namespace KOZAV::Backend
