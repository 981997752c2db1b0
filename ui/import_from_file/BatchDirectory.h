#pragma once

#include "zav_import_export.h"

#include <QFileInfoList>
#include <QString>

namespace KOZAV::UI {

/// The two levels of a batch directory, as the batch import walks them. One definition for the panel's driver
/// and for hosts that show what a batch holds.

/// The company directories of a batch directory, in the order of the import: by name, case ignored. Files and
/// hidden directories are left out.
ZAV_IMPORT_EXPORT QFileInfoList batchCompanies(const QString& batchDirectory);

/// The entries of a company directory, in the order of the import: job folders and files of any name. Hidden
/// entries are left out.
ZAV_IMPORT_EXPORT QFileInfoList batchJobs(const QString& companyPath);

/// What the import does with an entry of a company directory.
enum class BatchEntryKind {
    JobFolder,
    JobArchive,
    NotAccepted ///< a file whose suffix is not that of a job archive: left where it is, silently
};
ZAV_IMPORT_EXPORT BatchEntryKind batchEntryKind(const QFileInfo& entry);

/// The full path of an entry of either list, as the import passes it on.
ZAV_IMPORT_EXPORT QString batchEntryPath(const QFileInfo& entry);

} // namespace KOZAV::UI
