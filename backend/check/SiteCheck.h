#pragma once

#include "backend/Status.h"
#include "backend/check/CheckProgress.h"
#include "backend/check/Findings.h"

#include <QString>

#include <chrono>
#include <set>
#include <vector>

namespace KOZAV::Backend {

class Site;

struct CheckOptions
{
    bool readData = false;        ///< read every stored file through and compare its SHA-256
    bool goOn = false;            ///< where a reading check that was interrupted stopped
    std::set<FindingKind> repair; ///< the kinds to be mended, and no others

    /// What looks like an import under way is one until it is so old.
    std::chrono::seconds importAge = std::chrono::hours(1);
    /// A stored file without a row is an orphan when it is so old.
    std::chrono::seconds orphanAge = std::chrono::hours(24);
    /// Who runs the check, for its event.
    int userId = 0;
    QString userName;
};

struct CheckReport
{
    std::vector<Finding> findings; ///< in the order of the kinds
    qint64 jobs = 0;
    qint64 files = 0;     ///< stored files that were compared with rows
    qint64 bytes = 0;     ///< that they hold
    qint64 filesRead = 0; ///< in this run
    qint64 bytesRead = 0;
    QString wentOnFrom; ///< when the reading that was gone on with had begun; empty where none was
    /// Whether the check is written down as an event.
    Status recorded;

    /// Whether there is no finding that counts.
    [[nodiscard]] bool isClean() const;
};

/// Looks at a whole site: database, rows, stored files, and what programs leave in its caches. The site may
/// be in use. Nothing is changed but what repair names, the event of the check, and, with readData, length
/// and SHA-256 of files in rows that do not hold them yet.
///
/// A failure means that the check could not be done: no configuration, no server, no store. What only a part
/// of it met is a finding.
Result<CheckReport> checkSite(Site& site, const CheckOptions& options, const CheckObserver& observer);

} // namespace KOZAV::Backend
