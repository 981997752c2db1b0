#include "backend/operations/Patience.h"

#include "backend/Site.h"
#include "backend/operations/ImportRoad.h"
#include "backend/operations/RowWrites.h"
#include "backend/operations/SiteWork.h"
#include "backend/operations/ToldWait.h"

#include <algorithm>
#include <iterator>
#include <optional>

// A server that is away for some seconds would cost a batch every job that it comes to meanwhile, each with a
// number that it takes and rows that nobody mends: the panel goes on whatever a call returns. So the call
// itself waits. What runs again after a try without an answer first looks what became of that; which is for
// the work to do (Operation::isRepeated).
//
// The patience is one outage's: each call that meets one has all of it, and one that uses it up ends it for
// the batch. From then on no call of the batch is tried: none stores a file, takes a number or writes a row.
// It makes no difference then whether the server comes back; a batch of which some later jobs are imported
// would be harder to understand than one that ends at a job. Without any patience nothing is given up, since
// nothing was waited for: each entry is tried, but what it stores is not before its rows can be written.

namespace KOZAV::Backend {

namespace {

constexpr std::chrono::milliseconds betweenTries{500};

/// The calls that drivers and pipelines make. Others may come between them on the same thread, such as the
/// host's own: they wait for nobody.
constexpr ServiceOperation importCalls[] = {
    ServiceOperation::MongodbPut,
    ServiceOperation::FoldersCompressSave2MongoDb,
    ServiceOperation::SelectCompanies,
    ServiceOperation::InputCompanies,
    ServiceOperation::UpdateBatchNumber,
    ServiceOperation::InputOrigFile,
    ServiceOperation::InsertFlowBeforeOrigFile,
    ServiceOperation::UpdateUploadBatchNum,
    ServiceOperation::UpdateOrigFileGuid,
    ServiceOperation::UpdateLastOdbppImportMongoFsGuid,
    ServiceOperation::UpdateState,
    ServiceOperation::InputJobCompress,
    ServiceOperation::InputJobCompressByFolder,
};

bool isOfBatch(const Operation& call)
{
    const auto same = [&call](ServiceOperation operation) { return operation == call.event.operation; };
    return ImportRoad::ofThisThread().inBatch() &&
           std::any_of(std::begin(importCalls), std::end(importCalls), same);
}

bool isWithoutAnswer(const Status& ended)
{
    return ended.code() == ErrorCode::Unavailable || ended.code() == ErrorCode::OutcomeUnknown;
}

/// An embedded database that is locked has a time-out of its own.
bool isServer(SitePart part, const Settings& settings)
{
    if (part == SitePart::Rows)
        return settings.database.driver != DatabaseSettings().driver;
    return part == SitePart::Files && settings.documentStore.kind != DocumentStoreSettings().kind;
}

ServiceWait waitFor(const Status& failed)
{
    ServiceWait wait;
    wait.cause = ServiceWait::Cause::Part;
    wait.part = failed.part();
    wait.company = ImportRoad::ofThisThread().company();
    wait.reason = failed.message();
    return wait;
}

void noteOutage(const Status& failed, std::chrono::seconds waited)
{
    ImportRoad& road = ImportRoad::ofThisThread();
    if (waited.count() > 0)
        road.giveUp(failed);
    if (failed.part() == SitePart::Rows)
        road.noteRows(false);
}

/// Whoever stops a batch has its jobs so far be as those of any other.
bool isAllowedWhenStopped(const Operation& call)
{
    return call.event.operation == ServiceOperation::UpdateBatchNumber;
}

} // namespace

void refuseImports(const QString& reason)
{
    ImportRoad::ofThisThread().stop(
        Status(ErrorCode::Stopped, QStringLiteral("not tried, since the batch was stopped: %1").arg(reason)));
}

Status refusalOf(Operation& call)
{
    const ImportRoad& road = ImportRoad::ofThisThread();
    const Status& reason = road.gaveUpFor().ok() ? road.companyRefusal() : road.gaveUpFor();
    if (reason.ok() || !isOfBatch(call))
        return {};
    const bool isStopped = reason.code() == ErrorCode::Stopped;
    if (isStopped && isAllowedWhenStopped(call))
        return {};
    call.event.gaveUp = true;
    if (isStopped)
        return reason;
    return Status::unavailable(
               QStringLiteral("not tried, since the batch has given up waiting: %1").arg(reason.message()))
        .from(reason.part());
}

bool isWaitedFor(const Operation& call, SitePart part)
{
    const auto settings = Site::current().settings();
    return isOfBatch(call) && settings.ok() && isServer(part, settings.value());
}

Status settle(Operation& call, const Status& failed, const std::function<Status()>& attempt)
{
    if (!isWithoutAnswer(failed) || !isOfBatch(call))
        return failed;
    const auto settings = Site::current().settings();
    if (!settings.ok() || !isServer(failed.part(), settings.value()))
        return failed;
    const std::chrono::seconds patience(settings->importPatienceSeconds);
    ToldWait wait(waitFor(failed), patience);
    Status last = failed;
    std::optional<Status> unknown;
    call.isRepeated = true;
    while (isWithoutAnswer(last)) {
        if (last.code() == ErrorCode::OutcomeUnknown)
            unknown = last;
        wait.told().reason = last.message();
        if (!wait.pause(betweenTries)) {
            noteOutage(last, patience);
            return unknown.value_or(last);
        }
        Operation::lookAnew();
        last = attempt();
    }
    call.isRepeated = false;
    return last;
}

Status readyToStore(Operation& call)
{
    sendHeldRows(); // of an entry that did not come to its end
    if (auto refused = refusalOf(call); !refused.ok())
        return refused;
    if (!ImportRoad::ofThisThread().rowsAreDoubtful() || !isOfBatch(call))
        return {};
    return withRows(call, [](Database& database) { return database.value("SELECT 1").status(); })
        .in(QStringLiteral("nothing is stored while its rows cannot be written"));
}

} // namespace KOZAV::Backend
