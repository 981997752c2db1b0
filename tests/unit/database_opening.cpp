#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTest>

#include <cstdio>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

/// Role of another process: opens the database, made where it is missing, and writes the code of the outcome.
int openAndReport(const QStringList& arguments)
{
    DatabaseSettings settings;
    settings.file = arguments.at(2);
    settings.busyTimeoutMs = 10000;
    const Result<std::unique_ptr<Database>> database = Database::create(settings);
    std::printf("%d %s\n", static_cast<int>(database.code()), qPrintable(database.message()));
    return 0;
}

unsigned modeOf(const QString& path)
{
    struct stat state = {};
    return ::stat(QFile::encodeName(path).constData(), &state) == 0 ? state.st_mode & 07777U : 0U;
}

int warningCount = 0;

void countWarnings(QtMsgType type, const QMessageLogContext&, const QString&)
{
    warningCount += type == QtDebugMsg || type == QtInfoMsg ? 0 : 1;
}

} // namespace

class DatabaseOpeningTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void newFileAndFolderArePrivate();
    void missingContentIsRefusedAndLeftAsItIs_data();
    void missingContentIsRefusedAndLeftAsItIs();
    void sessionIsSetUp_data();
    void sessionIsSetUp();
    void engineAndSchemaVersion();
    void noExtensionIsLoaded();
    void unfitNamesAreRefused_data();
    void unfitNamesAreRefused();
    void unknownDriverIsRefused();
    void foreignContentIsRefusedAndLeftAsItIs_data();
    void foreignContentIsRefusedAndLeftAsItIs();
    void damagedPageIsFound();
    void fileWithoutWritePermissionIsRefused();
    void closingLeavesNoConnectionBehind();
    void processesThatMakeASiteAtOnceAllSucceed();
};

void DatabaseOpeningTest::newFileAndFolderArePrivate()
{
    const TemporaryDatabase place;
    DatabaseSettings settings = place.settings();
    settings.file = place.folder() + QStringLiteral("/new/deeper/site.db");
    const Result<std::unique_ptr<Database>> database = Database::create(settings);
    QVERIFY2(database.ok(), qPrintable(database.message()));
    QCOMPARE(modeOf(place.folder() + QStringLiteral("/new")), 0700U);
    QCOMPARE(modeOf(place.folder() + QStringLiteral("/new/deeper")), 0700U);
    QCOMPARE(modeOf(settings.file), 0600U);
    QCOMPARE(modeOf(settings.file + QStringLiteral("-wal")), 0600U);
}

void DatabaseOpeningTest::missingContentIsRefusedAndLeftAsItIs_data()
{
    QTest::addColumn<QString>("state");
    QTest::addColumn<QString>("reason");
    QTest::newRow("missing") << QStringLiteral("missing") << QStringLiteral("it does not exist");
    QTest::newRow("missing folder") << QStringLiteral("folder") << QStringLiteral("it does not exist");
    QTest::newRow("empty") << QStringLiteral("empty") << QStringLiteral("it is empty");
    QTest::newRow("without tables") << QStringLiteral("tables")
                                    << QStringLiteral("it holds none of our tables");
}

