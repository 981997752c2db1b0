#include "tests/contract/UiServicesContract.h"

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

std::string makeFlow(const std::string& generatedName)
{
    return BLL::Odbpp_JobFlowBll().insertflowbeforeorigfile("board", 5, "F1", generatedName);
}

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

void UiServicesContract::waitingJobsAreOldestFirst()
{
    const std::string key = makeFlow("Z000001");
    QVERIFY(!makeFlow("A000002").empty() && !makeFlow("A000001").empty());
    QCOMPARE(waiting(), QStringLiteral("Z000001 A000002 A000001"));
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
    makeFlow("A000001");
    const std::string key = makeFlow("A000002");
    makeFlow("A000003");
    QVERIFY(BLL::Odbpp_JobFlowBll().UpdateState(5, state, subState, key));
    QCOMPARE(waiting(), QStringLiteral("A000001 A000003"));
}

void UiServicesContract::aJobCanComeBackToTheList()
{
    const std::string key = makeFlow("A000001");
    makeFlow("A000002");
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
