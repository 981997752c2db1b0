// The runs of the import panel in the table of events, on the embedded engine; contract_history has them on
// every kind of site.

#include "backend/records/ImportRuns.h"
#include "backend/records/SiteEvents.h"
#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QSysInfo>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

class DatabaseRunsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void whatIsWrittenComesBack();
    void manyEntriesAreFewEvents();
    void aRunIsReplaced();
    void aRunThatCannotBeWrittenLeavesNothing();
    void listsArePagedNewestFirst();
    void runsWhoseTimeIsOverAreRemoved();
    void otherEventsOfARunStay();

private:
    [[nodiscard]] Status add(const QString& guid, int entries) const;
    void setAge(const QString& guid, int days) const;
    [[nodiscard]] QStringList keys(int limit, qint64 behind = 0) const;

    std::unique_ptr<TemporaryDatabase> m_place;
    std::unique_ptr<Database> m_database;
};

namespace {

ImportRun runOf(const QString& guid, int entries)
{
    ImportRun run;
    run.guid = guid;
    run.source = QStringLiteral("/数据/batch");
    run.startTime = QStringLiteral("2026-01-31T08:15:00.123Z");
    run.endTime = QStringLiteral("2026-01-31T08:16:00.123Z");
    run.counts = {{QStringLiteral("imported"), entries}};
    run.remarks = {QJsonObject{{QStringLiteral("code"), QStringLiteral("batch-number")}}};
    run.userId = 7;
    run.userName = QStringLiteral("王");
    for (int i = 0; i < entries; ++i)
        run.entries.append(QJsonObject{{QStringLiteral("entry"), QStringLiteral("料号%1.zip").arg(i)},
                                       {QStringLiteral("reason"), QString(200, QLatin1Char('x'))}});
    return run;
}

} // namespace

void DatabaseRunsTest::init()
{
    m_database.reset();
    m_place = std::make_unique<TemporaryDatabase>();
    m_database = m_place->open();
    QVERIFY(m_database);
}

Status DatabaseRunsTest::add(const QString& guid, int entries) const
{
    return addImportRun(*m_database, runOf(guid, entries));
}

void DatabaseRunsTest::setAge(const QString& guid, int days) const
{
    const QString time =
        QDateTime::currentDateTimeUtc().addDays(-days).toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzzZ"));
    QVERIFY(m_database
                ->change("UPDATE event SET created_time = ? WHERE run_guid = ?", {time, guid},
                         Durability::Deferred)
                .ok());
}

QStringList DatabaseRunsTest::keys(int limit, qint64 behind) const
{
    const auto runs = listImportRuns(*m_database, limit, behind);
    if (!runs.ok())
        return {runs.message()};
    QStringList found;
    for (const ImportRunSummary& run : runs.value())
        found << run.guid;
    return found;
}

void DatabaseRunsTest::whatIsWrittenComesBack()
{
    QVERIFY(add(QStringLiteral("r1"), 3).ok());
    const auto run = readImportRun(*m_database, QStringLiteral("r1"));
    QVERIFY2(run.ok(), qPrintable(run.message()));
    const ImportRun written = runOf(QStringLiteral("r1"), 3);
    QCOMPARE(QStringList({run->guid, run->source, run->startTime, run->endTime, run->userName, run->host}),
             QStringList({written.guid, written.source, written.startTime, written.endTime, written.userName,
                          QSysInfo::machineHostName()}));
    QCOMPARE(run->userId, 7);
    QCOMPARE(run->counts, written.counts);
    QCOMPARE(run->remarks, written.remarks);
    QCOMPARE(run->entryCount, 3);
    QCOMPARE(run->entries, written.entries);
    QCOMPARE(readImportRun(*m_database, QStringLiteral("r2")).code(), ErrorCode::NotFound);
}

