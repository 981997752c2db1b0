// The lists of jobs of the window: what is in memory, what is read when something has changed, and what stays
// where it was.

#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/records/RobotRequests.h"
#include "host/JobTable.h"
#include "host/JobsView.h"
#include "host/WaitingJobsView.h"
#include "host/core/JobReader.h"
#include "host/core/JobsModel.h"
#include "host/core/RunGate.h"
#include "host/core/WaitingModel.h"
#include "tests/support/FilledDatabase.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

namespace {

Backend::Database& rows()
{
    return *Backend::Site::current().database().value();
}

/// A site with so many jobs.
class FilledSite final
{
public:
    explicit FilledSite(int jobs)
    {
        if (const auto added = addVariedJobs(rows(), jobs); !added.ok())
            qFatal("%s", qUtf8Printable(added.message()));
    }

    /// As another client would, whose flow keys nobody knows here.
    static void change(const char* sql, const QVariantList& values = {})
    {
        const auto changed = rows().change(sql, values, Backend::Durability::Deferred);
        if (!changed.ok() || changed.value() == 0)
            qFatal("%s: %s", sql, qUtf8Printable(changed.message()));
    }

    static void addJob(const QString& generatedName)
    {
        change("INSERT INTO job_flow (guid, job_name, ko_serial_name, flow_no, user_id, created_time)"
               " VALUES (?, 'new', ?, '', 1, '2026-02-01T00:00:00.000Z')",
               {QStringLiteral("flow-") + generatedName, generatedName});
        change("INSERT INTO job_compress (flow_guid, company_name, company_code, company_id, job_name,"
               " stored_name, suffix, remark, file_store, user_id, job_number, created_time)"
               " SELECT ?, name, code, id, 'new', 'new.tgz', 'tgz', '', 'odbpp', 1, 1, '' FROM company"
               " WHERE code = 'HX'",
               {QStringLiteral("flow-") + generatedName});
    }

private:
    FreshSite m_site;
};

QStringList names(const JobListModel& model, int from, int count)
{
    QStringList list;
    for (int row = from; row < from + count; ++row) {
        const ListedJob* const job = model.job(row);
        list << (job ? job->generatedName : QStringLiteral("-"));
    }
    return list;
}

int firstNumber(const JobListModel& model)
{
    const ListedJob* const job = model.job(0);
    return job ? job->jobId : -1;
}

void readAll(JobListModel& model)
{
    while (model.canFetchMore({})) {
        QSignalSpy told(&model, &JobListModel::told);
        model.setVisibleRows(model.rowCount() - 20, model.rowCount() - 1);
        model.fetchMore({});
        QTRY_VERIFY(!told.isEmpty());
    }
}

} // namespace

class HostJobListsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void pagesComeAsTheyAreAskedFor();
    void memoryDoesNotGrowWithTheSite();
    void onlyWhatChangedIsTold();
    void manyNewJobsAreTakenIn();
    void sortingAndSearchingReadAnew();
    void answersWaitForThePanel();
    void failedRequestsStandFirst();
    void selectionAndPlaceAreKept();
    void columnsThatAreNoOrderKeepIt();
    void jobIsSoughtInTheView();
    void emptySiteSaysWhatToDo();
    void waitingJobIsOpened();
    void changesOfOthersAreFollowed();
};

void HostJobListsTest::pagesComeAsTheyAreAskedFor()
{
    const FilledSite site(450);
    JobReader reader;
    JobsModel model(reader);
    QSignalSpy counted(&model, &JobListModel::counted);
    QCOMPARE(model.rowCount(), 0);
    QVERIFY(!model.canFetchMore({}));
    model.begin();
    QTRY_COMPARE(model.rowCount(), 200);
    QTRY_COMPARE(counted.count(), 1);
    QCOMPARE(counted.front().front().toLongLong(), qint64(450));
    QCOMPARE(firstNumber(model), 450);
    readAll(model);
    QCOMPARE(model.rowCount(), 450);
    QCOMPARE(model.job(449)->jobId, 1);
    QCOMPARE(model.rowOf(model.job(321)->flowKey), 321);
    QCOMPARE(model.index(449, JobsModel::Size).data().toString(), QLocale().formattedDataSize(1));
    QCOMPARE(model.index(446, JobsModel::Size).data().toString(), QStringLiteral("—"));
    QCOMPARE(model.index(449, JobsModel::State).data().toString(), QStringLiteral("Waiting"));
}

