// A place is looked at as a whole before anything is put into it, and nothing in it is ever overwritten. Then
// the configuration is made or completed, the store gets the mark of the site, and the database an identity
// that says that it is being restored: all programs refuse such a site. Files and rows follow. The last step,
// one transaction, raises the counters, notes the restore and gives the database the identity of the site. So
// a database with that identity was restored to the end, and one with the other was not: the next run goes on
// with it, since rows and files that are there are only compared.
//
// The counters are raised because numbers that were given after the backup's moment are not in its rows, but
// may stand on papers and in the names of files.

#include "backend/migrate/SiteRestore.h"

#include "backend/Guarded.h"
#include "backend/Site.h"
#include "backend/config/SitePlaces.h"
#include "backend/database/Database.h"
#include "backend/io/FilePath.h"
#include "backend/io/PrivateFile.h"
#include "backend/migrate/BackupFolder.h"
#include "backend/records/SiteEvents.h"
#include "backend/records/SiteIdentity.h"
#include "backend/records/SiteRecords.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <memory>
#include <optional>

namespace KOZAV::Backend {

namespace {

using Phase = MigrationProgress::Phase;

/// What the database holds in the place of the identity until the site is whole.
QString unfinished(const QString& identity)
{
    return identity + QStringLiteral(" (restore not finished)");
}

Status notEmpty(const QString& what, const QString& reason)
{
    return Status::alreadyExists(
        QStringLiteral("%1 %2: a backup is restored into an empty place only, and nothing is overwritten")
            .arg(what, reason));
}

class SiteRestore final
{
public:
    SiteRestore(const RestoreRequest& request, const MigrationObserver& observer)
        : m_request(request)
        , m_meter(observer)
    {
    }

    Result<RestoreReport> run()
    {
        if (const auto looked = look(); !looked.ok()) {
            if (m_madeConfiguration)
                QFile::remove(m_request.site.configuration);
            return looked;
        }
        for (const auto step :
             {&SiteRestore::begin, &SiteRestore::copy, &SiteRestore::verify, &SiteRestore::finish})
            if (const auto done = (this->*step)(); !done.ok())
                return done;
        return report();
    }

private:
    /// Finds whatever is in the way.
    Status look()
    {
        for (const auto step :
             {&SiteRestore::openSource, &SiteRestore::makeConfiguration, &SiteRestore::openStore,
              &SiteRestore::openDatabase, &SiteRestore::lookForFiles})
            if (auto done = (this->*step)(); !done.ok())
                return done;
        return {};
    }

    Status openSource();
    Status makeConfiguration();
    [[nodiscard]] Status checkConfiguration() const;
    Status openStore();
    Status openDatabase();
    Status lookForFiles();
    Status begin();
    Status copy();
    Status verify();
    Status finish();
    Status addRestoreEvent();
    [[nodiscard]] RestoreReport report() const;

