// A site of version 1 of the schema and the steps to the newest: what it had stays as it was, a program that
// is killed anywhere in a step leaves what the next one finishes, and the rows are filled.

#include "backend/database/mariadb/MariaDbDialect.h"
#include "backend/pack/FolderDigest.h"
#include "backend/pack/PackFolder.h"
#include "backend/records/FileContent.h"
#include "backend/records/JobListing.h"
#include "backend/records/KnownContent.h"
#include "backend/records/SiteAudit.h"
#include "backend/store/DocumentStore.h"
#include "tests/support/FlawText.h"
#include "tests/support/MariaDbServer.h"
#include "tests/support/OldSite.h"
#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

/// Role of another process: opens the database, which upgrades it. Arguments: a file, or port, name, user
/// and password file of one on a server.
int upgrade(const QStringList& arguments)
{
    DatabaseSettings settings;
    settings.file = arguments.at(2);
    if (arguments.size() > 3) {
        settings.driver = QStringLiteral("QMYSQL");
        settings.host = QStringLiteral("127.0.0.1");
        settings.port = arguments.at(2).toInt();
        settings.name = arguments.at(3);
        settings.user = arguments.at(4);
        settings.passwordFile = arguments.at(5);
    }
    const auto database = Database::open(settings);
    return database.ok() && database.value()->schemaVersion().value() == 4 ? 0 : 1;
}

/// Has that role killed at the n-th of a system call. @return its exit code; -1 where it was killed
int upgradeKilledAt(const QString& call, int number, const QStringList& role)
{
    OtherProcess process(QStringLiteral("strace"),
                         {QStringLiteral("-f"), QStringLiteral("-o"), QStringLiteral("/dev/null"),
                          QStringLiteral("-e"), QStringLiteral("trace=") + call, QStringLiteral("-e"),
                          QStringLiteral("inject=%1:signal=KILL:when=%2").arg(call).arg(number)},
                         QStringList({QStringLiteral("--upgrade")}) + role);
    return process.wait();
}

bool canBeKilled()
{
    OtherProcess process(QStringLiteral("strace"),
                         {QStringLiteral("-o"), QStringLiteral("/dev/null"), QStringLiteral("-e"),
                          QStringLiteral("inject=fsync:error=EIO")},
                         {QStringLiteral("-functions")});
    return process.wait() >= 0;
}

/// Tables, columns and indexes that later versions bring, as far as an embedded database has them by now.
QStringList newParts(const PlainConnection& connection)
{
    const QString columns = QStringLiteral("SELECT group_concat(name) FROM pragma_table_info('orig_file')"
                                           " WHERE name LIKE 'stored_%' AND name <> 'stored_name'"
                                           " OR name LIKE 'content_%'");
    const QString generated =
        QStringLiteral("SELECT group_concat(name) FROM (SELECT name FROM pragma_table_xinfo('job_flow')"
                       " WHERE hidden <> 0 UNION ALL SELECT name FROM pragma_table_xinfo('event')"
                       " WHERE hidden <> 0)");
    const QString objects =
        QStringLiteral("SELECT group_concat(name) FROM sqlite_master WHERE name IN ('site',"
                       " 'event') OR name LIKE 'event_%' OR name LIKE 'orig_file_stored_%'"
                       " OR name IN ('orig_file_content', 'job_compress_stored_name',"
                       " 'job_flow_last_import', 'job_flow_job_name', 'job_flow_created_time')");
    QStringList parts;
    for (const QString& sql : {columns, generated, objects})
        parts += connection.value(sql).toString().split(QLatin1Char(','), Qt::SkipEmptyParts);
    return parts;
}