/// A database that is lost is not replaced by a new one.
void DatabaseOpeningTest::missingContentIsRefusedAndLeftAsItIs()
{
    QFETCH(const QString, state);
    QFETCH(const QString, reason);
    const TemporaryDatabase place;
    DatabaseSettings settings = place.settings();
    if (state == QLatin1String("folder"))
        settings.file = place.folder() + QStringLiteral("/absent/site.db");
    QFile file(place.file());
    if (state == QLatin1String("empty"))
        QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    if (state == QLatin1String("tables"))
        runElsewhere(place.file(),
                     {QStringLiteral("CREATE TABLE song (title TEXT)"), QStringLiteral("DROP TABLE song")});
    const QStringList before = QDir(place.folder()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    const QByteArray content = file.exists() ? bytesOf(place.file()) : QByteArray();

    const Result<std::unique_ptr<Database>> database = Database::open(settings);
    QCOMPARE(database.code(), ErrorCode::Configuration);
    QVERIFY2(database.message().contains(reason), qPrintable(database.message()));
    for (const char* advice : {"zav_admin restore", "zav_admin init"})
        QVERIFY2(database.message().contains(QLatin1String(advice)), qPrintable(database.message()));
    QCOMPARE(QDir(place.folder()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), before);
    QCOMPARE(file.exists() ? bytesOf(place.file()) : QByteArray(), content);
    QVERIFY(Database::create(settings).ok());
    QVERIFY(Database::open(settings).ok());
}

void DatabaseOpeningTest::sessionIsSetUp_data()
{
    QTest::addColumn<QByteArray>("pragma");
    QTest::addColumn<QString>("expected");
    QTest::newRow("write-ahead log") << QByteArray("PRAGMA journal_mode") << QStringLiteral("wal");
    QTest::newRow("references are checked") << QByteArray("PRAGMA foreign_keys") << QStringLiteral("1");
    QTest::newRow("schema is not trusted") << QByteArray("PRAGMA trusted_schema") << QStringLiteral("0");
    QTest::newRow("busy time-out") << QByteArray("PRAGMA busy_timeout") << QStringLiteral("2000");
    QTest::newRow("application") << QByteArray("PRAGMA application_id") << QString::number(0x4B4F5A41);
}

void DatabaseOpeningTest::sessionIsSetUp()
{
    QFETCH(const QByteArray, pragma);
    QFETCH(const QString, expected);
    const TemporaryDatabase place;
    const auto database = place.open();
    QVERIFY(database);
    QCOMPARE(valueOf(*database, pragma.constData()).toString(), expected);
}

void DatabaseOpeningTest::engineAndSchemaVersion()
{
    const TemporaryDatabase place;
    const auto database = place.open();
    QVERIFY(database);
    QCOMPARE(database->schemaVersion().value(), 4);
    QVERIFY(database->engineVersion().value().startsWith(QStringLiteral("SQLite 3.")));
}

void DatabaseOpeningTest::noExtensionIsLoaded()
{
    const TemporaryDatabase place;
    const auto database = place.open();
    QVERIFY(database);
    const Status loaded =
        database->query("SELECT load_extension('libm.so.6')", {}, [](const QSqlQuery&) { return true; });
    QVERIFY(!loaded.ok());
    QVERIFY2(loaded.message().contains(QLatin1String("not authorized")), qPrintable(loaded.message()));
}

void DatabaseOpeningTest::unfitNamesAreRefused_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("reason");
    QTest::newRow("empty") << QString() << QStringLiteral("the name is empty");
    QTest::newRow("NUL") << QStringLiteral("a") + QChar(QChar::Null) << QStringLiteral("NUL");
    QTest::newRow("folder") << QStringLiteral("folder") << QStringLiteral("not a regular file");
    QTest::newRow("FIFO") << QStringLiteral("fifo") << QStringLiteral("not a regular file");
    QTest::newRow("dangling link") << QStringLiteral("link") << QStringLiteral("a file that does not exist");
}

void DatabaseOpeningTest::unfitNamesAreRefused()
{
    QFETCH(const QString, name);
    QFETCH(const QString, reason);
    const TemporaryDatabase place;
    const QDir folder(place.folder());
    QVERIFY(folder.mkdir(QStringLiteral("folder")));
    QCOMPARE(::mkfifo(QFile::encodeName(folder.filePath(QStringLiteral("fifo"))).constData(), 0600), 0);
    QVERIFY(QFile::link(QStringLiteral("nowhere"), folder.filePath(QStringLiteral("link"))));
    const QStringList before = folder.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);

    DatabaseSettings settings;
    settings.file = name.isEmpty() ? name : folder.filePath(name);
    const Result<std::unique_ptr<Database>> database = Database::open(settings);
    QCOMPARE(database.code(), ErrorCode::Configuration);
    QVERIFY2(database.message().contains(reason), qPrintable(database.message()));
    QCOMPARE(folder.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot), before);
}

void DatabaseOpeningTest::unknownDriverIsRefused()
{
    DatabaseSettings settings;
    settings.driver = QStringLiteral("QNOSUCH");
    const Result<std::unique_ptr<Database>> database = Database::open(settings);
    QCOMPARE(database.code(), ErrorCode::Configuration);
    QVERIFY2(database.message().contains(QStringLiteral("QNOSUCH")), qPrintable(database.message()));
}

void DatabaseOpeningTest::foreignContentIsRefusedAndLeftAsItIs_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<ErrorCode>("code");
    QTest::addColumn<QString>("reason");
    QTest::newRow("garbage") << QStringLiteral("garbage") << ErrorCode::Corrupt
                             << QStringLiteral("not a database");
    QTest::newRow("other program") << QStringLiteral("foreign") << ErrorCode::Configuration
                                   << QStringLiteral("another program");
    QTest::newRow("newer schema") << QStringLiteral("newer") << ErrorCode::Configuration
                                  << QStringLiteral("schema version 99, this program knows up to 4");
}

