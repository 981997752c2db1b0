#include "tests/support/FreshSite.h"

#include "backend/Site.h"
#include "backend/SiteCreation.h"
#include "backend/database/Database.h"
#include "backend/store/DocumentStore.h"
#include "services/common/Common.h"
#include "tests/support/GridFsPeer.h"
#include "tests/support/SiteEngines.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>

namespace KOZAV::Test {

using Backend::Site;

namespace {

template <typename T>
T valueOf(Backend::Result<T> result)
{
    if (!result.ok())
        qFatal("%s", qUtf8Printable(result.message()));
    return std::move(result.value());
}

void require(const Backend::Status& status)
{
    if (!status.ok())
        qFatal("%s", qUtf8Printable(status.message()));
}

Backend::Database& database()
{
    return *valueOf(Site::current().database());
}

/// The file that a local store keeps a stored file's content in.
QString dataFileOf(const QString& storedName)
{
    const auto settings = valueOf(Site::current().settings());
    QDirIterator files(settings.documentStore.root, {storedName}, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        if (QString path = files.next(); path.contains(QStringLiteral("/files/")))
            return path;
    }
    qFatal("the store has no file %s", qUtf8Printable(storedName));
    return {};
}

void overwrite(const QString& path)
{
    constexpr int behindTheBeginning = 100;
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite) || !file.seek(behindTheBeginning) || file.write("damage") < 0)
        qFatal("%s: %s", qUtf8Printable(path), qUtf8Printable(file.errorString()));
}

} // namespace

FreshSite::FreshSite()
{
    if (const QString problem = SiteEngines::problem(); !problem.isEmpty())
        qFatal("%s", qUtf8Printable(problem));
    require(Backend::createDefaultSettings(configuration(), path(QStringLiteral("data"))));
    SiteEngines::applyTo(configuration());
    require(Backend::createSite({configuration()}).status());
    Site::current().setConfigurationPath(configuration());
    database();
    valueOf(Site::current().documentStore());
}

FreshSite::~FreshSite()
{
    Site::current().close();
}

QString FreshSite::configuration() const
{
    return path(QStringLiteral("zav.ini"));
}

void FreshSite::addCompany(const QString& code, const QString& name) const
{
    valueOf(Backend::addCompany(database(), code, name));
}

void FreshSite::configure(const QString& key, const QString& value) const
{
    require(Backend::writeSetting(configuration(), key, value));
}

std::vector<Backend::JobRecord> FreshSite::jobs() const
{
    return valueOf(Backend::listJobs(database(), {}));
}

std::vector<Backend::OrigFileRecord> FreshSite::origFiles() const
{
    return valueOf(Backend::listOrigFiles(database()));
}

DataLib::Model::Odbpp_Company FreshSite::company(const QString& code) const
{
    for (const auto& record : valueOf(Backend::listCompanies(database()))) {
        if (record.companyCode == code.toStdString())
            return record;
    }
    qFatal("no company %s", qUtf8Printable(code));
    return {};
}

QString FreshSite::fetch(const Backend::JobRecord& job) const
{
    QDir().mkpath(path(QStringLiteral("fetched")));
    const QString target = path(QStringLiteral("fetched/")) + job.storedName;
    const auto config = Common::commonInterface()->getConfig();
    const int status =
        Common::MongodbGet(config.mongoDbName, job.fileStore.toStdString(),
                           QFile::encodeName(target).toStdString(), job.storedName.toStdString());
    return status == 0 ? target : QString();
}

QStringList FreshSite::storedNames() const
{
    const auto settings = valueOf(Site::current().settings());
    const Backend::StoreLocation location{settings.documentStore.database.toStdString(),
                                          settings.documentStore.fileStore.toStdString()};
    QStringList names;
    for (const auto& file : valueOf(valueOf(Site::current().documentStore())->list(location)))
        names << QString::fromStdString(file.name);
    return names;
}

QString FreshSite::damage(const QString& storedName)
{
    GridFsPeer* server = SiteEngines::fileServer();
    if (!server)
        overwrite(dataFileOf(storedName));
    else if (!server->refusal().isEmpty())
        return server->refusal();
    else
        server->alterChunk(storedName, 0, QStringLiteral("flip"));
    return {};
}

void swapStoredFiles(const QString& configuration, const QString& one, const QString& other)
{
    const auto settings = valueOf(Backend::loadSettings(configuration)).documentStore;
    const auto store = valueOf(Backend::openDocumentStore(settings));
    const auto location = Backend::storeLocation(settings);
    const QTemporaryDir folder;
    const auto path = [&folder](const QString& name) {
        return QFile::encodeName(folder.filePath(name)).toStdString();
    };
    for (const QString& name : {one, other}) {
        require(store->get(location, name.toStdString(), path(name)));
        require(store->remove(location, name.toStdString()));
    }
    require(store->put(location, one.toStdString(), path(other)).status());
    require(store->put(location, other.toStdString(), path(one)).status());
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("%s: %s", qUtf8Printable(path), qUtf8Printable(file.errorString()));
    return file.readAll();
}

} // namespace KOZAV::Test
