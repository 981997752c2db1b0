#include "backend/SiteCreation.h"

#include "backend/Guarded.h"
#include "backend/SiteComparison.h"
#include "backend/SiteTrial.h"
#include "backend/config/Redaction.h"
#include "backend/config/Settings.h"
#include "backend/config/SitePlaces.h"
#include "backend/database/Database.h"
#include "backend/io/FilePath.h"
#include "backend/io/PrivateFile.h"
#include "backend/records/SiteIdentity.h"
#include "backend/store/DocumentStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <memory>
#include <utility>

// Everything is looked at before anything is made: what may fail for want of a server fails then, and a part
// that is missing beside one with content is found to be lost instead of being made anew. The configuration
// comes last. Without it no program opens what was made, and the next run takes it.

namespace KOZAV::Backend {

namespace {

std::string nativePath(const QString& path)
{
    return QFile::encodeName(path).toStdString();
}

/// A configuration file in the making. It lies beside its place under another name, and gets its own only
/// when all that it names has been found to work; without that it is removed.
class NewConfiguration final
{
public:
    static Result<std::unique_ptr<NewConfiguration>> create(const SitePlan& plan);

    ~NewConfiguration();
    Q_DISABLE_COPY(NewConfiguration)

    /// Where it lies now.
    [[nodiscard]] const QString& path() const { return m_path; }

    /// Gives it its name. AlreadyExists where somebody else has made such a file meanwhile.
    Status keep();

    /// A failure that names the file as it will be called.
    [[nodiscard]] Status named(const Status& status) const;

private:
    explicit NewConfiguration(QString target);

    QString m_target;
    QString m_path;
    bool m_kept = false;
};

NewConfiguration::NewConfiguration(QString target)
    : m_target(std::move(target))
    , m_path(m_target + QStringLiteral(".new-") + QUuid::createUuid().toString(QUuid::Id128).left(8))
{
}

NewConfiguration::~NewConfiguration()
{
    if (!m_kept)
        QFile::remove(m_path);
}

Result<std::unique_ptr<NewConfiguration>> NewConfiguration::create(const SitePlan& plan)
{
    std::unique_ptr<NewConfiguration> file(new NewConfiguration(plan.configuration));
    if (const auto made = createDefaultSettings(file->path(), plan.dataRoot); !made.ok())
        return file->named(made);
    for (const auto& [key, value] : plan.values)
        if (const auto written = writeSetting(file->path(), key, value); !written.ok())
            return file->named(written);
    return file;
}

Status NewConfiguration::keep()
{
    m_kept = true;
    return named(publishFile(nativePath(m_path), nativePath(m_target), ExistingTarget::Keep));
}

Status NewConfiguration::named(const Status& status) const
{
    QString message = status.message();
    return status.retold(message.replace(m_path, m_target));
}

/// Makes the parts that the settings name, and joins them to one site.
class PartsMaker final
{
public:
    PartsMaker(Settings settings, bool toBeFilled)
        : m_settings(std::move(settings))
        , m_toBeFilled(toBeFilled)
    {
    }

    /// @return the identity that they have
    Result<QString> run();
    /// What was there and what was made.
    [[nodiscard]] const std::vector<CreatedSite::Part>& parts() const { return m_parts; }

private:
    Status look();
    Status refuseLoss();
    Status makeDatabase();
    Status makeStore();
    Status tryParts();
    [[nodiscard]] bool isLocalStore() const
    {
        return m_settings.documentStore.kind == QLatin1String("local");
    }

