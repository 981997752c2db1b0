// Import of a job folder: pack and store it, then register it.

#include "import/JobRegistration.h"
#include "services/common/Common.h"
#include "services/ui/ZAV_StdCommon.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QComboBox>

namespace KOZAV::UI {

namespace {

/// The folder's path as the packing takes it: local 8-bit, with a slash at its end.
std::string folderKeyOf(const QString& folderPath)
{
    return folderPath.toLocal8Bit().toStdString() + "/";
}

/// Like every path that is handed to packing and store, in local 8-bit.
std::string stagingDirectory()
{
    const std::string stagingDir = Common::commonInterface()->getConfig().uploadCacheDir;
    return QString::fromStdString(stagingDir).toLocal8Bit().toStdString();
}

/// Packs and stores the folder, and starts the registration of what was stored for the current user. The
/// result of the packing is not tested: the data layer refuses rows for what is not in the store.
Import::JobRegistration storeFolder(const std::string& folderKey, const std::string& stagingDir,
                                    const QString& jobName)
{
    std::string archiveId;
    Common::FoldersCompressSave2MongoDb(folderKey, stagingDir, archiveId);
    const int userId = ZAV_StdCommon::interface()->getCurrentUser().userId;
    return Import::JobRegistration(jobName.toStdString(), archiveId + ".zip", std::string(), userId);
}

} // namespace

int ZAV_ImportFromFile_Widget::l2Folders(QString companyName, QString jobName, QString folderPath,
                                         int batchNumber)
{
    const std::string folderKey = folderKeyOf(folderPath);
    const std::string stagingDir = stagingDirectory();
    // Reading consumes the manifest: it goes before the folder is packed.
    Import::ManifestTexts manifest;
    manifest.resource = readmejson(folderKey, manifest.customer2, manifest.customer3).toStdString();
    Import::JobRegistration job = storeFolder(folderKey, stagingDir, jobName);

    const std::string company = companyName.toStdString();
    if (!job.findCompany(company) || !job.countJob(company)) {
        showCompanyNotFound(companyName);
        return 1;
    }

    job.makeFlowNo();
    job.makeOrigFileGuid();
    job.inputOrigFile();
    job.insertFlow();
    job.linkOrigFile();
    job.setBatchNumber(batchNumber);
    job.inputCompress(manifest);
    return 0;
}

void ZAV_ImportFromFile_Widget::l2FoldersSingleImport(QString companyName, QString jobName,
                                                      QString folderPath)
{
    const std::string folderKey = folderKeyOf(folderPath);
    const std::string stagingDir = stagingDirectory();
    Import::JobRegistration job = storeFolder(folderKey, stagingDir, jobName);

    // Shown on every single folder import, whether the company exists or not.
    showCompanyNotFound(companyName);
    const std::string company = m_pCompanyCMB->currentText().toStdString();
    if (!job.findCompany(company))
        return;
    job.countJob(company);

    job.makeOrigFileGuid();
    job.inputOrigFile();
    job.makeFlowNo();
    job.insertFlow();
    job.linkOrigFile();
    job.inputCompress();
}

} // namespace KOZAV::UI
