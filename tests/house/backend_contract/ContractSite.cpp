// Sites of the installed backend, on SQLite and a local store, as somebody makes and looks at them who has
// the installed package alone: zav_admin makes them and adds companies, the rows are read from the database's
// file, the stored files are those in the store's folder. One site is made for the whole program, and copied
// for each test: its identity goes along, and no two copies are in use at once.

#include "ContractSite.h"

#include "backend/HostInterface.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTest>

namespace KOZAV::Test {

namespace {

/// The configuration of the site that this process works on.
QString currentConfiguration;

/// Runs zav_admin to its end. @return what it printed
QByteArray administer(const QString& configuration, const QStringList& arguments)
{
    QProcess admin;
    admin.start(QStringLiteral(ZAV_ADMIN),
                QStringList({QStringLiteral("--config"), configuration}) + arguments);
    if (!admin.waitForFinished(-1) || admin.exitCode() != 0)
        qFatal("zav_admin: %s", admin.readAllStandardError().constData());
    return admin.readAllStandardOutput();
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("%s: %s", qPrintable(path), qPrintable(file.errorString()));
    return file.readAll();
}

void write(const QString& path, const QByteArray& content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.flush())
        qFatal("%s: %s", qPrintable(path), qPrintable(file.errorString()));
}

/// The folder with the site that all others are copies of.
QString pattern()
{
    static const QTemporaryDir folder;
    static const QString site = folder.filePath(QStringLiteral("site"));
    static bool isMade = false;
    if (!isMade) {
        const QString configuration = site + QStringLiteral("/zav.ini");
        administer(configuration,
                   {QStringLiteral("init"), QStringLiteral("--data-root"), site + QStringLiteral("/data")});
        administer(configuration, {QStringLiteral("config"), QStringLiteral("set"), QStringLiteral("user/id"),
                                   QStringLiteral("7")});
        isMade = true;
    }
    return site;
}

void copySite(const QString& target)
{
    const QDir source(pattern());
    QDir().mkpath(target);
    QDirIterator walk(source.path(), QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                      QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        const QString path = walk.next();
        const QString copy = target + QLatin1Char('/') + source.relativeFilePath(path);
        const bool isCopied = walk.fileInfo().isDir() ? QDir().mkpath(copy) : QFile::copy(path, copy);
        if (!isCopied)
            qFatal("%s cannot be copied", qPrintable(path));
    }
    const QString configuration = target + QStringLiteral("/zav.ini");
    write(configuration, contentOf(configuration).replace(pattern().toLocal8Bit(), target.toLocal8Bit()));
}

/// The rows of a query over the site's database, each as "name=value" of its columns.
QList<QStringList> rowsOf(const QString& sql, const QVariantList& values = {})
{
    QList<QStringList> rows;
    const QString connection = QStringLiteral("contract");
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        database.setDatabaseName(QFileInfo(currentConfiguration).path() + QStringLiteral("/data/site.db"));
        if (!database.open())
            qFatal("%s", qPrintable(database.lastError().text()));
        QSqlQuery query(database);
        query.prepare(sql);
        for (const QVariant& value : values)
            query.addBindValue(value);
        if (!query.exec())
            qFatal("%s", qPrintable(query.lastError().text()));
        while (query.next()) {
            QStringList row;
            for (int i = 0; i < query.record().count(); ++i)
                row << query.record().fieldName(i) + QLatin1Char('=') + query.value(i).toString();
            rows << row;
        }
    }
    QSqlDatabase::removeDatabase(connection);
    return rows;
}

/// The values alone of each row, parted by blanks.
QStringList valuesOf(const QList<QStringList>& rows)
{
    QStringList lines;
    for (const QStringList& row : rows) {
        QStringList values;
        for (const QString& field : row)
            values << field.section(QLatin1Char('='), 1);
        lines << values.join(QLatin1Char(' '));
    }
    return lines;
}

} // namespace

bool ContractSite::isAvailable(QString& reason)
{
    const bool isThere = QFile::exists(QStringLiteral(ZAV_ADMIN));
    reason = isThere ? QString() : QStringLiteral("there is no " ZAV_ADMIN);
    return isThere;
}

bool ContractSite::gives(Promise /*promise*/)
{
    return true;
}

ContractSite::ContractSite()
{
    copySite(path(QStringLiteral("site")));
    join(configuration());
}

ContractSite::~ContractSite()
{
    close();
}

void ContractSite::join(const QString& configuration)
{
    currentConfiguration = configuration;
    Backend::setConfigurationFile(configuration);
}

