#include "services/bll/Odbpp_OrigFilesBll.h"

#include "backend/Guarded.h"
#include "backend/Operation.h"
#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/operations/RowValues.h"
#include "backend/operations/SettledInsert.h"
#include "backend/operations/StoredFileCheck.h"

namespace KOZAV::DataLib::BLL {

using namespace Backend;

namespace {

constexpr const char* insertOrigFile =
    "INSERT INTO orig_file (guid, job_name, stored_name, suffix, company_code,"
    " file_type, user_id, created_time) VALUES (?, ?, ?, ?, ?, ?, ?, ?)";

Status addOrigFile(const RowValues& values, const std::string& storedName)
{
    if (!values.status().ok())
        return values.status();
    const Result<StoreLocation> location = configuredLocation();
    if (!location.ok())
        return location.status();
    if (Status status = requireStoredFile(location.value(), storedName); !status.ok())
        return status;
    const Result<Database*> database = Site::current().database();
    if (!database.ok())
        return database.status();
    const KeyedRow row = {insertOrigFile, values.list(), "SELECT id FROM orig_file WHERE guid = ?",
                          values.list().first()};
    Status added = insertSettled(*database.value(), row, Durability::Deferred);
    if (added.code() == ErrorCode::NotFound)
        return Status::notFound(QStringLiteral("there is no company of that code: ") + added.message());
    return added;
}

} // namespace

Odbpp_OrigFilesBll::Odbpp_OrigFilesBll() = default;

Odbpp_OrigFilesBll::~Odbpp_OrigFilesBll() = default;

bool Odbpp_OrigFilesBll::inputOrigFile(std::string origFileGuid, std::string jobName, std::string storedName,
                                       std::string suffix, std::string companyCode, int fileType, int userId)
{
    Operation operation(logDatabase, "inputOrigFile", QString::fromStdString(storedName));
    const RowValues values = RowValues()
                                 .text("original-file key", origFileGuid)
                                 .text("job name", jobName)
                                 .text("stored name", storedName)
                                 .text("suffix", suffix)
                                 .text("company code", companyCode)
                                 .number(fileType)
                                 .number(userId)
                                 .time();
    return operation.finish(guarded([&] { return addOrigFile(values, storedName); }));
}

} // namespace KOZAV::DataLib::BLL