/// Columns and indexes of all tables of a database on a server, in words that do not name the database.
QString partsOnServer(const MariaDbServer& server, const DatabaseSettings& settings)
{
    const QString columns =
        QStringLiteral("SELECT GROUP_CONCAT(CONCAT_WS(' ', table_name, column_name, column_type, is_nullable)"
                       " ORDER BY table_name, ordinal_position SEPARATOR ';')"
                       " FROM information_schema.columns WHERE table_schema = DATABASE()");
    const QString indexes =
        QStringLiteral("SELECT GROUP_CONCAT(CONCAT_WS(' ', table_name, index_name, column_name)"
                       " ORDER BY table_name, index_name, seq_in_index SEPARATOR ';')"
                       " FROM information_schema.statistics WHERE table_schema = DATABASE()");
    const PlainConnection connection(PlainConnection::Named{server.openConnection(settings.name)});
    (void)QSqlQuery(connection.handle()).exec(QStringLiteral("SET SESSION group_concat_max_len = 1000000"));
    return connection.value(columns).toString() + QLatin1Char('\n') + connection.value(indexes).toString();
}

} // namespace

class DatabaseUpgradeTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void keepsEveryRow();
    void fillsTheRows();
    void killedAnywhereItIsWholeOrNotMade_data();
    void killedAnywhereItIsWholeOrNotMade();
    void killedAnywhereOnAServerItIsFinished();

private:
    /// A database of version 1 with the rows of the old site.
    DatabaseSettings makeOldDatabase();

    std::unique_ptr<MariaDbServer> m_server;
};

void DatabaseUpgradeTest::keepsEveryRow()
{
    const OldSite site;
    QStringList before;
    {
        const PlainConnection old(site.databaseFile());
        QCOMPARE(old.value(QStringLiteral("SELECT version FROM schema_version")).toInt(), 1);
        QCOMPARE(newParts(old), QStringList());
        before = oldRows(old.handle());
    }
    QCOMPARE(before.size(), 2 + 7 + 6 + 4 + 1);
    for (int openings = 0; openings < 2; ++openings) {
        const auto database = Database::open(site.settings().database);
        QVERIFY2(database.ok(), qPrintable(database.message()));
        QCOMPARE(database.value()->schemaVersion().value(), 4);
        QCOMPARE(flawsOf(*database.value()), QString());
        QCOMPARE(valueOf(*database.value(), "SELECT count(*) FROM orig_file WHERE stored_length IS NOT NULL"
                                            " OR content_length IS NOT NULL")
                     .toInt(),
                 0);
    }
    const PlainConnection upgraded(site.databaseFile());
    QCOMPARE(newParts(upgraded).size(), 4 + 2 + 3 + 3 + 2 + 5);
    QCOMPARE(oldRows(upgraded.handle()), before);
}

