#include "backend/Site.h"

#include "backend/Operation.h"
#include "backend/ServerPause.h"
#include "backend/SiteComparison.h"
#include "backend/SiteWatch.h"
#include "backend/database/Database.h"
#include "backend/io/FileInfo.h"
#include "backend/records/SiteIdentity.h"
#include "backend/store/DocumentStore.h"

#include <QCoreApplication>
#include <QFile>
#include <QStringList>
#include <QThreadStorage>

#include <atomic>
#include <mutex>
#include <optional>

// The service operations are called many times a second and have no object of their own, so every one of them
// asks the site again: for the settings, which costs one look at the file while it is as it was last seen,
// and none when the same call of an operation asks again (Operation::current);
// for the database, which is the calling thread's own, since a connection may be used by the thread alone
// that opened it; for the store, which all threads share. A thread's part goes with the thread. Another
// configuration file begins a new epoch: whatever a thread holds of the one before is closed by that thread,
// when it asks next. Settings that differ in a section close what was opened by that section, and nothing
// else.
//
// Whether a part is of this site is compared when it has been opened, before anybody gets it, and never again
// while it stays open: an operation costs nothing more by it. With an identity in the configuration each part
// is compared by itself, so that a server that is down does not keep the other part from being used; without
// one both are needed to settle it (SiteComparison.cpp). Where a thread has both, the files of the newest
// rows are looked for once for all threads.

namespace KOZAV::Backend {

namespace {

/// What one thread holds of the site. It keeps the store that it was last given alive while others open a new
/// one.
struct ThreadPart
{
    std::unique_ptr<Database> database;
    DatabaseSettings databaseSettings;
    QString databaseIdentity;  ///< that the open database was compared with
    ServerPause databasePause; ///< after an attempt to open with these settings
    std::shared_ptr<DocumentStore> store;
    std::optional<Result<Settings>> settings; ///< as they were when the call asked that is under way
    quint64 settingsCall = 0;
    quint64 epoch = 0;
};

/// What has to be made on this machine before the settings can be worked with.
QStringList foldersOf(const Settings& settings)
{
    return {settings.uploadCache, settings.downloadCache};
}

/// The identity of a site whose configuration does not tell it, as both parts have it.
struct SettledIdentity
{
    QString identity;
    DatabaseSettings database;
    DocumentStoreSettings store;
};

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

    // The store and what was compared with others, guarded by storeMutex.
    std::mutex storeMutex;
    std::shared_ptr<DocumentStore> store;
    DocumentStoreSettings storeSettings;
    QString storeIdentity; ///< that the open store was compared with
    bool filesCompared = false;
    SettledIdentity settled;

    std::atomic<quint64> epoch{
        1}; ///< another one: whatever a thread has open belongs to an earlier configuration
    QThreadStorage<ThreadPart*> threads;
    SiteWatch watch; ///< of the database, where the site is used as long as the process runs

    const QString& resolvedPath();
    Result<Settings> settingsOfCall();
    Result<Settings> settings();
    Result<Settings> load(const FileInfo& found);
    Result<Settings> loadMissing(const Status& why);
    Result<Settings> failed(const Status& status);
    void welcome(const Settings& settings);
    ThreadPart& threadPart();

