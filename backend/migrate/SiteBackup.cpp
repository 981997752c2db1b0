// Rows first, files after: an import stores its file before its rows, and a file leaves the store only by way
// of the quarantine. So every file that a row of the moment names is there when the files are copied, however
// long that takes and whatever is imported meanwhile, and the site's database is not held longer than it
// takes to read the rows. The new backup becomes the last complete one only when rows and files are on the
// disk and have been compared with what was written (BackupFolder).

#include "backend/migrate/SiteBackup.h"

#include "backend/Guarded.h"
#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/io/PrivateFile.h"
#include "backend/migrate/BackupFolder.h"
#include "backend/records/SiteEvents.h"
#include "backend/records/SiteIdentity.h"

#include <memory>
#include <optional>

namespace KOZAV::Backend {

namespace {

using Phase = MigrationProgress::Phase;

class SiteBackup final
{
public:
    SiteBackup(Site& site, const QString& folder, const MigrationObserver& observer)
        : m_site(site)
        , m_path(folder)
        , m_meter(observer)
    {
    }

    Result<BackupReport> run()
    {
        for (const auto step : {&SiteBackup::open, &SiteBackup::begin, &SiteBackup::copyRows,
                                &SiteBackup::copyFiles, &SiteBackup::complete, &SiteBackup::record})
            if (const auto done = (this->*step)(); !done.ok())
                return done;
        return m_report;
    }

private:
    Status open();
    Status begin();
    Status copyRows();
    Status copyFiles();
    Status complete();
    Status record();

    Site& m_site;
    QString m_path;
    ProgressMeter m_meter;
    Settings m_siteSettings; ///< as they were when it began
    Settings m_settings;     ///< of the backup
    Database* m_source = nullptr;
    std::unique_ptr<Database> m_rows;
    std::optional<BackupFolder> m_folder;
    std::unique_ptr<ClaimedFileMigration> m_files;
    BackupReport m_report;
};

Status SiteBackup::open()
{
    m_meter.enter(Phase::Checking);
    const auto settings = m_site.settings();
    if (!settings.ok())
        return settings.status();
    m_siteSettings = settings.value();
    if (!m_siteSettings.backupMoment.isEmpty())
        return Status::configuration(
            QStringLiteral(
                "the configuration \"%1\" is that of a backup: it is backed up by copying its folder")
                .arg(m_site.configurationPath()));
    // Both parts have been compared with the configuration once they are open.
    const auto source = m_site.database();
    if (!source.ok())
        return source.status();
    m_source = source.value();
    if (const auto store = m_site.documentStore(); !store.ok())
        return store.status();
    auto identity = siteIdentity(*m_source);
    if (!identity.ok())
        return identity.status();
    auto folder = BackupFolder::openFor(m_path, identity.value());
    if (!folder.ok())
        return folder.status();
    m_folder.emplace(std::move(folder.value()));
    m_report.folder = m_folder->path();
    m_report.identity = identity.value();
    return {};
}

/// Makes a site in the folder that has no rows yet, beside the files that earlier backups have brought.
Status SiteBackup::begin()
{
    m_report.moment = rowTime();
    auto settings = m_folder->begin(m_siteSettings, m_report.moment);
    if (!settings.ok())
        return settings.status();
    m_settings = settings.value();
    m_settings.database.readOnly = false; // until it is complete
    if (auto made = makeFolders(m_settings); !made.ok())
        return made;
    if (const auto root = makePrivateFolder(m_settings.documentStore.root); !root.ok())
        return root.status();
    const auto store = openDocumentStore(m_settings.documentStore);
    if (!store.ok())
        return store.status();
    if (auto marked = store.value()->setSiteMark(storeLocation(m_settings.documentStore), m_report.identity);
        !marked.ok())
        return marked;
    auto rows = Database::create(m_settings.database);
    if (!rows.ok())
        return rows.status();
    m_rows = std::move(rows.value());
    auto files = ClaimedFileMigration::open(m_siteSettings.documentStore, m_settings.documentStore, m_meter);
    if (files.ok())
        m_files = std::move(files.value());
    return files.status();
}

Status SiteBackup::copyRows()
{
    RowMigration rows(*m_source, *m_rows, OutdatedRows::Refuse, m_meter);
    auto copied = m_source->snapshot([&] {
        const auto count = countRows(*m_source);
        if (!count.ok())
            return count.status();
        m_meter.expectRows(count.value());
        m_meter.enter(Phase::Rows);
        return rows.copy();
    });
    if (!copied.ok())
        return copied;
    m_meter.enter(Phase::Verifying);
    if (auto verified = rows.verifyTarget(); !verified.ok())
        return verified;
    m_report.tables = rows.tables();
    return setSiteIdentity(*m_rows, m_report.identity);
}

Status SiteBackup::copyFiles()
{
    auto claimed = listClaimedFiles(*m_rows);
    if (!claimed.ok())
        return claimed.status();
    const auto passage = TransferFolder::open(m_settings.uploadCache);
    if (!passage.ok())
        return passage.status();
    if (auto looked = m_files->look(std::move(claimed.value())); !looked.ok())
        return looked;
    m_meter.enter(Phase::Files);
    if (auto copied = m_files->copy(passage.value()); !copied.ok())
        return copied;
    return m_files->verify();
}

/// The places of the files follow the rows that are then in force: until that is done a run that is
/// interrupted leaves files in the store that should be in quarantine, and the next one settles them.
Status SiteBackup::complete()
{
    m_rows.reset(); // writes its log into the file and removes it
    if (auto completed = m_folder->complete(); !completed.ok())
        return completed;
    m_report.files = m_files->all();
    m_report.copied = m_files->copied();
    m_report.losses = m_files->losses();
    return m_files->settle();
}

Status SiteBackup::record()
{
    SiteEvent event;
    event.kind = eventKind::backedUp;
    event.userId = m_siteSettings.userId;
    event.userName = m_siteSettings.userName;
    event.subject = m_report.folder;
    event.outcome =
        m_report.losses.empty() ? QStringLiteral("complete") : QStringLiteral("files are missing");
    event.detail = {{QStringLiteral("moment"), m_report.moment},
                    {QStringLiteral("files"), m_report.files.files},
                    {QStringLiteral("bytes"), m_report.files.bytes},
                    {QStringLiteral("copied"), m_report.copied.files},
                    {QStringLiteral("copied_bytes"), m_report.copied.bytes},
                    {QStringLiteral("lost"), static_cast<qint64>(m_report.losses.size())}};
    return addEvent(*m_source, event)
        .in(QStringLiteral("the backup is complete, but the site cannot note that it was made"));
}

} // namespace

Result<BackupReport> backupSite(Site& site, const QString& folder, const MigrationObserver& observer)
{
    return guarded("back the site up",
                   [&]() -> Result<BackupReport> { return SiteBackup(site, folder, observer).run(); });
}

} // namespace KOZAV::Backend
