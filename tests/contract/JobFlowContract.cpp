#include "JobFlowContract.h"

#include "ImportSteps.h"
#include "WeirdTexts.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"

#include <QDateTime>
#include <QTest>

#include <functional>
#include <set>

namespace KOZAV::Test {

using namespace DataLib;

using Flows = std::vector<Model::Odbpp_JobFlow>;
using Change = std::function<bool(BLL::Odbpp_JobFlowBll&, const std::string&)>;

} // namespace KOZAV::Test

Q_DECLARE_METATYPE(KOZAV::Test::Change)

namespace KOZAV::Test {

namespace {

std::string makeFlow(const std::string& generatedName)
{
    return BLL::Odbpp_JobFlowBll().insertflowbeforeorigfile("board", 5, "F1", generatedName);
}

Flows selected(const std::map<std::string, std::string>& texts)
{
    Flows flows(2);
    if (!BLL::Odbpp_JobFlowBll().select(texts, {}, flows))
        qFatal("select failed");
    return flows;
}

Model::Odbpp_JobFlow flow(const std::string& flowGuid)
{
    return selected({{"FlowGuid", flowGuid}}).at(0);
}

QString keys(const Flows& flows)
{
    QStringList names;
    for (const Model::Odbpp_JobFlow& each : flows)
        names << QString::fromStdString(each.koSerialName);
    return names.join(QLatin1Char(' '));
}

/// Stores a file and adds an original-file row for it. @return the row's key
std::string addOrigFile(const ContractSite& site)
{
    static int number = 0;
    const std::string guid = "orig-" + std::to_string(++number);
    const std::string stored = storeFile(site.writeFile(QStringLiteral("file"), "content"), "tgz");
    const bool added = BLL::Odbpp_OrigFilesBll().inputOrigFile(guid, "board", stored, "tgz", "A", 0, 5);
    return added ? guid : std::string();
}

} // namespace

void JobFlowContract::newFlowIsFoundByItsName()
{
    const std::string key =
        BLL::Odbpp_JobFlowBll().insertflowbeforeorigfile("board", 5, "F20260102", "A000001");
    QVERIFY(!key.empty());
    const Flows flows = selected({{"KoSerialName", "A000001"}});
    QCOMPARE(flows.size(), size_t{1});
    QCOMPARE(flows.front().flowGuid, key);
    QCOMPARE(flows.front().jobName, std::string("board"));
    QCOMPARE(flows.front().koSerialName, std::string("A000001"));
    QCOMPARE(flows.front().flowNo, std::string("F20260102"));
    QCOMPARE(flows.front().userId, 5);
    QVERIFY(flows.front().jobId > 0);
    QVERIFY(QDateTime::fromString(QString::fromStdString(flows.front().createdTime), Qt::ISODateWithMs)
                .isValid());
}

void JobFlowContract::newFlowWaits()
{
    const Model::Odbpp_JobFlow made = flow(makeFlow("A000001"));
    QCOMPARE(made.state, 0);
    QCOMPARE(made.subState, 0);
    QCOMPARE(made.uploadBatchNum, 0);
    QVERIFY(made.stateTime.empty() && made.preImportOrCheckTime.empty());
    QVERIFY(made.origFileGuid.empty() && made.lastOdbppImportMongoFsGuid.empty());
}

void JobFlowContract::flowKeysAreUnique()
{
    std::set<std::string> made;
    for (int i = 0; i < 50; ++i)
        made.insert(makeFlow("A" + std::to_string(i)));
    QCOMPARE(made.size(), size_t{50});
    QVERIFY(made.count(std::string()) == 0);
}

void JobFlowContract::generatedNameIsUnique()
{
    const std::string first = makeFlow("A000001");
    ContractSite::expectTakenKey("insertflowbeforeorigfile");
    QCOMPARE(makeFlow("A000001"), std::string());
    QCOMPARE(selected({}).size(), size_t{1});
    QCOMPARE(selected({}).front().flowGuid, first);
}

void JobFlowContract::generatedNameMustNotBeEmpty()
{
    ContractSite::expectFailure("insertflowbeforeorigfile", "");
    QCOMPARE(makeFlow(""), std::string());
    QVERIFY(selected({}).empty());
}

void JobFlowContract::generatedNamesDifferByCase()
{
    QVERIFY(!makeFlow("A000001").empty());
    QVERIFY(!makeFlow("a000001").empty());
    QVERIFY(!makeFlow("A000001 ").empty());
    QCOMPARE(selected({{"KoSerialName", "a000001"}}).size(), size_t{1});
}

void JobFlowContract::conditionsSelect_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("keyOf");
    QTest::addColumn<QString>("expected");
    QTest::newRow("none") << QString() << -1 << QStringLiteral("B000001 A000001 A000002");
    QTest::newRow("name") << QStringLiteral("A000001") << -1 << QStringLiteral("A000001");
    QTest::newRow("key") << QString() << 0 << QStringLiteral("B000001");
    QTest::newRow("both") << QStringLiteral("A000002") << 2 << QStringLiteral("A000002");
    QTest::newRow("both, different") << QStringLiteral("A000002") << 0 << QString();
    QTest::newRow("unknown") << QStringLiteral("C000001") << -1 << QString();
}

