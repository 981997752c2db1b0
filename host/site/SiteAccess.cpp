#include "host/site/SiteAccess.h"

#include "backend/Site.h"
#include "backend/Text.h"
#include "backend/config/SitePlaces.h"
#include "backend/database/Database.h"
#include "backend/io/FileCopy.h"
#include "backend/io/PrivateFile.h"
#include "backend/io/ProcessFolder.h"
#include "backend/io/TempFile.h"
#include "backend/records/FailedImport.h"
#include "backend/records/JobListing.h"
#include "backend/records/SiteRecords.h"
#include "backend/store/DocumentStore.h"
#include "host/site/SiteRows.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <map>
#include <string>
#include <utility>

namespace KOZAV::Host {

using Backend::ErrorCode;
using Backend::OperationEvent;
using Backend::ProcessFolder;
using Backend::ServiceHealth;
using Backend::Site;
using Backend::SitePart;

namespace {

bool isUnreachable(ErrorCode reason)
{
    return reason == ErrorCode::Unavailable || reason == ErrorCode::OutcomeUnknown;
}

QString placesOf(const Backend::Settings& settings)
{
    return QStringList({Backend::placeOf(settings.database), Backend::placeOf(settings.documentStore),
                        settings.documentStore.fileStore})
        .join(QLatin1Char('\n'));
}

std::string sharedWorkFolder(const Backend::Settings& settings)
{
    return QFile::encodeName(settings.downloadCache + QStringLiteral("work")).toStdString();
}

/// Removes what an import that was interrupted left outside of the folder of a process, a day after.
void removeUnclaimed(const QString& downloadCache)
{
    const QDateTime yesterday = QDateTime::currentDateTime().addDays(-1);
    Backend::removeStaleTempFiles(QFile::encodeName(downloadCache).toStdString());
    for (const QFileInfo& file : QDir(downloadCache).entryInfoList({QStringLiteral("cam-*")}, QDir::Files)) {
        if (file.lastModified() < yesterday)
            QFile::remove(file.filePath());
    }
    const QDir work(downloadCache + QStringLiteral("work"));
    for (const QFileInfo& folder :
         work.entryInfoList({QStringLiteral("job-*")}, QDir::Dirs | QDir::NoSymLinks)) {
        if (folder.lastModified() < yesterday)
            QDir(folder.filePath()).removeRecursively();
    }
}

} // namespace

/// Work folders that this process holds: one in each download cache that the configuration has named, and
/// those that it has taken over.
struct SiteAccess::WorkFolders
{
    std::map<std::string, ProcessFolder> own;
    std::map<QString, ProcessFolder> abandoned;
};

SiteAccess::SiteAccess(const QString& configuration, QObject* parent)
    : QObject(parent)
    , m_work(std::make_unique<WorkFolders>())
    , m_named(!configuration.isEmpty() || !qEnvironmentVariableIsEmpty("ZAV_CONFIG"))
{
    // Calls end on any thread; what is shown of them changes on that of the window.
    qRegisterMetaType<OperationEvent>();
    qRegisterMetaType<Backend::ServiceWait>();
    qRegisterMetaType<Backend::WorkProgress>();
    connect(this, &SiteAccess::serviceCalled, this, &SiteAccess::noteCall);
    Backend::setConfigurationFile(configuration);
    Backend::setOperationObserver([this](const OperationEvent& event) { Q_EMIT serviceCalled(event); });
    Backend::setWorkObserver([this](const Backend::WorkProgress& work) { Q_EMIT serviceWorks(work); });
    Backend::setWaitObserver([this](const Backend::ServiceWait& wait) {
        if (wait.cause == Backend::ServiceWait::Cause::CompanyLost)
            Q_EMIT companyLost(wait.reason);
        else
            Q_EMIT serviceWaits(wait);
    });
}

SiteAccess::~SiteAccess()
{
    Backend::setOperationObserver({});
    Backend::setWorkObserver({});
    Backend::setWaitObserver({});
    for (auto& own : m_work->own)
        own.second.removeIfEmpty();
}

bool SiteAccess::isFirstStart() const
{
    return !m_named && !QFileInfo::exists(configurationPath());
}

void SiteAccess::useConfiguration(const QString& path)
{
    Backend::setConfigurationFile(path);
    m_named = true;
}

QString SiteAccess::open()
{
    const auto database = Site::current().database();
    if (!database.ok())
        return database.message();
    const auto store = Site::current().documentStore();
    if (!store.ok())
        return store.message();
    lookAtParts();
    return {};
}

const ServiceHealth& SiteAccess::part(SitePart part) const
{
    return part == SitePart::Rows ? m_rows : m_files;
}

ServiceHealth& SiteAccess::stateOf(SitePart part)
{
    return part == SitePart::Rows ? m_rows : m_files;
}

/// Asks both parts what they are, where the configuration names others than were asked last.
void SiteAccess::lookAtParts()
{
    const auto settings = Site::current().settings();
    if (!settings.ok() || placesOf(settings.value()) == m_places)
        return;
    m_places = placesOf(settings.value());
    m_rows = Backend::healthOf(SitePart::Rows);
    m_files = Backend::healthOf(SitePart::Files);
    m_files.place +=
        QStringLiteral(" (%1/%2)").arg(settings->documentStore.database, settings->documentStore.fileStore);
    Q_EMIT partChanged(SitePart::Rows);
    Q_EMIT partChanged(SitePart::Files);
}

void SiteAccess::noteCall(const OperationEvent& event)
{
    const bool tells = event.outcome == Backend::OperationOutcome::Succeeded || isUnreachable(event.reason);
    if (event.part != SitePart::None && tells)
        notePart(event.part, event.message);
}

/// A file of this machine may be locked for a while, but it is there.
void SiteAccess::notePart(SitePart part, const QString& failure)
{
    ServiceHealth& state = stateOf(part);
    if (!state.remote || state.failure == failure)
        return;
    state.failure = failure;
    Q_EMIT partChanged(part);
}

QString SiteAccess::configurationPath() const
{
    return Backend::configurationFile();
}

QString SiteAccess::identity() const
{
    const auto settings = Site::current().settings();
    return settings.ok() && !settings->siteId.isEmpty() ? settings->siteId : configurationPath();
}

QString SiteAccess::workDirectory()
{
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return {};
    const std::string shared = sharedWorkFolder(settings.value());
    // The configuration may name another cache by now: what lies in the one before stays usable.
    auto own = m_work->own.find(shared);
    if (own == m_work->own.end()) {
        auto made = ProcessFolder::make(shared);
        if (!made.ok())
            return {};
        own = m_work->own.emplace(shared, std::move(made.value())).first;
    }
    return QFile::decodeName(own->second.path().c_str());
}

QStringList SiteAccess::takeAbandonedWork()
{
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return {};
    removeUnclaimed(settings->downloadCache);
    auto taken = ProcessFolder::takeAbandoned(sharedWorkFolder(settings.value()));
    if (!taken.ok())
        return {};
    QStringList directories;
    for (ProcessFolder& folder : taken.value()) {
        const QString directory = QFile::decodeName(folder.path().c_str());
        directories << directory;
        m_work->abandoned.emplace(directory, std::move(folder));
    }
    return directories;
}

void SiteAccess::removeAbandonedWork(const QString& directory)
{
    const auto folder = m_work->abandoned.find(directory);
    if (folder == m_work->abandoned.end())
        return;
    (void)folder->second.remove();
    m_work->abandoned.erase(folder);
}

void SiteAccess::noteRows(const QString& failure)
{
    lookAtParts();
    notePart(SitePart::Rows, failure);
}

std::optional<ImportedJob> SiteAccess::importedJob(const QString& flowKey)
{
    return findJob(flowKey, QString());
}

std::optional<ImportedJob> SiteAccess::jobNamed(const QString& generatedName)
{
    return findJob(QString(), generatedName);
}

std::optional<ImportedJob> SiteAccess::findJob(const QString& flowKey, const QString& generatedName)
{
    Backend::JobFilter filter;
    if (flowKey.isEmpty())
        filter.generatedName = generatedName;
    else
        filter.flowGuid = flowKey;
    const auto jobs =
        onRows([&](Backend::Database& database) { return Backend::listJobs(database, filter); });
    if (!jobs.ok() || jobs->empty())
        return std::nullopt;
    const Backend::JobRecord& job = jobs->front();
    ImportedJob found{job.flowGuid, job.generatedName, job.jobName, job.companyName, job.storedName, -1, {}};
    if (job.stored) {
        found.storedLength = job.stored->length;
        found.storedSha256 = job.stored->sha256;
    }
    return found;
}

std::optional<bool> SiteAccess::isImported(const QString& storedName)
{
    const auto imported =
        onRows([&](Backend::Database& database) { return Backend::isImported(database, storedName); });
    return imported.ok() ? std::optional(imported.value()) : std::nullopt;
}

qint64 SiteAccess::storedBytes(const QString& storedName)
{
    const auto settings = Site::current().settings();
    const auto store = Site::current().documentStore();
    if (!settings.ok() || !store.ok() || storedName.isEmpty())
        return -1;
    const auto file = store.value()->find(storeLocation(settings->documentStore), storedName.toStdString());
    return file.ok() ? file->length : -1;
}

void SiteAccess::removeStagedCopies(const QStringList& storedNames)
{
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return;
    for (const QString& name : storedNames) {
        const QFileInfo copy(settings->uploadCache + name);
        if (!name.contains(QLatin1Char('/')) && copy.isFile() && !copy.isSymLink())
            QFile::remove(copy.filePath());
    }
}

QString SiteAccess::stagedCopy(const QString& storedName) const
{
    const auto settings = Site::current().settings();
    return settings.ok() ? settings->uploadCache + storedName : QString();
}

QString SiteAccess::failImport(const QString& flowKey, const QString& reason)
{
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return settings.message();
    return onRows([&](Backend::Database& database) {
               return Backend::markImportFailed(database,
                                                {flowKey, reason, settings->userId, Backend::loginName()});
           })
        .message();
}

bool SiteAccess::isAsImported(const ImportedJob& job, const QString& path)
{
    if (job.storedSha256.isEmpty())
        return true;
    auto file = Backend::File::openForReading(QFile::encodeName(path).toStdString());
    if (!file.ok())
        return false;
    const auto digest = Backend::digestFile(file.value());
    return digest.ok() && digest.value() == Backend::ContentDigest{job.storedLength, job.storedSha256};
}

} // namespace KOZAV::Host
