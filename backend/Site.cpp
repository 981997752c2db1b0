#include "backend/Site.h"

#include "backend/Operation.h"
#include "backend/ServerPause.h"
#include "backend/SiteWatch.h"
#include "backend/database/Database.h"
#include "backend/io/FileInfo.h"
#include "backend/store/DocumentStore.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QStringList>
#include <QThreadStorage>

#include <atomic>
#include <mutex>
#include <optional>

// The service operations are called many times a second and have no object of their own, so every one of them
// asks the site again: for the settings, which costs one look at the file while it is as it was last seen;
// for the database, which is the calling thread's own, since a connection may be used by the thread alone
// that opened it; for the store, which all threads share. A thread's part goes with the thread. Another
// configuration file begins a new epoch: whatever a thread holds of the one before is closed by that thread,
// when it asks next. Settings that differ in a section close what was opened by that section, and nothing
// else.

namespace KOZAV::Backend {

namespace {

/// What one thread holds of the site. It keeps the store that it was last given alive while others open a new
/// one.
struct ThreadPart
{
    std::unique_ptr<Database> database;
    DatabaseSettings databaseSettings;
    ServerPause databasePause; ///< after an attempt to open with these settings
    std::shared_ptr<DocumentStore> store;
    quint64 epoch = 0;
};

/// What has to be made on this machine before the settings can be worked with.
QStringList foldersOf(const Settings& settings)
{
    return {settings.documentStore.root, settings.uploadCache, settings.downloadCache};
}

} // namespace

struct Site::Private
{
    Private(const QString& configurationPath, Use purpose)
        : use(purpose)
        , path(configurationPath)
    {
    }

    const Use use;

    // The configuration, guarded by mutex.
    std::mutex mutex;
    QString path;
    std::string nativePath;
    FileInfo seen;                           ///< of the file, as it was last read
    std::optional<Result<Settings>> current; ///< what the file says
    bool reliable = false; ///< whether any later change of the file shows in what a look at it tells
    QStringList welcomed;  ///< the folders that were last made for a configuration
    QString logged;        ///< the failure last logged, until the file is usable again

    // The store, guarded by storeMutex.
    std::mutex storeMutex;
    std::shared_ptr<DocumentStore> store;
    DocumentStoreSettings storeSettings;

    std::atomic<quint64> epoch{
        1}; ///< another one: whatever a thread has open belongs to an earlier configuration
    QThreadStorage<ThreadPart*> threads;
    SiteWatch watch; ///< of the database, where the site is used as long as the process runs

