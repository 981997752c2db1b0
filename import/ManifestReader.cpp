// The panel's reading of a job manifest, which consumes the file.

#include "import/JobManifest.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QFile>
#include <QFileInfo>

namespace KOZAV::UI {

QString ZAV_ImportFromFile_Widget::readmejson(std::string folderKey, std::string& customer2,
                                              std::string& customer3)
{
    const QString fileName = QString::fromLocal8Bit(folderKey.data(), static_cast<int>(folderKey.size())) +
                             QStringLiteral("readme.json");
    QFile file(fileName, this);
    QByteArray json;
    // Opening a pipe would wait for a writer, and a device may have no end.
    if (QFileInfo(fileName).isFile() && file.open(QIODevice::ReadOnly))
        json = file.readAll();
    file.close();

    const Import::JobManifest manifest = Import::parseManifest(json);
    if (manifest.customer2)
        customer2 = manifest.customer2->toStdString();
    if (manifest.customer3)
        customer3 = manifest.customer3->toStdString();
    QFile::remove(fileName);
    return manifest.resource.value_or(QString());
}

} // namespace KOZAV::UI