/// As whoever reads all stored files does.
void DatabaseUpgradeTest::fillsTheRows()
{
    const OldSite site;
    const Settings settings = site.settings();
    const auto database = Database::open(settings.database);
    QVERIFY2(database.ok(), qPrintable(database.message()));
    const auto store = openDocumentStore(settings.documentStore);
    QVERIFY2(store.ok(), qPrintable(store.message()));
    const auto files = listFileRows(*database.value(), {}, 100);
    QCOMPARE(files->size(), size_t{7});
    const std::string fetched = QFile::encodeName(site.path(QStringLiteral("fetched"))).toStdString();
    for (const FileRow& file : files.value()) {
        QVERIFY(file.isUnfilled());
        QCOMPARE(file.lacksContent, file.storedName.endsWith(QStringLiteral(".zip")));
        const std::string name = file.storedName.toStdString();
        const Status got = store.value()->get(storeLocation(settings.documentStore), name, fetched);
        QVERIFY2(got.ok(), qPrintable(got.message()));
        const QByteArray bytes = bytesOf(site.path(QStringLiteral("fetched")));
        const ContentDigest stored = {bytes.size(),
                                      QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex()};
        std::optional<ContentDigest> content;
        if (file.lacksContent) {
            const auto digest = digestPackedFolder(fetched);
            QVERIFY2(digest.ok(), qPrintable(digest.message()));
            content = digest.value();
        }
        QVERIFY(fillContent(*database.value(), file.id, stored, content).value());
    }
    const auto filled = listFileRows(*database.value(), {}, 100);
    for (const FileRow& file : filled.value())
        QVERIFY2(!file.isUnfilled(), qPrintable(file.storedName));

    // A folder with the same content is known, whenever its files were written.
    const std::string folder = QFile::encodeName(site.path(QStringLiteral("again"))).toStdString();
    QVERIFY(QDir().mkpath(site.path(QStringLiteral("again/matrix"))));
    const auto write = [&site](const char* name, const QByteArray& bytes) {
        QFile file(site.path(QStringLiteral("again/")) + QString::fromUtf8(name));
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    };
    QVERIFY(write("matrix/matrix", "STEP {\n    COL=1\n    NAME=pcb\n}\n"));
    QVERIFY(write("misc", "units=mm\n"));
    PackRequest request;
    request.folder = folder;
    request.target = folder + ".zip";
    const auto packed = packFolder(request);
    QVERIFY2(packed.ok(), qPrintable(packed.message()));
    const auto known = findKnownContent(*database.value(), KnownBy::FolderContent, packed->content);
    QCOMPARE(known->size(), size_t{1});
    QCOMPARE(known->front().generatedName, QStringLiteral("HX000002"));

    JobFilter filter;
    filter.generatedName = QStringLiteral("AC000001");
    const auto jobs = listJobs(*database.value(), filter);
    QVERIFY(jobs->front().stored);
    QVERIFY(checkContent(jobs->front(), *jobs->front().stored).ok());
    QCOMPARE(checkContent(jobs->front(), packed->content).code(), ErrorCode::Corrupt);
}

void DatabaseUpgradeTest::killedAnywhereItIsWholeOrNotMade_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<int>("leastKills");
    QTest::newRow("writing") << QStringLiteral("pwrite64") << 10;
    QTest::newRow("to the disk") << QStringLiteral("fdatasync") << 2;
    QTest::newRow("removing") << QStringLiteral("unlink") << 1;
    QTest::newRow("locking") << QStringLiteral("fcntl") << 10;
}

void DatabaseUpgradeTest::killedAnywhereItIsWholeOrNotMade()
{
    if (!canBeKilled())
        QSKIP("programs cannot be killed at their system calls here");
    QFETCH(const QString, call);
    QFETCH(const int, leastKills);
    QStringList before;
    int kills = 0;
    for (int ended = -1; ended != 0; ++kills) {
        QVERIFY(kills < 200);
        const OldSite site;
        ended = upgradeKilledAt(call, kills + 1, {site.databaseFile()});
        QVERIFY2(ended <= 0, qPrintable(QString::number(ended)));
        {
            // A copy: to look at a database is to mend it.
            const QTemporaryDir copy;
            for (const char* end : {"", "-wal"})
                (void)QFile::copy(site.databaseFile() + QLatin1String(end),
                                  copy.filePath(QStringLiteral("copy.db")) + QLatin1String(end));
            const PlainConnection left(copy.filePath(QStringLiteral("copy.db")));
            const int version = left.value(QStringLiteral("SELECT version FROM schema_version")).toInt();
            QCOMPARE(newParts(left).size(), version == 1 ? 0 : 19);
            if (before.isEmpty())
                before = oldRows(left.handle());
            QCOMPARE(oldRows(left.handle()), before);
        }
        const auto database = Database::open(site.settings().database);
        QVERIFY2(database.ok(), qPrintable(database.message()));
        QCOMPARE(database.value()->schemaVersion().value(), 4);
        QCOMPARE(flawsOf(*database.value()), QString());
        QCOMPARE(oldRows(PlainConnection(site.databaseFile()).handle()), before);
    }
    QVERIFY2(kills > leastKills, qPrintable(QString::number(kills)));
}

