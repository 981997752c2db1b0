#include "backend/SiteWatch.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FilledDatabase.h"
#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

/// The daily reading of a database: when it is done, what becomes of what it finds, and how it ends.
class DatabaseWatchTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void readsWhereADayIsOver_data();
    void readsWhereADayIsOver();
    void damageIsToldToWhoeverUsesIt();
    void otherDatabaseIsAnotherMatter();
    void processEndsWithTheReading();
};

namespace {

/// Enough for a database that is not read through whenever it is opened.
constexpr int manyJobs = 8000;

/// Makes a database with the row of a site. @param read  when it was last read through
std::unique_ptr<Database> madeDatabase(const TemporaryDatabase& place, const QString& read)
{
    auto database = place.open();
    if (!database ||
        !database
             ->change("INSERT INTO site (id, identity, created_time, checked_time) VALUES (1, 's', '', ?)",
                      {read}, Durability::Immediate)
             .ok())
        qFatal("no site");
    return database;
}

QString timeAgo(qint64 seconds)
{
    return QDateTime::currentDateTimeUtc().addSecs(-seconds).toString(Qt::ISODateWithMs);
}

/// Overwrites the beginning of a page in the middle, far from both ends of every table.
void damage(const QString& path)
{
    constexpr qint64 pageSize = 4096;
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.seek(file.size() / pageSize / 2 * pageSize));
    QVERIFY(file.write(QByteArray(100, '\x5a')) > 0);
}

/// Role of another process: begins to read a large database and ends at once.
int lookAndEnd(const QStringList& arguments)
{
    static SiteWatch watch; // As the site behind the services, it outlives the application object.
    DatabaseSettings settings;
    settings.file = arguments.at(2);
    const auto database = Database::open(settings);
    return database.ok() && watch.look(*database.value(), settings).ok() ? 0 : 1;
}

} // namespace

void DatabaseWatchTest::readsWhereADayIsOver_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<bool>("due");
    QTest::newRow("never") << QString() << true;
    QTest::newRow("an hour ago") << timeAgo(3600) << false;
    QTest::newRow("a day and a minute ago") << timeAgo(86400 + 60) << true;
    QTest::newRow("in an hour") << timeAgo(-3600) << true;
    QTest::newRow("no time") << QStringLiteral("yesterday") << true;
}

void DatabaseWatchTest::readsWhereADayIsOver()
{
    QFETCH(const QString, before);
    QFETCH(const bool, due);
    const CapturedLog log;
    const TemporaryDatabase place;
    const auto database = madeDatabase(place, before);
    SiteWatch watch;
    QVERIFY(watch.look(*database, place.settings()).ok());
    watch.reset();
    const QString after = database->readThroughTime().value();
    if (due)
        QVERIFY2(QDateTime::fromString(after, Qt::ISODateWithMs).secsTo(QDateTime::currentDateTimeUtc()) < 60,
                 qPrintable(after));
    else
        QCOMPARE(after, before);
    QCOMPARE(CapturedLog::of(QtInfoMsg).filter(QStringLiteral("read through, no damage found")).size(),
             due ? 1 : 0);
}

void DatabaseWatchTest::damageIsToldToWhoeverUsesIt()
{
    const CapturedLog log;
    const TemporaryDatabase place;
    QVERIFY(addJobs(*madeDatabase(place, {}), manyJobs).ok());
    damage(place.file());
    const auto database = place.open();
    QVERIFY2(database, "this is meant to be damage that opening does not see");
    SiteWatch watch;
    QTRY_COMPARE(watch.look(*database, place.settings()).code(), ErrorCode::Corrupt);
    const QString told = watch.look(*database, place.settings()).message();
    QVERIFY2(told.contains(place.file()) && told.contains(QLatin1String("zav_admin check")),
             qPrintable(told));
    QCOMPARE(CapturedLog::of(QtCriticalMsg).size(), 1);
    QCOMPARE(database->readThroughTime().value(), QString());
}

void DatabaseWatchTest::otherDatabaseIsAnotherMatter()
{
    const CapturedLog log;
    const TemporaryDatabase place;
    QVERIFY(addJobs(*madeDatabase(place, {}), manyJobs).ok());
    damage(place.file());
    const auto database = place.open();
    const TemporaryDatabase otherPlace;
    const auto other = madeDatabase(otherPlace, timeAgo(3600));
    SiteWatch watch;
    QTRY_COMPARE(watch.look(*database, place.settings()).code(), ErrorCode::Corrupt);
    QVERIFY(watch.look(*other, otherPlace.settings()).ok());
}

void DatabaseWatchTest::processEndsWithTheReading()
{
    const TemporaryDatabase place;
    QVERIFY(addJobs(*madeDatabase(place, {}), manyJobs).ok());
    OtherProcess process({QStringLiteral("--look"), place.file()});
    QCOMPARE(process.wait(), 0);
    // It has read to the end, and closed what it had open.
    QVERIFY(!place.open()->readThroughTime().value().isEmpty());
    QVERIFY(!QFileInfo::exists(place.file() + QStringLiteral("-wal")));
}

ZAV_REGISTER_ROLE("--look", lookAndEnd, QCoreApplication)
ZAV_REGISTER_TEST(database_watch, DatabaseWatchTest, QCoreApplication)

#include "database_watch.moc"