void HostJobListsTest::memoryDoesNotGrowWithTheSite()
{
    const FilledSite site(5500);
    JobReader reader;
    JobsModel model(reader);
    model.begin();
    QTRY_COMPARE(model.rowCount(), 200);
    readAll(model);
    QCOMPARE(model.rowCount(), 5500);
    QVERIFY2(model.jobsInMemory() <= 21 * 200, qPrintable(QString::number(model.jobsInMemory())));
    // Back at the top nothing is there until it has been read again.
    QVERIFY(!model.job(3));
    model.setVisibleRows(0, 20);
    QCOMPARE(model.index(3, JobsModel::Job).data().toString(), QStringLiteral("…"));
    QTRY_VERIFY(model.job(3));
    QCOMPARE(model.job(3)->jobId, 5497);
    QCOMPARE(model.rowCount(), 5500);
}

/// Views keep what they know of the other rows.
void HostJobListsTest::onlyWhatChangedIsTold()
{
    const FilledSite site(450);
    JobReader reader;
    JobsModel model(reader);
    model.begin();
    QTRY_COMPARE(model.rowCount(), 200);
    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    const QString second = model.job(1)->flowKey;
    FilledSite::addJob(QStringLiteral("HX000901"));
    FilledSite::addJob(QStringLiteral("HX000902"));
    FilledSite::change("UPDATE job_flow SET state = 7 WHERE guid = ?", {second});
    model.refresh();
    QTRY_COMPARE(model.rowCount(), 202);
    QCOMPARE(inserted.count(), 1);
    QCOMPARE(inserted.front().at(1).toInt(), 0);
    QCOMPARE(inserted.front().at(2).toInt(), 1);
    QCOMPARE(model.rowOf(second), 3);
    QCOMPARE(model.job(3)->state.first, 7);
    QCOMPARE(changed.count(), 1);

    FilledSite::change("DELETE FROM job_compress WHERE flow_guid = 'flow-HX000901'");
    FilledSite::change("DELETE FROM job_flow WHERE guid = 'flow-HX000901'");
    model.refresh();
    QTRY_COMPARE(model.rowCount(), 201);
    QCOMPARE(removed.count(), 1);
    QCOMPARE(removed.front().at(1).toInt(), 1);
    QCOMPARE(model.job(0)->generatedName, QStringLiteral("HX000902"));

    // Nothing has changed.
    QSignalSpy told(&model, &JobListModel::told);
    model.refresh();
    QTRY_VERIFY(!told.isEmpty());
    QCOMPARE(inserted.count() + removed.count(), 2);
    QCOMPARE(changed.count(), 2);
    QCOMPARE(reset.count(), 0);
}

void HostJobListsTest::manyNewJobsAreTakenIn()
{
    const FilledSite site(300);
    JobReader reader;
    JobsModel model(reader);
    model.begin();
    QTRY_COMPARE(model.rowCount(), 200);
    const QString kept = model.job(10)->flowKey;
    int all = 300;
    for (const int added : {450, 1100}) {
        const int before = model.rowOf(kept);
        QVERIFY(rows()
                    .transaction([&]() -> Backend::Status {
                        for (int i = 0; i < added; ++i)
                            FilledSite::addJob(QStringLiteral("N%1-%2").arg(added).arg(i));
                        return {};
                    })
                    .ok());
        model.refresh();
        const QString newest = QStringLiteral("N%1-%2").arg(added).arg(added - 1);
        QTRY_COMPARE(names(model, 0, 1), QStringList{newest});
        readAll(model);
        QCOMPARE(model.rowOf(kept), before + added);
        all += added;
        QCOMPARE(model.rowCount(), all);
    }
}