void DatabaseOpeningTest::foreignContentIsRefusedAndLeftAsItIs()
{
    QFETCH(const QString, kind);
    QFETCH(const ErrorCode, code);
    QFETCH(const QString, reason);
    const TemporaryDatabase place;
    if (kind == QLatin1String("garbage")) {
        QFile file(place.file());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(5000, 'x'));
    } else if (kind == QLatin1String("foreign")) {
        runElsewhere(place.file(), {QStringLiteral("CREATE TABLE song (title TEXT)")});
    } else {
        QVERIFY(place.open());
        runElsewhere(place.file(), {QStringLiteral("PRAGMA journal_mode = DELETE"),
                                    QStringLiteral("UPDATE schema_version SET version = 99")});
    }
    const QByteArray before = bytesOf(place.file());

    const Result<std::unique_ptr<Database>> database = Database::open(place.settings());
    QCOMPARE(database.code(), code);
    QVERIFY2(database.message().contains(reason), qPrintable(database.message()));
    QVERIFY2(database.message().contains(place.file()), qPrintable(database.message()));
    QCOMPARE(bytesOf(place.file()), before);
    QCOMPARE(QDir(place.folder()).entryList(QDir::Files), QStringList(QStringLiteral("site.db")));
}

void DatabaseOpeningTest::damagedPageIsFound()
{
    const TemporaryDatabase place;
    QVERIFY(place.open());
    QFile file(place.file());
    QVERIFY(file.open(QIODevice::ReadWrite));
    constexpr int pageSize = 4096;
    constexpr qint64 thirdPage = 8192;
    QVERIFY(file.size() >= thirdPage + pageSize);
    QVERIFY(file.seek(thirdPage));
    QCOMPARE(file.write(QByteArray(pageSize, '\x5a')), pageSize);
    file.close();
    const Result<std::unique_ptr<Database>> database = Database::open(place.settings());
    QCOMPARE(database.code(), ErrorCode::Corrupt);
    QVERIFY2(database.message().contains(QLatin1String("zav_admin check")), qPrintable(database.message()));
    QVERIFY2(database.message().contains(QLatin1String("zav_admin restore")), qPrintable(database.message()));
}

void DatabaseOpeningTest::fileWithoutWritePermissionIsRefused()
{
    const TemporaryDatabase place;
    QVERIFY(place.open());
    QCOMPARE(::chmod(QFile::encodeName(place.folder()).constData(), 0755), 0);
    QCOMPARE(::chmod(QFile::encodeName(place.file()).constData(), 0444), 0);
    const QByteArray before = bytesOf(place.file());
    const QStringList role = {QStringLiteral("--open"), place.file()};
    // The superuser may write every file, so it has a user without rights try.
    OtherProcess process =
        ::geteuid() == 0
            ? OtherProcess(QStringLiteral("setpriv"),
                           {QStringLiteral("--reuid=65534"), QStringLiteral("--clear-groups")}, role)
            : OtherProcess(role);
    if (process.wait() != 0)
        QSKIP("cannot run as a user without rights here");
    const QString report = process.output();
    QVERIFY2(report.startsWith(QString::number(static_cast<int>(ErrorCode::NotPermitted))),
             qPrintable(report));
    QCOMPARE(bytesOf(place.file()), before);
}

void DatabaseOpeningTest::closingLeavesNoConnectionBehind()
{
    const TemporaryDatabase place;
    warningCount = 0;
    const QtMessageHandler previous = qInstallMessageHandler(countWarnings);
    for (int i = 0; i < 3; ++i) {
        const auto first = place.open();
        const auto second = place.open();
        valueOf(*first, "SELECT count(*) FROM company");
        valueOf(*second, "SELECT count(*) FROM company");
    }
    qInstallMessageHandler(previous);
    QCOMPARE(warningCount, 0);
    QVERIFY(QSqlDatabase::connectionNames().isEmpty());
    QCOMPARE(QDir(place.folder()).entryList(QDir::Files), QStringList(QStringLiteral("site.db")));
}

void DatabaseOpeningTest::processesThatMakeASiteAtOnceAllSucceed()
{
    for (int round = 0; round < 5; ++round) {
        const TemporaryDatabase place;
        std::vector<std::unique_ptr<OtherProcess>> processes;
        for (int i = 0; i < 6; ++i)
            processes.push_back(
                std::make_unique<OtherProcess>(QStringList{QStringLiteral("--open"), place.file()}));
        for (const auto& process : processes) {
            QCOMPARE(process->wait(), 0);
            QCOMPARE(process->output().trimmed(), QStringLiteral("0"));
        }
        QCOMPARE(place.open()->schemaVersion().value(), 4);
    }
}

ZAV_REGISTER_ROLE("--open", openAndReport, QCoreApplication)
ZAV_REGISTER_TEST(database_opening, DatabaseOpeningTest, QCoreApplication)

#include "database_opening.moc"
