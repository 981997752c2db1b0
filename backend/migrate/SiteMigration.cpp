#include "backend/migrate/SiteMigration.h"

#include "backend/Guarded.h"
#include "backend/Site.h"
#include "backend/config/SitePlaces.h"
#include "backend/database/Database.h"
#include "backend/records/FileContent.h"

#include <memory>
#include <optional>

// The order is what keeps the target whole. Files go before rows, since a row must never point at nothing.
// The source may be in use meanwhile, so the files are copied twice: at first all of them, which takes long,
// and then, in the snapshot in which the rows are read, those that have come since. A row is written after
// its file, so every file that a row of the snapshot names is in the source's store by then.

namespace KOZAV::Backend {

namespace {

using Phase = MigrationProgress::Phase;

Status checkPair(const Settings& source, const Settings& target)
{
    if (isSamePlace(source.database, target.database) &&
        isSamePlace(source.documentStore, target.documentStore))
        return Status::configuration(
            QStringLiteral("source and target are the same site: nothing is copied"));
    if (!target.backupMoment.isEmpty())
        return Status::configuration(QStringLiteral("the target is a backup, in which nothing is changed"));
    // Rows name the file store that their files lie in.
    if (source.documentStore.fileStore != target.documentStore.fileStore)
        return Status::configuration(
            QStringLiteral("document_store/file_store is \"%1\" in the source and \"%2\" in the "
                           "target: the rows say where their files lie, so both need the same")
                .arg(source.documentStore.fileStore, target.documentStore.fileStore));
    return {};
}

/// The database of a site whose parts belong together. The files go by stores of their own (FileMigration).
Result<Database*> openParts(Site& site, const QString& name)
{
    const auto database = site.database();
    if (!database.ok())
        return database.status().in(name);
    const auto store = site.documentStore();
    return store.ok() ? database : store.status().in(name);
}

class SiteMigration final
{
public:
    SiteMigration(Site& source, Site& target, const MigrationOptions& options,
                  const MigrationObserver& observer)
        : m_sourceSite(source)
        , m_targetSite(target)
        , m_options(options)
        , m_meter(observer)
    {
    }

    Result<MigrationReport> run()
    {
        for (const auto step :
             {&SiteMigration::open, &SiteMigration::check, &SiteMigration::copy, &SiteMigration::verify}) {
            if (m_options.dryRun && step == &SiteMigration::copy)
                break;
            if (const auto done = (this->*step)(); !done.ok())
                return done;
        }
        return report();
    }

private:
    Status loadSettings();
    Status open();
    Status check();
    Status copy();
    Status copyMoment(const TransferFolder& folder);
    Status expectContents();
    Status verify();
    [[nodiscard]] Result<QStringList> fileStores();
    [[nodiscard]] MigrationReport report() const;

    Site& m_sourceSite;
    Site& m_targetSite;
    Settings m_sourceSettings; ///< as they were when it began
    Settings m_targetSettings;
    MigrationOptions m_options;
    ProgressMeter m_meter;
    Database* m_source = nullptr;
    Database* m_target = nullptr;
    std::unique_ptr<FileMigration> m_files;
    std::optional<RowMigration> m_rows;
};

Status SiteMigration::loadSettings()
{
    const auto source = m_sourceSite.settings();
    if (!source.ok())
        return source.status();
    const auto target = m_targetSite.settings();
    if (!target.ok())
        return target.status();
    m_sourceSettings = source.value();
    m_targetSettings = target.value();
    return {};
}

Status SiteMigration::open()
{
    m_meter.enter(Phase::Checking);
    if (auto loaded = loadSettings(); !loaded.ok())
        return loaded;
    if (auto fits = checkPair(m_sourceSettings, m_targetSettings); !fits.ok())
        return fits;
    const auto source = openParts(m_sourceSite, QStringLiteral("source"));
    if (!source.ok())
        return source.status();
    const auto target = openParts(m_targetSite, QStringLiteral("target"));
    if (!target.ok())
        return target.status();
    m_source = source.value();
    m_target = target.value();
    m_rows.emplace(*m_source, *m_target, m_options.outdatedRows, m_meter);
    auto files = FileMigration::open(m_sourceSettings.documentStore, m_targetSettings.documentStore, m_meter);
    if (files.ok())
        m_files = std::move(files.value());
    return files.status();
}

/// The configured one, and those that rows name.
Result<QStringList> SiteMigration::fileStores()
{
    auto names = fileStoresInRows(*m_source);
    if (!names.ok())
        return names;
    names->append(m_sourceSettings.documentStore.fileStore);
    names->removeDuplicates();
    return names;
}

/// What the rows say by now of the content of files.
Status SiteMigration::expectContents()
{
    const auto claims = listFileClaims(*m_source);
    if (claims.ok())
        m_files->expect(claims.value());
    return claims.status();
}

Status SiteMigration::check()
{
    const auto stores = fileStores();
    if (!stores.ok())
        return stores.status();
    if (auto rows = m_source->snapshot([this] { return m_rows->check(); }); !rows.ok())
        return rows;
    if (auto known = expectContents(); !known.ok())
        return known;
    return m_files->check(stores.value());
}

Status SiteMigration::copy()
{
    const auto folder = TransferFolder::open(m_targetSettings.uploadCache);
    if (!folder.ok())
        return folder.status();
    const auto stores = fileStores();
    if (!stores.ok())
        return stores.status();
    m_meter.enter(Phase::Files);
    if (auto copied = m_files->copy(stores.value(), folder.value()); !copied.ok())
        return copied;
    return m_source->snapshot([&] { return copyMoment(folder.value()); });
}

/// The rows of one moment. Files that came since the others were copied go first: a row is written after the
/// file that it points at, so every file of these rows is in the store by now.
Status SiteMigration::copyMoment(const TransferFolder& folder)
{
    const auto stores = fileStores();
    if (!stores.ok())
        return stores.status();
    if (auto known = expectContents(); !known.ok())
        return known;
    if (auto copied = m_files->copy(stores.value(), folder); !copied.ok())
        return copied;
    m_meter.enter(Phase::Rows);
    return m_rows->copy();
}

Status SiteMigration::verify()
{
    m_meter.enter(Phase::Verifying);
    const auto stores = fileStores();
    if (!stores.ok())
        return stores.status();
    if (auto rows = m_rows->verify(); !rows.ok())
        return rows;
    return m_files->verify(stores.value());
}

MigrationReport SiteMigration::report() const
{
    MigrationReport report;
    report.sourceRows = m_source->place();
    report.targetRows = m_target->place();
    report.files = m_files->all();
    report.copiedFiles = m_options.dryRun ? m_files->missing() : m_files->copied();
    report.otherFiles = m_files->others();
    report.tables = m_rows->tables();
    return report;
}

} // namespace

Result<MigrationReport> migrateSite(Site& source, Site& target, const MigrationOptions& options,
                                    const MigrationObserver& observer)
{
    return guarded("migrate the site", [&]() -> Result<MigrationReport> {
        return SiteMigration(source, target, options, observer).run();
    });
}

} // namespace KOZAV::Backend