void HostJobListsTest::sortingAndSearchingReadAnew()
{
    const FilledSite site(450);
    JobReader reader;
    JobsModel model(reader);
    model.begin();
    QTRY_COMPARE(firstNumber(model), 450);
    model.sort(JobsModel::GeneratedName, Qt::AscendingOrder);
    QTRY_VERIFY(model.job(0)->generatedName.startsWith(QStringLiteral("AC")));
    model.sort(JobsModel::Time, Qt::AscendingOrder);
    QTRY_COMPARE(firstNumber(model), 1);
    JobQuery query = model.query();
    query.companyCode = QStringLiteral("HX1");
    query.state = FlowState(0, 0);
    QSignalSpy counted(&model, &JobListModel::counted);
    model.setQuery(query);
    QTRY_COMPARE(counted.count(), 1);
    QCOMPARE(counted.front().front().toLongLong(), qint64(model.rowCount()));
    QVERIFY(model.rowCount() > 0);
    for (int row = 0; row < model.rowCount(); ++row) {
        QCOMPARE(model.job(row)->company, QStringLiteral("Company HX1"));
        QCOMPARE(model.job(row)->state, FlowState(0, 0));
    }
    // Of several in a row the last one counts.
    for (const char* const name : {"A", "AC", "AC0000", "HX0001"}) {
        query.companyCode.clear();
        query.generatedName = QLatin1String(name);
        model.setQuery(query);
    }
    QTRY_VERIFY(model.rowCount() > 0 && model.job(0)->generatedName.startsWith(QStringLiteral("HX0001")));
}

void HostJobListsTest::answersWaitForThePanel()
{
    const FilledSite site(20);
    JobReader reader;
    JobsModel model(reader);
    model.begin();
    QTRY_COMPARE(model.rowCount(), 20);
    RunGate::close();
    FilledSite::addJob(QStringLiteral("HX000901"));
    model.refresh();
    bool asked = false;
    reader.ask(&model, [&asked]() -> JobReader::Answer {
        asked = true;
        return {};
    });
    QTRY_VERIFY(asked);
    QCoreApplication::processEvents();
    QCOMPARE(model.rowCount(), 20);
    RunGate::open();
    QTRY_COMPARE(model.rowCount(), 21);
}

void HostJobListsTest::failedRequestsStandFirst()
{
    const FilledSite site(60);
    JobReader reader;
    WaitingModel model(reader);
    model.begin();
    QTRY_VERIFY(model.rowCount() > 0);
    const int waiting = model.rowCount();
    const int first = model.job(0)->jobId;
    const auto atRobot = Backend::listJobs(rows(), [] {
        Backend::JobFilter filter;
        filter.state = 1;
        return filter;
    }());
    const Backend::JobRecord& failed = atRobot->front();
    Backend::RobotRequestRecord request;
    request.origin = Backend::RobotOrigin::Confirmed;
    request.outcome = Backend::RobotOutcome::NotSent;
    request.flowGuid = failed.flowGuid;
    request.generatedName = failed.generatedName;
    request.reason = QStringLiteral("nobody there");
    QVERIFY(Backend::addRobotRequest(rows(), request).ok());
    model.refresh();
    QTRY_COMPARE(model.rowCount(), waiting + 1);
    QCOMPARE(model.job(0)->generatedName, failed.generatedName);
    QCOMPARE(model.job(1)->jobId, first);
    QCOMPARE(model.index(0, WaitingModel::Note).data().toString(), QStringLiteral("Request failed"));
    QVERIFY(model.index(0, WaitingModel::Note).data(Qt::ToolTipRole).toString().contains(request.reason));
    QCOMPARE(model.index(1, WaitingModel::Note).data().toString(), QString());

    model.search(failed.generatedName.left(failed.generatedName.size() - 1));
    QTRY_VERIFY(model.rowCount() < waiting);
    QCOMPARE(model.job(0)->generatedName, failed.generatedName);
    model.search(QStringLiteral("nothing"));
    QTRY_COMPARE(model.rowCount(), 0);
    model.search(QString());
    QTRY_COMPARE(model.rowCount(), waiting + 1);
    request.outcome = Backend::RobotOutcome::Answered;
    request.origin = Backend::RobotOrigin::Resent;
    QVERIFY(Backend::addRobotRequest(rows(), request).ok());
    model.refresh();
    QTRY_COMPARE(model.rowCount(), waiting);
    QCOMPARE(model.job(0)->jobId, first);
}

