#include "ContractSite.h"

#include "backend/Site.h"
#include "backend/SiteCreation.h"
#include "backend/config/Settings.h"
#include "backend/database/Database.h"
#include "backend/records/FileContent.h"
#include "backend/records/JobListing.h"
#include "backend/records/SiteRecords.h"
#include "backend/store/DocumentStore.h"
#include "tests/support/SiteEngines.h"

#include <QFile>
#include <QRegularExpression>
#include <QTest>

namespace KOZAV::Test {

using namespace Backend;

namespace {

void require(const Status& status)
{
    if (!status.ok())
        qFatal("%s", qPrintable(status.message()));
}

template <typename T>
T take(Result<T> result)
{
    require(result.status());
    return std::move(result.value());
}

void expectWarning(const char* operation, const QString& reason)
{
    const QString pattern = QStringLiteral("^%1 [\\s\\S]*: [\\s\\S]*%2")
                                .arg(QRegularExpression::escape(QLatin1String(operation)), reason);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(pattern));
}

QString field(const char* name, const QString& value)
{
    return QLatin1String(name) + QLatin1Char('=') + value;
}

QString field(const char* name, int value)
{
    return field(name, QString::number(value));
}

} // namespace

bool ContractSite::isAvailable(QString& reason)
{
    reason = SiteEngines::problem();
    return reason.isEmpty();
}

bool ContractSite::gives(Promise /*promise*/)
{
    return true;
}

ContractSite::ContractSite()
{
    require(createDefaultSettings(configuration(), path(QStringLiteral("site/data"))));
    SiteEngines::applyTo(configuration());
    configure(QStringLiteral("user/id"), QStringLiteral("7"));
    require(createSite({configuration()}).status());
    join(configuration());
}

ContractSite::~ContractSite()
{
    close();
}

void ContractSite::join(const QString& configuration)
{
    Site::current().setConfigurationPath(configuration);
}

QString ContractSite::configuration() const
{
    return path(QStringLiteral("site/zav.ini"));
}

std::string ContractSite::writeFile(const QString& name, const QByteArray& content) const
{
    QFile file(path(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.flush())
        qFatal("%s", qPrintable(file.errorString()));
    return QFile::encodeName(file.fileName()).toStdString();
}

void ContractSite::close()
{
    Site::current().close();
}

void ContractSite::configure(const QString& key, const QString& value) const
{
    require(writeSetting(configuration(), key, value));
}

void ContractSite::loseConfiguration() const
{
    if (!QFile::remove(configuration()))
        qFatal("%s cannot be removed", qPrintable(configuration()));
    QTest::ignoreMessage(QtCriticalMsg, QRegularExpression(QStringLiteral("removed")));
}

void ContractSite::expectFailure(const char* operation, const char* words)
{
    expectWarning(operation, QRegularExpression::escape(QLatin1String(words)));
}

void ContractSite::expectTakenKey(const char* operation)
{
    expectWarning(operation, QStringLiteral("(UNIQUE constraint failed|Duplicate entry)"));
}

int ContractSite::addCompany(const char* code, const std::string& name)
{
    Database& database = *take(Site::current().database());
    return take(Backend::addCompany(database, QString::fromUtf8(code), QString::fromStdString(name)))
        .companyId;
}

std::vector<std::string> ContractSite::storedNames()
{
    const Settings settings = take(Site::current().settings());
    DocumentStore& store = *take(Site::current().documentStore());
    const StoreLocation location{settings.documentStore.database.toStdString(),
                                 settings.documentStore.fileStore.toStdString()};
    std::vector<std::string> names;
    for (const StoredFile& file : take(store.list(location)))
        names.push_back(file.name);
    return names;
}

QStringList ContractSite::job(const std::string& generatedName)
{
    JobFilter filter;
    filter.generatedName = QString::fromStdString(generatedName);
    QStringList fields;
    for (const JobRecord& job : take(listJobs(*take(Site::current().database()), filter)))
        fields << field("jobName", job.jobName) << field("flowNo", job.flowNo) << field("state", job.state)
               << field("subState", job.subState) << field("batch", job.batchNumber)
               << field("user", job.userId) << field("company", job.companyCode)
               << field("stored", job.storedName) << field("suffix", job.suffix)
               << field("fileStore", job.fileStore) << field("resource", job.resource)
               << field("customer2", job.customer2) << field("customer3", job.customer3)
               << field("complete", job.complete ? 1 : 0);
    return fields;
}

QStringList ContractSite::preFiles(const std::string& flowGuid)
{
    QStringList fields;
    for (const PreFileRecord& file :
         take(listPreFiles(*take(Site::current().database()), QString::fromStdString(flowGuid))))
        fields << field("guid", file.guid) << field("jobName", file.jobName) << field("first", file.firstText)
               << field("second", file.secondText) << field("third", file.thirdText)
               << field("user", file.userId) << field("userName", file.userName);
    return fields;
}

QStringList ContractSite::origFiles()
{
    QStringList files;
    for (const OrigFileRecord& file : take(listOrigFiles(*take(Site::current().database()))))
        files << QStringList({file.guid, file.generatedName, file.storedName, file.suffix, file.companyCode})
                     .join(QLatin1Char(' '));
    return files;
}

QStringList ContractSite::contents()
{
    QStringList contents;
    const auto read = [&contents](const QSqlQuery& row) {
        RowReader reader(row);
        QStringList fields = {reader.text()};
        for (int i = 0; i < 2; ++i) {
            const auto content = readContent(reader);
            fields << (content ? QString::number(content->length) + QLatin1Char(' ') +
                                     QString::fromLatin1(content->sha256)
                               : QStringLiteral("-"));
        }
        contents << fields.join(QLatin1Char(' '));
        return true;
    };
    require(take(Site::current().database())
                ->query("SELECT stored_name, stored_length, stored_sha256, content_length, content_sha256"
                        " FROM orig_file ORDER BY id DESC",
                        {}, read));
    return contents;
}

} // namespace KOZAV::Test
