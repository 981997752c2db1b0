// Rows of an import wait on its thread for the last one, and nobody on that thread can see it.

#include "backend/Site.h"
#include "backend/database/Database.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobCompressBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"
#include "services/common/Common.h"
#include "services/ui/ZAV_UICommon.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QFile>
#include <QTest>
#include <QThread>

#include <memory>
#include <thread>

using namespace KOZAV;
using namespace KOZAV::Test;
using namespace KOZAV::DataLib::BLL;

namespace {

const std::string company = "Alpha";
const std::string origFile = "orig";

/// One import of an archive, step by step.
class Steps final
{
public:
    explicit Steps(const FreshSite& site)
        : m_source(site.path(QStringLiteral("source")).toStdString())
    {
    }

    bool store()
    {
        const auto config = Common::commonInterface()->getConfig();
        storedName = Common::commonInterface()->getGUID() + ".tgz";
        fileStore = config.mongoFsName;
        return Common::MongodbPut(config.mongoDbName, fileStore, m_source, storedName) == 0;
    }
    bool count()
    {
        std::vector<DataLib::Model::Odbpp_Company> found;
        if (!Odbpp_CompanyBll().select({{"CompanyName", company}}, {}, found) || found.empty())
            return false;
        companyId = found.front().companyId;
        number = found.front().jobCount + 1;
        std::string name = company;
        return Odbpp_CompanyBll().inputCompanies(name, 1, number);
    }
    bool addOrigFile(const std::string& code = "AB", const std::string& jobName = "board") const
    {
        return Odbpp_OrigFilesBll().inputOrigFile(origFile, jobName, storedName, "tgz", code, 0, 1);
    }
    bool makeFlow()
    {
        flow = Odbpp_JobFlowBll().insertflowbeforeorigfile("board", 1, "F1", "AB" + std::to_string(number));
        return !flow.empty();
    }
    bool link() const { return Odbpp_JobFlowBll().UpdateOrigFileGuid(origFile, flow); }
    bool setBatch() const { return Odbpp_JobFlowBll().updateUploadBatchNum(3, flow); }
    bool complete() const
    {
        return Odbpp_JobCompressBll().inputJobCompress(company, "AB", companyId, "board", flow, storedName,
                                                       "tgz", "", fileStore, 1, number);
    }
    /// Up to the link between flow and original file.
    bool begin() { return store() && count() && addOrigFile() && makeFlow() && link(); }

    std::string storedName;
    std::string fileStore;
    std::string flow;
    int companyId = 0;
    int number = 0;

private:
    std::string m_source;
};

} // namespace

class OperationsHeldRows final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void wholeImportIsThereWithItsLastRow();
    void ownThreadSeesWhatWaits_data();
    void ownThreadSeesWhatWaits();
    void sentBeforeTheStateChanges();
    void sentWhenTheThreadEnds_data();
    void sentWhenTheThreadEnds();
    void sentWhenTheRoadIsLeft_data();
    void sentWhenTheRoadIsLeft();
    void nothingWaitsOffTheRoad_data();
    void nothingWaitsOffTheRoad();
    void refusedRowIsToldByWhoSendsIt_data();
    void refusedRowIsToldByWhoSendsIt();
    void lastRowThatIsRefusedTakesNothingAlong();
    void voidedJobIsNotCompleted();

private:
    /// What another thread finds of the original file and of the flow's link to it.
    [[nodiscard]] int origFilesForOthers() const;
    [[nodiscard]] DataLib::Model::Odbpp_JobFlow flowForOthers(const std::string& flow) const;

    std::unique_ptr<FreshSite> m_site;
};