    [[nodiscard]] bool logs() const { return use == Use::Services; }
    [[nodiscard]] bool compares() const { return use != Use::Inspection; }
    Status openDatabase(ThreadPart& part, const DatabaseSettings& wanted) const;
    Status openStore(ThreadPart& part, const DocumentStoreSettings& wanted);
    QString identityOf(const Settings& settings) const;
    Status compareRows(ThreadPart& part, const Settings& settings);
    Status compareFiles(ThreadPart& part, const Settings& settings);
    Status compareNewest(ThreadPart& part, const Settings& settings);
    Status settle(ThreadPart& part, const Settings& settings);
    void takeOver(const QString& identity);
};

const QString& Site::Private::resolvedPath()
{
    if (nativePath.empty()) {
        path = Backend::configurationPath(path);
        nativePath = QFile::encodeName(path).toStdString();
    }
    return path;
}

/// The file is looked at once for all that one call of an operation asks.
Result<Settings> Site::Private::settingsOfCall()
{
    const quint64 call = Operation::current();
    if (call == 0) {
        const std::lock_guard<std::mutex> lock(mutex);
        return settings();
    }
    ThreadPart& part = threadPart();
    if (!part.settings || part.settingsCall != call) {
        const std::lock_guard<std::mutex> lock(mutex);
        part.settings = settings();
        part.settingsCall = call;
    }
    return *part.settings;
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
    if (use == Use::Services && current->ok() && !current->value().backupMoment.isEmpty())
        current = Result<Settings>(Status::configuration(
            QStringLiteral("the configuration file \"%1\" is that of a backup, in which nothing is changed; "
                           "\"zav_admin restore\" makes a site of it")
                .arg(path)));
    if (!current->ok())
        return failed(current->status());
    Settings& taken = current->value();
    taken.database.onlyToRead = taken.documentStore.onlyToRead =
        use == Use::Reading || use == Use::Inspection;
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
    return failed(Status::configuration(
        QStringLiteral("there is no %1; \"zav_admin init\" makes one, and a site with it").arg(file)));
}

Result<Settings> Site::Private::failed(const Status& status)
{
    if (!logs())
        return status;
    if (status.message() != logged)
        qCCritical(logConfig).noquote() << status.message();
    logged = status.message();
    return Status::configuration(status.message());
}

void Site::Private::welcome(const Settings& settings)
{
    welcomed = foldersOf(settings);
    if (const auto folders = makeFolders(settings); !folders.ok())
        qCCritical(logConfig).noquote() << folders.message();
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
        part.settings.reset();
        part.epoch = now;
    }
    return part;
}

/// Opens the thread's database, if it is not; it is not compared then.
Status Site::Private::openDatabase(ThreadPart& part, const DatabaseSettings& wanted) const
{
    if (!(part.databaseSettings == wanted)) {
        part.database.reset();
        part.databasePause = {};
        part.databaseSettings = wanted;
    }
    if (part.database)
        return {};
    part.databaseIdentity.clear();
    const auto open = [&part] {
        auto database = Database::open(part.databaseSettings);
        if (database.ok())
            part.database = std::move(database.value());
        return database.status();
    };
    const auto opened = use == Use::Services ? part.databasePause.run(open) : open();
    return opened.from(SitePart::Rows);
}

/// The same for the store of all threads.
Status Site::Private::openStore(ThreadPart& part, const DocumentStoreSettings& wanted)
{
    if (!store || !(storeSettings == wanted)) {
        store.reset();
        storeIdentity.clear();
        filesCompared = false;
        auto opened = openDocumentStore(wanted);
        if (!opened.ok())
            return opened.status().from(SitePart::Files);
        store = std::move(opened.value());
        storeSettings = wanted;
    }
    part.store = store;
    return {};
}

/// What the parts are to be compared with; empty where that is not settled.
QString Site::Private::identityOf(const Settings& settings) const
{
    if (!settings.siteId.isEmpty())
        return settings.siteId;
    const bool isSettled = settled.database == settings.database && settled.store == settings.documentStore;
    return isSettled ? settled.identity : QString();
}

Status Site::Private::compareRows(ThreadPart& part, const Settings& settings)
{
    const QString identity = identityOf(settings);
    if (identity.isEmpty())
        return settle(part, settings);
    if (auto same = compareDatabase(*part.database, identity); !same.ok())
        return same;
    part.databaseIdentity = identity;
    if (!store || storeIdentity != identity)
        return {};
    // A store that does not answer is no reason to keep the rows from anybody.
    auto newest = compareNewest(part, settings);
    return newest.code() == ErrorCode::Configuration ? newest : Status();
}

Status Site::Private::compareFiles(ThreadPart& part, const Settings& settings)
{
    const QString identity = identityOf(settings);
    if (identity.isEmpty()) {
        auto opened = openDatabase(part, settings.database);
        return opened.ok() ? settle(part, settings) : opened;
    }
    if (storeIdentity != identity) {
        if (auto same = compareStore(*store, storeSettings, identity); !same.ok())
            return same;
        storeIdentity = identity;
    }
    return part.database && part.databaseIdentity == identity ? compareNewest(part, settings) : Status();
}