void DatabaseRunsTest::manyEntriesAreFewEvents()
{
    constexpr int entries = 5000;
    QVERIFY(add(QStringLiteral("r1"), entries).ok());
    const int events = valueOf(*m_database, "SELECT COUNT(*) FROM event").toInt();
    QVERIFY2(events >= 4 && events < 20, qPrintable(QString::number(events)));
    const int longest = valueOf(*m_database, "SELECT MAX(LENGTH(CAST(detail AS BLOB))) FROM event").toInt();
    QVERIFY2(longest < 300 * 1024, qPrintable(QString::number(longest)));
    const auto run = readImportRun(*m_database, QStringLiteral("r1"));
    QVERIFY2(run.ok(), qPrintable(run.message()));
    QCOMPARE(run->entries, runOf(QStringLiteral("r1"), entries).entries);
}

void DatabaseRunsTest::aRunIsReplaced()
{
    QVERIFY(add(QStringLiteral("r1"), 2000).ok());
    QVERIFY(add(QStringLiteral("r2"), 1).ok());
    QVERIFY(add(QStringLiteral("r1"), 3).ok());
    QCOMPARE(readImportRun(*m_database, QStringLiteral("r1"))->entries,
             runOf(QStringLiteral("r1"), 3).entries);
    QCOMPARE(keys(10), QStringList({QStringLiteral("r1"), QStringLiteral("r2")}));
    QCOMPARE(valueOf(*m_database, "SELECT COUNT(*) FROM event"), QVariant(4));
    QCOMPARE(add(QString(), 1).code(), ErrorCode::InvalidArgument);
}

void DatabaseRunsTest::aRunThatCannotBeWrittenLeavesNothing()
{
    ImportRun run = runOf(QStringLiteral("r1"), 2);
    run.source.append(QChar(u'\0'));
    QCOMPARE(addImportRun(*m_database, run).code(), ErrorCode::InvalidArgument);
    QCOMPARE(valueOf(*m_database, "SELECT COUNT(*) FROM event"), QVariant(0));
}

void DatabaseRunsTest::listsArePagedNewestFirst()
{
    for (int i = 1; i <= 5; ++i)
        QVERIFY(add(QStringLiteral("r%1").arg(i), i).ok());
    QCOMPARE(keys(2), QStringList({QStringLiteral("r5"), QStringLiteral("r4")}));
    const auto first = listImportRuns(*m_database, 2);
    QCOMPARE(first->back().entryCount, 4);
    QCOMPARE(keys(2, first->back().position), QStringList({QStringLiteral("r3"), QStringLiteral("r2")}));
    QCOMPARE(keys(10, first->back().position).size(), 3);
}

void DatabaseRunsTest::runsWhoseTimeIsOverAreRemoved()
{
    for (int i = 1; i <= 4; ++i)
        QVERIFY(add(QStringLiteral("r%1").arg(i), 2).ok());
    setAge(QStringLiteral("r1"), 20);
    setAge(QStringLiteral("r2"), 11);
    setAge(QStringLiteral("r3"), 9);
    const auto removed = removeImportRuns(*m_database, QDateTime::currentDateTime().addDays(-10));
    QVERIFY2(removed.ok(), qPrintable(removed.message()));
    QCOMPARE(removed.value(), 2);
    QCOMPARE(keys(10), QStringList({QStringLiteral("r4"), QStringLiteral("r3")}));
    QCOMPARE(valueOf(*m_database, "SELECT COUNT(*) FROM event"), QVariant(4));
    QCOMPARE(removeImportRuns(*m_database, QDateTime::currentDateTime().addDays(-10)).value(), 0);
}

void DatabaseRunsTest::otherEventsOfARunStay()
{
    QVERIFY(add(QStringLiteral("r1"), 1).ok());
    SiteEvent event;
    event.kind = eventKind::robot;
    event.runGuid = QStringLiteral("r1");
    QVERIFY(addEvent(*m_database, event).ok());
    setAge(QStringLiteral("r1"), 20);
    QCOMPARE(removeImportRuns(*m_database, QDateTime::currentDateTime()).value(), 1);
    QCOMPARE(valueOf(*m_database, "SELECT kind FROM event"), QVariant(QString(eventKind::robot)));
}

ZAV_REGISTER_TEST(database_runs, DatabaseRunsTest, QCoreApplication)

#include "database_runs.moc"
