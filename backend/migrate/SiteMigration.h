#pragma once

#include "backend/Status.h"
#include "backend/migrate/FileMigration.h"
#include "backend/migrate/MigrationProgress.h"
#include "backend/migrate/RowMigration.h"

#include <QString>

#include <vector>

namespace KOZAV::Backend {

class Site;

struct MigrationOptions
{
    bool dryRun = false; ///< look and count, change nothing
    OutdatedRows outdatedRows = OutdatedRows::Refuse;
};

struct MigrationReport
{
    QString sourceRows; ///< places in words
    QString targetRows;
    FileCount files;       ///< of the source
    FileCount copiedFiles; ///< of a dry run: to be copied
    qint64 otherFiles = 0; ///< files that only the target has
    std::vector<TableCount> tables;
};

/// Copies a whole site to another one that was made before and holds nothing, or what an earlier run brought:
/// stored files first, rows after, so that no row ever points at nothing. The source may be in use.
///
/// Each step is whole or not made at all; whatever ends the run, the next one continues. At the end both
/// sides are compared. Failures: Configuration (both are the same site, or one is no site), AlreadyExists
/// (the target has other content; nothing is overwritten), ChangedWhileRead (run again), and those of the
/// engines.
Result<MigrationReport> migrateSite(Site& source, Site& target, const MigrationOptions& options,
                                    const MigrationObserver& observer);

} // namespace KOZAV::Backend