void JobFlowContract::conditionsSelect()
{
    QFETCH(const QString, name);
    QFETCH(const int, keyOf);
    QFETCH(const QString, expected);
    const std::vector<std::string> made = {makeFlow("B000001"), makeFlow("A000001"), makeFlow("A000002")};
    std::map<std::string, std::string> conditions;
    if (!name.isEmpty())
        conditions["KoSerialName"] = name.toStdString();
    if (keyOf >= 0)
        conditions["FlowGuid"] = made.at(static_cast<size_t>(keyOf));
    QCOMPARE(keys(selected(conditions)), expected);
}

void JobFlowContract::unknownColumnsAreRefused()
{
    QVERIFY(!makeFlow("A000001").empty());
    for (const char* column :
         {"ko_serial_name", "koserialname", "CompanyName", "", "1=1; DROP TABLE job_flow;--"}) {
        ContractSite::expectFailure("Odbpp_JobFlowBll::select", "condition column");
        Flows flows(2);
        QVERIFY(!BLL::Odbpp_JobFlowBll().select({{column, "A000001"}}, {}, flows));
        QVERIFY(flows.empty());
        ContractSite::expectFailure("Odbpp_JobFlowBll::select", "condition column");
        QVERIFY(!BLL::Odbpp_JobFlowBll().select({}, {{column, 1}}, flows));
    }
    QCOMPARE(selected({}).size(), size_t{1});
}

void JobFlowContract::textsAreKeptAsTheyAre_data()
{
    addWeirdTexts();
    QTest::newRow("newline") << std::string("a\nb\r\n\tc");
}

void JobFlowContract::textsAreKeptAsTheyAre()
{
    QFETCH(const std::string, text);
    const std::string key = BLL::Odbpp_JobFlowBll().insertflowbeforeorigfile(text, 5, text, text);
    QVERIFY(!key.empty());
    QVERIFY(BLL::Odbpp_JobFlowBll().UpdatePreImportOrCheckTime(key, 1, 2, text, 3, text, 4, text));
    const Flows flows = selected({{"KoSerialName", text}});
    QCOMPARE(flows.size(), size_t{1});
    const Model::Odbpp_JobFlow& found = flows.front();
    QCOMPARE(found.flowGuid, key);
    for (const std::string& kept : {found.jobName, found.flowNo, found.koSerialName, found.preImportNote,
                                    found.checkUserName, found.checkNote})
        QCOMPARE(kept, text);
}

void JobFlowContract::changesAreStored()
{
    const std::string key = makeFlow("A000001");
    const std::string other = makeFlow("A000002");
    QVERIFY(BLL::Odbpp_JobFlowBll().updateUploadBatchNum(12, key));
    QVERIFY(BLL::Odbpp_JobFlowBll().UpdateState(9, 1, 2, key));
    QVERIFY(BLL::Odbpp_JobFlowBll().UpdateState(9, 1, 2, key));
    QCOMPARE(flow(key).uploadBatchNum, 12);
    QCOMPARE(flow(key).state, 1);
    QCOMPARE(flow(key).subState, 2);
    QCOMPARE(flow(key).stateUserId, 9);
    QVERIFY(flow(key).stateTime >= flow(key).createdTime);
    QCOMPARE(flow(other).state, 0);
    QCOMPARE(flow(other).uploadBatchNum, 0);
}

