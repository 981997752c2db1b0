// Many clients import for one company at once: each has the company for itself, one after the other.

#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/records/CompanyClaim.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "services/common/Common.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ClientProgram.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QTest>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <vector>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

constexpr int clients = 16;
constexpr int jobsOfAClient = 5;
constexpr int longestWaitMs = 300'000;
const QString companyName = QStringLiteral("华兴");

QString jobName(int client, int job)
{
    return QStringLiteral("client%1-job%2").arg(client, 2, 10, QLatin1Char('0')).arg(job);
}

/// A batch directory of archives and a job folder.
QString writeBatch(const FreshSite& site, int client)
{
    const QString directory = site.path(QStringLiteral("batch%1").arg(client));
    const QString company = directory + QLatin1Char('/') + companyName;
    for (int job = 0; job < jobsOfAClient; ++job) {
        const QString name = jobName(client, job);
        const bool isFolder = job == jobsOfAClient - 1;
        QDir().mkpath(isFolder ? company + QLatin1Char('/') + name : company);
        const QString file = isFolder ? name + QStringLiteral("/misc") : name + QStringLiteral(".tgz");
        writeFile((company + QLatin1Char('/') + file).toStdString(), name.toUtf8().repeated(50));
    }
    return directory;
}

} // namespace

class ClientTogether final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { m_site.reset(); }
    void nobodyIsRefused();
    void numbersHaveNoGapAndNoRepeat();
    void everyBatchHasItsNumber();
    void aCompanyThatIsNotToBeHadIsLeftOut();
    void aSingleImportGoesOnWithoutIt();

private:
    /// Another import that has a company, until the object ends.
    [[nodiscard]] std::unique_ptr<Backend::CompanyClaim> holdFor(const char* userName, int companyId) const;

    std::unique_ptr<FreshSite> m_site;
    QStringList m_failures; ///< what clients wrote that did not import all
    std::vector<Backend::JobRecord> m_jobs;
};

void ClientTogether::initTestCase()
{
    m_site = std::make_unique<FreshSite>();
    m_site->addCompany(QStringLiteral("HX"), companyName);
    std::vector<std::unique_ptr<QProcess>> processes;
    for (int client = 0; client < clients; ++client) {
        const QStringList arguments = {QStringLiteral("--config"), m_site->configuration(),
                                       QStringLiteral("--batch"), writeBatch(*m_site, client)};
        processes.push_back(std::make_unique<QProcess>());
        processes.back()->setProcessChannelMode(QProcess::MergedChannels);
        processes.back()->start(clientProgram(), arguments);
    }
    for (const auto& process : processes) {
        QVERIFY2(process->waitForFinished(longestWaitMs), qPrintable(process->errorString()));
        if (process->exitStatus() != QProcess::NormalExit || process->exitCode() != 0)
            m_failures << QString::fromUtf8(process->readAll());
    }
    m_jobs = m_site->jobs();
}

void ClientTogether::nobodyIsRefused()
{
    QCOMPARE(m_failures, QStringList());
    QCOMPARE(int(m_jobs.size()), clients * jobsOfAClient);
    for (const auto& job : m_jobs)
        QVERIFY2(job.complete && job.state == 0, qUtf8Printable(job.generatedName));
    // A refused import leaves its file without a row.
    QCOMPARE(m_site->storedNames().size(), clients * jobsOfAClient);
}

void ClientTogether::numbersHaveNoGapAndNoRepeat()
{
    std::set<QString> names;
    for (const auto& job : m_jobs)
        names.insert(job.generatedName);
    for (int number = 1; number <= clients * jobsOfAClient; ++number)
        QCOMPARE(int(names.count(QStringLiteral("HX%1").arg(number, 6, 10, QLatin1Char('0')))), 1);
    QCOMPARE(m_site->company(QStringLiteral("HX")).jobCount, clients * jobsOfAClient);
}