DatabaseSettings DatabaseUpgradeTest::makeOldDatabase()
{
    const DatabaseSettings settings = m_server->makeDatabase();
    const PlainConnection target(PlainConnection::Named{m_server->openConnection(settings.name)});
    const auto exec = [](QSqlQuery query) {
        if (!query.exec())
            qFatal("%s", qUtf8Printable(query.lastError().text()));
    };
    const auto run = [&](const QString& sql) {
        QSqlQuery query(target.handle());
        query.prepare(sql);
        exec(query);
    };
    const MigrationStep& first = MariaDbDialect().migrations().front();
    for (const char* statement : first.statements)
        run(QString::fromLatin1(statement));
    run(QStringLiteral("UPDATE schema_version SET version = 1"));
    run(QStringLiteral("SET SESSION foreign_key_checks = 0"));
    const OldSite site;
    const PlainConnection source(site.databaseFile());
    for (const OldTable& table : oldTables()) {
        QSqlQuery rows(source.handle());
        if (!rows.exec(QStringLiteral("SELECT %1 FROM %2")
                           .arg(table.columns.join(QStringLiteral(", ")), table.name)))
            qFatal("%s", qUtf8Printable(rows.lastError().text()));
        const QString marks = QStringLiteral("?, ").repeated(table.columns.size() - 1) + QLatin1Char('?');
        while (rows.next()) {
            QSqlQuery insert(target.handle());
            insert.prepare(QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                               .arg(table.name, table.columns.join(QStringLiteral(", ")), marks));
            for (int i = 0; i < table.columns.size(); ++i)
                insert.addBindValue(rows.isNull(i) ? QVariant() : rows.value(i));
            exec(insert);
        }
    }
    return settings;
}

/// Each statement of the engine is committed by itself, so a kill between two leaves a part of the step.
void DatabaseUpgradeTest::killedAnywhereOnAServerItIsFinished()
{
#ifndef ZAV_WITH_MARIADB_SERVER
    QSKIP("there is no MariaDB server here");
#endif
    if (!canBeKilled())
        QSKIP("programs cannot be killed at their system calls here");
    m_server = std::make_unique<MariaDbServer>();
    const DatabaseSettings fresh = m_server->makeDatabase();
    {
        const auto made = Database::create(fresh);
        QVERIFY2(made.ok(), qPrintable(made.message()));
    }
    const QString whole = partsOnServer(*m_server, fresh);
    QStringList before;
    QSet<QString> left;
    int kills = 0;
    for (int ended = -1; ended != 0; ++kills) {
        QVERIFY(kills < 100);
        const DatabaseSettings settings = makeOldDatabase();
        if (before.isEmpty())
            before = oldRows(
                PlainConnection(PlainConnection::Named{m_server->openConnection(settings.name)}).handle());
        ended = upgradeKilledAt(
            QStringLiteral("sendto"), kills + 1,
            {QString::number(settings.port), settings.name, settings.user, settings.passwordFile});
        QVERIFY2(ended <= 0, qPrintable(QString::number(ended)));
        left.insert(partsOnServer(*m_server, settings));
        const auto database = Database::open(settings);
        QVERIFY2(database.ok(), qPrintable(database.message()));
        QCOMPARE(database.value()->schemaVersion().value(), 4);
        QCOMPARE(flawsOf(*database.value()), QString());
        QCOMPARE(partsOnServer(*m_server, settings), whole);
        QCOMPARE(
            oldRows(
                PlainConnection(PlainConnection::Named{m_server->openConnection(settings.name)}).handle()),
            before);
    }
    // Nothing, one table, both tables, the first step, the table of the next one, and all of it.
    QVERIFY2(left.size() >= 6, qPrintable(QString::number(left.size())));
    QVERIFY2(kills > 10, qPrintable(QString::number(kills)));
}

ZAV_REGISTER_ROLE("--upgrade", upgrade, QCoreApplication)
ZAV_REGISTER_TEST(database_upgrade, DatabaseUpgradeTest, QCoreApplication)

#include "database_upgrade.moc"
