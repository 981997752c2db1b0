// The strip and the page of results, as an operator works them.

#include "host/ResultStrip.h"
#include "host/ResultsView.h"
#include "host/Theme.h"
#include "host/core/RunEntriesModel.h"
#include "host/site/RunHistory.h"
#include "host/site/SiteAccess.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>
#include <QTimer>
#include <QToolButton>

#include <memory>

using namespace KOZAV::Host;
using namespace KOZAV::Test;

namespace {

RunRecord runOf(const char* guid, int imported)
{
    RunRecord run;
    run.guid = QString::fromLatin1(guid);
    run.source = QStringLiteral("/batches/2026-01");
    run.start = QDateTime::currentDateTimeUtc();
    run.end = run.start.addSecs(3);
    for (int i = 0; i < imported + 2; ++i) {
        BatchReportRow row;
        row.company = QStringLiteral("甲公司");
        row.entry = QStringLiteral("料号-%1.zip").arg(i);
        row.sourcePath = run.source + QStringLiteral("/甲公司/") + row.entry;
        row.result = i < imported ? BatchResult::Imported : BatchResult::NotImported;
        if (i < imported) {
            row.generatedName = QStringLiteral("AB%1").arg(i + 1, 6, 10, QLatin1Char('0'));
            row.storedName = QStringLiteral("stored-%1.zip").arg(i);
            row.bytes = 1000000 * (i + 1);
            row.seconds = 0.4;
        } else {
            row.reasonCode = i == imported ? QStringLiteral("no-space") : QStringLiteral("suffix-refused");
            row.reason = QStringLiteral("write: No space left on device");
        }
        run.rows.push_back(row);
    }
    run.rows.front().warnings = {{QStringLiteral("archive-cut-short"), QStringLiteral("cut at 3")}};
    run.count();
    return run;
}

} // namespace

class HostResultsView final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void theStripTellsTheRun();
    void theStripOpensTheResults();
    void withoutARunItSaysWhatToDo();
    void theLastRunIsShown();
    void anEntryIsExplained();
    void outcomeAndSearchNarrowTheEntries();
    void entriesAreCopied();
    void keptRunsAreLookedUp();
    void whatIsFoundLateKeepsThePlace();
    void resultsAreSaved();

private:
    template <typename Widget>
    [[nodiscard]] Widget* part(const char* name) const
    {
        return m_view->findChild<Widget*>(QString::fromLatin1(name));
    }
    [[nodiscard]] int shownEntries() const { return part<QTableView>("resultEntries")->model()->rowCount(); }

    std::unique_ptr<FreshSite> m_site;
    std::unique_ptr<SiteAccess> m_access;
    std::unique_ptr<ResultsView> m_view;
};

void HostResultsView::init()
{
    m_site = std::make_unique<FreshSite>();
    m_access = std::make_unique<SiteAccess>(m_site->configuration());
    QCOMPARE(m_access->open(), QString());
    m_view = std::make_unique<ResultsView>(*m_access);
    m_view->resize(900, 600);
}

void HostResultsView::cleanup()
{
    m_view.reset();
    m_access.reset();
    m_site.reset();
}

void HostResultsView::theStripTellsTheRun()
{
    ResultStrip strip;
    QVERIFY(strip.isHidden());
    strip.show(runOf("r1", 3));
    QVERIFY(!strip.isHidden());
    QVERIFY(!strip.findChild<QLabel*>(QStringLiteral("resultBadge"))->isHidden());
    const auto count = [&strip](const char* name) {
        return strip.findChild<QToolButton*>(QStringLiteral("result-%1").arg(QLatin1String(name)));
    };
    QVERIFY(count("imported")->text().contains(QLatin1Char('2')));
    QVERIFY(!count("failed")->isHidden());
    QVERIFY(!count("refused")->isHidden());
    QVERIFY(!count("with-warnings")->isHidden());
    QVERIFY(count("unknown")->isHidden());
    QVERIFY(strip.accessibleDescription().contains(count("failed")->text()));
    RunRecord fine = runOf("r2", 3);
    fine.rows.resize(2);
    fine.count();
    strip.show(fine);
    QVERIFY(strip.findChild<QLabel*>(QStringLiteral("resultBadge"))->isHidden());
}

void HostResultsView::theStripOpensTheResults()
{
    ResultStrip strip;
    strip.show(runOf("r1", 3));
    QSignalSpy all(&strip, &ResultStrip::allChosen);
    Outcome chosen = Outcome::Imported;
    connect(&strip, &ResultStrip::outcomeChosen, this, [&chosen](Outcome outcome) { chosen = outcome; });
    strip.findChild<QToolButton*>(QStringLiteral("result-failed"))->click();
    QCOMPARE(chosen, Outcome::Failed);
    strip.findChild<QToolButton*>(QStringLiteral("resultTitle"))->click();
    QCOMPARE(all.count(), 1);
}

void HostResultsView::withoutARunItSaysWhatToDo()
{
    m_view->show(RunRecord());
    static_cast<QWidget*>(m_view.get())->show();
    QVERIFY(part<QTableView>("resultEntries")->isHidden());
    QVERIFY(part<QLabel>("resultEmpty")->text().contains(QStringLiteral("Nothing has been imported yet.")));
    QVERIFY(!part<QPushButton>("resultExport")->isEnabled());
}

