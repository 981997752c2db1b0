#include "services/bll/Odbpp_JobFlowBll.h"

#include "backend/Guarded.h"
#include "backend/Operation.h"
#include "backend/Site.h"
#include "backend/operations/ConditionColumns.h"
#include "backend/database/Database.h"
#include "backend/operations/FlowWrites.h"
#include "backend/operations/RowValues.h"
#include "backend/operations/SettledInsert.h"

#include <QUuid>

#include <array>

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

Model::Odbpp_JobFlow readFlow(const QSqlQuery& row)
{
    int column = 0;
    const auto text = [&] { return row.value(column++).toString().toStdString(); };
    const auto number = [&] { return row.value(column++).toInt(); };
    Model::Odbpp_JobFlow flow;
    flow.flowGuid = text();
    flow.jobId = number();
    flow.jobName = text();
    flow.koSerialName = text();
    flow.flowNo = text();
    flow.userId = number();
    flow.state = number();
    flow.subState = number();
    flow.stateUserId = number();
    flow.stateTime = text();
    flow.origFileGuid = text();
    flow.lastOdbppImportMongoFsGuid = text();
    flow.uploadBatchNum = number();
    flow.preImportUserId = number();
    flow.preImportFlag = number();
    flow.preImportNote = text();
    flow.checkUserId = number();
    flow.checkUserName = text();
    flow.checkFlag = number();
    flow.checkNote = text();
    flow.preImportOrCheckTime = text();
    flow.createdTime = text();
    return flow;
}

Status selectFlows(const std::map<std::string, std::string>& textConditions,
                   const std::map<std::string, int>& intConditions, std::vector<Model::Odbpp_JobFlow>& flows)
{
    const Result<Conditions> conditions = matchConditions(flowColumns(), textConditions, intConditions);
    if (!conditions.ok() || !conditions->satisfiable)
        return conditions.status();
    const Result<Database*> database = Site::current().database();
    if (!database.ok())
        return database.status();
    return database.value()->query(flowSelects.at(conditions->columns), conditions->values,
                                   [&](const QSqlQuery& row) {
                                       flows.push_back(readFlow(row));
                                       return true;
                                   });
}

Status addFlow(const RowValues& values)
{
    if (!values.status().ok())
        return values.status();
    const Result<Database*> database = Site::current().database();
    if (!database.ok())
        return database.status();
    const KeyedRow row = {
        "INSERT INTO job_flow (guid, job_name, user_id, flow_no, ko_serial_name, created_time)"
        " VALUES (?, ?, ?, ?, ?, ?)",
        values.list(), "SELECT id FROM job_flow WHERE guid = ?", values.list().first()};
    return insertSettled(*database.value(), row, Durability::Deferred);
}

} // namespace

Odbpp_JobFlowBll::Odbpp_JobFlowBll() = default;

Odbpp_JobFlowBll::~Odbpp_JobFlowBll() = default;

bool Odbpp_JobFlowBll::select(const std::map<std::string, std::string>& textConditions,
                              const std::map<std::string, int>& intConditions,
                              std::vector<Model::Odbpp_JobFlow>& flows)
{
    Operation operation(logDatabase, "Odbpp_JobFlowBll::select",
                        describeConditions(textConditions, intConditions));
    flows.clear();
    const Status status = guarded([&] { return selectFlows(textConditions, intConditions, flows); });
    if (!status.ok())
        flows.clear();
    return operation.finish(status);
}

std::string Odbpp_JobFlowBll::insertflowbeforeorigfile(std::string jobName, int userId, std::string flowNo,
                                                       std::string generatedJobName)
{
    Operation operation(logDatabase, "insertflowbeforeorigfile", QString::fromStdString(generatedJobName));
    const QString flowGuid = QUuid::createUuid().toString(QUuid::WithoutBraces);
    const RowValues values = RowValues()
                                 .text(flowGuid)
                                 .text("job name", jobName)
                                 .number(userId)
                                 .text("flow number", flowNo)
                                 .text("generated job name", generatedJobName)
                                 .time();
    const Status status = guarded([&] { return addFlow(values); });
    return operation.finish(status, status.ok() ? flowGuid : QString()) ? flowGuid.toStdString()
                                                                        : std::string();
}

bool Odbpp_JobFlowBll::updateUploadBatchNum(int batchNumber, std::string flowGuid)
{
    Operation operation(logDatabase, "updateUploadBatchNum", QString::fromStdString(flowGuid));
    return operation.finish(guarded([&] {
        return changeFlow("UPDATE job_flow SET upload_batch_number = ? WHERE guid = ?",
                          RowValues().number(batchNumber), flowGuid, Durability::Deferred);
    }));
}

bool Odbpp_JobFlowBll::UpdateOrigFileGuid(std::string origFileGuid, std::string flowGuid)
{
    Operation operation(logDatabase, "UpdateOrigFileGuid", QString::fromStdString(flowGuid));
    return operation.finish(guarded([&] {
        return changeFlow("UPDATE job_flow SET orig_file_guid = ? WHERE guid = ?",
                          RowValues().text("original-file key", origFileGuid), flowGuid,
                          Durability::Deferred);
    }));
}

bool Odbpp_JobFlowBll::UpdateLastOdbppImportMongoFsGuid(std::string origFileGuid, std::string flowGuid)
{
    Operation operation(logDatabase, "UpdateLastOdbppImportMongoFsGuid", QString::fromStdString(flowGuid));
    return operation.finish(guarded([&] {
        return changeFlow("UPDATE job_flow SET last_import_orig_file_guid = ? WHERE guid = ?",
                          RowValues().text("original-file key", origFileGuid), flowGuid,
                          Durability::Deferred);
    }));
}

bool Odbpp_JobFlowBll::UpdateState(int userId, int state, int subState, std::string flowGuid)
{
    Operation operation(logDatabase, "UpdateState", QString::fromStdString(flowGuid));
    return operation.finish(guarded([&] {
        return changeFlow(
            "UPDATE job_flow SET state = ?, sub_state = ?, state_user_id = ?, state_time = ? WHERE guid = ?",
            RowValues().number(state).number(subState).number(userId).time(), flowGuid,
            Durability::Immediate);
    }));
}

bool Odbpp_JobFlowBll::UpdatePreImportOrCheckTime(std::string flowGuid, int preImportUserId,
                                                  int preImportFlag, std::string preImportNote,
                                                  int checkUserId, std::string checkUserName, int checkFlag,
                                                  std::string checkNote)
{
    Operation operation(logDatabase, "UpdatePreImportOrCheckTime", QString::fromStdString(flowGuid));
    const RowValues values = RowValues()
                                 .number(preImportUserId)
                                 .number(preImportFlag)
                                 .text("pre-import note", preImportNote)
                                 .number(checkUserId)
                                 .text("name of the checking user", checkUserName)
                                 .number(checkFlag)
                                 .text("check note", checkNote)
                                 .time();
    return operation.finish(guarded([&] {
        return changeFlow("UPDATE job_flow SET pre_import_user_id = ?, pre_import_flag = ?,"
                          " pre_import_note = ?, check_user_id = ?, check_user_name = ?,"
                          " check_flag = ?, check_note = ?, pre_import_or_check_time = ?"
                          " WHERE guid = ?",
                          values, flowGuid, Durability::Immediate);
    }));
}

} // namespace KOZAV::DataLib::BLL
