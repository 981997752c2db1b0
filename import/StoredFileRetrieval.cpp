// Fetching a stored file back to the local disk.

#include "services/common/Common.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

namespace KOZAV::UI {

void ZAV_ImportFromFile_Widget::getFilesFrommogodbUuidTypeOriginName(QString uuid, QString type,
                                                                     QString originName)
{
    // "file" is how the host names a packed job folder.
    const std::string originText = originName.toStdString();
    const std::string extension = originText == "file" ? "zip" : originText;
    const std::string cacheDir = Common::commonInterface()->getConfig().downloadCacheDir;
    const QString localPath = QString::fromStdString(cacheDir + uuid.toStdString() + "." + extension);
    const std::string storedName = type.toStdString() + "." + extension;

    const std::string dbName = Common::commonInterface()->getConfig().mongoDbName;
    const std::string fsName = Common::commonInterface()->getConfig().mongoFsName;
    Common::MongodbGet(dbName, fsName, localPath.toLocal8Bit().toStdString(), storedName);
}

} // namespace KOZAV::UI
