#include "host/SiteAccess.h"

#include "backend/Operation.h"
#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/database/SiteRecords.h"
#include "backend/io/Folder.h"
#include "backend/store/DocumentStore.h"

#include <QDir>
#include <QFile>

#include <algorithm>

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

QString SiteAccess::databaseDescription() const
{
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return settings.message();
    const auto& database = settings->database;
    if (database.driver == QLatin1String("QSQLITE"))
        return QStringLiteral("SQLite ") + database.file;
    return QStringLiteral("%1@%2:%3/%4")
        .arg(database.user, database.host)
        .arg(database.port)
        .arg(database.name);
}

QString SiteAccess::storeDescription() const
{
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return settings.message();
    const auto& store = settings->documentStore;
    const QString place = store.kind == QLatin1String("local") ? store.root : store.kind;
    return QStringLiteral("%1 (%2/%3)").arg(place, store.database, store.fileStore);
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
    const auto file = store.value()->find(storeLocation(settings.value()), storedName.toStdString());
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
