#include "host/SiteAccess.h"

#include "backend/Operation.h"
#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/database/SiteRecords.h"
#include "backend/io/Directory.h"
#include "backend/store/DocumentStore.h"

#include <QFile>

namespace KOZAV::Host {

using Backend::Site;

namespace {

Backend::StoreLocation storeLocation(const Backend::Settings& settings)
{
    return {settings.documentStore.database.toStdString(), settings.documentStore.fileStore.toStdString()};
}

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

} // namespace

SiteAccess::SiteAccess(const QString& configuration, QObject* parent)
    : QObject(parent)
{
    Site::current().setConfigurationPath(Backend::configurationPath(configuration));
    Backend::setOperationObserver([this](const Backend::OperationEvent& event) {
        Q_EMIT serviceCalled({event.operation, event.subject, event.result, event.status.message(),
                              event.startedMs, event.endedMs});
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
    return store.ok() ? QString() : store.message();
}

QString SiteAccess::description() const
{
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return settings.message();
    return QStringLiteral("%1 · %2 · %3")
        .arg(Site::current().configurationPath(), settings->database.file, settings->documentStore.root);
}

std::vector<OrigFileRow> SiteAccess::origFiles()
{
    const auto database = Site::current().database();
    if (!database.ok()) {
        m_lastError = database.message();
        return {};
    }
    const auto records = Backend::listOrigFiles(*database.value());
    if (!records.ok()) {
        m_lastError = records.message();
        return {};
    }
    std::vector<OrigFileRow> rows;
    rows.reserve(records->size());
    for (const auto& record : records.value())
        rows.push_back(rowOf(record));
    return rows;
}

std::optional<ImportedJob> SiteAccess::importedJob(const QString& flowKey)
{
    const auto database = Site::current().database();
    if (!database.ok())
        return std::nullopt;
    Backend::JobFilter filter;
    filter.flowGuid = flowKey;
    const auto jobs = Backend::listJobs(*database.value(), filter);
    if (!jobs.ok() || jobs->empty())
        return std::nullopt;
    const Backend::JobRecord& job = jobs->front();
    return ImportedJob{job.generatedName, job.storedName, job.complete};
}

qint64 SiteAccess::storedBytes(const QString& storedName)
{
    const auto settings = Site::current().settings();
    const auto store = Site::current().documentStore();
    if (!settings.ok() || !store.ok() || storedName.isEmpty())
        return -1;
    const auto file = store.value()->find(storeLocation(settings.value()), storedName.toStdString());
    return file.ok() ? file->length : -1;
}

} // namespace KOZAV::Host
