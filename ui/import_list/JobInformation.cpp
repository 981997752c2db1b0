#include "ui/import_list/JobInformation.h"

namespace KOZAV::UI {

QString jobInformation(int mode, const Import_Info& info, const QString& jobName)
{
    if (mode < 1 && info.fileName.isEmpty())
        return QString::fromStdString(info.sourceName) + QLatin1Char('|') + jobName;
    // Without a dot the index is -1, and left() keeps the whole name.
    const QString prefix =
        info.fileName.left(info.fileName.lastIndexOf(QLatin1Char('.'), -1, Qt::CaseSensitive));
    return prefix + QLatin1Char('|') + jobName +
           (mode < 1 ? QStringLiteral("|ISWEB") : QStringLiteral("|ROBOT"));
}

} // namespace KOZAV::UI
