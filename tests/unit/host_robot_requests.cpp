// The requests to the robot as the client lists them, and what its view does about them.

#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/records/RobotRequests.h"
#include "host/RobotView.h"
#include "host/core/RobotRequestsModel.h"
#include "host/core/RunGate.h"
#include "host/site/RobotRecords.h"
#include "robot/RobotRequest.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobCompressBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"
#include "services/common/Common.h"
#include "tests/support/FreshSite.h"
#include "tests/support/ScriptedRobot.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>
#include <QThreadPool>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;
using namespace KOZAV::DataLib;
using Outcome = RobotRequest::Outcome;

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

/// Imports a job of the company AB as the panel does, and hands it to the robot.
RobotRequest handOver(const FreshSite& site, Outcome outcome)
{
    const Model::Odbpp_Company company = site.company(text("AB"));
    const int number = company.jobCount + 1;
    std::string label = company.companyLabel;
    BLL::Odbpp_CompanyBll().inputCompanies(label, 1, number);
    RobotRequest request;
    request.generatedName = text("AB%1").arg(number, 6, 10, QLatin1Char('0'));
    const std::string name = request.generatedName.toStdString();
    const std::string stored = name + ".tgz";
    const auto config = Common::commonInterface()->getConfig();
    const std::string source = site.path(text("source")).toStdString();
    writeFile(source, QByteArray::fromStdString(name));
    Common::MongodbPut(config.mongoDbName, config.mongoFsName, source, stored);
    const std::string guid = Common::commonInterface()->getGUID();
    BLL::Odbpp_OrigFilesBll().inputOrigFile(guid, "board", stored, "tgz", "AB", 0, 1);
    BLL::Odbpp_JobFlowBll flows;
    const std::string key = flows.insertflowbeforeorigfile("board", 1, "F1", name);
    flows.UpdateOrigFileGuid(guid, key);
    BLL::Odbpp_JobCompressBll().inputJobCompress(company.companyLabel, "AB", company.companyId, "board", key,
                                                 stored, "tgz", "", config.mongoFsName, 1, number);
    flows.UpdateState(1, 1, 2, key);
    request.flowKey = QString::fromStdString(key);
    request.origin = RobotRequest::Origin::Confirmed;
    request.outcome = outcome;
    request.host = text("127.0.0.1");
    request.port = 9;
    request.document = Robot::robotRequest(request.generatedName, false);
    request.reason = text("as the test says");
    request.requested = QDateTime(QDate(2026, 1, 31), QTime(8, 15), Qt::UTC);
    return request;
}

} // namespace

class HostRobotRequestsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void requestsAreListedByWhatBecameOfThem();
    void pagesFollowOneAnother();
    void aRowSaysWhatCanBeDone();
    void nothingIsReadWhileAPanelRuns();

    void theViewIsEmptyWithAReason();
    void severalAreSentAgainAtOnce();
    void aRefusalIsTold();
    void severalArePutBackAtOnce();
    void aJobThatIsNotAtTheRobotIsNoChoice();
    void theSelectionOutlivesAReading();

private:
    void record(std::initializer_list<Outcome> outcomes) const;
    void useRobot(quint16 port) const { m_site->configure(text("robot/port"), QString::number(port)); }
    [[nodiscard]] QStringList listed(RobotFilter filter) const;
    [[nodiscard]] QString stateOf(const char* name) const;
    /// A view that shows its requests.
    [[nodiscard]] std::unique_ptr<RobotView> shownView() const;

    std::unique_ptr<FreshSite> m_site;
};

void HostRobotRequestsTest::init()
{
    m_site = std::make_unique<FreshSite>();
    m_site->addCompany(text("AB"), text("Acme"));
}

void HostRobotRequestsTest::cleanup()
{
    m_site.reset();
}

void HostRobotRequestsTest::record(std::initializer_list<Outcome> outcomes) const
{
    std::vector<RobotRequest> requests;
    for (const Outcome outcome : outcomes)
        requests.push_back(handOver(*m_site, outcome));
    QCOMPARE(recordRobotRequests(requests), QString());
}

QStringList HostRobotRequestsTest::listed(RobotFilter filter) const
{
    QString failure;
    const auto page = robotRequests(filter, 0, 100, failure);
    QStringList names;
    if (!page)
        return {failure};
    for (const RobotRequestRow& row : page->rows)
        names << row.request.generatedName;
    return names;
}

QString HostRobotRequestsTest::stateOf(const char* name) const
{
    for (const Backend::JobRecord& job : m_site->jobs())
        if (job.generatedName == text(name))
            return text("%1,%2").arg(job.state).arg(job.subState);
    return {};
}