    Settings m_settings;
    bool m_toBeFilled;
    std::vector<CreatedSite::Part> m_parts;
    std::unique_ptr<Database> m_database;   ///< null: not there yet
    std::unique_ptr<DocumentStore> m_store; ///< the same
};

/// Opens what is there. A server that cannot be asked is a failure; one without our database is not.
Status PartsMaker::look()
{
    auto database = Database::open(m_settings.database);
    if (!database.ok() && database.code() != ErrorCode::Configuration)
        return database.status();
    if (database.ok())
        m_database = std::move(database.value());
    if (isLocalStore() && !QFileInfo::exists(m_settings.documentStore.root))
        return {};
    auto store = openDocumentStore(m_settings.documentStore);
    if (!store.ok())
        return store.status();
    m_store = std::move(store.value());
    return m_store->health().status();
}

/// Where one part is not there, the other one must not have content.
Status PartsMaker::refuseLoss()
{
    if (m_database && !m_store) {
        const auto rows = hasOrigFiles(*m_database);
        if (!rows.ok() || !rows.value())
            return rows.status();
        return storeLost(m_settings.documentStore);
    }
    if (m_store && !m_database) {
        const auto files = m_store->list(storeLocation(m_settings.documentStore));
        if (!files.ok() || files->empty())
            return files.status();
        return databaseLost(m_settings);
    }
    return {};
}

Status PartsMaker::makeDatabase()
{
    const DatabaseSettings& settings = m_settings.database;
    const bool isFile = settings.driver == QLatin1String("QSQLITE");
    Result<bool> made = isFile && !m_database;
    if (!isFile)
        made = Database::createOnServer(settings);
    if (!made.ok())
        return made.status();
    m_parts.push_back({QStringLiteral("database"), placeOf(settings), made.value()});
    if (m_database)
        return {};
    auto database = Database::create(settings);
    if (database.ok())
        m_database = std::move(database.value());
    return database.status();
}

Status PartsMaker::makeStore()
{
    const DocumentStoreSettings& settings = m_settings.documentStore;
    m_parts.push_back({QStringLiteral("document store"), placeOf(settings), !m_store});
    if (m_store)
        return {};
    if (const auto root = makePrivateFolder(settings.root); !root.ok())
        return root.status();
    auto store = openDocumentStore(settings);
    if (store.ok())
        m_store = std::move(store.value());
    return store.status();
}

Result<QString> PartsMaker::run()
{
    if (auto looked = look(); !looked.ok())
        return looked;
    if (!m_toBeFilled)
        if (auto lost = refuseLoss(); !lost.ok())
            return lost;
    const CreatedSite::Part caches[] = {
        {QStringLiteral("upload cache"), m_settings.uploadCache, !QFileInfo::exists(m_settings.uploadCache)},
        {QStringLiteral("download cache"), m_settings.downloadCache,
         !QFileInfo::exists(m_settings.downloadCache)}};
    if (auto made = makeDatabase(); !made.ok())
        return made;
    if (auto made = makeStore(); !made.ok())
        return made;
    if (auto made = makeFolders(m_settings); !made.ok())
        return made;
    m_parts.insert(m_parts.end(), std::begin(caches), std::end(caches));
    auto identity =
        settleIdentity({m_settings, *m_database, *m_store}, m_toBeFilled ? Asker::Filling : Asker::Creation);
    if (!identity.ok())
        return identity;
    const auto tried = tryParts();
    return tried.ok() ? identity : tried;
}

/// What answers may still not keep a file, or not let this account do it. (The database has been written to.)
Status PartsMaker::tryParts()
{
    const auto rows = hasOrigFiles(*m_database);
    if (!rows.ok())
        return rows.status();
    const StoreLocation location = storeLocation(m_settings.documentStore);
    return rows.value() ? tryStore(*m_store, location) : tryNewStore(*m_store, location);
}

bool liesUnder(const Settings& settings, const QString& dataRoot)
{
    const QString root = QDir::cleanPath(QFileInfo(dataRoot).absoluteFilePath()) + QLatin1Char('/');
    return settings.database.file.startsWith(root) && settings.documentStore.root.startsWith(root);
}

/// A configuration that is there stays, so it must already say what is asked for.
Status checkPresent(const Settings& settings, const SitePlan& plan)
{
    if (!settings.backupMoment.isEmpty())
        return Status::configuration(
            QStringLiteral("configuration file \"%1\" is that of a backup, in which nothing is changed")
                .arg(plan.configuration));
    if (!plan.dataRoot.isEmpty() && !liesUnder(settings, plan.dataRoot))
        return Status::alreadyExists(
            QStringLiteral("configuration file \"%1\" is there already and puts the data elsewhere")
                .arg(plan.configuration));
    for (const auto& [key, value] : plan.values) {
        const auto present = readSetting(plan.configuration, key);
        if (!present.ok())
            return present.status();
        if (present.value() != value)
            return Status::alreadyExists(
                QStringLiteral("configuration file \"%1\" is there already, with %2 = \"%3\"")
                    .arg(plan.configuration, key, withoutPassword(present.value())));
    }
    return {};
}

CreatedSite siteOf(const SitePlan& plan, bool configurationMade, const QString& identity,
                   const std::vector<CreatedSite::Part>& parts)
{
    CreatedSite site;
    site.identity = identity;
    site.parts = {{QStringLiteral("configuration"), plan.configuration, configurationMade}};
    site.parts.insert(site.parts.end(), parts.cbegin(), parts.cend());
    return site;
}

Result<CreatedSite> completeSite(const SitePlan& plan)
{
    const auto settings = loadSettings(plan.configuration);
    if (!settings.ok())
        return settings.status();
    if (auto fits = checkPresent(settings.value(), plan); !fits.ok())
        return fits;
    PartsMaker maker(settings.value(), plan.toBeFilled);
    const auto identity = maker.run();
    if (!identity.ok())
        return identity.status();
    if (settings->siteId.isEmpty())
        if (auto written = writeSiteId(plan.configuration, identity.value()); !written.ok())
            return written.in(
                QStringLiteral("the identity of the site, %1, is not written to its configuration")
                    .arg(identity.value()));
    return siteOf(plan, false, identity.value(), maker.parts());
}

Result<CreatedSite> makeSite(const SitePlan& plan)
{
    const auto configuration = NewConfiguration::create(plan);
    if (!configuration.ok())
        return configuration.status();
    NewConfiguration& file = *configuration.value();
    const auto settings = loadSettings(file.path());
    if (!settings.ok())
        return file.named(settings.status());
    PartsMaker maker(settings.value(), plan.toBeFilled);
    const auto identity = maker.run();
    if (!identity.ok())
        return file.named(identity.status());
    if (const auto written = writeSiteId(file.path(), identity.value()); !written.ok())
        return file.named(written);
    if (auto kept = file.keep(); !kept.ok())
        return kept;
    return siteOf(plan, true, identity.value(), maker.parts());
}

} // namespace

Result<bool> provideConfiguration(const SitePlan& plan)
{
    if (QFileInfo::exists(plan.configuration)) {
        const auto settings = loadSettings(plan.configuration);
        if (!settings.ok())
            return settings.status();
        auto fits = checkPresent(settings.value(), plan);
        return fits.ok() ? Result(false) : fits;
    }
    const auto configuration = NewConfiguration::create(plan);
    if (!configuration.ok())
        return configuration.status();
    auto kept = configuration.value()->keep();
    return kept.ok() ? Result(true) : kept;
}

Result<CreatedSite> createSite(const SitePlan& plan)
{
    return guarded("make the site", [&] {
        return QFileInfo::exists(plan.configuration) ? completeSite(plan) : makeSite(plan);
    });
}

} // namespace KOZAV::Backend
