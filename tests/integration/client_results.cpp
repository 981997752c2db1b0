// What the window shows and the site keeps of imports that an operator makes with the panel.

#include "host/MainWindow.h"
#include "host/ResultStrip.h"
#include "host/ResultsView.h"
#include "host/RunResults.h"
#include "host/ServiceLog.h"
#include "host/SourceWatch.h"
#include "host/core/RunEntriesModel.h"
#include "host/site/RunHistory.h"
#include "host/site/SiteAccess.h"
#include "tests/support/DialogDriver.h"
#include "tests/support/FreshSite.h"
#include "tests/support/PanelView.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QPushButton>
#include <QTableView>
#include <QTest>
#include <QToolButton>

#include <algorithm>
#include <memory>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

namespace {

void write(const QString& path, const QByteArray& content)
{
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(path));
    QCOMPARE(file.write(content), qint64(content.size()));
}

/// An archive that ends before its own end.
QByteArray cutArchive()
{
    return emptyZip(QByteArray(1000, 'x')).left(10);
}

} // namespace

class ClientResults final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void aBatchIsToldAndKept();
    void aSingleImportIsToldAndKept();
    void whatCouldNotBeKeptIsToldAndKeptLater();

private:
    void importBatch();
    [[nodiscard]] std::vector<RunSummary> runs() const;
    [[nodiscard]] QToolButton* count(Outcome outcome) const
    {
        return m_window->findChild<ResultStrip*>()->findChild<QToolButton*>(QStringLiteral("result-") +
                                                                            outcomeName(outcome));
    }

    std::unique_ptr<FreshSite> m_site;
    ServiceLog m_log;
    std::unique_ptr<SiteAccess> m_access;
    std::unique_ptr<MainWindow> m_window;
};

void ClientResults::init()
{
    m_site = std::make_unique<FreshSite>();
    m_site->addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    m_access = std::make_unique<SiteAccess>(m_site->configuration());
    QCOMPARE(m_access->open(), QString());
    m_window = std::make_unique<MainWindow>(*m_access, m_log);
    m_window->show();
}

void ClientResults::cleanup()
{
    m_window.reset();
    m_access.reset();
    m_site.reset();
}

void ClientResults::importBatch()
{
    DialogDriver dialogs;
    const PanelView panel(*m_window->importPanel());
    dialogs.expectFileDialog({m_site->path(QStringLiteral("batch"))});
    panel.openFolder->click();
    dialogs.expectMessage();
    dialogs.expectMessage();
    panel.batchImport->click();
    QCOMPARE(dialogs.complaint(), QString());
}

std::vector<RunSummary> ClientResults::runs() const
{
    QString failure;
    return keptRuns(10, 0, failure).value_or(std::vector<RunSummary>());
}

void ClientResults::aBatchIsToldAndKept()
{
    write(m_site->path(QStringLiteral("batch/甲/good.zip")), emptyZip(QByteArray(10, 'x')));
    write(m_site->path(QStringLiteral("batch/甲/cut.zip")), cutArchive());
    write(m_site->path(QStringLiteral("batch/甲/notes.txt")), "text");
    QVERIFY(m_window->findChild<ResultStrip*>()->isHidden());
    importBatch();
    QVERIFY(m_window->findChild<ResultStrip*>()->isVisible());
    QVERIFY(count(Outcome::Refused)->isVisible());
    // What is read along comes when it is read.
    QTRY_VERIFY(count(Outcome::WithWarnings)->isVisible());
    QVERIFY(count(Outcome::Imported)->text().contains(QLatin1Char('1')));
    QTRY_COMPARE(runs().front().counts.of(Outcome::WithWarnings), 1);
    QCOMPARE(runs().size(), std::size_t(1));

    count(Outcome::Refused)->click();
    auto* view = m_window->findChild<ResultsView*>();
    QVERIFY(view->isVisible());
    const auto* table = view->findChild<QTableView*>(QStringLiteral("resultEntries"));
    QCOMPARE(table->model()->rowCount(), 1);
    QCOMPARE(table->model()->index(0, RunEntriesModel::Job).data().toString(), QStringLiteral("notes.txt"));
}

void ClientResults::aSingleImportIsToldAndKept()
{
    const QString file = m_site->path(QStringLiteral("one.zip"));
    write(file, emptyZip(QByteArray(10, 'x')));
    DialogDriver dialogs;
    const PanelView panel(*m_window->importPanel());
    panel.company->setCurrentText(QStringLiteral("甲"));
    dialogs.expectFileDialog({file});
    panel.openFile->click();
    dialogs.expectMessage();
    panel.singleImport->click();
    QCOMPARE(dialogs.complaint(), QString());
    QVERIFY(count(Outcome::Imported)->isVisible());
    QVERIFY(!count(Outcome::Failed)->isVisible());
    QCOMPARE(runs().size(), std::size_t(1));
    QCOMPARE(runs().front().source, file);
    QCOMPARE(runs().front().guid, m_window->runResults().last().guid);
}

/// The configuration goes with the last call of the first import, and comes back before the second.
void ClientResults::whatCouldNotBeKeptIsToldAndKeptLater()
{
    write(m_site->path(QStringLiteral("batch/甲/one.zip")), emptyZip(QByteArray(10, 'x')));
    const QString configuration = m_site->configuration();
    const QString away = configuration + QStringLiteral(".away");
    auto connection =
        connect(m_access.get(), &SiteAccess::serviceCalled, this, [&](const Backend::OperationEvent& event) {
            if (event.operation == Backend::ServiceOperation::UpdateBatchNumber)
                QVERIFY(QFile::rename(configuration, away));
        });
    importBatch();
    disconnect(connection);
    const auto& remarks = m_window->runResults().last().remarks;
    const bool told = std::any_of(remarks.begin(), remarks.end(), [](const Remark& remark) {
        return remark.code == QStringLiteral("history-not-kept");
    });
    QVERIFY(told);
    const QString first = m_window->runResults().last().guid;
    QVERIFY(QFile::rename(away, configuration));
    importBatch();
    QCOMPARE(runs().size(), std::size_t(2));
    QCOMPARE(runs().back().guid, first);
    QString failure;
    const RunRecord kept = keptRun(first, failure).value_or(RunRecord());
    QCOMPARE(kept.rows.size(), std::size_t(1));
    for (const Remark& remark : kept.remarks)
        QVERIFY(remark.code != QStringLiteral("history-not-kept"));
}

ZAV_REGISTER_TEST(client_results, ClientResults, QApplication)

#include "client_results.moc"