void JobFlowContract::preImportStampIsStored()
{
    const std::string key = makeFlow("A000001");
    QVERIFY(BLL::Odbpp_JobFlowBll().UpdatePreImportOrCheckTime(key, 1, 2, "pre", 3, "who", 4, "check"));
    const Model::Odbpp_JobFlow stamped = flow(key);
    QCOMPARE(stamped.preImportUserId, 1);
    QCOMPARE(stamped.preImportFlag, 2);
    QCOMPARE(stamped.preImportNote, std::string("pre"));
    QCOMPARE(stamped.checkUserId, 3);
    QCOMPARE(stamped.checkUserName, std::string("who"));
    QCOMPARE(stamped.checkFlag, 4);
    QCOMPARE(stamped.checkNote, std::string("check"));
    QVERIFY(stamped.preImportOrCheckTime >= stamped.createdTime);
    QCOMPARE(stamped.state, 0);
}

void JobFlowContract::originalFileIsLinked()
{
    m_site->addCompany("A", "Alpha");
    const std::string key = makeFlow("A000001");
    const std::string first = addOrigFile(*m_site);
    const std::string second = addOrigFile(*m_site);
    QVERIFY(BLL::Odbpp_JobFlowBll().UpdateOrigFileGuid(first, key));
    QVERIFY(BLL::Odbpp_JobFlowBll().UpdateLastOdbppImportMongoFsGuid(second, key));
    QCOMPARE(flow(key).origFileGuid, first);
    QCOMPARE(flow(key).lastOdbppImportMongoFsGuid, second);
}

void JobFlowContract::missingOriginalFileIsNotLinked()
{
    const std::string key = makeFlow("A000001");
    for (const char* guid : {"nowhere", ""}) {
        ContractSite::expectFailure("UpdateOrigFileGuid", "original file");
        QVERIFY(!BLL::Odbpp_JobFlowBll().UpdateOrigFileGuid(guid, key));
        ContractSite::expectFailure("UpdateLastOdbppImportMongoFsGuid", "original file");
        QVERIFY(!BLL::Odbpp_JobFlowBll().UpdateLastOdbppImportMongoFsGuid(guid, key));
    }
    QCOMPARE(flow(key).origFileGuid, std::string());
    QCOMPARE(flow(key).lastOdbppImportMongoFsGuid, std::string());
}

void JobFlowContract::changesNeedAFlow_data()
{
    QTest::addColumn<QByteArray>("operation");
    QTest::addColumn<Change>("change");
    const auto row = [](const char* operation, const Change& change) {
        QTest::newRow(operation) << QByteArray(operation) << change;
    };
    row("updateUploadBatchNum", [](auto& bll, const auto& key) { return bll.updateUploadBatchNum(1, key); });
    row("UpdateOrigFileGuid",
        [](auto& bll, const auto& key) { return bll.UpdateOrigFileGuid("orig-any", key); });
    row("UpdateLastOdbppImportMongoFsGuid",
        [](auto& bll, const auto& key) { return bll.UpdateLastOdbppImportMongoFsGuid("orig-any", key); });
    row("UpdateState", [](auto& bll, const auto& key) { return bll.UpdateState(1, 1, 2, key); });
    row("UpdatePreImportOrCheckTime", [](auto& bll, const auto& key) {
        return bll.UpdatePreImportOrCheckTime(key, 1, 0, "", 1, "", 0, "");
    });
}

void JobFlowContract::changesNeedAFlow()
{
    QFETCH(const QByteArray, operation);
    QFETCH(const Change, change);
    const std::string key = makeFlow("A000001");
    BLL::Odbpp_JobFlowBll bll;
    ContractSite::expectFailure(operation.constData(), "the flow key is empty");
    QVERIFY(!change(bll, ""));
    for (const std::string& unknown : {std::string("nowhere"), key + " ", std::string("%")}) {
        ContractSite::expectFailure(operation.constData(), "no job flow with that key");
        QVERIFY(!change(bll, unknown));
    }
    const Model::Odbpp_JobFlow untouched = flow(key);
    QCOMPARE(untouched.state, 0);
    QCOMPARE(untouched.uploadBatchNum, 0);
    QVERIFY(untouched.preImportOrCheckTime.empty());
}

void JobFlowContract::textThatIsNotUtf8IsRefused()
{
    for (const std::string& text : {std::string("caf\xe9"), std::string("a\0b", 3),
                                    std::string("\xef\xbb\xbf"
                                                "a"),
                                    std::string("\xed\xa0\x80")}) {
        ContractSite::expectFailure("insertflowbeforeorigfile", "");
        QCOMPARE(BLL::Odbpp_JobFlowBll().insertflowbeforeorigfile(text, 1, "F1", "A000001"), std::string());
        ContractSite::expectFailure("insertflowbeforeorigfile", "");
        QCOMPARE(makeFlow(text), std::string());
    }
    QVERIFY(selected({}).empty());
}

} // namespace KOZAV::Test