void OperationsHeldRows::init()
{
    m_site = std::make_unique<FreshSite>();
    m_site->addCompany(QStringLiteral("AB"), QString::fromStdString(company));
    QFile file(m_site->path(QStringLiteral("source")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("content") > 0 && file.flush());
}

void OperationsHeldRows::cleanup()
{
    UI::ZAV_UICommon::interface()->refreshOrigFileTable();
    m_site.reset();
}

int OperationsHeldRows::origFilesForOthers() const
{
    int found = -1;
    std::thread([&] { found = static_cast<int>(m_site->origFiles().size()); }).join();
    return found;
}

DataLib::Model::Odbpp_JobFlow OperationsHeldRows::flowForOthers(const std::string& flow) const
{
    std::vector<DataLib::Model::Odbpp_JobFlow> found;
    std::thread([&] { Odbpp_JobFlowBll().select({{"FlowGuid", flow}}, {}, found); }).join();
    return found.empty() ? DataLib::Model::Odbpp_JobFlow() : found.front();
}

void OperationsHeldRows::wholeImportIsThereWithItsLastRow()
{
    Steps steps(*m_site);
    QVERIFY(steps.begin());
    QVERIFY(steps.setBatch());
    QCOMPARE(origFilesForOthers(), 0);
    QCOMPARE(flowForOthers(steps.flow).origFileGuid, std::string());
    QVERIFY(steps.complete());
    QCOMPARE(origFilesForOthers(), 1);
    const auto flow = flowForOthers(steps.flow);
    QCOMPARE(flow.origFileGuid, origFile);
    QCOMPARE(flow.uploadBatchNum, 3);
    QVERIFY(m_site->jobs().front().complete);
}

void OperationsHeldRows::ownThreadSeesWhatWaits_data()
{
    QTest::addColumn<bool>("byService");
    QTest::newRow("through a service") << true;
    QTest::newRow("through the site's database") << false;
}

void OperationsHeldRows::ownThreadSeesWhatWaits()
{
    QFETCH(const bool, byService);
    Steps steps(*m_site);
    QVERIFY(steps.begin());
    QCOMPARE(origFilesForOthers(), 0);
    if (byService) {
        std::vector<DataLib::Model::Odbpp_JobFlow> found;
        QVERIFY(Odbpp_JobFlowBll().select({{"FlowGuid", steps.flow}}, {}, found));
        QCOMPARE(found.at(0).origFileGuid, origFile);
    } else {
        QCOMPARE(m_site->origFiles().size(), size_t(1));
    }
    QCOMPARE(origFilesForOthers(), 1);
    QVERIFY(steps.setBatch());
    QVERIFY(steps.complete());
    QVERIFY(m_site->jobs().front().complete);
}

/// Whoever is asked for a job in that state finds all that the import has written of it.
void OperationsHeldRows::sentBeforeTheStateChanges()
{
    Steps steps(*m_site);
    QVERIFY(steps.begin());
    QVERIFY(Odbpp_JobFlowBll().UpdateLastOdbppImportMongoFsGuid(origFile, steps.flow));
    QCOMPARE(origFilesForOthers(), 0);
    QVERIFY(Odbpp_JobFlowBll().UpdateState(1, 1, 2, steps.flow));
    auto flow = flowForOthers(steps.flow);
    QCOMPARE(origFilesForOthers(), 1);
    QCOMPARE(flow.origFileGuid, origFile);
    QCOMPARE(flow.lastOdbppImportMongoFsGuid, origFile);
    QCOMPARE(flow.state, 1);
    // From then on nothing waits: the robot may be asked.
    QVERIFY(steps.setBatch());
    QCOMPARE(flowForOthers(steps.flow).uploadBatchNum, 3);
    QVERIFY(steps.complete());
}

void OperationsHeldRows::sentWhenTheThreadEnds_data()
{
    QTest::addColumn<bool>("isQt");
    QTest::newRow("a thread of Qt") << true;
    QTest::newRow("any other") << false;
}

void OperationsHeldRows::sentWhenTheThreadEnds()
{
    QFETCH(const bool, isQt);
    Steps steps(*m_site);
    bool begun = false;
    const auto work = [&] { begun = steps.begin(); };
    if (isQt) {
        const std::unique_ptr<QThread> thread(QThread::create(work));
        thread->start();
        QVERIFY(thread->wait());
    } else {
        std::thread(work).join();
    }
    QVERIFY(begun);
    QCOMPARE(m_site->origFiles().size(), size_t(1));
    QCOMPARE(flowForOthers(steps.flow).origFileGuid, origFile);
}

void OperationsHeldRows::sentWhenTheRoadIsLeft_data()
{
    QTest::addColumn<QString>("how");
    for (const char* how : {"the host refreshes", "the next file is stored", "a last row of no flow",
                            "the site is closed", "another configuration"})
        QTest::newRow(how) << QString::fromLatin1(how);
}

void OperationsHeldRows::sentWhenTheRoadIsLeft()
{
    QFETCH(const QString, how);
    const CapturedLog log;
    Steps steps(*m_site);
    QVERIFY(steps.begin());
    QCOMPARE(origFilesForOthers(), 0);
    if (how == QLatin1String("the host refreshes")) {
        UI::ZAV_UICommon::interface()->refreshOrigFileTable();
    } else if (how == QLatin1String("the next file is stored")) {
        QVERIFY(Steps(*m_site).store());
    } else if (how == QLatin1String("a last row of no flow")) {
        Steps other = steps;
        other.flow.clear();
        QVERIFY(!other.complete());
    } else if (how == QLatin1String("the site is closed")) {
        Backend::Site::current().close();
    } else {
        m_site->configure(QStringLiteral("database/busy_timeout"), QStringLiteral("1234"));
        m_site->configure(QStringLiteral("database/read_timeout"), QStringLiteral("12"));
        QVERIFY(Backend::Site::current().database().ok());
    }
    QCOMPARE(origFilesForOthers(), 1);
    QCOMPARE(flowForOthers(steps.flow).origFileGuid, origFile);
}

void OperationsHeldRows::nothingWaitsOffTheRoad_data()
{
    QTest::addColumn<QString>("how");
    for (const char* how : {"without a number", "another company's code", "a file of another entry",
                            "a long text", "a second one"})
        QTest::newRow(how) << QString::fromLatin1(how);
}

void OperationsHeldRows::nothingWaitsOffTheRoad()
{
    QFETCH(const QString, how);
    m_site->addCompany(QStringLiteral("CD"), QStringLiteral("Beta"));
    Steps steps(*m_site);
    QVERIFY(steps.store());
    if (how == QLatin1String("without a number")) {
        QVERIFY(steps.addOrigFile());
    } else if (how == QLatin1String("another company's code")) {
        QVERIFY(steps.count());
        QVERIFY(steps.addOrigFile("CD"));
    } else if (how == QLatin1String("a file of another entry")) {
        Steps next(*m_site);
        QVERIFY(next.store() && next.count());
        QVERIFY(steps.addOrigFile());
    } else if (how == QLatin1String("a long text")) {
        QVERIFY(steps.count());
        QVERIFY(steps.addOrigFile("AB", std::string(300, 'x')));
    } else {
        QVERIFY(steps.count());
        QVERIFY(steps.addOrigFile());
        const CapturedLog log;
        QVERIFY(!steps.addOrigFile()); // of the same key
    }
    QCOMPARE(origFilesForOthers(), 1);
}

void OperationsHeldRows::refusedRowIsToldByWhoSendsIt_data()
{
    QTest::addColumn<QString>("by");
    QTest::newRow("the last row") << QStringLiteral("last");
    QTest::newRow("a change of state") << QStringLiteral("state");
    QTest::newRow("a read") << QStringLiteral("read");
}

/// The company has gone since it was found, so that nothing may refer to it.
void OperationsHeldRows::refusedRowIsToldByWhoSendsIt()
{
    QFETCH(const QString, by);
    const CapturedLog log;
    Steps steps(*m_site);
    QVERIFY(steps.begin());
    std::thread([] {
        const auto gone = Backend::Site::current().database().value()->change(
            "DELETE FROM company WHERE code = ?", {QStringLiteral("AB")}, Backend::Durability::Immediate);
        if (!gone.ok())
            qFatal("%s", qUtf8Printable(gone.message()));
    }).join();
    std::vector<DataLib::Model::Odbpp_JobFlow> found;
    if (by == QLatin1String("state"))
        QVERIFY(!Odbpp_JobFlowBll().UpdateState(1, 1, 2, steps.flow));
    else if (by == QLatin1String("read"))
        QVERIFY(!Odbpp_JobFlowBll().select({{"FlowGuid", steps.flow}}, {}, found));
    QVERIFY(!steps.complete());
    const QString warnings = CapturedLog::of(QtWarningMsg).join(QLatin1Char('\n'));
    QVERIFY2(warnings.contains(QStringLiteral("there is no company of that code")), qUtf8Printable(warnings));
    QCOMPARE(origFilesForOthers(), 0);
    const auto flow = flowForOthers(steps.flow);
    QCOMPARE(flow.state, -1);
    QCOMPARE(flow.subState, -1);
}

void OperationsHeldRows::lastRowThatIsRefusedTakesNothingAlong()
{
    const CapturedLog log;
    Steps steps(*m_site);
    QVERIFY(steps.begin());
    steps.companyId += 1000;
    QVERIFY(!steps.complete());
    QCOMPARE(origFilesForOthers(), 1);
    const auto flow = flowForOthers(steps.flow);
    QCOMPARE(flow.origFileGuid, origFile);
    QCOMPARE(flow.state, -1);
}

/// Its stored file is in quarantine, for which the store is not asked any more.
void OperationsHeldRows::voidedJobIsNotCompleted()
{
    const CapturedLog log;
    Steps steps(*m_site);
    QVERIFY(steps.begin());
    std::thread([&steps] {
        const auto voided = Backend::Site::current().database().value()->change(
            "UPDATE job_flow SET state = -2, sub_state = -2 WHERE guid = ?",
            {QString::fromStdString(steps.flow)}, Backend::Durability::Immediate);
        if (!voided.ok())
            qFatal("%s", qUtf8Printable(voided.message()));
    }).join();
    QVERIFY(!steps.complete());
    QVERIFY(!m_site->jobs().front().complete);
    QCOMPARE(flowForOthers(steps.flow).state, -2);
}

ZAV_REGISTER_TEST(operations_held_rows, OperationsHeldRows, QCoreApplication)

#include "operations_held_rows.moc"
