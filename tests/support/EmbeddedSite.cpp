#include "tests/support/EmbeddedSite.h"

#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/store/DocumentStore.h"
#include "services/common/Common.h"

#include <QDir>
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

} // namespace

EmbeddedSite::EmbeddedSite()
{
    require(Backend::createDefaultSettings(configuration(), path(QStringLiteral("data"))));
    Site::current().setConfigurationPath(configuration());
    database();
    valueOf(Site::current().documentStore());
}

EmbeddedSite::~EmbeddedSite()
{
    Site::current().close();
}

QString EmbeddedSite::configuration() const
{
    return path(QStringLiteral("zav.ini"));
}

void EmbeddedSite::addCompany(const QString& code, const QString& name) const
{
    valueOf(Backend::addCompany(database(), code, name));
}

void EmbeddedSite::configure(const QString& key, const QString& value) const
{
    require(Backend::writeSetting(configuration(), key, value));
}

std::vector<Backend::JobRecord> EmbeddedSite::jobs() const
{
    return valueOf(Backend::listJobs(database(), {}));
}

std::vector<Backend::OrigFileRecord> EmbeddedSite::origFiles() const
{
    return valueOf(Backend::listOrigFiles(database()));
}

Backend::CompanyRecord EmbeddedSite::company(const QString& code) const
{
    for (const auto& record : valueOf(Backend::listCompanies(database()))) {
        if (record.code == code)
            return record;
    }
    qFatal("no company %s", qUtf8Printable(code));
    return {};
}

QString EmbeddedSite::fetch(const Backend::JobRecord& job) const
{
    QDir().mkpath(path(QStringLiteral("fetched")));
    const QString target = path(QStringLiteral("fetched/")) + job.storedName;
    const auto config = Common::commonInterface()->getConfig();
    const int status =
        Common::MongodbGet(config.mongoDbName, job.fileStore.toStdString(),
                           QFile::encodeName(target).toStdString(), job.storedName.toStdString());
    return status == 0 ? target : QString();
}

QStringList EmbeddedSite::storedNames() const
{
    const auto settings = valueOf(Site::current().settings());
    const Backend::StoreLocation location{settings.documentStore.database.toStdString(),
                                          settings.documentStore.fileStore.toStdString()};
    QStringList names;
    for (const auto& file : valueOf(valueOf(Site::current().documentStore())->list(location)))
        names << QString::fromStdString(file.name);
    return names;
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("%s: %s", qUtf8Printable(path), qUtf8Printable(file.errorString()));
    return file.readAll();
}

} // namespace KOZAV::Test
