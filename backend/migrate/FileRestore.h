#pragma once

#include "backend/Status.h"
#include "backend/migrate/ClaimedFileMigration.h"
#include "backend/migrate/MigrationProgress.h"

#include <QString>
#include <QStringList>

#include <vector>

namespace KOZAV::Backend {

class Site;

struct FileRestoreOptions
{
    bool readData = false; ///< read every stored file: finds damage that its length and sum do not show
};

struct FileRestoreReport
{
    QString identity; ///< of the site
    QString moment;   ///< of the backup, as rowTime()
    FileCount files;  ///< that the site's rows name and that are there now
    FileCount copied;
    QStringList quarantined;      ///< names of damaged files that made room for those of the backup
    std::vector<FileLoss> losses; ///< of files that neither has
};

/// Brings stored files back that the rows of a site name and that its store has lost: from a backup of the
/// same site, each compared with its row. Rows are not changed, and files of voided jobs are not brought. The
/// store may be new and empty.
///
/// A stored file that is found to be damaged, by its row or by a survey of the store, goes into quarantine
/// where the backup has the right one. May be run again, also while the site is in use. Failures:
/// Configuration (no complete backup, another site's, parts that are not of one site), and those of the
/// engines.
/// @param site  opened for inspection
Result<FileRestoreReport> restoreFiles(Site& site, const QString& folder, const FileRestoreOptions& options,
                                       const MigrationObserver& observer);

} // namespace KOZAV::Backend