QString ContractSite::configuration() const
{
    return path(QStringLiteral("site/zav.ini"));
}

std::string ContractSite::writeFile(const QString& name, const QByteArray& content) const
{
    write(path(name), content);
    return QFile::encodeName(path(name)).toStdString();
}

/// A site that is left is closed.
void ContractSite::close()
{
    Backend::setConfigurationFile(currentConfiguration + QStringLiteral(".closed"));
    Backend::setConfigurationFile(currentConfiguration);
}

void ContractSite::configure(const QString& key, const QString& value) const
{
    administer(configuration(), {QStringLiteral("config"), QStringLiteral("set"), key, value});
}

void ContractSite::loseConfiguration() const
{
    if (!QFile::remove(configuration()))
        qFatal("%s cannot be removed", qPrintable(configuration()));
    QTest::ignoreMessage(QtCriticalMsg, QRegularExpression(QStringLiteral("removed")));
}

void ContractSite::expectFailure(const char* operation, const char* words)
{
    const QString pattern = QStringLiteral("^%1 [\\s\\S]*: [\\s\\S]*%2")
                                .arg(QRegularExpression::escape(QLatin1String(operation)),
                                     QRegularExpression::escape(QLatin1String(words)));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(pattern));
}

void ContractSite::expectTakenKey(const char* operation)
{
    expectFailure(operation, "UNIQUE constraint failed");
}

int ContractSite::addCompany(const char* code, const std::string& name)
{
    const QByteArray printed = administer(
        currentConfiguration,
        {QStringLiteral("--json"), QStringLiteral("company"), QStringLiteral("add"), QStringLiteral("--code"),
         QString::fromUtf8(code), QStringLiteral("--name"), QString::fromStdString(name)});
    return QJsonDocument::fromJson(printed)[QStringLiteral("company")][QStringLiteral("id")].toInt();
}

std::vector<std::string> ContractSite::storedNames()
{
    const QDir files(QFileInfo(currentConfiguration).path() +
                     QStringLiteral("/data/store/zav_import/odbpp/files"));
    std::vector<std::string> names;
    for (const QString& name : files.entryList(QDir::Files | QDir::Hidden))
        names.push_back(name.toStdString());
    return names;
}

QStringList ContractSite::job(const std::string& generatedName)
{
    const auto rows = rowsOf(
        QStringLiteral(
            "SELECT f.job_name AS jobName, f.flow_no AS flowNo, f.state AS state, f.sub_state AS subState,"
            " f.upload_batch_number AS batch, f.user_id AS user, COALESCE(z.company_code, o.company_code) AS "
            "company,"
            " COALESCE(z.stored_name, o.stored_name) AS stored, COALESCE(z.suffix, o.suffix) AS suffix,"
            " z.file_store AS fileStore, z.resource AS resource, z.customer2 AS customer2, z.customer3 AS "
            "customer3,"
            " z.id IS NOT NULL AS complete FROM job_flow f LEFT JOIN orig_file o ON o.guid = f.orig_file_guid"
            " LEFT JOIN job_compress z ON z.flow_guid = f.guid WHERE f.ko_serial_name = ?"),
        {QString::fromStdString(generatedName)});
    return rows.value(0);
}

QStringList ContractSite::preFiles(const std::string& flowGuid)
{
    QStringList fields;
    for (const QStringList& row :
         rowsOf(QStringLiteral(
                    "SELECT guid, job_name AS jobName, first_text AS first, second_text AS second, "
                    "third_text AS third,"
                    " user_id AS user, user_name AS userName FROM pre_file WHERE flow_guid = ? ORDER BY id"),
                {QString::fromStdString(flowGuid)}))
        fields << row;
    return fields;
}

QStringList ContractSite::origFiles()
{
    return valuesOf(rowsOf(QStringLiteral("SELECT o.guid, f.ko_serial_name, o.stored_name, o.suffix, "
                                          "o.company_code FROM orig_file o LEFT JOIN job_flow f"
                                          " ON f.guid = COALESCE(o.flow_guid, (SELECT guid FROM job_flow "
                                          "WHERE orig_file_guid = o.guid ORDER BY id LIMIT 1))"
                                          " ORDER BY o.id DESC")));
}

QStringList ContractSite::contents()
{
    return valuesOf(
        rowsOf(QStringLiteral("SELECT stored_name, COALESCE(stored_length || ' ' || stored_sha256, '-'),"
                              " COALESCE(content_length || ' ' || content_sha256, '-')"
                              " FROM orig_file ORDER BY id DESC")));
}

} // namespace KOZAV::Test
