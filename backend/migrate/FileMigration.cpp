// A source in use is copied in passes. Each lists what is there, copies what no pass before has brought, and
// notes the content that the target then held. The last pass runs in the same snapshot as the rows, so no row
// points at a file that was not brought; verify() lists both sides again and compares them with the notes.
// Nothing is locked: what changes meanwhile is told, and the next run goes on from there, since files that
// the target has are only compared.
//
// Several threads bring files, each over stores of its own; they share the list, the notes and the meter,
// guarded by one mutex. The first failure is the one that is told.

#include "backend/migrate/FileMigration.h"

#include "backend/Guarded.h"
#include "backend/io/FilePath.h"
#include "backend/store/StoreNames.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <system_error>
#include <thread>

namespace KOZAV::Backend {

namespace {

/// Small files wait for the disk and for the server more than they take of either: several at once.
constexpr std::size_t mostWorkers = 4;

bool isKnownToDiffer(const StoredFile& source, const StoredFile& target)
{
    if (source.length != target.length)
        return true;
    return !source.sha256.isEmpty() && !target.sha256.isEmpty() && source.sha256 != target.sha256;
}

/// Whether a store's entry is the content that was brought; a hash that the store does not have is no
/// contradiction.
bool holds(const StoredFile& file, const ContentDigest& content)
{
    return file.length == content.length && (file.sha256.isEmpty() || file.sha256 == content.sha256);
}

} // namespace

/// The threads that bring a list of files. The first failure ends the work: what others have begun is brought
/// to its end, nothing more is begun.
class FileMigration::Crew final
{
public:
    Crew(FileMigration& migration, std::vector<std::pair<FileKey, StoredFile>> tasks,
         const TransferFolder& folder)
        : m_migration(migration)
        , m_tasks(std::move(tasks))
        , m_folder(folder)
    {
    }

    Status run()
    {
        const std::size_t workers = std::min(mostWorkers, m_tasks.size());
        std::vector<std::thread> threads;
        for (std::size_t i = 1; i < workers; ++i) {
            try {
                threads.emplace_back([this, i] { work(i); });
            } catch (const std::system_error&) {
                break; // fewer do it as well
            }
        }
        if (workers > 0)
            work(0);
        for (std::thread& thread : threads)
            thread.join();
        return m_failure;
    }

private:
    void work(std::size_t number)
    {
        const auto status = guarded("copy stored files", [&] { return bringFiles(number); });
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!status.ok() && m_failure.ok())
            m_failure = status;
        m_ended = m_ended || !status.ok();
    }

    Status bringFiles(std::size_t number)
    {
        auto copier = FileCopier::open(m_migration.m_sourceSettings, m_migration.m_targetSettings,
                                       m_folder.path("file-" + std::to_string(number)),
                                       [this](qint64 bytes) { m_migration.m_meter.addBytes(bytes); });
        if (!copier.ok())
            return copier.status();
        for (std::size_t next = m_next++; next < m_tasks.size() && !m_ended; next = m_next++) {
            const auto& [key, file] = m_tasks[next];
            const auto outcome = copier.value()->bring(key.first, file);
            if (!outcome.ok())
                return outcome.status();
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_migration.note(key, outcome.value());
        }
        return {};
    }

    FileMigration& m_migration;
    std::vector<std::pair<FileKey, StoredFile>> m_tasks;
    const TransferFolder& m_folder;
    std::atomic<std::size_t> m_next{0};
    std::atomic<bool> m_ended{false};
    std::mutex m_mutex;
    Status m_failure;
};

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
    auto source = list(*m_stores.source, m_sourceSettings, fileStores);
    if (!source.ok())
        return source.status();
    std::vector<std::pair<FileKey, StoredFile>> tasks;
    for (auto& [key, file] : source.value())
        if (m_brought.count(key) == 0)
            tasks.emplace_back(key, std::move(file));
    return Crew(*this, std::move(tasks), folder).run();
}

void FileMigration::note(const FileKey& key, const FileCopier::Outcome& outcome)
{
    m_brought.emplace(key, outcome.content);
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