void HostJobListsTest::selectionAndPlaceAreKept()
{
    const FilledSite site(450);
    JobReader reader;
    JobsModel model(reader);
    JobTable table(model, QStringLiteral("test"));
    table.setColumns({100}, {});
    table.resize(600, 400);
    table.show();
    model.begin();
    QTRY_COMPARE(model.rowCount(), 200);
    table.selectRow(60);
    const QString selected = table.selectedJob();
    table.verticalScrollBar()->setValue(50);
    const QString top = model.job(table.rowAt(0))->flowKey;
    for (int i = 0; i < 3; ++i)
        FilledSite::addJob(QStringLiteral("HX00090%1").arg(i));
    model.refresh();
    QTRY_COMPARE(model.rowCount(), 203);
    QTRY_COMPARE(model.job(table.rowAt(0))->flowKey, top);
    QCOMPARE(table.selectedJob(), selected);
    QCOMPARE(table.currentIndex().row(), 63);

    // At the top new jobs come into sight.
    table.verticalScrollBar()->setValue(0);
    FilledSite::addJob(QStringLiteral("HX000909"));
    model.refresh();
    QTRY_COMPARE(model.rowCount(), 204);
    QTRY_COMPARE(table.verticalScrollBar()->value(), 0);

    model.sort(JobsModel::Time, Qt::AscendingOrder);
    QTRY_COMPARE(firstNumber(model), 1);
    model.sort(JobsModel::Time, Qt::DescendingOrder);
    QTRY_VERIFY(firstNumber(model) > 450);
    table.selectRow(2);
    table.copySelected();
    QVERIFY(QApplication::clipboard()->text().contains(model.job(2)->generatedName + QLatin1Char('\t')));
}

void HostJobListsTest::columnsThatAreNoOrderKeepIt()
{
    const FilledSite site(30);
    JobReader reader;
    JobsModel model(reader);
    JobTable table(model, QStringLiteral("test"));
    table.setColumns({100}, {JobsModel::StoredName});
    table.showOrder(JobsModel::Time, Qt::DescendingOrder);
    QVERIFY(table.isColumnHidden(JobsModel::StoredName));
    model.begin();
    QTRY_COMPARE(firstNumber(model), 30);
    table.horizontalHeader()->setSortIndicator(JobsModel::Size, Qt::AscendingOrder);
    QCOMPARE(table.horizontalHeader()->sortIndicatorSection(), int(JobsModel::Time));
    QCOMPARE(table.horizontalHeader()->sortIndicatorOrder(), Qt::DescendingOrder);
    table.horizontalHeader()->setSortIndicator(JobsModel::Time, Qt::AscendingOrder);
    QTRY_COMPARE(firstNumber(model), 1);
}