void ClientTogether::everyBatchHasItsNumber()
{
    std::map<int, std::set<QString>> clientsOfBatch;
    for (const auto& job : m_jobs)
        clientsOfBatch[job.batchNumber].insert(job.jobName.section(QLatin1Char('-'), 0, 0));
    QCOMPARE(int(clientsOfBatch.size()), clients);
    for (const auto& [batch, names] : clientsOfBatch) {
        QVERIFY(batch >= 1 && batch <= clients);
        QCOMPARE(int(names.size()), 1);
    }
    QCOMPARE(m_site->company(QStringLiteral("HX")).batchNumber, clients);
}

std::unique_ptr<Backend::CompanyClaim> ClientTogether::holdFor(const char* userName, int companyId) const
{
    auto claim = Backend::CompanyClaim::make(
        Backend::Site::current().settings()->database, companyId,
        Backend::CompanyHolder::thisProcess(QString::fromLatin1(userName)), std::chrono::seconds(100));
    const auto taken = claim->take(*Backend::Site::current().database().value());
    return taken.ok() && taken.value() ? std::move(claim) : nullptr;
}

void ClientTogether::aCompanyThatIsNotToBeHadIsLeftOut()
{
    m_site->addCompany(QStringLiteral("OT"), QStringLiteral("Other"));
    m_site->configure(QStringLiteral("import/company_wait"), QStringLiteral("0"));
    const QString directory = m_site->path(QStringLiteral("batch-of-other"));
    QVERIFY(QDir().mkpath(directory + QStringLiteral("/Other")));
    writeFile((directory + QStringLiteral("/Other/board.tgz")).toStdString(), "board");
    const QStringList arguments = {QStringLiteral("--config"), m_site->configuration(),
                                   QStringLiteral("--batch"), directory};
    const auto claim = holdFor("lisa", m_site->company(QStringLiteral("OT")).companyId);
    QVERIFY(claim);
    const auto files = m_site->storedNames().size();
    const ClientRun refused = runClient(arguments);
    QVERIFY2(refused.exitCode == 1, refused.everything().constData());
    QVERIFY2(refused.everything().contains("the company \"Other\" is held by lisa on"),
             refused.everything().constData());
    QCOMPARE(m_site->company(QStringLiteral("OT")).jobCount, 0);
    QCOMPARE(m_site->company(QStringLiteral("OT")).batchNumber, 0);
    QCOMPARE(m_site->storedNames().size(), files);

    QVERIFY(claim->giveBack(*Backend::Site::current().database().value()).ok());
    const ClientRun imported = runClient(arguments);
    QVERIFY2(imported.exitCode == 0, imported.everything().constData());
    QCOMPARE(m_site->company(QStringLiteral("OT")).batchNumber, 1);
}

/// It is kept from the other one's numbers by the job count alone.
void ClientTogether::aSingleImportGoesOnWithoutIt()
{
    using namespace DataLib;
    const int before = m_site->company(QStringLiteral("OT")).jobCount;
    const auto claim = holdFor("lisa", m_site->company(QStringLiteral("OT")).companyId);
    QVERIFY(claim);
    const std::string source = m_site->path(QStringLiteral("single")).toStdString();
    writeFile(source, "single");
    const CapturedLog log;
    const auto config = Common::commonInterface()->getConfig();
    QCOMPARE(Common::MongodbPut(config.mongoDbName, config.mongoFsName, source, "single.tgz"), 0);
    std::string name = "Other";
    std::vector<Model::Odbpp_Company> found;
    BLL::Odbpp_CompanyBll companies;
    QVERIFY(companies.select({{"CompanyName", name}}, {}, found));
    QVERIFY(companies.inputCompanies(name, 1, found.front().jobCount + 1));
    QCOMPARE(m_site->company(QStringLiteral("OT")).jobCount, before + 1);
    const QString told = CapturedLog::of(QtWarningMsg).join(QLatin1Char('\n'));
    QVERIFY2(told.contains(QStringLiteral("goes on without holding the company \"Other\"")),
             qPrintable(told));
    QVERIFY(claim->giveBack(*Backend::Site::current().database().value()).ok());
}

ZAV_REGISTER_TEST(client_together, ClientTogether, QCoreApplication)

#include "client_together.moc"
