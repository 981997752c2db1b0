#include "UiServicesContract.h"

#include "ImportSteps.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/ui/ZAV_StdCommon.h"
#include "services/ui/ZAV_UICommon.h"

#include <QSignalSpy>
#include <QTest>

namespace KOZAV::Test {

using namespace DataLib;
using UI::ZAV_StdCommon;
using UI::ZAV_UICommon;

namespace {

QString waiting()
{
    QStringList names;
    for (const Model::Odbpp_Job_C& job : ZAV_StdCommon::interface()->getInputJobList())
        names << QString::fromStdString(job.jobName);
    return names.join(QLatin1Char(' '));
}

} // namespace

void UiServicesContract::interfacesAreOneObjectEach()
{
    QVERIFY(ZAV_StdCommon::interface() && ZAV_UICommon::interface());
    QCOMPARE(ZAV_StdCommon::interface(), ZAV_StdCommon::interface());
    QCOMPARE(ZAV_UICommon::interface(), ZAV_UICommon::interface());
}

void UiServicesContract::currentUserIsTheConfiguredOne()
{
    m_site->configure(QStringLiteral("user/id"), QStringLiteral("4711"));
    m_site->configure(QStringLiteral("user/name"), QString::fromUtf8("\xE5\xBC\xA0\xE4\xB8\x89"));
    const Model::Kozav_User user = ZAV_StdCommon::interface()->getCurrentUser();
    QCOMPARE(user.userId, 4711);
    QCOMPARE(user.userName, std::string("\xE5\xBC\xA0\xE4\xB8\x89"));
}

void UiServicesContract::emptySiteHasNoWaitingJobs()
{
    QVERIFY(ZAV_StdCommon::interface()->getInputJobList().empty());
}

std::string UiServicesContract::importJob(const std::string& companyName) const
{
    return importArchive(companyName, m_site->writeFile(QStringLiteral("board.tgz"), "content")).flowGuid;
}

void UiServicesContract::waitingJobsAreOldestFirst()
{
    ContractSite::addCompany("Z", "Zeta");
    ContractSite::addCompany("A", "Alpha");
    const std::string key = importJob("Zeta");
    importJob("Alpha");
    importJob("Zeta");
    QCOMPARE(waiting(), QStringLiteral("Z000001 A000001 Z000002"));
    const Model::Odbpp_Job_C oldest = ZAV_StdCommon::interface()->getInputJobList().front();
    QCOMPARE(oldest.flowId, key);
    std::vector<Model::Odbpp_JobFlow> flows;
    QVERIFY(BLL::Odbpp_JobFlowBll().select({{"FlowGuid", key}}, {}, flows));
    QCOMPARE(oldest.jobId, flows.at(0).jobId);
}

void UiServicesContract::stateTakesAJobOffTheList_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<int>("subState");
    QTest::newRow("imported") << 1 << 2;
    QTest::newRow("first number alone") << 1 << 0;
    QTest::newRow("second number alone") << 0 << 1;
    QTest::newRow("negative") << -1 << -1;
}

void UiServicesContract::stateTakesAJobOffTheList()
{
    QFETCH(const int, state);
    QFETCH(const int, subState);
    ContractSite::addCompany("A", "Alpha");
    importJob("Alpha");
    const std::string key = importJob("Alpha");
    importJob("Alpha");
    QVERIFY(BLL::Odbpp_JobFlowBll().UpdateState(5, state, subState, key));
    QCOMPARE(waiting(), QStringLiteral("A000001 A000003"));
}

void UiServicesContract::aJobCanComeBackToTheList()
{
    ContractSite::addCompany("A", "Alpha");
    const std::string key = importJob("Alpha");
    importJob("Alpha");
    QVERIFY(BLL::Odbpp_JobFlowBll().UpdateState(5, 1, 2, key));
    QVERIFY(BLL::Odbpp_JobFlowBll().UpdateState(5, 0, 0, key));
    QCOMPARE(waiting(), QStringLiteral("A000001 A000002"));
}

void UiServicesContract::refreshingIsAnnounced()
{
    QSignalSpy announced(ZAV_UICommon::interface(), &ZAV_UICommon::origFileTableRefreshRequested);
    QSignalSpy others(ZAV_UICommon::interface(), &ZAV_UICommon::refreshImportJobTable);
    ZAV_UICommon::interface()->refreshOrigFileTable();
    QCOMPARE(announced.count(), 1);
    QCOMPARE(others.count(), 0);
}

void UiServicesContract::jobInformationIsAnnounced_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("web") << QStringLiteral("name|A000001|ISWEB");
    QTest::newRow("empty") << QString();
    QTest::newRow("Chinese") << QString::fromUtf8("\xE6\x96\x99\xE5\x8F\xB7|A000001");
}

void UiServicesContract::jobInformationIsAnnounced()
{
    QFETCH(const QString, text);
    QSignalSpy announced(ZAV_UICommon::interface(), &ZAV_UICommon::emitCAMImportJobInfo);
    ZAV_UICommon::interface()->sendemitCAMImportJobInfo(text);
    QCOMPARE(announced.count(), 1);
    QCOMPARE(announced.at(0).at(0).toString(), text);
}

} // namespace KOZAV::Test
