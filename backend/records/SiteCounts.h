#pragma once

#include "backend/Status.h"

#include <QString>

#include <optional>
#include <vector>

namespace KOZAV::Backend {

class Database;

/// How many jobs are in one state.
struct StateCount
{
    int state = 0;
    int subState = 0;
    qint64 jobs = 0;
};

/// One job, and when something became of it, as the rows have it.
struct JobMoment
{
    QString job; ///< generated name
    QString time;
};

/// What the rows of a site add up to.
struct SiteCounts
{
    qint64 companies = 0;
    std::vector<StateCount> states; ///< in the order of the states; none without jobs
    qint64 waiting = 0;             ///< jobs that operators are offered
    qint64 unfinished = 0;          ///< jobs in the state of waiting ones whose last row is missing
    qint64 storedFiles = 0;         ///< original files and robot archives whose length is known
    qint64 storedBytes = 0;         ///< of these
    qint64 unknownLengths = 0;      ///< rows of an earlier release, whose files have not been read since
    std::optional<JobMoment> oldestWaiting;
    std::optional<JobMoment> lastImport; ///< that came to its end

    [[nodiscard]] qint64 jobs() const;
};

/// Counts at one moment, over indexes alone: a fraction of a second for a hundred thousand jobs.
Result<SiteCounts> countSite(Database& database);

} // namespace KOZAV::Backend
