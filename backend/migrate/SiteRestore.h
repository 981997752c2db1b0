#pragma once

#include "backend/SiteCreation.h"
#include "backend/Status.h"
#include "backend/migrate/ClaimedFileMigration.h"
#include "backend/migrate/MigrationProgress.h"
#include "backend/migrate/RowMigration.h"

#include <QString>

#include <vector>

namespace KOZAV::Backend {

struct RestoreRequest
{
    QString folder;        ///< of the backup
    SitePlan site;         ///< where it is made; its configuration may be there already
    int raiseCounters = 0; ///< added to the job count of every company; not below 0
};

struct RestoreReport
{
    QString identity; ///< of the site
    QString moment;   ///< that the rows are of, as rowTime()
    QString rows;     ///< place in words
    QString documents;
    FileCount files; ///< that the rows name and that are there
    FileCount copied;
    std::vector<FileLoss> losses;
    std::vector<TableCount> tables;
};

/// Makes a site of a backup, under the identity of the site that was backed up: stored files first, rows
/// after, and the database gets the identity last, so that no program opens a site that is not whole. The
/// place is empty, or holds what an interrupted call with the same backup brought, or it is the store of the
/// site itself, whose database alone was lost.
///
/// Verified as a migration is; files that the backup does not have are told of in the report. Failures:
/// Configuration (no complete backup, another site's configuration), AlreadyExists (the place is not empty;
/// nothing is overwritten), and those of the engines. The next call goes on.
Result<RestoreReport> restoreSite(const RestoreRequest& request, const MigrationObserver& observer);

} // namespace KOZAV::Backend
