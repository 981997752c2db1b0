#include "services/bll/Odbpp_JobCompressBll.h"

#include "backend/operations/ImportRoad.h"
#include "backend/operations/RowWrites.h"
#include "backend/records/FailedImport.h"

namespace KOZAV::DataLib::BLL {

using namespace Backend;

namespace {

/// The arguments that both operations share, in the words of their contract.
struct CompressRow
{
    std::string companyName;
    std::string companyCode;
    int companyId;
    std::string jobName;
    std::string flowGuid;
    std::string storedName;
    std::string suffix;
    std::string remark;
    std::string fsName;
    int userId;
    int jobNumber;
    std::string resource;
    std::string customer2;
    std::string customer3;
};

constexpr const char* insertCompressRow =
    "INSERT INTO job_compress (company_name, company_code, company_id, job_name, flow_guid, stored_name, "
    "suffix,"
    " remark, file_store, user_id, job_number, resource, customer2, customer3, created_time)"
    " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";

RowValues valuesOf(const CompressRow& row)
{
    return RowValues()
        .text("company name", row.companyName)
        .text("company code", row.companyCode)
        .number(row.companyId)
        .text("job name", row.jobName)
        .text("flow key", row.flowGuid)
        .text("stored name", row.storedName)
        .text("suffix", row.suffix)
        .text("remark", row.remark)
        .text("file store", row.fsName)
        .number(row.userId)
        .number(row.jobNumber)
        .text("resource", row.resource)
        .text("second customer text", row.customer2)
        .text("third customer text", row.customer3)
        .time();
}

/// Takes a flow whose file is not there off the list of waiting jobs, unless its import was complete before,
/// or was voided while it ran, which is what has moved the file.
Status withdrawFlow(Operation& call, const CompressRow& row, const Status& reason)
{
    const auto withdrawn = changeFlow(
        call,
        "UPDATE job_flow SET state = ?, sub_state = ?, state_user_id = ?, state_time = ?"
        " WHERE (state <> -2 OR sub_state <> -2) AND guid = ? AND NOT EXISTS (SELECT 1 FROM job_compress "
        "WHERE flow_guid = job_flow.guid)",
        RowValues().number(importFailedState).number(importFailedSubState).number(row.userId).time(),
        row.flowGuid, Durability::Immediate);
    if (withdrawn.ok() || withdrawn.code() == ErrorCode::NotFound)
        return reason;
    return reason.retold(QStringLiteral("%1; the job also stays on the list of waiting jobs: %2")
                             .arg(reason.message(), withdrawn.message()));
}

Status addCompressRow(Operation& call, const CompressRow& row)
{
    OperationEvent& event = call.event;
    event.company = QString::fromStdString(row.companyName);
    event.jobName = QString::fromStdString(row.jobName);
    event.subject = event.flowKey = QString::fromStdString(row.flowGuid);
    event.storedName = QString::fromStdString(row.storedName);
    if (row.flowGuid.empty())
        return Status::invalidArgument(QStringLiteral("the flow key is empty"));
    const RowValues values = valuesOf(row);
    if (!values.status().ok())
        return values.status();
    if (const auto stored = requireStoredFile(call, row.storedName, row.fsName); !stored.ok())
        return withdrawFlow(call, row, stored.status());
    const KeyedRow keyed = {insertCompressRow, "SELECT id FROM job_compress WHERE flow_guid = ?",
                            event.flowKey, "there is no such job flow or no such company"};
    return insertRow(call, keyed, values, Durability::Immediate);
}

} // namespace

Odbpp_JobCompressBll::Odbpp_JobCompressBll() = default;

Odbpp_JobCompressBll::~Odbpp_JobCompressBll() = default;

bool Odbpp_JobCompressBll::inputJobCompress(std::string companyName, std::string companyCode, int companyId,
                                            std::string jobName, std::string flowGuid, std::string storedName,
                                            std::string suffix, std::string remark, std::string fsName,
                                            int userId, int jobNumber)
{
    const auto added = Operation::run(ServiceOperation::InputJobCompress, [&](Operation& call) {
        return addCompressRow(call, {companyName,
                                     companyCode,
                                     companyId,
                                     jobName,
                                     flowGuid,
                                     storedName,
                                     suffix,
                                     remark,
                                     fsName,
                                     userId,
                                     jobNumber,
                                     {},
                                     {},
                                     {}});
    });
    ImportRoad::ofThisThread().endEntry();
    return added.ok();
}

bool Odbpp_JobCompressBll::inputJobCompressByFolder(std::string companyName, std::string companyCode,
                                                    int companyId, std::string jobName, std::string flowGuid,
                                                    std::string storedName, std::string suffix,
                                                    std::string remark, std::string fsName, int userId,
                                                    int jobNumber, std::string resource,
                                                    std::string customer2, std::string customer3)
{
    const auto added = Operation::run(ServiceOperation::InputJobCompressByFolder, [&](Operation& call) {
        return addCompressRow(call,
                              {companyName, companyCode, companyId, jobName, flowGuid, storedName, suffix,
                               remark, fsName, userId, jobNumber, resource, customer2, customer3});
    });
    ImportRoad::ofThisThread().endEntry();
    return added.ok();
}

} // namespace KOZAV::DataLib::BLL
