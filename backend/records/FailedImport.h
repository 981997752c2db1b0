#pragma once

#include "backend/Status.h"

#include <QString>

namespace KOZAV::Backend {

class Database;

/// State pair of a job flow whose import failed: the row is kept, but nobody waits for it.
constexpr int importFailedState = -1;
constexpr int importFailedSubState = -1;

/// A job that was imported, and that somebody found not to be what was to be imported.
struct FailedImport
{
    QString flowGuid;
    QString reason; ///< not empty
    int userId = 0;
    QString userName;
};

/// Takes a job off the waiting list for good, durably, with an event of its history
/// (eventKind::failedImport). Its rows and its stored file stay. Whoever finds the job so already has nothing
/// to do; that is a success.
///
/// NotFound where there is no such job. InvalidArgument, and nothing is changed, where the job was voided or
/// has gone on further than to the robot, which a saved job reaches while it is imported; or without a
/// reason.
Status markImportFailed(Database& database, const FailedImport& import);

} // namespace KOZAV::Backend