void HostResultsView::theLastRunIsShown()
{
    m_view->show(runOf("r1", 3));
    QCOMPARE(shownEntries(), 5);
    QVERIFY(part<QComboBox>("resultRun")->currentText().contains(QStringLiteral("/batches/2026-01")));
    QVERIFY(part<QPlainTextEdit>("resultDetail")->toPlainText().contains(QStringLiteral("/batches/2026-01")));
    m_view->showLast(Outcome::Failed);
    QCOMPARE(shownEntries(), 1);
    m_view->showLast(std::nullopt);
    QCOMPARE(shownEntries(), 5);
}

void HostResultsView::anEntryIsExplained()
{
    m_view->show(runOf("r1", 3));
    part<QTableView>("resultEntries")->selectRow(3);
    const QString detail = part<QPlainTextEdit>("resultDetail")->toPlainText();
    QVERIFY2(detail.contains(QStringLiteral("What to do: Make room")), qPrintable(detail));
    QVERIFY(detail.contains(QStringLiteral("No space left on device")));
}

void HostResultsView::outcomeAndSearchNarrowTheEntries()
{
    m_view->show(runOf("r1", 3));
    auto* outcome = part<QComboBox>("resultOutcome");
    outcome->setCurrentIndex(outcome->findData(int(Outcome::Refused)));
    QCOMPARE(shownEntries(), 1);
    outcome->setCurrentIndex(0);
    QTest::keyClicks(part<QLineEdit>("resultSearch"), QStringLiteral("AB000002"));
    QCOMPARE(shownEntries(), 1);
    QTest::keyClicks(part<QLineEdit>("resultSearch"), QStringLiteral("x"));
    QCOMPARE(shownEntries(), 0);
    QVERIFY(part<QLabel>("resultEmpty")->text().startsWith(QStringLiteral("No entry of this import")));
    QVERIFY(!part<QPushButton>("resultCopy")->isEnabled());
}

void HostResultsView::entriesAreCopied()
{
    m_view->show(runOf("r1", 3));
    static_cast<QWidget*>(m_view.get())->show();
    auto* table = part<QTableView>("resultEntries");
    table->setFocus();
    table->selectRow(1);
    QApplication::setActiveWindow(m_view.get());
    QTRY_VERIFY(table->hasFocus());
    QTest::keyClick(table, Qt::Key_C, Qt::ControlModifier);
    QString copied = QApplication::clipboard()->text();
    QCOMPARE(copied.count(QLatin1Char('\n')), 2);
    QVERIFY2(copied.contains(QStringLiteral("料号-1.zip")), qPrintable(copied));
    table->clearSelection();
    part<QPushButton>("resultCopy")->click();
    QCOMPARE(QApplication::clipboard()->text().count(QLatin1Char('\n')), 6);
}

void HostResultsView::keptRunsAreLookedUp()
{
    RunRecord other = runOf("other", 7);
    QCOMPARE(keepRun(other), QString());
    static_cast<QWidget*>(m_view.get())->show();
    // The newest is shown by itself.
    QTRY_COMPARE(shownEntries(), 9);
    m_view->show(runOf("r1", 3));
    QCOMPARE(shownEntries(), 5);
    auto* runs = part<QComboBox>("resultRun");
    QCOMPARE(runs->count(), 2);
    runs->setFocus();
    runs->setCurrentIndex(1);
    Q_EMIT runs->activated(1);
    QTRY_COMPARE(shownEntries(), 9);
    m_view->showLast(std::nullopt);
    QCOMPARE(shownEntries(), 5);
    QCOMPARE(runs->currentIndex(), 0);
}

void HostResultsView::whatIsFoundLateKeepsThePlace()
{
    RunRecord run = runOf("r1", 3);
    m_view->show(run);
    auto* table = part<QTableView>("resultEntries");
    table->selectRow(2);
    run.rows[2].warnings = {{QStringLiteral("archive-unreadable"), QStringLiteral("late finding")}};
    run.count();
    m_view->amend(run);
    QCOMPARE(table->currentIndex().row(), 2);
    QVERIFY(part<QPlainTextEdit>("resultDetail")->toPlainText().contains(QStringLiteral("late finding")));
    const auto* outcome = part<QComboBox>("resultOutcome");
    QVERIFY(outcome->itemText(outcome->findData(int(Outcome::WithWarnings))).contains(QLatin1Char('2')));
}

void HostResultsView::resultsAreSaved()
{
    m_view->show(runOf("r1", 3));
    static_cast<QWidget*>(m_view.get())->show();
    const QString path = m_site->path(QStringLiteral("results.html"));
    QTimer::singleShot(0, this, [&path] {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        QVERIFY(dialog);
        dialog->selectFile(path);
        dialog->findChild<QLineEdit*>()->setText(path);
        static_cast<QDialog*>(dialog)->accept();
    });
    QApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    part<QPushButton>("resultExport")->click();
    QVERIFY(contentOf(path).contains("料号-3.zip"));
    QVERIFY(part<QLabel>("resultState")->text().contains(path));
}

ZAV_REGISTER_TEST(host_results_view, HostResultsView, QApplication)

#include "host_results_view.moc"
