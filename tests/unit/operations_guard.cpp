// An exception inside a service operation is a failure of it: none reaches the panels, which handle none.

#include "backend/HostInterface.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobCompressBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"
#include "services/common/Common.h"
#include "services/dbs_api/DBS_API.h"
#include "services/ui/ZAV_UICommon.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>

namespace {

/// The memory that a copy of a text of this length needs is refused while this is on.
constexpr std::size_t longText = 100000;
std::atomic<bool> refuseLongTexts{false};

} // namespace

void* operator new(std::size_t size)
{
    if (refuseLongTexts && size >= longText)
        throw std::bad_alloc();
    if (void* memory = std::malloc(size > 0 ? size : 1))
        return memory;
    throw std::bad_alloc();
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

namespace {

/// A call of an operation with a text that cannot be copied. @return whether it gave its success value
struct Call
{
    Backend::ServiceOperation operation;
    std::function<bool(std::string&&)> call;
};

const std::string any = "any";

bool selectWith(const char* column, std::string&& text)
{
    std::map<std::string, std::string> conditions;
    conditions[column] = std::move(text);
    refuseLongTexts = true;
    std::vector<DataLib::Model::Odbpp_Company> companies;
    const bool selected = Odbpp_CompanyBll().select(conditions, {}, companies);
    refuseLongTexts = false;
    return selected;
}

bool selectFlowsWith(std::string&& text)
{
    std::map<std::string, std::string> conditions;
    conditions["FlowGuid"] = std::move(text);
    refuseLongTexts = true;
    std::vector<DataLib::Model::Odbpp_JobFlow> flows;
    const bool selected = Odbpp_JobFlowBll().select(conditions, {}, flows);
    refuseLongTexts = false;
    return selected;
}

/// Calls an operation with the refusal on.
template <typename Operation>
bool refused(const Operation& operation)
{
    refuseLongTexts = true;
    const bool succeeded = operation();
    refuseLongTexts = false;
    return succeeded;
}

const std::vector<Call>& calls()
{
    using Backend::ServiceOperation;
    using Text = std::string;
    static const std::vector<Call> all = {
        {ServiceOperation::SelectCompanies,
         [](Text&& text) { return selectWith("CompanyName", std::move(text)); }},
        {ServiceOperation::InputCompanies,
         [](Text&& text) { return refused([&] { return Odbpp_CompanyBll().inputCompanies(text, 1, 1); }); }},
        {ServiceOperation::InputOrigFile,
         [](Text&& text) {
             return refused([&] {
                 return Odbpp_OrigFilesBll().inputOrigFile(any, std::move(text), any, any, any, 0, 1);
             });
         }},
        {ServiceOperation::SelectJobFlows, [](Text&& text) { return selectFlowsWith(std::move(text)); }},
        {ServiceOperation::InsertFlowBeforeOrigFile,
         [](Text&& text) {
             return refused([&] {
                 return !Odbpp_JobFlowBll().insertflowbeforeorigfile(std::move(text), 1, any, any).empty();
             });
         }},
        {ServiceOperation::UpdateUploadBatchNum,
         [](Text&& text) {
             return refused([&] { return Odbpp_JobFlowBll().updateUploadBatchNum(1, std::move(text)); });
         }},
        {ServiceOperation::UpdateOrigFileGuid,
         [](Text&& text) {
             return refused([&] { return Odbpp_JobFlowBll().UpdateOrigFileGuid(std::move(text), any); });
         }},
        {ServiceOperation::UpdateLastOdbppImportMongoFsGuid,
         [](Text&& text) {
             return refused(
                 [&] { return Odbpp_JobFlowBll().UpdateLastOdbppImportMongoFsGuid(std::move(text), any); });
         }},
        {ServiceOperation::UpdateState,
         [](Text&& text) {
             return refused([&] { return Odbpp_JobFlowBll().UpdateState(1, 1, 2, std::move(text)); });
         }},
        {ServiceOperation::UpdatePreImportOrCheckTime,
         [](Text&& text) {
             return refused([&] {
                 return Odbpp_JobFlowBll().UpdatePreImportOrCheckTime(any, 1, 1, std::move(text), 1, any, 1,
                                                                      any);
             });
         }},
        {ServiceOperation::InputJobCompress,
         [](Text&& text) {
             return refused([&] {
                 return Odbpp_JobCompressBll().inputJobCompress(any, any, 1, std::move(text), any, any, any,
                                                                any, any, 1, 1);
             });
         }},
        {ServiceOperation::InputJobCompressByFolder,
         [](Text&& text) {
             return refused([&] {
                 return Odbpp_JobCompressBll().inputJobCompressByFolder(
                     any, any, 1, std::move(text), any, any, any, any, any, 1, 1, any, any, any);
             });
         }},
        {ServiceOperation::ReuploadRobotTgz,
         [](Text&& text) {
             return refused([&] { return DBS_API::kozav_reupload_robot_tgz(std::move(text), any, 1, any); });
         }},
        {ServiceOperation::UploadPrefile2Mysql,
         [](Text&& text) {
             return refused([&] {
                 return !DBS_API::kozav_upload_prefile2mysql(any, any, std::move(text), any, any, 1, any)
                             .empty();
             });
         }},
        {ServiceOperation::MongodbPut,
         [](Text&& text) { return refused([&] { return Common::MongodbPut(text, any, any, any) == 0; }); }},
        {ServiceOperation::MongodbGet,
         [](Text&& text) { return refused([&] { return Common::MongodbGet(text, any, any, any) == 0; }); }},
        {ServiceOperation::FoldersCompressSave2MongoDb,
         [](Text&& text) {
             return refused([&] {
                 std::string id = "before";
                 return Common::FoldersCompressSave2MongoDb(text, any, id) == 0 || !id.empty();
             });
         }},
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
    refuseLongTexts = false;
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
    try {
        succeeded = call.call(std::string(longText, 'x'));
    } catch (const std::exception& exception) {
        refuseLongTexts = false;
        QFAIL(exception.what());
    }
    QVERIFY(!succeeded);
    QCOMPARE(m_events.size(), 1);
    QCOMPARE(m_events.first().operation, call.operation);
    QCOMPARE(m_events.first().outcome, Backend::OperationOutcome::Failed);
    QCOMPARE(m_events.first().reason, Backend::ErrorCode::Internal);
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
