// What is to be brought follows from three things: the rows, which say what each file has to hold, and a
// listing of either store. Where target and row agree nothing is read; where the source contradicts the row
// nothing is copied, since a name in the target is never given other content later; all the rest is fetched,
// compared with the row on its way, and stored.
//
// A file may change its place while the work goes on: an administrator takes a job back, and its file goes to
// the quarantine. So files that are gone when their turn comes are looked for once more before they are told
// of. The places are made equal last: up to there, whichever of its two places in the target a file has, its
// content is there. What could not be read is tried once more, too.

#include "backend/migrate/ClaimedFileMigration.h"

#include "backend/io/FilePath.h"
#include "backend/migrate/FileCrew.h"
#include "backend/store/StoreNames.h"

#include <algorithm>
#include <optional>

namespace KOZAV::Backend {

namespace {

std::optional<ContentDigest> digestIn(const StoredFile& file)
{
    if (file.sha256.isEmpty())
        return std::nullopt;
    return ContentDigest{file.length, file.sha256};
}

template <typename Map>
auto findIn(Map& map, const typename std::remove_const_t<Map>::key_type& key)
    -> decltype(&map.begin()->second)
{
    const auto found = map.find(key);
    return found == map.end() ? nullptr : &found->second;
}

} // namespace

Result<std::unique_ptr<ClaimedFileMigration>> ClaimedFileMigration::open(const DocumentStoreSettings& source,
                                                                         const DocumentStoreSettings& target,
                                                                         ProgressMeter& meter,
                                                                         TargetQuarantine quarantine)
{
    std::unique_ptr<ClaimedFileMigration> migration(
        new ClaimedFileMigration(source, target, meter, quarantine));
    auto stores = StorePair::open(source, target);
    if (!stores.ok())
        return stores.status();
    migration->m_stores = std::move(stores.value());
    return migration;
}

ClaimedFileMigration::ClaimedFileMigration(DocumentStoreSettings source, DocumentStoreSettings target,
                                           ProgressMeter& meter, TargetQuarantine quarantine)
    : m_sourceSettings(std::move(source))
    , m_targetSettings(std::move(target))
    , m_meter(meter)
    , m_quarantine(quarantine)
{
}

Status ClaimedFileMigration::look(std::vector<ClaimedFile> files)
{
    std::set<FileKey> keys;
    for (ClaimedFile& file : files) {
        if (file.fileStore.empty())
            file.fileStore = m_sourceSettings.fileStore.toStdString();
        const FileKey key(file.fileStore, file.name);
        keys.insert(key);
        // A row that knows the file store and one that does not may name the same file.
        const auto [known, isNew] = m_files.emplace(key, file);
        if (!isNew && known->second.mayBeAbsent)
            known->second = std::move(file);
    }
    auto planned = plan(keys);
    if (!planned.ok())
        return planned.status();
    m_plan = std::move(planned.value());
    m_missing = {static_cast<qint64>(m_plan.tasks.size()), m_plan.bytes};
    m_meter.expectFiles(m_missing.files, m_missing.bytes);
    return {};
}

/// What the store has in the file stores of the named files, in their places and in quarantine.
Result<ClaimedFileMigration::Listing> ClaimedFileMigration::list(DocumentStore& store,
                                                                 const DocumentStoreSettings& settings) const
{
    std::set<std::string> fileStores;
    for (const auto& [key, file] : m_files)
        fileStores.insert(key.first);
    Listing listing;
    for (const std::string& fileStore : fileStores) {
        const StoreLocation location = storeLocation(settings, fileStore);
        auto stored = store.list(location);
        if (!stored.ok())
            return stored.status();
        for (StoredFile& file : stored.value())
            listing.emplace(FileKey(fileStore, file.name), Place{file, false});
        auto quarantined = store.listQuarantine(location);
        if (!quarantined.ok())
            return quarantined.status();
        for (QuarantinedFile& taken : quarantined.value())
            listing.emplace(FileKey(fileStore, taken.file.name), Place{taken.file, true});
    }
    return listing;
}

Result<ClaimedFileMigration::Plan> ClaimedFileMigration::plan(const std::set<FileKey>& keys)
{
    const auto source = list(*m_stores.source, m_sourceSettings);
    if (!source.ok())
        return source.status();
    const auto target = list(*m_stores.target, m_targetSettings);
    if (!target.ok())
        return target.status();
    Plan plan;
    for (const FileKey& key : keys)
        planFile(key, m_files.at(key), findIn(source.value(), key), findIn(target.value(), key), plan);
    return plan;
}

/// @param source, target  null where the store does not have the file
void ClaimedFileMigration::planFile(const FileKey& key, const ClaimedFile& file, const Place* source,
                                    const Place* target, Plan& plan)
{
    if (target && target->quarantined && m_quarantine == TargetQuarantine::PassedOver)
        target = nullptr;
    if (source)
        m_quarantined[key] = source->quarantined;
    const StoredFile* known = source ? &source->file : target ? &target->file : nullptr;
    if (known) {
        m_all.files += 1;
        m_all.bytes += known->length;
    }
    const auto wanted = file.content ? file.content : source ? digestIn(source->file) : std::nullopt;
    const bool conflicts = target && ((wanted && !holds(target->file, *wanted)) ||
                                      (!wanted && source && source->file.length != target->file.length));
    if (conflicts)
        return lose(FileLoss::Kind::Conflict, file,
                    QStringLiteral("another content is stored under the name where it is to be copied to"));
    if (target)
        m_held.emplace(key, wanted.value_or(ContentDigest{target->file.length, target->file.sha256}));
    if (!source && !file.mayBeAbsent)
        return lose(FileLoss::Kind::Missing, file, QStringLiteral("it is not stored"), target != nullptr);
    if (source && wanted && !holds(source->file, *wanted))
        return lose(FileLoss::Kind::Damaged, file, QStringLiteral("what is stored is not what its row says"),
                    target != nullptr);
    if (source && !target) {
        plan.tasks.push_back({key.first, source->file, file.content, source->quarantined});
        plan.bytes += source->file.length;
    }
}

Status ClaimedFileMigration::copy(const TransferFolder& folder)
{
    FileCrew crew(m_sourceSettings, m_targetSettings, folder, m_meter);
    std::map<FileKey, Status> failed;
    const auto teller = [&](const FileTask& task, const Result<FileCopier::Outcome>& outcome) {
        return note(task, outcome, failed);
    };
    if (auto brought = crew.bring(m_plan.tasks, teller); !brought.ok() || failed.empty())
        return brought;
    std::set<FileKey> keys;
    for (const auto& [key, status] : failed)
        keys.insert(key);
    const FileCount all = m_all; // they are counted already
    const auto again = plan(keys);
    if (!again.ok())
        return again.status();
    m_all = all;
    failed.clear();
    if (auto brought = crew.bring(again->tasks, teller); !brought.ok())
        return brought;
    for (const auto& [key, status] : failed)
        lose(status.code() == ErrorCode::Io ? FileLoss::Kind::Damaged : FileLoss::Kind::Missing,
             m_files.at(key), status.message());
    return {};
}

/// Failures of one file are kept for the report; what would meet all others as well ends the work.
Status ClaimedFileMigration::note(const FileTask& task, const Result<FileCopier::Outcome>& outcome,
                                  std::map<FileKey, Status>& failed)
{
    const FileKey key(task.fileStore, task.file.name);
    switch (outcome.code()) {
    case ErrorCode::None:
        m_held.emplace(key, outcome->content);
        m_copied.files += outcome->copied ? 1 : 0;
        m_copied.bytes += outcome->copied ? outcome->content.length : 0;
        m_meter.addFile();
        return {};
    case ErrorCode::ChangedWhileRead:
    case ErrorCode::Io: // A bad place of a disk must not keep all other files from being copied.
        failed.emplace(key, outcome.status());
        return {};
    case ErrorCode::Corrupt:
        lose(FileLoss::Kind::Damaged, m_files.at(key), outcome.message());
        return {};
    case ErrorCode::AlreadyExists:
        lose(FileLoss::Kind::Conflict, m_files.at(key), outcome.message());
        return {};
    default:
        return outcome.status();
    }
}

Status ClaimedFileMigration::settle()
{
    const auto target = list(*m_stores.target, m_targetSettings);
    if (!target.ok())
        return target.status();
    for (const auto& [key, quarantined] : m_quarantined) {
        const Place* place = findIn(target.value(), key);
        if (!place || m_held.count(key) == 0 || place->quarantined == quarantined)
            continue;
        if (auto settled = settleFile(key, quarantined); !settled.ok())
            return settled;
    }
    return {};
}

Status ClaimedFileMigration::settleFile(const FileKey& key, bool quarantined)
{
    const StoreLocation location = storeLocation(m_targetSettings, key.first);
    return quarantined ? m_stores.target->quarantine(location, key.second)
                       : m_stores.target->restoreQuarantined(location, key.second);
}

Status ClaimedFileMigration::verify()
{
    const auto target = list(*m_stores.target, m_targetSettings);
    if (!target.ok())
        return target.status();
    for (const auto& [key, content] : m_held) {
        const Place* place = findIn(target.value(), key);
        if (!place || !holds(place->file, content))
            return Status::corrupt(
                QStringLiteral("the stored file \"%1\" is no longer in %2 as it was brought there")
                    .arg(displayPath(key.second), locationText(storeLocation(m_targetSettings, key.first))));
    }
    return {};
}

void ClaimedFileMigration::lose(FileLoss::Kind kind, const ClaimedFile& file, const QString& text, bool kept)
{
    m_losses.push_back({kind, file, text, kept});
}

} // namespace KOZAV::Backend