    const RestoreRequest& m_request;
    ProgressMeter m_meter;
    std::optional<OpenedBackup> m_backup;
    bool m_madeConfiguration = false;
    Settings m_targetSettings;
    Database* m_source = nullptr;
    std::unique_ptr<DocumentStore> m_store;
    std::unique_ptr<Database> m_target;
    std::optional<RowMigration> m_rows;
    std::unique_ptr<ClaimedFileMigration> m_files;
};

Status SiteRestore::openSource()
{
    m_meter.enter(Phase::Checking);
    auto backup = openBackup(m_request.folder);
    if (!backup.ok())
        return backup.status();
    m_backup.emplace(std::move(backup.value()));
    const auto source = m_backup->site->database();
    if (!source.ok())
        return source.status().in(QStringLiteral("backup"));
    m_source = source.value();
    return m_backup->site->documentStore().status();
}

Status SiteRestore::makeConfiguration()
{
    SitePlan plan = m_request.site;
    const bool isThere = QFileInfo::exists(plan.configuration);
    if (!isThere && plan.dataRoot.isEmpty() && plan.values.empty())
        return Status::configuration(
            QStringLiteral(
                "there is no configuration file \"%1\"; --data-root DIR makes one, with the data of "
                "the site under DIR")
                .arg(plan.configuration));
    if (!isThere) {
        const DocumentStoreSettings& names = m_backup->settings.documentStore;
        plan.values.emplace_back(QStringLiteral("document_store/database"), names.database);
        plan.values.emplace_back(QStringLiteral("document_store/file_store"), names.fileStore);
        plan.values.emplace_back(QStringLiteral("site/id"), m_backup->folder.identity());
    }
    const auto made = provideConfiguration(plan);
    if (!made.ok())
        return made.status();
    m_madeConfiguration = made.value();
    const auto settings = loadSettings(plan.configuration);
    if (!settings.ok())
        return settings.status();
    m_targetSettings = settings.value();
    return checkConfiguration();
}

Status SiteRestore::checkConfiguration() const
{
    const QString file = QStringLiteral("configuration file \"%1\"").arg(m_request.site.configuration);
    if (!m_targetSettings.siteId.isEmpty() && m_targetSettings.siteId != m_backup->folder.identity())
        return notEmpty(file, QStringLiteral("is that of another site (%1), the backup is of %2")
                                  .arg(m_targetSettings.siteId, m_backup->folder.identity()));
    if (m_targetSettings.documentStore.fileStore != m_backup->settings.documentStore.fileStore)
        return Status::configuration(
            QStringLiteral(
                "%1: document_store/file_store is \"%2\", in the backup \"%3\": the rows say where "
                "their files lie, so both need the same")
                .arg(file, m_targetSettings.documentStore.fileStore,
                     m_backup->settings.documentStore.fileStore));
    return {};
}

/// The store is empty, or the site's own.
Status SiteRestore::openStore()
{
    const DocumentStoreSettings& settings = m_targetSettings.documentStore;
    if (settings.kind == QLatin1String("local"))
        if (const auto root = makePrivateFolder(settings.root); !root.ok())
            return root.status();
    auto opened = openDocumentStore(settings);
    if (!opened.ok())
        return opened.status();
    m_store = std::move(opened.value());
    const StoreLocation location = storeLocation(settings);
    const auto mark = m_store->siteMark(location);
    if (!mark.ok())
        return mark.status();
    const QString place = QStringLiteral("the document store %1").arg(placeOf(settings));
    if (mark.value() == m_backup->folder.identity())
        return {};
    if (!mark->isEmpty())
        return notEmpty(place, QStringLiteral("is that of another site (%1)").arg(mark.value()));
    const auto files = m_store->list(location);
    if (files.ok() && !files->empty())
        return notEmpty(place, QStringLiteral("holds %1 files and no mark of the site").arg(files->size()));
    return files.status();
}

/// The database is missing, empty, or what an interrupted run has begun.
Status SiteRestore::openDatabase()
{
    auto opened = Database::open(m_targetSettings.database);
    if (opened.code() == ErrorCode::Configuration)
        return {}; // it is made later
    if (!opened.ok())
        return opened.status();
    m_target = std::move(opened.value());
    const auto identity = siteIdentity(*m_target);
    if (!identity.ok())
        return identity.status();
    if (identity.value() == unfinished(m_backup->folder.identity()))
        return {};
    const QString place = QStringLiteral("the database %1").arg(m_target->place());
    if (!identity->isEmpty())
        return notEmpty(place, QStringLiteral("is that of the site %1").arg(identity.value()));
    const auto rows = countRows(*m_target);
    if (rows.ok() && rows.value() > 0)
        return notEmpty(place, QStringLiteral("holds %1 rows").arg(rows.value()));
    return rows.status();
}

Status SiteRestore::lookForFiles()
{
    auto claimed = listClaimedFiles(*m_source);
    if (!claimed.ok())
        return claimed.status();
    auto files =
        ClaimedFileMigration::open(m_backup->settings.documentStore, m_targetSettings.documentStore, m_meter);
    if (!files.ok())
        return files.status();
    m_files = std::move(files.value());
    if (auto looked = m_files->look(std::move(claimed.value())); !looked.ok())
        return looked;
    const auto& losses = m_files->losses();
    const auto conflict = std::find_if(losses.begin(), losses.end(), [](const FileLoss& loss) {
        return loss.kind == FileLoss::Kind::Conflict;
    });
    if (conflict == losses.end())
        return {};
    return notEmpty(QStringLiteral("the document store %1").arg(placeOf(m_targetSettings.documentStore)),
                    QStringLiteral("holds another content than the backup under the name \"%1\"")
                        .arg(displayPath(conflict->file.name)));
}

/// The configuration says whose site it is before there is a database: one without an identity beside it
/// would be taken for a new site.
Status SiteRestore::begin()
{
    const QString& identity = m_backup->folder.identity();
    if (m_targetSettings.siteId.isEmpty())
        if (auto written = writeSiteId(m_request.site.configuration, identity); !written.ok())
            return written;
    if (!m_target) {
        auto made = Database::create(m_targetSettings.database);
        if (!made.ok())
            return made.status();
        m_target = std::move(made.value());
    }
    if (auto noted = setSiteIdentity(*m_target, unfinished(identity)); !noted.ok())
        return noted;
    if (auto made = makeFolders(m_targetSettings); !made.ok())
        return made;
    if (auto marked = m_store->setSiteMark(storeLocation(m_targetSettings.documentStore), identity);
        !marked.ok())
        return marked;
    m_rows.emplace(*m_source, *m_target, OutdatedRows::Refuse, m_meter);
    return m_rows->check();
}

Status SiteRestore::copy()
{
    const auto passage = TransferFolder::open(m_targetSettings.uploadCache);
    if (!passage.ok())
        return passage.status();
    m_meter.enter(Phase::Files);
    if (auto copied = m_files->copy(passage.value()); !copied.ok())
        return copied;
    if (auto settled = m_files->settle(); !settled.ok())
        return settled;
    m_meter.enter(Phase::Rows);
    return m_rows->copy();
}

Status SiteRestore::verify()
{
    m_meter.enter(Phase::Verifying);
    auto rows = m_rows->verify();
    return rows.ok() ? m_files->verify() : rows;
}

Status SiteRestore::finish()
{
    return m_target->transaction([this] {
        if (auto raised = raiseJobCounts(*m_target, m_request.raiseCounters); !raised.ok())
            return raised;
        if (auto noted = addRestoreEvent(); !noted.ok())
            return noted;
        return replaceSiteIdentity(*m_target, unfinished(m_backup->folder.identity()),
                                   m_backup->folder.identity());
    });
}

Status SiteRestore::addRestoreEvent()
{
    SiteEvent event;
    event.kind = eventKind::broughtBack;
    event.userId = m_targetSettings.userId;
    event.userName = m_targetSettings.userName;
    event.subject = m_backup->folder.path();
    event.outcome =
        m_files->losses().empty() ? QStringLiteral("complete") : QStringLiteral("files are missing");
    event.detail = {{QStringLiteral("moment"), m_backup->settings.backupMoment},
                    {QStringLiteral("raised_counters"), m_request.raiseCounters},
                    {QStringLiteral("files"), m_files->all().files},
                    {QStringLiteral("lost"), static_cast<qint64>(m_files->losses().size())}};
    return addEvent(*m_target, event);
}

RestoreReport SiteRestore::report() const
{
    RestoreReport report;
    report.identity = m_backup->folder.identity();
    report.moment = m_backup->settings.backupMoment;
    report.rows = m_target->place();
    report.documents = placeOf(m_targetSettings.documentStore);
    report.files = m_files->all();
    report.copied = m_files->copied();
    report.losses = m_files->losses();
    report.tables = m_rows->tables();
    return report;
}

} // namespace

Result<RestoreReport> restoreSite(const RestoreRequest& request, const MigrationObserver& observer)
{
    return guarded("restore the site",
                   [&]() -> Result<RestoreReport> { return SiteRestore(request, observer).run(); });
}

} // namespace KOZAV::Backend