    const QString& resolvedPath();
    Result<Settings> settings();
    Result<Settings> load(const FileInfo& found);
    Result<Settings> loadMissing(const Status& why);
    Result<Settings> failed(const Status& status);
    void welcome(const Settings& settings);
    ThreadPart& threadPart();
    Status openDatabase(ThreadPart& part) const;
};

const QString& Site::Private::resolvedPath()
{
    if (nativePath.empty()) {
        path = Backend::configurationPath(path);
        nativePath = QFile::encodeName(path).toStdString();
    }
    return path;
}

Result<Settings> Site::Private::settings()
{
    resolvedPath();
    const auto found = fileInfo(nativePath, LastLink::ItsTarget);
    if (!found.ok())
        return loadMissing(found.status());
    if (current && reliable && found->isSameState(seen))
        return *current;
    return load(found.value());
}

Result<Settings> Site::Private::load(const FileInfo& found)
{
    const bool changed = !current || !found.isSameState(seen);
    if (changed)
        logged.clear();
    seen = found;
    reliable = found.isSettled();
    current = loadSettings(path);
    if (!current->ok())
        return failed(current->status());
    logged.clear();
    // The file may have been replaced since it was looked at: what counts is what it names now.
    if (use == Use::Services && (changed || foldersOf(current->value()) != welcomed))
        welcome(current->value());
    return *current;
}

/// A file that was there and is gone is a failure: defaults in its place would be another, empty site.
Result<Settings> Site::Private::loadMissing(const Status& why)
{
    const QString file = QStringLiteral("configuration file \"%1\"").arg(path);
    if (why.code() != ErrorCode::NotFound)
        return failed(why.in(file + QStringLiteral(" cannot be read")));
    if (current)
        return failed(Status::configuration(file + QStringLiteral(" has been removed")));
    if (use == Use::OneRun)
        return Status::configuration(
            QStringLiteral("there is no %1; \"zav_admin init\" makes one").arg(file));
    const auto made = createDefaultSettings(path);
    // Another process may have made it meanwhile, which is as good.
    if (!made.ok() && made.code() != ErrorCode::AlreadyExists)
        return failed(made.in(file + QStringLiteral(" cannot be made")));
    if (made.ok())
        qCInfo(logConfig).noquote()
            << QStringLiteral("made the configuration file \"%1\" with defaults").arg(path);
    const auto found = fileInfo(nativePath, LastLink::ItsTarget);
    return found.ok() ? load(found.value()) : failed(found.status());
}

Result<Settings> Site::Private::failed(const Status& status)
{
    if (use == Use::OneRun)
        return status;
    if (status.message() != logged)
        qCCritical(logConfig).noquote() << status.message();
    logged = status.message();
    return Status::configuration(status.message());
}

void Site::Private::welcome(const Settings& settings)
{
    welcomed = foldersOf(settings);
    const DocumentStoreSettings& documents = settings.documentStore;
    const bool newStore = documents.kind == QLatin1String("local") && !QFileInfo::exists(documents.root);
    const auto folders = makeFolders(settings);
    if (!folders.ok())
        qCCritical(logConfig).noquote() << folders.message();
    else if (newStore) // To be seen in the log where the disk of a store is not mounted.
        qCInfo(logConfig).noquote()
            << QStringLiteral("made an empty document store \"%1\"").arg(documents.root);
}

ThreadPart& Site::Private::threadPart()
{
    if (!threads.hasLocalData())
        threads.setLocalData(new ThreadPart);
    ThreadPart& part = *threads.localData();
    const quint64 now = epoch.load();
    if (part.epoch != now) {
        part.database.reset();
        part.databasePause = {};
        part.store.reset();
        part.epoch = now;
    }
    return part;
}

Site& Site::current()
{
    static Site site({}, Use::Services);
    return site;
}

Site::Site(const QString& configurationPath, Use use)
    : d(std::make_unique<Private>(configurationPath, use))
{
}

Site::~Site()
{
    // The current site ends with the process: its threads have, and Qt SQL may have ended before it.
    if (QCoreApplication::instance() && d->threads.hasLocalData())
        d->threads.setLocalData(nullptr);
}

void Site::setConfigurationPath(const QString& path)
{
    {
        const std::lock_guard<std::mutex> lock(d->mutex);
        d->path = Backend::configurationPath(path);
        d->nativePath = QFile::encodeName(d->path).toStdString();
        d->current.reset();
        d->logged.clear();
    }
    ++d->epoch;
    close();
}

QString Site::configurationPath() const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    return d->resolvedPath();
}

Result<Settings> Site::settings()
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    return d->settings();
}

Result<Database*> Site::database()
{
    const auto now = settings();
    if (!now.ok())
        return now.status();
    ThreadPart& part = d->threadPart();
    if (!(part.databaseSettings == now->database)) {
        part.database.reset();
        part.databasePause = {};
        part.databaseSettings = now->database;
    }
    if (auto opened = d->openDatabase(part); !opened.ok())
        return opened.from(SitePart::Rows);
    if (d->use == Use::Services)
        if (auto whole = d->watch.look(*part.database, now->database); !whole.ok())
            return whole.from(SitePart::Rows);
    return part.database.get();
}

Status Site::Private::openDatabase(ThreadPart& part) const
{
    if (part.database)
        return {};
    const auto open = [&part] {
        auto database = Database::open(part.databaseSettings);
        if (database.ok())
            part.database = std::move(database.value());
        return database.status();
    };
    return use == Use::Services ? part.databasePause.run(open) : open();
}

Result<DocumentStore*> Site::documentStore()
{
    const auto now = settings();
    if (!now.ok())
        return now.status();
    const std::lock_guard<std::mutex> lock(d->storeMutex);
    ThreadPart& part = d->threadPart();
    if (!d->store || !(d->storeSettings == now->documentStore)) {
        d->store.reset();
        auto opened = openDocumentStore(now->documentStore);
        if (!opened.ok())
            return opened.status().from(SitePart::Files);
        d->store = std::move(opened.value());
        d->storeSettings = now->documentStore;
    }
    part.store = d->store;
    return part.store.get();
}

void Site::close()
{
    d->threadPart().database.reset();
    d->threadPart().databasePause = {};
    d->threadPart().store.reset();
    d->watch.reset();
    const std::lock_guard<std::mutex> lock(d->storeMutex);
    d->store.reset();
}

} // namespace KOZAV::Backend
