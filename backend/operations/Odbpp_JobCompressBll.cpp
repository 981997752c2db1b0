#include "services/bll/Odbpp_JobCompressBll.h"

#include "backend/operations/FailedFlows.h"
#include "backend/operations/ImportRoad.h"
#include "backend/operations/RowWrites.h"
#include "backend/operations/SiteWork.h"

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

/// Writes the row, unless the import cannot become whole by it.
Status insertCompress(Operation& call, const CompressRow& row)
{
    if (const auto failed = ImportRoad::ofThisThread().flowFailure(call.event.flowKey); !failed.ok())
        return failed.in(QStringLiteral("the row completes no import of which another row is missing"));
    const RowValues values = valuesOf(row);
    if (!values.status().ok())
        return values.status();
    if (const auto stored = requireStoredFile(call, row.storedName, row.fsName); !stored.ok())
        return stored.status();
    // A job that was voided meanwhile has its stored file in quarantine: its flow is found and locked first,
    // so that who voids it and who completes it take turns.
    const KeyedRow keyed = {insertCompressRow, "SELECT id FROM job_compress WHERE flow_guid = ?",
                            call.event.flowKey, "there is no such job flow or company, or the job was voided",
                            "UPDATE job_flow SET state_user_id = state_user_id"
                            " WHERE guid = ? AND (state <> -2 OR sub_state <> -2)"};
    return insertLastRow(call, keyed, values);
}

Status addCompressRow(Operation& call, const CompressRow& row)
{
    OperationEvent& event = call.event;
    event.company = QString::fromStdString(row.companyName);
    event.jobName = QString::fromStdString(row.jobName);
    event.subject = event.flowKey = QString::fromStdString(row.flowGuid);
    event.storedName = QString::fromStdString(row.storedName);
    event.resource = QString::fromStdString(row.resource);
    event.customer2 = QString::fromStdString(row.customer2);
    event.customer3 = QString::fromStdString(row.customer3);
    if (row.flowGuid.empty())
        return Status::invalidArgument(QStringLiteral("the flow key is empty"));
    auto added = insertCompress(call, row);
    return added.ok() ? added : withdrawFlow(call, {event.flowKey, row.userId}, added);
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
    sendHeldRows();
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
    sendHeldRows();
    ImportRoad::ofThisThread().endEntry();
    return added.ok();
}

} // namespace KOZAV::DataLib::BLL
