#include "backend/Operation.h"

#include "backend/ObserverSlot.h"

#include <chrono>
#include <utility>

// A call ends in three steps, in this order: what it came to is written into its event, a failure is logged,
// and the observer is told. Nothing of that may harm the call: an exception on the way, of the log or of the
// observer, ends here too. Names and logging categories of the operations stand in one table; the log's lines
// begin with the names, so those do not change.

namespace KOZAV::Backend {

Q_LOGGING_CATEGORY(logConfig, "kozav.backend.config")
Q_LOGGING_CATEGORY(logStore, "kozav.backend.store")
Q_LOGGING_CATEGORY(logPack, "kozav.backend.pack")
Q_LOGGING_CATEGORY(logDatabase, "kozav.backend.database")
Q_LOGGING_CATEGORY(logUi, "kozav.backend.ui")

namespace {

struct OperationRow
{
    ServiceOperation operation;
    const char* name;
    const QLoggingCategory& (*category)();
};

constexpr OperationRow operationRows[] = {
    {ServiceOperation::MongodbPut, "MongodbPut", logStore},
    {ServiceOperation::MongodbGet, "MongodbGet", logStore},
    {ServiceOperation::FoldersCompressSave2MongoDb, "FoldersCompressSave2MongoDb", logStore},
    {ServiceOperation::GetInputJobList, "getInputJobList", logUi},
    {ServiceOperation::GetCurrentUser, "getCurrentUser", logUi},
    {ServiceOperation::RefreshOrigFileTable, "refreshOrigFileTable", logUi},
    {ServiceOperation::SendEmitCamImportJobInfo, "sendemitCAMImportJobInfo", logUi},
    {ServiceOperation::SelectCompanies, "Odbpp_CompanyBll::select", logDatabase},
    {ServiceOperation::InputCompanies, "inputCompanies", logDatabase},
    {ServiceOperation::UpdateBatchNumber, "UpdateBatchNumber", logDatabase},
    {ServiceOperation::InputOrigFile, "inputOrigFile", logDatabase},
    {ServiceOperation::SelectJobFlows, "Odbpp_JobFlowBll::select", logDatabase},
    {ServiceOperation::InsertFlowBeforeOrigFile, "insertflowbeforeorigfile", logDatabase},
    {ServiceOperation::UpdateUploadBatchNum, "updateUploadBatchNum", logDatabase},
    {ServiceOperation::UpdateOrigFileGuid, "UpdateOrigFileGuid", logDatabase},
    {ServiceOperation::UpdateLastOdbppImportMongoFsGuid, "UpdateLastOdbppImportMongoFsGuid", logDatabase},
    {ServiceOperation::UpdateState, "UpdateState", logDatabase},
    {ServiceOperation::UpdatePreImportOrCheckTime, "UpdatePreImportOrCheckTime", logDatabase},
    {ServiceOperation::InputJobCompress, "inputJobCompress", logDatabase},
    {ServiceOperation::InputJobCompressByFolder, "inputJobCompressByFolder", logDatabase},
    {ServiceOperation::ReuploadRobotTgz, "kozav_reupload_robot_tgz", logDatabase},
    {ServiceOperation::UploadPrefile2Mysql, "kozav_upload_prefile2mysql", logDatabase},
};

const OperationRow& rowOf(ServiceOperation operation)
{
    for (const OperationRow& row : operationRows)
        if (row.operation == operation)
            return row;
    Q_UNREACHABLE();
}

ObserverSlot<OperationObserver>& observerSlot()
{
    static ObserverSlot<OperationObserver> slot;
    return slot;
}

ObserverSlot<WaitObserver>& waitSlot()
{
    static ObserverSlot<WaitObserver> slot;
    return slot;
}

/// Of the call that the thread carries out; 0: none.
thread_local quint64 runningCall = 0;
thread_local quint64 callsSoFar = 0;

/// What hosts do in such a call, for as long as they like, are calls of their own.
bool emitsOnly(ServiceOperation operation)
{
    return operation == ServiceOperation::RefreshOrigFileTable ||
           operation == ServiceOperation::SendEmitCamImportJobInfo;
}

qint64 monotonicMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

OperationOutcome outcomeOf(ErrorCode reason)
{
    if (reason == ErrorCode::None)
        return OperationOutcome::Succeeded;
    return reason == ErrorCode::OutcomeUnknown ? OperationOutcome::Unknown : OperationOutcome::Failed;
}

Status tell(const OperationEvent& event)
{
    const OperationRow& row = rowOf(event.operation);
    if (event.outcome != OperationOutcome::Succeeded)
        qCWarning(row.category).noquote() << QLatin1String(row.name) + QLatin1Char(' ') + event.subject +
                                                 QStringLiteral(": ") + event.message;
    if (const auto observer = observerSlot().get())
        (*observer)(event);
    return {};
}

} // namespace

QString operationName(ServiceOperation operation)
{
    return QString::fromLatin1(rowOf(operation).name);
}

void setOperationObserver(OperationObserver observer)
{
    observerSlot().set(std::move(observer));
}

void setWaitObserver(WaitObserver observer)
{
    waitSlot().set(std::move(observer));
}

void tellWait(const ServiceWait& wait) noexcept
{
    (void)guarded([&wait] {
        if (const auto observer = waitSlot().get())
            (*observer)(wait);
        return Status();
    });
}

Operation::Operation(ServiceOperation operation)
    : m_work(event)
{
    event.operation = operation;
    event.startedMs = monotonicMs();
    if (!emitsOnly(operation))
        lookAnew();
}

quint64 Operation::current()
{
    return runningCall;
}

void Operation::lookAnew()
{
    runningCall = ++callsSoFar;
}

void Operation::end(const Status& outcome) noexcept
{
    runningCall = 0;
    event.endedMs = monotonicMs();
    event.outcome = outcomeOf(outcome.code());
    event.reason = outcome.code();
    event.message = outcome.message();
    if (!outcome.ok())
        event.part = outcome.part();
    (void)guarded([this] { return tell(event); });
}

} // namespace KOZAV::Backend