std::unique_ptr<RobotView> HostRobotRequestsTest::shownView() const
{
    auto view = std::make_unique<RobotView>();
    auto* requests = view->findChild<RobotRequestsModel*>();
    QSignalSpy loaded(requests, &RobotRequestsModel::loaded);
    view->show();
    if (!loaded.wait())
        return nullptr;
    return view;
}

void HostRobotRequestsTest::requestsAreListedByWhatBecameOfThem()
{
    record({Outcome::Sent, Outcome::NotSent, Outcome::Unknown, Outcome::Refused, Outcome::Answered,
            Outcome::NoAnswer});
    QCOMPARE(listed(RobotFilter::All),
             text("AB000006 AB000005 AB000004 AB000003 AB000002 AB000001").split(QLatin1Char(' ')));
    QCOMPARE(listed(RobotFilter::Open), text("AB000006 AB000004 AB000003 AB000002").split(QLatin1Char(' ')));
    QCOMPARE(listed(RobotFilter::Sent), QStringList({text("AB000001")}));
    QCOMPARE(listed(RobotFilter::NotSent), QStringList({text("AB000002")}));
    QCOMPARE(listed(RobotFilter::Unknown), QStringList({text("AB000006"), text("AB000003")}));
    QCOMPARE(listed(RobotFilter::Refused), QStringList({text("AB000004")}));
    QCOMPARE(listed(RobotFilter::Answered), QStringList({text("AB000005")}));
    QCOMPARE(listed(RobotFilter::Waiting), QStringList());

    // One that is dealt with is open no longer.
    QVERIFY(requeueFromRobot(text("AB000002")).done);
    QCOMPARE(listed(RobotFilter::Waiting), QStringList({text("AB000002")}));
    QCOMPARE(listed(RobotFilter::Open), text("AB000006 AB000004 AB000003").split(QLatin1Char(' ')));
    QCOMPARE(listed(RobotFilter::NotSent), QStringList({text("AB000002")}));
}

void HostRobotRequestsTest::pagesFollowOneAnother()
{
    record({Outcome::Sent, Outcome::Sent, Outcome::NotSent});
    QString failure;
    const auto first = robotRequests(RobotFilter::All, 0, 2, failure);
    QVERIFY2(first, qPrintable(failure));
    QCOMPARE(first->rows.size(), std::size_t{2});
    QVERIFY(first->hasMore);
    const auto second = robotRequests(RobotFilter::All, first->rows.back().number, 2, failure);
    QCOMPARE(second->rows.size(), std::size_t{1});
    QVERIFY(!second->hasMore);
    QCOMPARE(second->rows.front().request.generatedName, text("AB000001"));
}

void HostRobotRequestsTest::aRowSaysWhatCanBeDone()
{
    record({Outcome::NotSent});
    QString failure;
    auto row = robotRequests(RobotFilter::All, 0, 1, failure)->rows.front();
    QVERIFY(row.isOpen());
    QCOMPARE(row.jobName, text("board"));
    QCOMPARE(row.request.requested, QDateTime(QDate(2026, 1, 31), QTime(8, 15), Qt::UTC));
    QCOMPARE(row.request.document, Robot::robotRequest(text("AB000001"), false));
    QCOMPARE(
        RobotRequestsModel::sentence(row),
        text("The request did not reach the robot. Send it again, or put the job back on the waiting list."));
    row.isNewest = false;
    QVERIFY(!row.isOpen());
    QVERIFY(RobotRequestsModel::sentence(row).endsWith(text("The job has a later request.")));
}

void HostRobotRequestsTest::nothingIsReadWhileAPanelRuns()
{
    record({Outcome::NotSent});
    RobotRequestsModel requests;
    QSignalSpy loaded(&requests, &RobotRequestsModel::loaded);
    RunGate::close();
    requests.reload();
    // The answer of the thread is there, and has been delivered.
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::processEvents();
    QCOMPARE(requests.rowCount(), 0);
    RunGate::open();
    QVERIFY(loaded.wait());
    QCOMPARE(requests.rowCount(), 1);
}

void HostRobotRequestsTest::theViewIsEmptyWithAReason()
{
    const auto view = shownView();
    QVERIFY(view);
    const auto* empty = view->findChild<QLabel*>(text("robotEmpty"));
    QVERIFY(empty->isVisible());
    QVERIFY(empty->text().startsWith(text("No job has been handed to the robot yet.")));
    view->findChild<QComboBox*>(text("robotFilter"))->setCurrentIndex(1);
    QTRY_COMPARE(empty->text(), text("There is no request of this kind."));
    QVERIFY(!view->findChild<QPushButton*>(text("robotResend"))->isEnabled());
}