void HostJobListsTest::jobIsSoughtInTheView()
{
    const FilledSite site(120);
    JobReader reader;
    JobsView view(reader);
    view.show();
    auto* table = view.findChild<JobTable*>();
    const auto* count = view.findChild<QLabel*>(QStringLiteral("jobsCount"));
    QTRY_COMPARE(count->text(), QStringLiteral("Jobs: 120"));
    auto* company = view.findChild<QComboBox*>(QStringLiteral("searchCompany"));
    QTRY_COMPARE(company->count(), 8);
    QTest::keyClicks(view.findChild<QLineEdit*>(QStringLiteral("searchGeneratedName")),
                     QStringLiteral("HX10"));
    QTRY_VERIFY(table->model()->rowCount() > 0 && table->model()->rowCount() < 40);
    QTRY_COMPARE(count->text(), QStringLiteral("Jobs: %1").arg(table->model()->rowCount()));
    company->setCurrentIndex(company->findData(QStringLiteral("AC")));
    QTRY_COMPARE(table->model()->rowCount(), 0);
    QTRY_COMPARE(count->text(), QStringLiteral("Jobs: 0"));
    QTest::mouseClick(view.findChild<QPushButton*>(QStringLiteral("clearSearch")), Qt::LeftButton);
    QTRY_COMPARE(table->model()->rowCount(), 120);
    view.findChild<QLineEdit*>(QStringLiteral("searchBatch"))->setText(QStringLiteral("2"));
    auto* state = view.findChild<QComboBox*>(QStringLiteral("searchState"));
    state->setCurrentIndex(1);
    QTRY_VERIFY(table->model()->rowCount() > 0 && table->model()->rowCount() < 40);
    QTest::mouseClick(view.findChild<QPushButton*>(QStringLiteral("clearSearch")), Qt::LeftButton);
    QTRY_COMPARE(table->model()->rowCount(), 120);
    // The jobs are of January 2026.
    auto* time = view.findChild<QComboBox*>(QStringLiteral("searchTime"));
    time->setCurrentIndex(time->count() - 1);
    QTRY_COMPARE(table->model()->rowCount(), 0);
    time->setCurrentIndex(0);
    QTRY_COMPARE(table->model()->rowCount(), 120);
}

void HostJobListsTest::emptySiteSaysWhatToDo()
{
    const FreshSite site;
    JobReader reader;
    JobsView view(reader);
    view.show();
    const auto shows = [&view](const QString& part) {
        for (const auto* label : view.findChild<JobTable*>()->viewport()->findChildren<QLabel*>())
            if (label->isVisible() && label->text().contains(part))
                return true;
        return false;
    };
    QTRY_VERIFY(shows(QStringLiteral("No jobs yet")));
    view.findChild<QLineEdit*>(QStringLiteral("searchJobName"))->setText(QStringLiteral("x"));
    QTRY_VERIFY(shows(QStringLiteral("No job is like that")));
}

void HostJobListsTest::waitingJobIsOpened()
{
    const FilledSite site(60);
    JobReader reader;
    WaitingJobsView view(reader);
    view.show();
    auto* table = view.findChild<JobTable*>();
    QTRY_VERIFY(table->model()->rowCount() > 2);
    QPushButton* open = nullptr;
    for (auto* button : view.findChildren<QPushButton*>())
        open = button->text().contains(QStringLiteral("import")) ? button : open;
    QVERIFY(open);
    QVERIFY(!open->isEnabled());
    QString opened;
    connect(&view, &WaitingJobsView::openRequested, this, [&opened](const DataLib::Model::Odbpp_Job_C& job) {
        opened = QString::fromStdString(job.jobName);
    });
    table->selectRow(1);
    QTRY_VERIFY(open->isEnabled());
    QTest::mouseClick(open, Qt::LeftButton);
    QCOMPARE(opened, table->model()->index(1, WaitingModel::GeneratedName).data().toString());
    QTest::keyClicks(view.findChild<QLineEdit*>(QStringLiteral("searchWaiting")), QStringLiteral("Z"));
    QTRY_VERIFY(
        table->model()->index(0, WaitingModel::GeneratedName).data().toString().startsWith(QLatin1Char('Z')));
}

/// On a connection that this one only hears of through the engine.
void HostJobListsTest::changesOfOthersAreFollowed()
{
    const FilledSite site(30);
    JobReader reader;
    JobsModel model(reader);
    model.follow(true);
    model.begin();
    QTRY_COMPARE(model.rowCount(), 30);
    FilledSite::addJob(QStringLiteral("HX000901"));
    QTRY_COMPARE_WITH_TIMEOUT(model.rowCount(), 31, 20000);
    FilledSite::change("UPDATE job_flow SET state = 7 WHERE guid = 'flow-HX000901'");
    QTRY_COMPARE_WITH_TIMEOUT(model.job(0)->state.first, 7, 20000);
}

ZAV_REGISTER_TEST(host_job_lists, HostJobListsTest, QApplication)

#include "host_job_lists.moc"
