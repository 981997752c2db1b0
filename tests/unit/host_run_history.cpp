// The results of runs as the site keeps them, on every kind of site.

#include "backend/Site.h"
#include "backend/database/Database.h"
#include "host/site/RunHistory.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSysInfo>
#include <QTest>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

namespace {

RunRecord runOf(const char* guid, int entries)
{
    RunRecord run;
    run.guid = QString::fromLatin1(guid);
    run.source = QStringLiteral("/数据/batch");
    run.start = QDateTime::fromString(QStringLiteral("2026-01-31T08:15:00.123Z"), Qt::ISODateWithMs);
    run.end = run.start.addSecs(5);
    for (int i = 0; i < entries; ++i) {
        BatchReportRow row;
        row.company = QStringLiteral("甲公司");
        row.entry = QStringLiteral("料号 \U0001F600 %1.zip").arg(i);
        row.sourcePath = run.source + QLatin1Char('/') + row.entry;
        row.result = i % 2 == 0 ? BatchResult::Imported : BatchResult::NotImported;
        row.generatedName = QStringLiteral("AB%1").arg(i, 6, 10, QLatin1Char('0'));
        row.storedName = QStringLiteral("0123456789abcdef-%1.zip").arg(i);
        row.bytes = 123456;
        row.seconds = 0.125;
        if (row.result == BatchResult::NotImported)
            row.reasonCode = QStringLiteral("no-space");
        run.rows.push_back(row);
    }
    run.remarks = {{QStringLiteral("batch-number"), QStringLiteral("甲")}};
    run.count();
    return run;
}

QString keep(const char* guid, int entries)
{
    RunRecord run = runOf(guid, entries);
    return keepRun(run);
}

QStringList keys(int limit, qint64 behind = 0)
{
    QString failure;
    const auto runs = keptRuns(limit, behind, failure);
    QStringList found;
    if (!runs)
        return {failure};
    for (const RunSummary& run : *runs)
        found << run.guid;
    return found;
}

void makeOlder(const QString& guid, int days)
{
    const QString time = QDateTime::currentDateTimeUtc().addDays(-days).toString(Qt::ISODateWithMs);
    const auto database = Backend::Site::current().database();
    QVERIFY(database.ok());
    QVERIFY(database.value()
                ->change("UPDATE event SET created_time = ? WHERE run_guid = ?", {time, guid},
                         Backend::Durability::Deferred)
                .ok());
}

} // namespace

class HostRunHistory final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { m_site = std::make_unique<FreshSite>(); }
    void cleanup() { m_site.reset(); }
    void aRunComesBackAsItWasKept();
    void aRunOfThousandsIsKeptAtOnce();
    void moreThatIsKnownReplacesIt();
    void pagesGoFromTheNewestOn();
    void whoseTimeIsOverGoes();
    void aSiteThatIsAwayIsTold();

private:
    std::unique_ptr<FreshSite> m_site;
};

void HostRunHistory::aRunComesBackAsItWasKept()
{
    m_site->configure(QStringLiteral("user/name"), QStringLiteral("王"));
    RunRecord run = runOf("r1", 3);
    QCOMPARE(keepRun(run), QString());
    QCOMPARE(run.userName, QStringLiteral("王"));
    QCOMPARE(run.host, QSysInfo::machineHostName());
    QString failure;
    const auto kept = keptRun(run.guid, failure);
    QVERIFY2(kept, qPrintable(failure));
    QCOMPARE(QStringList({kept->source, kept->userName, kept->host}),
             QStringList({run.source, run.userName, run.host}));
    QCOMPARE(kept->start, run.start);
    QCOMPARE(kept->end, run.end);
    QCOMPARE(kept->rows.size(), run.rows.size());
    for (std::size_t i = 0; i < run.rows.size(); ++i)
        QCOMPARE(rowJson(kept->rows[i]), rowJson(run.rows[i]));
    QCOMPARE(kept->counts.toJson(), run.counts.toJson());
    QCOMPARE(kept->remarks.size(), std::size_t(1));
    QVERIFY(!keptRun(QStringLiteral("r2"), failure));
    QCOMPARE(failure, QStringLiteral("there is no run with the key r2"));
}

void HostRunHistory::aRunOfThousandsIsKeptAtOnce()
{
    RunRecord run = runOf("r1", 5000);
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(keepRun(run), QString());
    qInfo("5000 entries written in %lld ms", clock.restart());
    QString failure;
    const auto kept = keptRun(run.guid, failure);
    qInfo("read in %lld ms", clock.restart());
    QVERIFY2(kept, qPrintable(failure));
    QCOMPARE(kept->rows.size(), run.rows.size());
    QCOMPARE(rowJson(kept->rows.back()), rowJson(run.rows.back()));
    QCOMPARE(keep("r2", 10), QString());
    qInfo("10 entries written in %lld ms", clock.restart());
}

void HostRunHistory::moreThatIsKnownReplacesIt()
{
    RunRecord run = runOf("r1", 2);
    QCOMPARE(keepRun(run), QString());
    run.rows.front().warnings.push_back({QStringLiteral("archive-cut-short"), QStringLiteral("late")});
    run.count();
    QCOMPARE(keepRun(run), QString());
    QString failure;
    const auto runs = keptRuns(10, 0, failure);
    QVERIFY2(runs, qPrintable(failure));
    QCOMPARE(runs->size(), std::size_t(1));
    QCOMPARE(runs->front().counts.of(Outcome::WithWarnings), 1);
    QCOMPARE(keptRun(run.guid, failure)->rows.front().warnings.front().text, QStringLiteral("late"));
}

void HostRunHistory::pagesGoFromTheNewestOn()
{
    for (const char* const guid : {"r1", "r2", "r3"})
        QCOMPARE(keep(guid, 1), QString());
    QCOMPARE(keys(2), QStringList({QStringLiteral("r3"), QStringLiteral("r2")}));
    QString failure;
    const auto page = keptRuns(2, 0, failure);
    QCOMPARE(keys(2, page->back().position), QStringList(QStringLiteral("r1")));
}

void HostRunHistory::whoseTimeIsOverGoes()
{
    QCOMPARE(keep("r1", 1), QString());
    makeOlder(QStringLiteral("r1"), 400);
    m_site->configure(QStringLiteral("history/keep_days"), QStringLiteral("0"));
    QCOMPARE(keep("r2", 1), QString());
    makeOlder(QStringLiteral("r2"), 20);
    QCOMPARE(keys(10).size(), 2);
    m_site->configure(QStringLiteral("history/keep_days"), QStringLiteral("30"));
    QCOMPARE(keep("r3", 1), QString());
    QCOMPARE(keys(10), QStringList({QStringLiteral("r3"), QStringLiteral("r2")}));
}

void HostRunHistory::aSiteThatIsAwayIsTold()
{
    const QString configuration = m_site->configuration();
    QVERIFY(QFile::rename(configuration, configuration + QStringLiteral(".away")));
    QVERIFY(keep("r1", 1).contains(configuration));
    QString failure;
    QVERIFY(!keptRuns(10, 0, failure));
    QVERIFY(failure.contains(configuration));
    QVERIFY(QFile::rename(configuration + QStringLiteral(".away"), configuration));
    QCOMPARE(keep("r1", 1), QString());
    QCOMPARE(keys(10), QStringList(QStringLiteral("r1")));
}

ZAV_REGISTER_TEST(host_run_history, HostRunHistory, QCoreApplication)

#include "host_run_history.moc"
