#include "tests/support/PanelHarness.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QLabel>
#include <QProgressBar>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>

using namespace KOZAV;
using KOZAV::Test::company;
using KOZAV::Test::PanelHarness;
using KOZAV::Test::ShownDialog;

namespace {

/// The order in which widgets are shown.
class ShowOrder final : public QObject
{
public:
    QList<QObject*> shown;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show)
            shown << watched;
        return false;
    }
};

} // namespace

class PanelBatchProgressTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void processingControlsAreSeenDuringTheRun();
    void labelIsShownBeforeTheBar();
    void processingControlsAreHiddenBeforeTheMessages();
    void processingControlsAreHiddenAtTheEnd();
    void emptyBatchDirectoryLeavesThemVisible();
    void nextRunAfterAnEmptyOneHidesThem();
    void maximumIsTheNumberOfCompanies();
    void barAdvancesByOneForEachCompany();
    void barAdvancesAfterTheBatchNumberIsWritten();
    void barAdvancesForAnUnknownCompanyToo();
    void barDoesNotAdvanceForJobs();
    void barIsNotResetAtTheNextRun();
    void barKeepsItsValueAfterTheRun();
    void eventLoopDoesNotRunBetweenCompanies();
    void runIsSynchronous();

private:
    [[nodiscard]] Test::RecordingServices& services() const { return m_harness->services; }
    [[nodiscard]] const Test::PanelView& view() const { return m_harness->view(); }
    void chooseBatch(const QStringList& folders);

    std::unique_ptr<PanelHarness> m_harness;
};

void PanelBatchProgressTest::init()
{
    m_harness = std::make_unique<PanelHarness>();
    services().results.companies = {company(7, "AA", "A", 41, 4), company(8, "BB", "B", 0, 10),
                                    company(9, "CC", "C", 0, 20)};
    m_harness->open();
}

void PanelBatchProgressTest::cleanup()
{
    VERIFY_DIALOGS(*m_harness);
    m_harness.reset();
}

void PanelBatchProgressTest::chooseBatch(const QStringList& folders)
{
    for (const QString& folder : folders)
        m_harness->makeFolder(QStringLiteral("batch/") + folder);
    m_harness->chooseBatchDirectory(m_harness->makeFolder(QStringLiteral("batch")));
}

void PanelBatchProgressTest::processingControlsAreSeenDuringTheRun()
{
    int seen = 0;
    const auto look = [&] { seen += view().processing->isVisible() && view().progress->isVisible() ? 1 : 0; };
    services().results.hooks["Odbpp_CompanyBll::select"] = look;
    services().results.hooks["FoldersCompressSave2MongoDb"] = look;
    services().results.hooks["UpdateBatchNumber"] = look;
    chooseBatch({QStringLiteral("A/job")});
    m_harness->importBatch();
    QCOMPARE(seen, 4);
}

void PanelBatchProgressTest::labelIsShownBeforeTheBar()
{
    ShowOrder order;
    view().processing->installEventFilter(&order);
    view().progress->installEventFilter(&order);
    chooseBatch({QStringLiteral("A")});
    m_harness->importBatch();
    QCOMPARE(order.shown, (QList<QObject*>{view().processing, view().progress}));
}

void PanelBatchProgressTest::processingControlsAreHiddenBeforeTheMessages()
{
    int messages = 0;
    int visible = 0;
    m_harness->dialogs.observer = [&](const ShownDialog& dialog) {
        if (dialog.kind != ShownDialog::Kind::Message)
            return;
        ++messages;
        visible += view().processing->isVisible() || view().progress->isVisible() ? 1 : 0;
    };
    chooseBatch({QStringLiteral("A/job")});
    m_harness->importBatch();
    QCOMPARE(messages, 2);
    QCOMPARE(visible, 0);
}

void PanelBatchProgressTest::processingControlsAreHiddenAtTheEnd()
{
    chooseBatch({QStringLiteral("A/job")});
    m_harness->importBatch();
    QVERIFY(!view().processing->isVisible());
    QVERIFY(!view().progress->isVisible());
}

void PanelBatchProgressTest::emptyBatchDirectoryLeavesThemVisible()
{
    chooseBatch({});
    m_harness->press(view().batchImport);
    QVERIFY(view().processing->isVisible());
    QVERIFY(view().progress->isVisible());
    QCOMPARE(view().progress->maximum(), QProgressBar().maximum());
    QCOMPARE(view().progress->value(), QProgressBar().value());
}

