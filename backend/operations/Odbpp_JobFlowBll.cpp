#include "services/bll/Odbpp_JobFlowBll.h"

#include "backend/operations/ConditionColumns.h"
#include "backend/operations/FailedFlows.h"
#include "backend/operations/ImportRoad.h"
#include "backend/operations/RowWrites.h"
#include "backend/operations/SiteWork.h"

#include <array>
#include <utility>

namespace KOZAV::DataLib::BLL {

using namespace Backend;

namespace {

#define SELECT_JOB_FLOW                                                                                      \
    "SELECT guid, id, job_name, ko_serial_name, flow_no, user_id, state, sub_state, state_user_id, "         \
    "state_time,"                                                                                            \
    " orig_file_guid, last_import_orig_file_guid, upload_batch_number, pre_import_user_id, pre_import_flag," \
    " pre_import_note, check_user_id, check_user_name, check_flag, check_note, pre_import_or_check_time,"    \
    " created_time FROM job_flow"

const std::vector<ConditionColumn>& flowColumns()
{
    static const std::vector<ConditionColumn> columns = {
        {"KoSerialName", ConditionColumn::Kind::Text},
        {"FlowGuid", ConditionColumn::Kind::Text},
    };
    return columns;
}

/// By Conditions::columns of flowColumns().
constexpr std::array<const char*, 4> flowSelects = {
    SELECT_JOB_FLOW " ORDER BY id",
    SELECT_JOB_FLOW " WHERE ko_serial_name = ? ORDER BY id",
    SELECT_JOB_FLOW " WHERE guid = ? ORDER BY id",
    SELECT_JOB_FLOW " WHERE ko_serial_name = ? AND guid = ? ORDER BY id",
};

#undef SELECT_JOB_FLOW

/// The columns of SELECT_JOB_FLOW.
Model::Odbpp_JobFlow readFlow(RowReader& row)
{
    Model::Odbpp_JobFlow flow;
    flow.flowGuid = row.utf8();
    flow.jobId = row.number();
    flow.jobName = row.utf8();
    flow.koSerialName = row.utf8();
    flow.flowNo = row.utf8();
    flow.userId = row.number();
    flow.state = row.number();
    flow.subState = row.number();
    flow.stateUserId = row.number();
    flow.stateTime = row.utf8();
    flow.origFileGuid = row.utf8();
    flow.lastOdbppImportMongoFsGuid = row.utf8();
    flow.uploadBatchNum = row.number();
    flow.preImportUserId = row.number();
    flow.preImportFlag = row.number();
    flow.preImportNote = row.utf8();
    flow.checkUserId = row.number();
    flow.checkUserName = row.utf8();
    flow.checkFlag = row.number();
    flow.checkNote = row.utf8();
    flow.preImportOrCheckTime = row.utf8();
    flow.createdTime = row.utf8();
    return flow;
}

Status selectFlows(Operation& call, const Conditions& conditions, std::vector<Model::Odbpp_JobFlow>& flows)
{
    return withRows(call, [&](Database& database) {
        auto found = database.list(flowSelects.at(conditions.columns), conditions.values, readFlow);
        if (found.ok())
            flows = std::move(found.value());
        return found.status();
    });
}

/// An import that is being made does not become whole without each of its rows.
Status noted(const Operation& call, Status written)
{
    if (!written.ok())
        ImportRoad::ofThisThread().failFlow(call.event.flowKey, written);
    return written;
}

/// Carries out an operation that sets columns by which an import completes the flow that it has made.
/// @param value  gives it, without the flow key
/// @param depends  the key of a row that it refers to; empty: of none
template <typename Value>
bool completeFlow(ServiceOperation operation, const char* sql, const std::string& flowGuid,
                  const std::string& depends, const Value& value)
{
    const auto written = Operation::run(operation, [&](Operation& call) {
        call.event.subject = call.event.flowKey = QString::fromStdString(flowGuid);
        ImportRoad& road = ImportRoad::ofThisThread();
        const QString needed = QString::fromStdString(depends);
        if (!road.mayHoldFlow(call.event.flowKey) || !(needed.isEmpty() || road.heldRows().holds(needed)))
            return noted(call, changeFlow(call, sql, value(), flowGuid, Durability::Deferred));
        return noted(call, holdFlowChange(call, sql, value().text("flow key", flowGuid)));
    });
    return written.ok();
}

/// Carries out an operation that changes columns of the one flow that it is given.
/// @param values  gives them, without the flow key
template <typename Values>
bool writeFlow(ServiceOperation operation, const char* sql, const std::string& flowGuid,
               Durability durability, const Values& values)
{
    const auto written = Operation::run(operation, [&](Operation& call) {
        call.event.subject = call.event.flowKey = QString::fromStdString(flowGuid);
        return noted(call, changeFlow(call, sql, values(), flowGuid, durability));
    });
    return written.ok();
}

} // namespace

Odbpp_JobFlowBll::Odbpp_JobFlowBll() = default;

Odbpp_JobFlowBll::~Odbpp_JobFlowBll() = default;

bool Odbpp_JobFlowBll::select(const std::map<std::string, std::string>& textConditions,
                              const std::map<std::string, int>& intConditions,
                              std::vector<Model::Odbpp_JobFlow>& flows)
{
    flows.clear();
    const auto selected = Operation::run(ServiceOperation::SelectJobFlows, [&](Operation& call) {
        call.event.subject = describeConditions(textConditions, intConditions);
        const auto conditions = matchConditions(flowColumns(), textConditions, intConditions);
        if (!conditions.ok() || !conditions->satisfiable)
            return conditions.status();
        return selectFlows(call, conditions.value(), flows);
    });
    if (!selected.ok())
        flows.clear();
    return selected.ok();
}

std::string Odbpp_JobFlowBll::insertflowbeforeorigfile(std::string jobName, int userId, std::string flowNo,
                                                       std::string generatedJobName)
{
    std::string key;
    const auto inserted = Operation::run(ServiceOperation::InsertFlowBeforeOrigFile, [&](Operation& call) {
        const QString flowGuid = newGuid();
        call.event.jobName = QString::fromStdString(jobName);
        call.event.subject = call.event.generatedName = QString::fromStdString(generatedJobName);
        call.event.flowKey = flowGuid;
        key = flowGuid.toStdString();
        const RowValues values = RowValues()
                                     .text(flowGuid)
                                     .text("job name", jobName)
                                     .number(userId)
                                     .text("flow number", flowNo)
                                     .text("generated job name", generatedJobName)
                                     .time();
        const KeyedRow row = {
            "INSERT INTO job_flow (guid, job_name, user_id, flow_no, ko_serial_name, created_time)"
            " VALUES (?, ?, ?, ?, ?, ?)",
            "SELECT id FROM job_flow WHERE guid = ?", flowGuid};
        // The row of the original file, which may wait already, does without that of the flow.
        const HeldRows::Waiting others(ImportRoad::ofThisThread().heldRows());
        auto made = insertRow(call, row, values, Durability::Deferred);
        if (made.ok())
            ImportRoad::ofThisThread().makeFlow(flowGuid);
        else if (made.code() == ErrorCode::OutcomeUnknown)
            withdrawLater({flowGuid, userId});
        return made;
    });
    return inserted.ok() ? key : std::string();
}

bool Odbpp_JobFlowBll::updateUploadBatchNum(int batchNumber, std::string flowGuid)
{
    return completeFlow(ServiceOperation::UpdateUploadBatchNum,
                        "UPDATE job_flow SET upload_batch_number = ? WHERE guid = ?", flowGuid, {},
                        [&] { return RowValues().number(batchNumber); });
}

bool Odbpp_JobFlowBll::UpdateOrigFileGuid(std::string origFileGuid, std::string flowGuid)
{
    return completeFlow(ServiceOperation::UpdateOrigFileGuid,
                        "UPDATE job_flow SET orig_file_guid = ? WHERE guid = ?", flowGuid, origFileGuid,
                        [&] { return RowValues().text("original-file key", origFileGuid); });
}

bool Odbpp_JobFlowBll::UpdateLastOdbppImportMongoFsGuid(std::string origFileGuid, std::string flowGuid)
{
    return completeFlow(ServiceOperation::UpdateLastOdbppImportMongoFsGuid,
                        "UPDATE job_flow SET last_import_orig_file_guid = ? WHERE guid = ?", flowGuid,
                        origFileGuid, [&] { return RowValues().text("original-file key", origFileGuid); });
}

/// A voided job keeps its state: a client that still shows it does not bring it back.
bool Odbpp_JobFlowBll::UpdateState(int userId, int state, int subState, std::string flowGuid)
{
    const auto written = Operation::run(ServiceOperation::UpdateState, [&](Operation& call) {
        call.event.subject = call.event.flowKey = QString::fromStdString(flowGuid);
        const auto changed =
            changeFlow(call,
                       "UPDATE job_flow SET state = ?, sub_state = ?, state_user_id = ?, state_time = ?"
                       " WHERE (state <> -2 OR sub_state <> -2) AND guid = ?",
                       RowValues().number(state).number(subState).number(userId).time(), flowGuid,
                       Durability::Immediate);
        return noted(call, changed.code() == ErrorCode::NotFound
                               ? changed.retold(changed.message() + QStringLiteral(", or the job was voided"))
                               : changed);
    });
    return written.ok();
}

bool Odbpp_JobFlowBll::UpdatePreImportOrCheckTime(std::string flowGuid, int preImportUserId,
                                                  int preImportFlag, std::string preImportNote,
                                                  int checkUserId, std::string checkUserName, int checkFlag,
                                                  std::string checkNote)
{
    const auto values = [&] {
        return RowValues()
            .number(preImportUserId)
            .number(preImportFlag)
            .text("pre-import note", preImportNote)
            .number(checkUserId)
            .text("name of the checking user", checkUserName)
            .number(checkFlag)
            .text("check note", checkNote)
            .time();
    };
    return writeFlow(ServiceOperation::UpdatePreImportOrCheckTime,
                     "UPDATE job_flow SET pre_import_user_id = ?, pre_import_flag = ?, pre_import_note = ?,"
                     " check_user_id = ?, check_user_name = ?, check_flag = ?, check_note = ?,"
                     " pre_import_or_check_time = ? WHERE guid = ?",
                     flowGuid, Durability::Immediate, values);
}

} // namespace KOZAV::DataLib::BLL
