#pragma once

#include "backend/Status.h"
#include "backend/config/Settings.h"
#include "backend/records/JobListing.h"

#include <QString>

#include <vector>

namespace KOZAV::Backend {

class Database;
class DocumentStore;

/// Gives a job another state pair, durably, or with the transaction that it is called in. ChangedWhileRead,
/// and nothing is changed, where its pair is not the one any more that the record has.
Status moveJobState(Database& database, const JobRecord& job, int state, int subState, int userId);

/// The parts of an open site that a voiding works on.
struct VoidingSite
{
    Database& database;
    DocumentStore& store;
    const DocumentStoreSettings& settings; ///< where the files lie of jobs that name no file store
};

/// Who takes a job back, and why.
struct VoidingOrder
{
    QString reason;
    int userId = 0;
    QString userName;
    bool force = false;  ///< also jobs that went on to the robot
    bool dryRun = false; ///< only tell what would be done
};

/// What becomes of the stored file of a voided job.
enum class VoidedFile {
    None,     ///< it is not in the store: the job has none, or it is in quarantine already
    Moved,    ///< into quarantine, or back from it
    StillUsed ///< a job that is not voided names it as well: it stays where it is
};

/// What was done for one job, or would be.
struct VoidedJob
{
    JobRecord job;           ///< as it was before
    bool rowChanged = false; ///< false: it was voided, or not voided, already
    VoidedFile file = VoidedFile::None;
};

/// Takes imports back: each job goes off the waiting list, its row is kept with reason and user (an event),
/// and its stored file goes into quarantine unless another job needs it. Its number is not given again.
///
/// The rows of all jobs change at once or not at all, and durably; then the files are moved one by one. What
/// an interruption leaves is completed by another call for the same jobs, which are passed over where nothing
/// is left to do. InvalidArgument, before anything is changed: a job went on to the robot and force is not
/// set, or the reason is empty.
Result<std::vector<VoidedJob>> voidJobs(const VoidingSite& site, const std::vector<JobRecord>& jobs,
                                        const VoidingOrder& order);

/// Takes voidings back: the files first, then the states that the jobs had, all rows at once. NotFound,
/// before a row is changed: the file of a complete job is neither stored nor in quarantine. The reason may be
/// empty.
Result<std::vector<VoidedJob>> unvoidJobs(const VoidingSite& site, const std::vector<JobRecord>& jobs,
                                          const VoidingOrder& order);

} // namespace KOZAV::Backend