void PanelBatchProgressTest::nextRunAfterAnEmptyOneHidesThem()
{
    chooseBatch({});
    m_harness->press(view().batchImport);
    m_harness->makeFolder(QStringLiteral("batch/A"));
    m_harness->importBatch();
    QVERIFY(!view().processing->isVisible());
    QVERIFY(!view().progress->isVisible());
}

void PanelBatchProgressTest::maximumIsTheNumberOfCompanies()
{
    int maximumAtStart = -1;
    services().results.hooks["Odbpp_CompanyBll::select"] = [&] {
        maximumAtStart = maximumAtStart < 0 ? view().progress->maximum() : maximumAtStart;
    };
    m_harness->makeFile(QStringLiteral("batch/loose.tgz"));
    chooseBatch({QStringLiteral("A"), QStringLiteral("B/job"), QStringLiteral("C")});
    m_harness->importBatch();
    QCOMPARE(maximumAtStart, 3);
    QCOMPARE(view().progress->maximum(), 3);
    QCOMPARE(view().progress->minimum(), 0);
}

void PanelBatchProgressTest::barAdvancesByOneForEachCompany()
{
    QSignalSpy spy(view().progress, &QProgressBar::valueChanged);
    chooseBatch(
        {QStringLiteral("A/one"), QStringLiteral("A/two"), QStringLiteral("A/three"), QStringLiteral("B")});
    m_harness->importBatch();
    QCOMPARE(spy, (QList<QVariantList>{{1}, {2}}));
}

void PanelBatchProgressTest::barAdvancesAfterTheBatchNumberIsWritten()
{
    QList<int> values;
    services().results.hooks["UpdateBatchNumber"] = [&] { values << view().progress->value(); };
    chooseBatch({QStringLiteral("A"), QStringLiteral("B"), QStringLiteral("C")});
    m_harness->importBatch();
    QCOMPARE(values, (QList<int>{-1, 1, 2}));
}

void PanelBatchProgressTest::barAdvancesForAnUnknownCompanyToo()
{
    QSignalSpy spy(view().progress, &QProgressBar::valueChanged);
    chooseBatch({QStringLiteral("A"), QStringLiteral("nobody")});
    m_harness->importBatch();
    QCOMPARE(spy, (QList<QVariantList>{{1}, {2}}));
}

void PanelBatchProgressTest::barDoesNotAdvanceForJobs()
{
    QList<int> values;
    services().results.hooks["FoldersCompressSave2MongoDb"] = [&] { values << view().progress->value(); };
    chooseBatch({QStringLiteral("A"), QStringLiteral("B/one"), QStringLiteral("B/two")});
    m_harness->importBatch();
    QCOMPARE(values, (QList<int>{1, 1}));
}

void PanelBatchProgressTest::barIsNotResetAtTheNextRun()
{
    chooseBatch({QStringLiteral("A"), QStringLiteral("B")});
    m_harness->importBatch();
    QList<int> values;
    services().results.hooks["Odbpp_CompanyBll::select"] = [&] { values << view().progress->value(); };
    m_harness->importBatch();
    QCOMPARE(values, (QList<int>{2, 1}));
}

void PanelBatchProgressTest::barKeepsItsValueAfterTheRun()
{
    chooseBatch({QStringLiteral("A"), QStringLiteral("B")});
    m_harness->importBatch();
    QCOMPARE(view().progress->value(), 2);
}

void PanelBatchProgressTest::eventLoopDoesNotRunBetweenCompanies()
{
    bool posted = false;
    bool delivered = false;
    int deliveredDuringTheRun = 0;
    services().results.hooks["Odbpp_CompanyBll::select"] = [&] {
        if (!posted)
            QMetaObject::invokeMethod(
                this, [&delivered] { delivered = true; }, Qt::QueuedConnection);
        posted = true;
    };
    services().results.hooks["UpdateBatchNumber"] = [&] { deliveredDuringTheRun += delivered ? 1 : 0; };
    chooseBatch({QStringLiteral("A/job"), QStringLiteral("B/job"), QStringLiteral("C/job")});
    m_harness->importBatch();
    QVERIFY(posted);
    QCOMPARE(deliveredDuringTheRun, 0);
    QVERIFY(delivered);
}

void PanelBatchProgressTest::runIsSynchronous()
{
    chooseBatch({QStringLiteral("A/job")});
    m_harness->importBatch();
    QCOMPARE(services().lastEntry(), Test::call("refreshOrigFileTable"));
}

ZAV_REGISTER_TEST(panel_batch_progress, PanelBatchProgressTest, QApplication)

#include "panel_batch_progress.moc"