void HostRobotRequestsTest::severalAreSentAgainAtOnce()
{
    record({Outcome::NotSent, Outcome::Unknown, Outcome::Sent});
    const ScriptedRobot robot(R"({"accepted":true})", ScriptedRobot::After::Close);
    useRobot(robot.port());
    const auto view = shownView();
    QVERIFY(view);
    auto* table = view->findChild<QTableView*>(text("robotRequests"));
    auto* resend = view->findChild<QPushButton*>(text("robotResend"));
    QSignalSpy changed(view.get(), &RobotView::jobsChanged);
    QVERIFY(!resend->isEnabled());
    table->setFocus();
    QTest::keyClick(table, Qt::Key_A, Qt::ControlModifier);
    QVERIFY(resend->isEnabled());
    QTest::mouseClick(resend, Qt::LeftButton);
    // One at a time.
    QVERIFY(!resend->isEnabled());
    QVERIFY(changed.wait());
    QCOMPARE(robot.connectionCount(), 3);
    QCOMPARE(view->findChild<QLabel*>(text("robotState"))->text(), text("3 job(s) answered by the robot"));
    QTRY_COMPARE(table->model()->rowCount(), 6);
    QCOMPARE(listed(RobotFilter::Open), QStringList());
    // The oldest first, as they were made.
    QCOMPARE(listed(RobotFilter::Answered), text("AB000003 AB000002 AB000001").split(QLatin1Char(' ')));
}

void HostRobotRequestsTest::aRefusalIsTold()
{
    record({Outcome::NotSent});
    const ScriptedRobot robot(R"({"accepted":false,"reason":"no such job"})", ScriptedRobot::After::Close);
    useRobot(robot.port());
    const auto view = shownView();
    QVERIFY(view);
    QSignalSpy changed(view.get(), &RobotView::jobsChanged);
    QSignalSpy told(view.get(), &RobotView::told);
    view->findChild<QTableView*>(text("robotRequests"))->selectAll();
    view->findChild<QPushButton*>(text("robotResend"))->click();
    QVERIFY(changed.wait());
    QCOMPARE(told.size(), 1);
    QVERIFY(told.front().front().toString().startsWith(text("AB000001: 127.0.0.1:")));
    const QString state = view->findChild<QLabel*>(text("robotState"))->text();
    QVERIFY2(state.contains(text("no such job")), qPrintable(state));
    QCOMPARE(listed(RobotFilter::Open), QStringList({text("AB000001")}));
    QCOMPARE(listed(RobotFilter::Refused), QStringList({text("AB000001")}));
}

void HostRobotRequestsTest::severalArePutBackAtOnce()
{
    record({Outcome::NotSent, Outcome::Unknown});
    const auto view = shownView();
    QVERIFY(view);
    QSignalSpy changed(view.get(), &RobotView::jobsChanged);
    auto* table = view->findChild<QTableView*>(text("robotRequests"));
    table->selectAll();
    QTest::mouseClick(view->findChild<QPushButton*>(text("robotRequeue")), Qt::LeftButton);
    QVERIFY(changed.wait());
    QCOMPARE(stateOf("AB000001"), text("0,0"));
    QCOMPARE(stateOf("AB000002"), text("0,0"));
    QTRY_COMPARE(table->model()->index(0, RobotRequestsModel::StandingColumn).data().toString(),
                 text("Waiting"));
}

void HostRobotRequestsTest::aJobThatIsNotAtTheRobotIsNoChoice()
{
    record({Outcome::NotSent, Outcome::NotSent});
    QVERIFY(requeueFromRobot(text("AB000001")).done);
    const RobotOrderResult again = requeueFromRobot(text("AB000001"));
    QVERIFY(!again.done);
    QVERIFY2(again.text.contains(text("not with the robot")), qPrintable(again.text));
    const auto view = shownView();
    QVERIFY(view);
    auto* table = view->findChild<QTableView*>(text("robotRequests"));
    table->selectRow(1);
    QVERIFY(!view->findChild<QPushButton*>(text("robotRequeue"))->isEnabled());
    table->selectRow(0);
    QVERIFY(view->findChild<QPushButton*>(text("robotRequeue"))->isEnabled());
    QVERIFY(view->findChild<QLabel*>(text("robotDetail"))->text().contains(text("as the test says")));
}

void HostRobotRequestsTest::theSelectionOutlivesAReading()
{
    record({Outcome::NotSent, Outcome::NotSent});
    const auto view = shownView();
    QVERIFY(view);
    auto* table = view->findChild<QTableView*>(text("robotRequests"));
    table->selectRow(1);
    record({Outcome::Sent});
    view->reload();
    QTRY_COMPARE(table->model()->rowCount(), 3);
    const QModelIndexList selected = table->selectionModel()->selectedRows();
    QCOMPARE(selected.size(), 1);
    QCOMPARE(selected.front().data().toString(), text("AB000001"));
}

ZAV_REGISTER_TEST(host_robot_requests, HostRobotRequestsTest, QApplication)

#include "host_robot_requests.moc"
