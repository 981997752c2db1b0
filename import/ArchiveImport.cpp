// Import of a job archive: copy it to the staging directory, store it whole, then register it.

#include "import/ImportRules.h"
#include "import/JobRegistration.h"
#include "services/common/Common.h"
#include "services/ui/ZAV_StdCommon.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QComboBox>
#include <QFile>
#include <QFileInfo>

namespace KOZAV::UI {

namespace {

/// A saved job: the only kind that is handed to the robot.
bool isSavedJob(const QString& suffix)
{
    return suffix == QLatin1String("kos");
}

/// Stores the archive under a new name, by way of a copy that stays in the staging directory, and starts its
/// registration for the current user. Neither copy nor store is tested: the data layer refuses rows for what
/// is not in the store.
Import::JobRegistration storeArchive(const QFileInfo& archive, const QString& filePath)
{
    const std::string suffix = archive.suffix().toStdString();
    const std::string storedName = Common::commonInterface()->getGUID() + "." + suffix;
    const std::string stagingDir = Common::commonInterface()->getConfig().uploadCacheDir;
    const QString localCopyPath = QString::fromStdString(stagingDir + storedName);
    // Opening a pipe would wait for a writer, and a device may have no end.
    if (archive.isFile())
        QFile::copy(filePath, localCopyPath);

    const std::string dbName = Common::commonInterface()->getConfig().mongoDbName;
    const std::string fsName = Common::commonInterface()->getConfig().mongoFsName;
    Common::MongodbPut(dbName, fsName, localCopyPath.toLocal8Bit().toStdString(), storedName);

    const int userId = ZAV_StdCommon::interface()->getCurrentUser().userId;
    return Import::JobRegistration(archive.completeBaseName().toStdString(), storedName, suffix, userId);
}

/// The rows that both variants write first, up to the link between flow and original file.
void registerArchive(Import::JobRegistration& job)
{
    job.makeOrigFileGuid();
    job.inputOrigFile();
    job.makeFlowNo();
    job.insertFlow();
    job.linkOrigFile();
}

} // namespace

int ZAV_ImportFromFile_Widget::l2rartgzzip(QString companyName, QString fileName, QString filePath,
                                           int batchNum)
{
    Q_UNUSED(fileName)
    const QFileInfo archive(filePath);
    const QString suffix = archive.suffix();
    if (!Import::isAcceptedSuffix(suffix))
        return 1;
    Import::JobRegistration job = storeArchive(archive, filePath);

    const std::string company = companyName.toStdString();
    if (!job.findCompany(company) || !job.countJob(company)) {
        showCompanyNotFound(companyName);
        return 1;
    }

    registerArchive(job);
    if (isSavedJob(suffix))
        job.startFlow();
    job.setBatchNumber(batchNum);
    // The robot is asked before the job-compress row exists.
    if (isSavedJob(suffix))
        execCAMRobot(job.generatedName());
    job.inputCompress();
    return 0;
}

void ZAV_ImportFromFile_Widget::l2rartgzzipSingleImport(QString nameText, QString filePath)
{
    Q_UNUSED(nameText)
    const QFileInfo archive(filePath);
    const QString suffix = archive.suffix();
    if (!Import::isAcceptedSuffix(suffix))
        return;
    Import::JobRegistration job = storeArchive(archive, filePath);

    const QString companyName = m_pCompanyCMB->currentText();
    const std::string company = companyName.toStdString();
    if (!job.findCompany(company)) {
        showCompanyNotFound(companyName);
        return;
    }
    job.countJob(company);

    registerArchive(job);
    if (isSavedJob(suffix)) {
        job.startFlow();
        execCAMRobot(job.generatedName());
    }
    job.inputCompress();
}

} // namespace KOZAV::UI
