// An exception inside a service operation is a failure of it: none reaches the panels, which handle none.

#include "backend/HostInterface.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobCompressBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"
#include "services/common/Common.h"
#include "services/dbs_api/DBS_API.h"
#include "services/ui/ZAV_StdCommon.h"
#include "services/ui/ZAV_UICommon.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <cstdlib>
#include <map>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// The next request of this thread for memory is refused while this is on.
thread_local bool refuseMemory = false;

} // namespace

void* operator new(std::size_t size)
{
    void* memory = refuseMemory ? nullptr : std::malloc(size > 0 ? size : 1);
    refuseMemory = false;
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return std::malloc(size > 0 ? size : 1);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

using namespace KOZAV;
using namespace KOZAV::Test;
using namespace KOZAV::DataLib::BLL;
using Backend::OperationEvent;
using Backend::ServiceOperation;

namespace {

/// Texts that take no memory when they are handed over.
const std::string any = "any";

/// One that does when it is copied.
const std::string path = "/a/path/that/is/longer/than/a/short/text";

using Conditions = std::map<std::string, std::string>;
const Conditions byName = {{"CompanyName", any}};
const Conditions byKey = {{"FlowGuid", any}};

struct Call
{
    ServiceOperation operation;
    bool (*succeeds)(); ///< calls it; whether it gave its success value
};

bool selectCompanies()
{
    std::vector<DataLib::Model::Odbpp_Company> companies;
    return Odbpp_CompanyBll().select(byName, {}, companies);
}

bool selectFlows()
{
    std::vector<DataLib::Model::Odbpp_JobFlow> flows;
    return Odbpp_JobFlowBll().select(byKey, {}, flows);
}

bool packFolder()
{
    std::string id = "before";
    return Common::FoldersCompressSave2MongoDb(path, any, id) == 0 || !id.empty();
}

bool countJob()
{
    std::string company = any;
    return Odbpp_CompanyBll().inputCompanies(company, 1, 1);
}

const std::vector<Call>& calls()
{
    using Flows = Odbpp_JobFlowBll;
    using Compresses = Odbpp_JobCompressBll;
    static const std::vector<Call> all = {
        {ServiceOperation::MongodbPut, [] { return Common::MongodbPut(any, any, path, any) == 0; }},
        {ServiceOperation::MongodbGet, [] { return Common::MongodbGet(any, any, path, any) == 0; }},
        {ServiceOperation::FoldersCompressSave2MongoDb, packFolder},
        {ServiceOperation::GetInputJobList,
         [] { return !UI::ZAV_StdCommon::interface()->getInputJobList().empty(); }},
        {ServiceOperation::SelectCompanies, selectCompanies},
        {ServiceOperation::InputCompanies, countJob},
        {ServiceOperation::UpdateBatchNumber, [] { return Odbpp_CompanyBll().UpdateBatchNumber(1, 1); }},
        {ServiceOperation::InputOrigFile,
         [] { return Odbpp_OrigFilesBll().inputOrigFile(any, any, any, any, any, 0, 1); }},
        {ServiceOperation::SelectJobFlows, selectFlows},
        {ServiceOperation::InsertFlowBeforeOrigFile,
         [] { return !Flows().insertflowbeforeorigfile(any, 1, any, any).empty(); }},
        {ServiceOperation::UpdateUploadBatchNum, [] { return Flows().updateUploadBatchNum(1, any); }},
        {ServiceOperation::UpdateOrigFileGuid, [] { return Flows().UpdateOrigFileGuid(any, any); }},
        {ServiceOperation::UpdateLastOdbppImportMongoFsGuid,
         [] { return Flows().UpdateLastOdbppImportMongoFsGuid(any, any); }},
        {ServiceOperation::UpdateState, [] { return Flows().UpdateState(1, 1, 2, any); }},
        {ServiceOperation::UpdatePreImportOrCheckTime,
         [] { return Flows().UpdatePreImportOrCheckTime(any, 1, 1, any, 1, any, 1, any); }},
        {ServiceOperation::InputJobCompress,
         [] { return Compresses().inputJobCompress(any, any, 1, any, any, any, any, any, any, 1, 1); }},
        {ServiceOperation::InputJobCompressByFolder,
         [] {
             return Compresses().inputJobCompressByFolder(any, any, 1, any, any, any, any, any, any, 1, 1,
                                                          any, any, any);
         }},
        {ServiceOperation::ReuploadRobotTgz,
         [] { return DBS_API::kozav_reupload_robot_tgz(any, any, 1, any); }},
        {ServiceOperation::UploadPrefile2Mysql,
         [] { return !DBS_API::kozav_upload_prefile2mysql(any, any, any, any, any, 1, any).empty(); }},
    };
    return all;
}

} // namespace

class OperationsGuard final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void exceptionIsAFailure_data();
    void exceptionIsAFailure();
    void exceptionOfAListenerIsAFailure();
    void exceptionOfTheObserverGoesNoFurther();

private:
    std::unique_ptr<FreshSite> m_site;
    QVector<OperationEvent> m_events;
};

