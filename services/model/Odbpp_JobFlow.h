#pragma once

#include <cstdint>
#include <string>

namespace KOZAV::DataLib::Model {

/// One job-flow row. Texts are UTF-8, times ISO 8601 in UTC with milliseconds (empty: not yet).
struct Odbpp_JobFlow
{
    /// The flow key: what insertflowbeforeorigfile returned.
    std::string flowGuid;
    /// Number of the row.
    std::int32_t jobId = 0;
    /// Name the job came with (folder name, or archive name without its suffix).
    std::string jobName;
    /// Generated job name; unique. Matched by the condition column "KoSerialName".
    std::string koSerialName;
    /// Flow number made by the import ("F" and the time text).
    std::string flowNo;
    /// User who made the row.
    std::int32_t userId = 0;
    /// State pair of UpdateState; (0, 0) waits for import.
    std::int32_t state = 0;
    std::int32_t subState = 0;
    /// User and time of the last state change.
    std::int32_t stateUserId = 0;
    std::string stateTime;
    /// Linked original-file row; empty until linked.
    std::string origFileGuid;
    /// Original-file row of the last ODB++ import; empty if none.
    std::string lastOdbppImportMongoFsGuid;
    /// Batch number of the upload; 0 where the job came by a single import.
    std::int32_t uploadBatchNum = 0;
    /// The stamps of UpdatePreImportOrCheckTime, in its argument order, and its time.
    std::int32_t preImportUserId = 0;
    std::int32_t preImportFlag = 0;
    std::string preImportNote;
    std::int32_t checkUserId = 0;
    std::string checkUserName;
    std::int32_t checkFlag = 0;
    std::string checkNote;
    std::string preImportOrCheckTime;
    /// When the row was made.
    std::string createdTime;
};

} // namespace KOZAV::DataLib::Model
