#include "host/SiteAccess.h"

#include "backend/Operation.h"
#include "backend/Site.h"
#include "backend/config/SitePlaces.h"
#include "backend/database/Database.h"
#include "backend/io/Folder.h"
#include "backend/records/JobListing.h"
#include "backend/records/SiteRecords.h"
#include "backend/store/DocumentStore.h"

#include <QDir>
#include <QFile>

#include <algorithm>

namespace KOZAV::Host {

using Backend::Site;

namespace {

OrigFileRow rowOf(const Backend::OrigFileRecord& record)
{
    OrigFileRow row;
    row.company = record.companyName;
    row.jobName = record.jobName;
    row.generatedName = record.generatedName;
    row.storedName = record.storedName;
    row.importedAt = QDateTime::fromString(record.createdTime, Qt::ISODateWithMs).toLocalTime();
    if (record.state && record.subState)
        row.state = FlowState(*record.state, *record.subState);
    return row;
}

/// Whose answer the end of a call tells of.
std::optional<SitePart> partOf(const Backend::OperationEvent& event)
{
    if (event.category == QLatin1String("kozav.backend.store"))
        return SitePart::Files;
    // Rows are not written before the store was asked for the file that they point at.
    if (event.status.message().startsWith(QLatin1String("no row is written for the stored file")))
        return SitePart::Files;
    const bool rows = event.category == QLatin1String("kozav.backend.database") ||
                      event.operation == QLatin1String("getInputJobList");
    return rows ? std::optional<SitePart>(SitePart::Rows) : std::nullopt;
}

bool isUnreachable(const Backend::Status& status)
{
    return status.code() == Backend::ErrorCode::Unavailable ||
           status.code() == Backend::ErrorCode::OutcomeUnknown;
}

SitePartState stateOf(const Backend::ServiceHealth& health)
{
    SitePartState state;
    state.engine = health.engine;
    state.place = health.place;
    state.remote = health.remote;
    state.encryption = health.encryption;
    state.topology = health.topology;
    return state;
}

QString placesOf(const Backend::Settings& settings)
{
    return QStringList({Backend::placeOf(settings.database), Backend::placeOf(settings.documentStore),
                        settings.documentStore.fileStore})
        .join(QLatin1Char('\n'));
}

Backend::Result<Backend::ServiceHealth> healthOfRows()
{
    const auto database = Site::current().database();
    return database.ok() ? database.value()->health()
                         : Backend::Result<Backend::ServiceHealth>(database.status());
}

Backend::Result<Backend::ServiceHealth> healthOfFiles()
{
    const auto store = Site::current().documentStore();
    return store.ok() ? store.value()->health() : Backend::Result<Backend::ServiceHealth>(store.status());
}

} // namespace

SiteAccess::SiteAccess(const QString& configuration, QObject* parent)
    : QObject(parent)
{
    // Calls end on any thread; what is shown of them changes on that of the window.
    qRegisterMetaType<ServiceCall>();
    connect(this, &SiteAccess::serviceCalled, this, &SiteAccess::noteCall);
    Site::current().setConfigurationPath(Backend::configurationPath(configuration));
    Backend::setOperationObserver([this](const Backend::OperationEvent& event) {
        Q_EMIT serviceCalled({event.operation, event.subject, event.result, event.status.message(),
                              event.startedMs, event.endedMs, partOf(event), isUnreachable(event.status)});
    });
}

SiteAccess::~SiteAccess()
{
    Backend::setOperationObserver({});
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

const SitePartState& SiteAccess::part(SitePart part) const
{
    return m_parts[static_cast<std::size_t>(part)];
}

/// Asks both parts what they are, where the configuration names others than were asked last.
void SiteAccess::lookAtParts()
{
    const auto settings = Site::current().settings();
    if (!settings.ok() || placesOf(settings.value()) == m_places)
        return;
    m_places = placesOf(settings.value());
    for (const SitePart part : {SitePart::Rows, SitePart::Files}) {
        const auto health = part == SitePart::Rows ? healthOfRows() : healthOfFiles();
        SitePartState& state = m_parts[static_cast<std::size_t>(part)];
        state = health.ok() ? stateOf(health.value()) : SitePartState();
        state.lastFailure = health.message();
        if (!health.ok())
            state.place = part == SitePart::Rows ? Backend::placeOf(settings->database)
                                                 : Backend::placeOf(settings->documentStore);
        if (part == SitePart::Files)
            state.place += QStringLiteral(" (%1/%2)")
                               .arg(settings->documentStore.database, settings->documentStore.fileStore);
        Q_EMIT partChanged(part);
    }
}

void SiteAccess::noteCall(const ServiceCall& call)
{
    if (call.part && (call.unreachable || call.failure.isEmpty()))
        notePart(*call.part, call.failure);
}

/// A file of this machine may be locked for a while, but it is there.
void SiteAccess::notePart(SitePart part, const QString& failure)
{
    SitePartState& state = m_parts[static_cast<std::size_t>(part)];
    if (!state.remote || state.lastFailure == failure)
        return;
    state.lastFailure = failure;
    Q_EMIT partChanged(part);
}

QString SiteAccess::configurationPath() const
{
    return Site::current().configurationPath();
}

QString SiteAccess::workDirectory() const
{
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return {};
    const QString directory = settings->downloadCache + QStringLiteral("work");
    return QDir().mkpath(directory) ? directory : QString();
}

std::vector<OrigFileRow> SiteAccess::origFiles()
{
    lookAtParts();
    const auto database = Site::current().database();
    const auto records = database.ok()
                             ? Backend::listOrigFiles(*database.value())
                             : Backend::Result<std::vector<Backend::OrigFileRecord>>(database.status());
    if (!records.ok()) {
        m_lastError = records.message();
        if (isUnreachable(records.status()))
            notePart(SitePart::Rows, records.message());
        return {};
    }
    notePart(SitePart::Rows, {});
    std::vector<OrigFileRow> rows;
    rows.reserve(records->size());
    for (const auto& record : records.value())
        rows.push_back(rowOf(record));
    return rows;
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
    const auto database = Site::current().database();
    if (!database.ok())
        return std::nullopt;
    Backend::JobFilter filter;
    if (flowKey.isEmpty())
        filter.generatedName = generatedName;
    else
        filter.flowGuid = flowKey;
    const auto jobs = Backend::listJobs(*database.value(), filter);
    if (!jobs.ok() || jobs->empty())
        return std::nullopt;
    const Backend::JobRecord& job = jobs->front();
    return ImportedJob{job.flowGuid,    job.generatedName, job.jobName,
                       job.companyName, job.storedName,    job.complete};
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

std::vector<QByteArray> SiteAccess::entryNames(const QString& directory)
{
    const auto names = Backend::namesIn(QFile::encodeName(directory).toStdString());
    if (!names.ok()) {
        m_lastError = names.message();
        return {};
    }
    std::vector<QByteArray> entries;
    for (const std::string& name : names.value())
        entries.push_back(QByteArray::fromStdString(name));
    std::sort(entries.begin(), entries.end());
    return entries;
}

} // namespace KOZAV::Host
