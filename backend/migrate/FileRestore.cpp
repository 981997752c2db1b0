#include "backend/migrate/FileRestore.h"

#include "backend/Guarded.h"
#include "backend/SafePoint.h"
#include "backend/Site.h"
#include "backend/config/SitePlaces.h"
#include "backend/database/Database.h"
#include "backend/migrate/BackupFolder.h"
#include "backend/records/SiteEvents.h"
#include "backend/records/SiteIdentity.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <utility>

// A name in the store is never given other content, so a damaged file has to leave its name before the right
// one can come: it goes into quarantine, where it can be looked at, and only where the backup has what the
// row asks for. An interruption between the two leaves a file that is missing, which the next run brings.

namespace KOZAV::Backend {

namespace {

using FileKey = std::pair<std::string, std::string>; ///< file store and name

class FileRestore final
{
public:
    FileRestore(Site& site, const QString& folder, const FileRestoreOptions& options,
                const MigrationObserver& observer)
        : m_site(site)
        , m_path(folder)
        , m_options(options)
        , m_meter(observer)
    {
    }

    Result<FileRestoreReport> run()
    {
        for (const auto step : {&FileRestore::openSource, &FileRestore::openSite, &FileRestore::claimStore,
                                &FileRestore::makeRoom, &FileRestore::copy, &FileRestore::record})
            if (const auto done = (this->*step)(); !done.ok())
                return done;
        return m_report;
    }

private:
    Status openSource();
    Status openSite();
    Status claimStore();
    Status makeRoom();
    Status copy();
    Status record();
    Result<std::set<FileKey>> damagedFiles();
    Status addUnreadable(std::set<FileKey>& damaged);
    Status addFlaws(const std::string& fileStore, std::set<FileKey>& damaged);
    Status makeRoomFor(const ClaimedFile& file);