/// Once for all threads, as long as the store is open.
Status Site::Private::compareNewest(ThreadPart& part, const Settings& settings)
{
    if (filesCompared || use == Use::Mending)
        return {};
    const SiteParts parts{settings, *part.database, *store};
    const auto files = lookForNewestFiles(parts);
    if (!files.ok())
        return files.status();
    if (auto judged = judge(files.value(), parts); !judged.ok())
        return judged;
    filesCompared = true;
    if (files->missing > 0 && logs())
        qCWarning(logStore).noquote()
            << QStringLiteral("%1 of the %2 files that the newest rows name are not in the store, such as "
                              "\"%3\": \"zav_admin check\" tells what is wrong")
                   .arg(files->missing)
                   .arg(files->looked)
                   .arg(files->example);
    return {};
}

/// Takes both parts together where the configuration does not tell the identity.
Status Site::Private::settle(ThreadPart& part, const Settings& settings)
{
    if (auto opened = openStore(part, settings.documentStore); !opened.ok())
        return opened;
    const auto identity = settleIdentity({settings, *part.database, *store}, Asker::Opening);
    if (!identity.ok())
        return identity.status();
    if (auto newest = compareNewest(part, settings); !newest.ok())
        return newest;
    part.databaseIdentity = storeIdentity = identity.value();
    settled = {identity.value(), settings.database, settings.documentStore};
    takeOver(identity.value());
    return {};
}

/// Writes the identity to the configuration. One that this user may not write stays as it is: then both parts
/// are compared with each other at each start.
void Site::Private::takeOver(const QString& identity)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const auto written = writeSiteId(path, identity);
    if (!logs())
        return;
    if (written.ok())
        qCInfo(logConfig).noquote()
            << QStringLiteral("configuration file \"%1\" has taken over the identity of its site, %2")
                   .arg(path, identity);
    else
        qCWarning(logConfig).noquote()
            << QStringLiteral(
                   "the identity of the site, %1, cannot be written to its configuration file: %2; "
                   "its owner may run \"zav_admin config set site/id %1\"")
                   .arg(identity, written.message());
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
    return d->settingsOfCall();
}

Result<Database*> Site::database()
{
    const auto now = settings();
    if (!now.ok())
        return now.status();
    ThreadPart& part = d->threadPart();
    if (auto opened = d->openDatabase(part, now->database); !opened.ok())
        return opened;
    const bool compared =
        !part.databaseIdentity.isEmpty() && (now->siteId.isEmpty() || now->siteId == part.databaseIdentity);
    if (!compared && d->compares()) {
        const std::lock_guard<std::mutex> lock(d->storeMutex);
        if (auto same = d->compareRows(part, now.value()); !same.ok()) {
            part.database.reset();
            return same;
        }
    }
    if (d->use == Use::Services)
        if (auto whole = d->watch.look(*part.database, now->database); !whole.ok())
            return whole.from(SitePart::Rows);
    return part.database.get();
}

Result<DocumentStore*> Site::documentStore()
{
    const auto now = settings();
    if (!now.ok())
        return now.status();
    const std::lock_guard<std::mutex> lock(d->storeMutex);
    ThreadPart& part = d->threadPart();
    if (auto opened = d->openStore(part, now->documentStore); !opened.ok())
        return opened;
    if (d->compares())
        if (auto same = d->compareFiles(part, now.value()); !same.ok())
            return same;
    return part.store.get();
}

Status Site::compareIdentity()
{
    const auto now = settings();
    if (!now.ok())
        return now.status();
    ThreadPart& part = d->threadPart();
    if (auto opened = d->openDatabase(part, now->database); !opened.ok())
        return opened;
    const std::lock_guard<std::mutex> lock(d->storeMutex);
    if (auto opened = d->openStore(part, now->documentStore); !opened.ok())
        return opened;
    const auto own = siteIdentity(*part.database);
    const QString identity = now->siteId.isEmpty() && own.ok() ? own.value() : now->siteId;
    if (identity.isEmpty())
        return own.ok()
                   ? Status::configuration(QStringLiteral("the site has no identity yet; it gets one when a "
                                                          "program that writes to it opens it"))
                   : own.status();
    auto same = compareDatabase(*part.database, identity);
    return same.ok() ? compareStore(*part.store, now->documentStore, identity) : same;
}

void Site::close()
{
    d->threadPart().database.reset();
    d->threadPart().databasePause = {};
    d->threadPart().store.reset();
    d->watch.reset();
    const std::lock_guard<std::mutex> lock(d->storeMutex);
    d->store.reset();
    d->settled = {};
}

} // namespace KOZAV::Backend
