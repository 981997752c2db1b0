#pragma once

#include "backend/Status.h"
#include "backend/migrate/ClaimedFileMigration.h"
#include "backend/migrate/MigrationProgress.h"
#include "backend/migrate/RowMigration.h"

#include <QString>

#include <vector>

namespace KOZAV::Backend {

class Site;

struct BackupReport
{
    QString folder;
    QString identity; ///< of the site
    QString moment;   ///< that the rows are of, as rowTime()
    FileCount files;  ///< that its rows name and that are there
    FileCount copied;
    std::vector<FileLoss> losses;
    std::vector<TableCount> tables;
};

/// Backs a site up into a folder (docs/sites.md): the rows of one moment, then every stored file that these
/// name. The site may be in use. What the folder has already is not copied again.
///
/// A file that is lost or damaged in the site is told of in the report, and the backup is complete without
/// it. Any failure leaves the last complete backup as it was; the next call goes on. Failures: those of
/// BackupFolder::openFor, NoSpace, Corrupt (the folder does not hold what was written), and those of the
/// site.
Result<BackupReport> backupSite(Site& site, const QString& folder, const MigrationObserver& observer);

} // namespace KOZAV::Backend
