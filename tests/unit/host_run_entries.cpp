// The lists of the results: entries of a run, and runs, without widgets.

#include "host/core/Reasons.h"
#include "host/core/RunEntriesModel.h"
#include "host/core/RunsModel.h"
#include "host/site/RunHistory.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QAbstractItemModelTester>
#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace KOZAV::Host;
using namespace KOZAV::Test;

namespace {

BatchReportRow entryOf(const char* company, const char* name, BatchResult result, const char* code = "")
{
    BatchReportRow row;
    row.company = QString::fromUtf8(company);
    row.entry = QString::fromUtf8(name);
    row.result = result;
    row.reasonCode = QString::fromLatin1(code);
    row.sourcePath = QStringLiteral("/batch/%1/%2").arg(row.company, row.entry);
    return row;
}

RunRecord sampleRun()
{
    RunRecord run;
    run.guid = QStringLiteral("r1");
    run.source = QStringLiteral("/batch");
    run.start = QDateTime::currentDateTimeUtc();
    run.end = run.start;
    BatchReportRow imported = entryOf("甲", "b.zip", BatchResult::Imported);
    imported.generatedName = QStringLiteral("AB000001");
    imported.storedName = QStringLiteral("stored-1.zip");
    imported.bytes = 2048;
    imported.seconds = 1.25;
    BatchReportRow warned = imported;
    warned.entry = QStringLiteral("a.zip");
    warned.generatedName = QStringLiteral("AB000002");
    warned.bytes = 100;
    warned.warnings = {{QStringLiteral("archive-cut-short"), QStringLiteral("3 bytes are missing")}};
    BatchReportRow failed = entryOf("乙", "料号.tgz", BatchResult::NotImported, "no-space");
    failed.reason = QStringLiteral("write: No space left\non device");
    run.rows = {imported, warned, failed, entryOf("乙", "c.txt", BatchResult::NotImported, "suffix-refused")};
    run.remarks = {{QStringLiteral("batch-number"), QStringLiteral("乙: lost")}};
    run.count();
    return run;
}

QStringList shownJobs(const RunEntriesFilter& filter)
{
    QStringList jobs;
    for (int row = 0; row < filter.rowCount(); ++row)
        jobs << filter.index(row, RunEntriesModel::Job).data().toString();
    return jobs;
}

} // namespace

class HostRunEntries final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init()
    {
        m_entries = std::make_unique<RunEntriesModel>();
        m_filter = std::make_unique<RunEntriesFilter>(*m_entries);
        m_entries->setRun(sampleRun());
    }
    void cellsTellTheEntry();
    void explanationsTellWhatToDo();
    void outcomesAndTextsAreFound();
    void numbersAreSortedAsNumbers();
    void copiesAreLinesOfCells();
    void moreThatIsKnownKeepsTheRows();
    void runsOfTheSiteAreReadInPages();
    void ownRunsAreThereThoughNotKept();

private:
    std::unique_ptr<RunEntriesModel> m_entries;
    std::unique_ptr<RunEntriesFilter> m_filter;
};

void HostRunEntries::cellsTellTheEntry()
{
    const QAbstractItemModelTester tester(m_entries.get());
    const auto cell = [this](int row, int column) { return m_entries->index(row, column).data().toString(); };
    QCOMPARE(cell(0, RunEntriesModel::OutcomeColumn), outcomeText(Outcome::Imported));
    QCOMPARE(cell(0, RunEntriesModel::GeneratedName), QStringLiteral("AB000001"));
    QVERIFY(!cell(0, RunEntriesModel::Size).isEmpty());
    QCOMPARE(cell(0, RunEntriesModel::Reason), QString());
    QCOMPARE(cell(1, RunEntriesModel::Reason), reasonText(QStringLiteral("archive-cut-short")));
    QCOMPARE(cell(2, RunEntriesModel::Reason), reasonText(QStringLiteral("no-space")));
    QCOMPARE(cell(2, RunEntriesModel::Advice), reasonAdvice(QStringLiteral("no-space")));
    QCOMPARE(cell(2, RunEntriesModel::Size), QString());
    for (int column = 0; column < m_entries->columnCount(); ++column)
        QVERIFY(!m_entries->headerData(column, Qt::Horizontal).toString().isEmpty());
}

void HostRunEntries::explanationsTellWhatToDo()
{
    const QString failed = m_entries->explanation(2);
    for (const QString& text : {QStringLiteral("乙/料号.tgz: "), reasonText(QStringLiteral("no-space")),
                                reasonAdvice(QStringLiteral("no-space")), QStringLiteral("No space left")})
        QVERIFY2(failed.contains(text), qPrintable(failed));
    QVERIFY(m_entries->explanation(1).contains(QStringLiteral("3 bytes are missing")));
    QVERIFY(m_entries->facts().contains(QStringLiteral("乙: lost")));
}

