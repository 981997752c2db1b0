// The flow of an import that fails after the flow was made is marked as failed, at once or when the rows can
// next be written; no other flow is.

#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobCompressBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"
#include "services/common/Common.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

#include <memory>
#include <utility>

using namespace KOZAV;
using namespace KOZAV::Test;
using namespace KOZAV::DataLib::BLL;

namespace {

using State = std::pair<int, int>;
const State waiting = {0, 0};
const State failed = {-1, -1};

const std::string storedName = "one.tgz";
const std::string origFile = "orig";

/// Another program that writes to the site's embedded database, and lets nobody else do so while it lives.
class Writer final
{
public:
    explicit Writer(const FreshSite& site)
        : m_database(QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("writer")))
    {
        m_database.setDatabaseName(site.path(QStringLiteral("data/site.db")));
        if (!m_database.open() || !QSqlQuery(m_database).exec(QStringLiteral("BEGIN IMMEDIATE")))
            qFatal("the database cannot be locked");
    }
    ~Writer()
    {
        m_database = QSqlDatabase();
        QSqlDatabase::removeDatabase(QStringLiteral("writer"));
    }
    Q_DISABLE_COPY(Writer)

private:
    QSqlDatabase m_database;
};

} // namespace

class OperationsFailedFlows final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void wholeImportStays();
    void withoutItsLastRow();
    void withoutItsLink();
    void withoutItsBatchNumber();
    void secondLastRowLeavesTheJobAsItIs();
    void flowThatHasGoneOnStays();
    void markedWhenTheRowsCanBeWrittenAgain();

private:
    [[nodiscard]] std::string makeFlow() const;
    [[nodiscard]] bool complete(const std::string& flow, int companyId) const;
    [[nodiscard]] State stateOf(const std::string& flow) const;

    std::unique_ptr<FreshSite> m_site;
    int m_company = 0;
};

void OperationsFailedFlows::init()
{
    m_site = std::make_unique<FreshSite>();
    m_site->configure(QStringLiteral("database/busy_timeout"), QStringLiteral("50"));
    m_site->addCompany(QStringLiteral("AB"), QStringLiteral("Alpha"));
    m_company = m_site->company(QStringLiteral("AB")).companyId;
    QFile file(m_site->path(QStringLiteral("source")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.write("content") > 0 && file.flush());
    const auto config = Common::commonInterface()->getConfig();
    QCOMPARE(
        Common::MongodbPut(config.mongoDbName, config.mongoFsName, file.fileName().toStdString(), storedName),
        0);
    QVERIFY(Odbpp_OrigFilesBll().inputOrigFile(origFile, "board", storedName, "tgz", "AB", 0, 1));
}

void OperationsFailedFlows::cleanup()
{
    m_site.reset();
}

std::string OperationsFailedFlows::makeFlow() const
{
    return Odbpp_JobFlowBll().insertflowbeforeorigfile("board", 1, "F1", "AB000001");
}

bool OperationsFailedFlows::complete(const std::string& flow, int companyId) const
{
    const std::string fileStore = Common::commonInterface()->getConfig().mongoFsName;
    return Odbpp_JobCompressBll().inputJobCompress("Alpha", "AB", companyId, "board", flow, storedName, "tgz",
                                                   "", fileStore, 1, 1);
}

State OperationsFailedFlows::stateOf(const std::string& flow) const
{
    for (const auto& job : m_site->jobs())
        if (job.flowGuid.toStdString() == flow)
            return {job.state, job.subState};
    return {};
}

void OperationsFailedFlows::wholeImportStays()
{
    const std::string flow = makeFlow();
    QVERIFY(Odbpp_JobFlowBll().UpdateOrigFileGuid(origFile, flow));
    QVERIFY(complete(flow, m_company));
    QCOMPARE(stateOf(flow), waiting);
}

void OperationsFailedFlows::withoutItsLastRow()
{
    const CapturedLog log;
    const std::string flow = makeFlow();
    QVERIFY(!complete(flow, m_company + 1));
    QCOMPARE(stateOf(flow), failed);
}

void OperationsFailedFlows::withoutItsLink()
{
    const CapturedLog log;
    const std::string flow = makeFlow();
    QVERIFY(!Odbpp_JobFlowBll().UpdateOrigFileGuid("another", flow));
    QVERIFY(!complete(flow, m_company));
    QCOMPARE(stateOf(flow), failed);
    QVERIFY(!m_site->jobs().front().complete);
}

void OperationsFailedFlows::withoutItsBatchNumber()
{
    const CapturedLog log;
    const std::string flow = makeFlow();
    QVERIFY(Odbpp_JobFlowBll().UpdateOrigFileGuid(origFile, flow));
    {
        const Writer writer(*m_site);
        QVERIFY(!Odbpp_JobFlowBll().updateUploadBatchNum(3, flow));
    }
    QVERIFY(!complete(flow, m_company));
    QCOMPARE(stateOf(flow), failed);
}

void OperationsFailedFlows::secondLastRowLeavesTheJobAsItIs()
{
    const CapturedLog log;
    const std::string flow = makeFlow();
    QVERIFY(complete(flow, m_company));
    QVERIFY(!complete(flow, m_company));
    QCOMPARE(stateOf(flow), waiting);
}

void OperationsFailedFlows::flowThatHasGoneOnStays()
{
    const CapturedLog log;
    const std::string flow = makeFlow();
    QVERIFY(Odbpp_JobFlowBll().UpdateState(1, 2, 0, flow));
    QVERIFY(!complete(flow, m_company + 1));
    QCOMPARE(stateOf(flow), State(2, 0));
}

void OperationsFailedFlows::markedWhenTheRowsCanBeWrittenAgain()
{
    const CapturedLog log;
    const std::string flow = makeFlow();
    {
        const Writer writer(*m_site);
        QVERIFY(!complete(flow, m_company));
    }
    QCOMPARE(stateOf(flow), waiting);
    std::vector<DataLib::Model::Odbpp_Company> companies;
    QVERIFY(Odbpp_CompanyBll().select({}, {}, companies));
    QCOMPARE(stateOf(flow), failed);
}

ZAV_REGISTER_TEST(operations_failed_flows, OperationsFailedFlows, QCoreApplication)

#include "operations_failed_flows.moc"
