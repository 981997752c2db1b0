#include "services/bll/Odbpp_OrigFilesBll.h"

#include "backend/operations/ImportRoad.h"
#include "backend/operations/PackedContents.h"
#include "backend/operations/RowWrites.h"

namespace KOZAV::DataLib::BLL {

using namespace Backend;

namespace {

constexpr const char* insertOrigFile =
    "INSERT INTO orig_file (guid, job_name, stored_name, suffix, company_code,"
    " file_type, user_id, created_time, stored_length, stored_sha256, content_length, content_sha256)"
    " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";

} // namespace

Odbpp_OrigFilesBll::Odbpp_OrigFilesBll() = default;

Odbpp_OrigFilesBll::~Odbpp_OrigFilesBll() = default;

bool Odbpp_OrigFilesBll::inputOrigFile(std::string origFileGuid, std::string jobName, std::string storedName,
                                       std::string suffix, std::string companyCode, int fileType, int userId)
{
    const auto added = Operation::run(ServiceOperation::InputOrigFile, [&](Operation& call) {
        call.event.jobName = QString::fromStdString(jobName);
        call.event.subject = call.event.storedName = QString::fromStdString(storedName);
        RowValues values = RowValues()
                               .text("original-file key", origFileGuid)
                               .text("job name", jobName)
                               .text("stored name", storedName)
                               .text("suffix", suffix)
                               .text("company code", companyCode)
                               .number(fileType)
                               .number(userId)
                               .time();
        if (!values.status().ok())
            return values.status();
        const auto stored = requireStoredFile(call, storedName);
        if (!stored.ok())
            return stored.status();
        values.content(contentOf(stored.value())).content(packedContent(storedName));
        const KeyedRow row = {insertOrigFile, "SELECT id FROM orig_file WHERE guid = ?",
                              values.list().first(), "there is no company of that code"};
        ImportRoad& road = ImportRoad::ofThisThread();
        const bool waits = road.mayHoldOrigFile(storedName, QString::fromStdString(companyCode)) &&
                           HeldRows::mayWait(values.list());
        auto inserted =
            waits ? holdRow(call, row, values) : insertRow(call, row, values, Durability::Deferred);
        if (inserted.ok()) {
            forgetPackedContent(storedName);
            road.claimFile(storedName);
        }
        return inserted;
    });
    return added.ok();
}

} // namespace KOZAV::DataLib::BLL