    Site& m_site;
    QString m_path;
    FileRestoreOptions m_options;
    ProgressMeter m_meter;
    std::optional<OpenedBackup> m_backup;
    DocumentStore* m_source = nullptr;
    Database* m_rows = nullptr;
    DocumentStore* m_target = nullptr;
    Settings m_settings; ///< of the site
    std::vector<ClaimedFile> m_claimed;
    FileRestoreReport m_report;
};

Status FileRestore::openSource()
{
    m_meter.enter(MigrationProgress::Phase::Checking);
    auto backup = openBackup(m_path);
    if (!backup.ok())
        return backup.status();
    m_backup.emplace(std::move(backup.value()));
    m_report.identity = m_backup->folder.identity();
    m_report.moment = m_backup->settings.backupMoment;
    const auto source = m_backup->site->documentStore();
    if (source.ok())
        m_source = source.value();
    return source.status();
}

Status FileRestore::openSite()
{
    const auto settings = m_site.settings();
    if (!settings.ok())
        return settings.status();
    m_settings = settings.value();
    const auto rows = m_site.database();
    if (!rows.ok())
        return rows.status();
    m_rows = rows.value();
    const auto identity = siteIdentity(*m_rows);
    if (!identity.ok())
        return identity.status();
    if (identity.value() != m_backup->folder.identity())
        return Status::configuration(
            QStringLiteral("the database %1 is that of the site \"%2\", the backup is of %3")
                .arg(m_rows->place(), identity.value(), m_backup->folder.identity()));
    const auto target = m_site.documentStore();
    if (!target.ok())
        return target.status();
    m_target = target.value();
    auto claimed = listClaimedFiles(*m_rows);
    if (!claimed.ok())
        return claimed.status();
    for (ClaimedFile& file : claimed.value()) {
        if (file.mayBeAbsent)
            continue; // its job was voided, or told as failed
        if (file.fileStore.empty())
            file.fileStore = m_settings.documentStore.fileStore.toStdString();
        m_claimed.push_back(std::move(file));
    }
    return {};
}

/// The store is the site's own, or a new one.
Status FileRestore::claimStore()
{
    const StoreLocation location = storeLocation(m_settings.documentStore);
    const auto mark = m_target->siteMark(location);
    if (!mark.ok() || mark.value() == m_backup->folder.identity())
        return mark.status();
    const auto files = m_target->list(location);
    if (!files.ok())
        return files.status();
    if (!mark->isEmpty() || !files->empty())
        return Status::alreadyExists(
            QStringLiteral(
                "the document store %1 is not that of the site %2, and not empty: nothing is put into it")
                .arg(placeOf(m_settings.documentStore), m_backup->folder.identity()));
    return m_target->setSiteMark(location, m_backup->folder.identity());
}

Status FileRestore::addFlaws(const std::string& fileStore, std::set<FileKey>& damaged)
{
    using Kind = StoreFlaw::Kind;
    static const std::set<Kind> damages = {Kind::SumUnreadable, Kind::WrongLength, Kind::NotRegular,
                                           Kind::ChunksMissing, Kind::ChunksSurplus};
    const auto flaws = m_target->survey(storeLocation(m_settings.documentStore, fileStore));
    if (!flaws.ok())
        return flaws.status();
    for (const StoreFlaw& flaw : flaws.value())
        if (damages.count(flaw.kind) > 0)
            damaged.emplace(fileStore, flaw.name);
    return {};
}

/// Those of the claimed files that are stored and are not what they should be.
Result<std::set<FileKey>> FileRestore::damagedFiles()
{
    std::set<FileKey> damaged;
    std::set<std::string> fileStores;
    for (const ClaimedFile& file : m_claimed)
        fileStores.insert(file.fileStore);
    for (const std::string& fileStore : fileStores) {
        if (auto added = addFlaws(fileStore, damaged); !added.ok())
            return added;
        const auto stored = m_target->list(storeLocation(m_settings.documentStore, fileStore));
        if (!stored.ok())
            return stored.status();
        for (const ClaimedFile& file : m_claimed) {
            if (file.fileStore != fileStore || !file.content)
                continue;
            const auto there = std::lower_bound(
                stored->begin(), stored->end(), file.name,
                [](const StoredFile& one, const std::string& name) { return one.name < name; });
            if (there != stored->end() && there->name == file.name && !holds(*there, *file.content))
                damaged.emplace(fileStore, file.name);
        }
    }
    return damaged;
}

Status FileRestore::addUnreadable(std::set<FileKey>& damaged)
{
    m_meter.enter(MigrationProgress::Phase::Verifying);
    m_meter.expectRows(static_cast<qint64>(m_claimed.size()));
    for (const ClaimedFile& file : m_claimed) {
        if (auto goOn = safePoint(); !goOn.ok())
            return goOn;
        const auto read =
            m_target->verify(storeLocation(m_settings.documentStore, file.fileStore), file.name);
        if (read.code() == ErrorCode::Corrupt || read.code() == ErrorCode::Io)
            damaged.emplace(file.fileStore, file.name);
        else if (!read.ok() && read.code() != ErrorCode::NotFound)
            return read.status();
        m_meter.addRows(1);
    }
    return {};
}

Status FileRestore::makeRoom()
{
    auto damaged = damagedFiles();
    if (!damaged.ok())
        return damaged.status();
    if (m_options.readData)
        if (auto read = addUnreadable(damaged.value()); !read.ok())
            return read;
    for (const ClaimedFile& file : m_claimed)
        if (damaged->count({file.fileStore, file.name}) > 0)
            if (auto made = makeRoomFor(file); !made.ok())
                return made;
    return {};
}

/// What cannot be moved stays, and is told of as other content.
Status FileRestore::makeRoomFor(const ClaimedFile& file)
{
    const auto right =
        m_source->find(storeLocation(m_backup->settings.documentStore, file.fileStore), file.name);
    if (!right.ok() || (file.content && !holds(right.value(), *file.content)))
        return {};
    const auto moved =
        m_target->quarantine(storeLocation(m_settings.documentStore, file.fileStore), file.name);
    if (moved.ok())
        m_report.quarantined << QString::fromStdString(file.name);
    const bool stays = moved.code() == ErrorCode::NotFound || moved.code() == ErrorCode::AlreadyExists;
    return stays ? Status() : moved;
}

Status FileRestore::copy()
{
    if (auto made = makeFolders(m_settings); !made.ok())
        return made;
    const auto passage = TransferFolder::open(m_settings.uploadCache);
    if (!passage.ok())
        return passage.status();
    auto files = ClaimedFileMigration::open(m_backup->settings.documentStore, m_settings.documentStore,
                                            m_meter, TargetQuarantine::PassedOver);
    if (!files.ok())
        return files.status();
    ClaimedFileMigration& migration = *files.value();
    if (auto looked = migration.look(m_claimed); !looked.ok())
        return looked;
    m_meter.enter(MigrationProgress::Phase::Files);
    if (auto copied = migration.copy(passage.value()); !copied.ok())
        return copied;
    m_report.files = migration.all();
    m_report.copied = migration.copied();
    for (const FileLoss& loss : migration.losses())
        if (!loss.kept) // it was imported after the backup, or the backup's own is damaged
            m_report.losses.push_back(loss);
    return migration.verify();
}

Status FileRestore::record()
{
    SiteEvent event;
    event.kind = eventKind::broughtBack;
    event.userId = m_settings.userId;
    event.userName = m_settings.userName;
    event.subject = m_backup->folder.path();
    event.outcome =
        m_report.losses.empty() ? QStringLiteral("complete") : QStringLiteral("files are missing");
    event.detail = {{QStringLiteral("moment"), m_report.moment},
                    {QStringLiteral("copied"), m_report.copied.files},
                    {QStringLiteral("quarantined"), m_report.quarantined.size()},
                    {QStringLiteral("lost"), static_cast<qint64>(m_report.losses.size())}};
    return addEvent(*m_rows, event);
}

} // namespace

Result<FileRestoreReport> restoreFiles(Site& site, const QString& folder, const FileRestoreOptions& options,
                                       const MigrationObserver& observer)
{
    return guarded("bring stored files back", [&]() -> Result<FileRestoreReport> {
        return FileRestore(site, folder, options, observer).run();
    });
}

} // namespace KOZAV::Backend
