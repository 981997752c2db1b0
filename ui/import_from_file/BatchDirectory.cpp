#include "ui/import_from_file/BatchDirectory.h"

#include "import/ImportRules.h"

#include <QDir>
#include <QFileInfo>

namespace KOZAV::UI {

// QDir::NoSort leaves the order to the QDir's own sorting: by name, case ignored.

QFileInfoList batchCompanies(const QString& batchDirectory)
{
    return QDir(batchDirectory).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::NoSort);
}

QFileInfoList batchJobs(const QString& companyPath)
{
    return QDir(companyPath).entryInfoList(QDir::Dirs | QDir::Files | QDir::NoDotAndDotDot, QDir::NoSort);
}

BatchEntryKind batchEntryKind(const QFileInfo& entry)
{
    if (entry.isDir())
        return BatchEntryKind::JobFolder;
    return Import::isAcceptedSuffix(entry.suffix()) ? BatchEntryKind::JobArchive
                                                    : BatchEntryKind::NotAccepted;
}

QString batchEntryPath(const QFileInfo& entry)
{
    return entry.absolutePath() + QLatin1Char('/') + entry.fileName();
}

} // namespace KOZAV::UI