void OperationsGuard::init()
{
    m_site = std::make_unique<FreshSite>();
    (void)m_site->jobs();
    m_events.clear();
    Backend::setOperationObserver([this](const OperationEvent& event) { m_events.append(event); });
}

void OperationsGuard::cleanup()
{
    refuseMemory = false;
    Backend::setOperationObserver({});
    m_site.reset();
}

void OperationsGuard::exceptionIsAFailure_data()
{
    QTest::addColumn<int>("index");
    for (int i = 0; i < int(calls().size()); ++i)
        QTest::newRow(qPrintable(Backend::operationName(calls()[std::size_t(i)].operation))) << i;
}

void OperationsGuard::exceptionIsAFailure()
{
    QFETCH(const int, index);
    const Call& call = calls()[std::size_t(index)];
    const CapturedLog log;
    bool succeeded = true;
    refuseMemory = true;
    try {
        succeeded = call.succeeds();
    } catch (const std::exception& exception) {
        QFAIL(exception.what());
    }
    QVERIFY2(!refuseMemory, "the call has asked for no memory");
    QVERIFY(!succeeded);
    QCOMPARE(m_events.size(), 1);
    QCOMPARE(m_events.first().operation, call.operation);
    QCOMPARE(m_events.first().outcome, Backend::OperationOutcome::Failed);
    QCOMPARE(m_events.first().reason, Backend::ErrorCode::Internal);
    QVERIFY2(m_events.first().message.endsWith(QStringLiteral("out of memory")),
             qPrintable(m_events.first().message));
    QCOMPARE(CapturedLog::of(QtWarningMsg).size(), 1);
}

void OperationsGuard::exceptionOfAListenerIsAFailure()
{
    const CapturedLog log;
    const QObject scope;
    connect(UI::ZAV_UICommon::interface(), &UI::ZAV_UICommon::emitCAMImportJobInfo, &scope,
            [](const QString&) { throw std::runtime_error("no such job"); });
    UI::ZAV_UICommon::interface()->sendemitCAMImportJobInfo(QStringLiteral("AB000001"));
    QCOMPARE(m_events.size(), 1);
    QCOMPARE(m_events.first().message, QStringLiteral("no such job"));
    QCOMPARE(CapturedLog::of(QtWarningMsg),
             QStringList{QStringLiteral("kozav.backend.ui: sendemitCAMImportJobInfo AB000001: no such job")});
}

void OperationsGuard::exceptionOfTheObserverGoesNoFurther()
{
    Backend::setOperationObserver([](const OperationEvent&) { throw std::runtime_error("observer"); });
    std::vector<DataLib::Model::Odbpp_Company> companies;
    QVERIFY(Odbpp_CompanyBll().select({}, {}, companies));
}

ZAV_REGISTER_TEST(operations_guard, OperationsGuard, QCoreApplication)

#include "operations_guard.moc"