void HostRunEntries::outcomesAndTextsAreFound()
{
    m_filter->setOutcome(Outcome::Failed);
    QCOMPARE(shownJobs(*m_filter), QStringList(QStringLiteral("料号.tgz")));
    m_filter->setOutcome(std::nullopt);
    m_filter->setSearch(QStringLiteral("  ab00000 "));
    QCOMPARE(shownJobs(*m_filter).size(), 2);
    m_filter->setSearch(QStringLiteral("乙"));
    QCOMPARE(shownJobs(*m_filter).size(), 2);
    m_filter->setOutcome(Outcome::Imported);
    QCOMPARE(shownJobs(*m_filter).size(), 0);
    m_filter->setSearch(QString());
    QCOMPARE(shownJobs(*m_filter), QStringList(QStringLiteral("b.zip")));
}

void HostRunEntries::numbersAreSortedAsNumbers()
{
    m_filter->sort(RunEntriesModel::Size, Qt::DescendingOrder);
    QCOMPARE(shownJobs(*m_filter).mid(0, 2), QStringList({QStringLiteral("b.zip"), QStringLiteral("a.zip")}));
    m_filter->sort(-1);
    QCOMPARE(shownJobs(*m_filter).first(), QStringLiteral("b.zip"));
}

void HostRunEntries::copiesAreLinesOfCells()
{
    const QString copied = m_filter->copyOf({m_filter->index(2, 0), m_filter->index(0, 0)});
    const QStringList lines = copied.split(QLatin1Char('\n'));
    QCOMPARE(lines.size(), 4);
    QCOMPARE(lines.last(), QString());
    for (int line = 0; line < 3; ++line)
        QCOMPARE(lines.at(line).count(QLatin1Char('\t')), RunEntriesModel::ColumnCount - 1);
    QVERIFY(lines.at(1).contains(QStringLiteral("b.zip")));
    QVERIFY(lines.at(2).contains(QStringLiteral("料号.tgz")));
}

void HostRunEntries::moreThatIsKnownKeepsTheRows()
{
    const QSignalSpy resets(m_entries.get(), &QAbstractItemModel::modelReset);
    RunRecord run = sampleRun();
    run.rows[0].warnings = {{QStringLiteral("archive-unreadable"), QStringLiteral("late")}};
    run.count();
    m_entries->amendRun(run);
    QCOMPARE(resets.count(), 0);
    QCOMPARE(m_entries->index(0, 0).data(RunEntriesModel::OutcomeRole).toInt(), int(Outcome::WithWarnings));
    run.rows.pop_back();
    m_entries->amendRun(run);
    QCOMPARE(resets.count(), 1);
}

void HostRunEntries::runsOfTheSiteAreReadInPages()
{
    const FreshSite site;
    constexpr int kept = 130;
    for (int i = 0; i < kept; ++i) {
        RunRecord run = sampleRun();
        run.guid = QStringLiteral("r%1").arg(i);
        QCOMPARE(keepRun(run), QString());
    }
    RunsModel runs;
    QSignalSpy loaded(&runs, &RunsModel::loaded);
    runs.reload();
    QTRY_COMPARE(loaded.count(), 1);
    QCOMPARE(runs.rowCount(), 100);
    QCOMPARE(runs.rowOf(QStringLiteral("r129")), 0);
    QVERIFY2(runs.index(0).data().toString().contains(QStringLiteral("/batch")),
             qPrintable(runs.index(0).data().toString()));
    QVERIFY(runs.canFetchMore({}));
    runs.fetchMore({});
    QTRY_COMPARE(loaded.count(), 2);
    QCOMPARE(runs.rowCount(), kept);
    QVERIFY(!runs.canFetchMore({}));
    QCOMPARE(runs.rowOf(QStringLiteral("r0")), kept - 1);
}

void HostRunEntries::ownRunsAreThereThoughNotKept()
{
    const FreshSite site;
    RunRecord other = sampleRun();
    other.guid = QStringLiteral("other");
    QCOMPARE(keepRun(other), QString());
    RunsModel runs;
    const QAbstractItemModelTester tester(&runs);
    RunRecord own = sampleRun();
    runs.put(own);
    own.counts.add(Outcome::Failed);
    runs.put(own);
    QCOMPARE(runs.rowCount(), 1);
    QCOMPARE(runs.run(0).counts.of(Outcome::Failed), 2);
    QSignalSpy loaded(&runs, &RunsModel::loaded);
    runs.reload();
    QTRY_COMPARE(loaded.count(), 1);
    QCOMPARE(runs.rowOf(own.guid), 0);
    QCOMPARE(runs.rowOf(other.guid), 1);
    QCOMPARE(keepRun(own), QString());
    runs.reload();
    QTRY_COMPARE(loaded.count(), 2);
    QCOMPARE(runs.rowCount(), 2);
}

ZAV_REGISTER_TEST(host_run_entries, HostRunEntries, QCoreApplication)

#include "host_run_entries.moc"
