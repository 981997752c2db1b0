#pragma once

#include "zav_import_export.h"

#include <QString>
#include <QWidget>

#include <map>
#include <string>

class QComboBox;
class QFileInfo;
class QGroupBox;
class QHBoxLayout;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QSpacerItem;
class QVBoxLayout;

namespace KOZAV::UI {

/// The file import panel: brings job folders and job archives from disk into the document store and the
/// database, a whole batch directory at once or one job at a time.
///
/// Everything runs synchronously on the GUI thread. The panel reports through modal message boxes and keeps
/// no log; the services log their failures.
class ZAV_IMPORT_EXPORT ZAV_ImportFromFile_Widget : public QWidget
{
    Q_OBJECT
public:
    /// Builds the panel and fills its company list once from the data layer.
    explicit ZAV_ImportFromFile_Widget(QWidget* parent);
    ~ZAV_ImportFromFile_Widget() override;

    /// Imports one job folder of a batch; its "readme.json" is read and deleted.
    /// @param companyName  name of the customer company
    /// @param jobName      the folder's own name
    /// @param folderPath   the folder's full path
    /// @return 0 when the job-compress row has been requested; 1, after a message, when the company was not
    /// found or
    ///         its counter could not be written (the folder is packed and stored all the same)
    int l2Folders(QString companyName, QString jobName, QString folderPath, int batchNumber);

    /// Imports one job folder for the company chosen in the combo box.
    /// @param companyName  only shown in the message that precedes every such import
    void l2FoldersSingleImport(QString companyName, QString jobName, QString folderPath);

    /// Imports one job archive of a batch (".zip", ".rar", ".tgz", ".kos", exactly so written).
    /// @param fileName  accepted and not used: the job name is generated
    /// @return 0 when the archive was imported; 1 when its suffix is not accepted (silently), or, after a
    /// message,
    ///         when the company was not found or its counter could not be written
    int l2rartgzzip(QString companyName, QString fileName, QString filePath, int batchNum);

    /// Imports one job archive for the company chosen in the combo box; an unaccepted suffix ends the call
    /// silently.
    /// @param nameText  accepted and not used
    void l2rartgzzipSingleImport(QString nameText, QString filePath);

    /// Reads and deletes the job manifest "readme.json".
    /// @param folderKey             the job folder, local 8-bit, ending in "/"
    /// @param customer2, customer3  set (UTF-8) only where the manifest has them as texts
    /// @return the manifest's "resource"; null where there is none
    QString readmejson(std::string folderKey, std::string& customer2, std::string& customer3);

    /// Asks the CAM robot to process a job. Waits at most one second for a reply, and reports nothing.
    void execCAMRobot(const std::string& jobName);

    /// Fetches a stored file into the download cache; nothing is reported.
    /// @param uuid        name of the local file, without its extension
    /// @param type        name of the stored file, without its extension
    /// @param originName  the extension of both; "file" stands for "zip"
    void getFilesFrommogodbUuidTypeOriginName(QString uuid, QString type, QString originName);

Q_SIGNALS:
    /// For the host; the panel itself never emits it.
    void emitimportJobInfo(const QString& _jobName, int _id);

public Q_SLOTS:
    void on_m_pOpenFolderPB_clicked();
    void on_m_pMultiImportPB_clicked();
    void on_m_pOpenFilePB_clicked();
    void on_m_pOpenDirPB_clicked();
    void on_m_pMultiImportPathClearPB_clicked();
    void on_m_pSingleImportPathClearPB_clicked();
    void on_m_pSingleImportPB_clicked();
    /// Accepts the map and keeps nothing.
    void setJobNameMap(const std::map<int, std::string>& _JobNameMap);

private:
    void init();
    void initMultiImportBox();
    void initSingleImportBox();
    void initConnections();
    void fillCompanyList();
    /// @return the sum of the pipelines' results
    int importBatchCompany(const QFileInfo& company, int& batchNumber);
    void showCompanyNotFound(const QString& companyName);

    QGroupBox* m_pMultiImportGB;
    QPushButton* m_pOpenFolderPB;
    QLineEdit* m_pMultiImportPathLE;
    QPushButton* m_pMultiImportPathClearPB;
    QHBoxLayout* m_pMultiImportPathHL;
    QPushButton* m_pMultiImportPB;
    QSpacerItem* m_pMultiImportSI;
    QHBoxLayout* m_pMultiImportHL;
    QLabel* m_pProcessingLB;
    QProgressBar* m_pProgressBar;
    QHBoxLayout* m_pProgressHL;
    QVBoxLayout* m_pMultiImportVL;

    QGroupBox* m_pSingleImportGB;
    QPushButton* m_pOpenFilePB;
    QLineEdit* m_pSingleImportPathLE;
    QPushButton* m_pOpenDirPB;
    QPushButton* m_pSingleImportPathClearPB;
    int m_nSingleImportType; ///< 0: archive file, 1: job folder
    QComboBox* m_pCompanyCMB;
    QHBoxLayout* m_pSingleImportPathHL;
    QLabel* m_pFileNameLB;
    QLineEdit* m_pFileNameLE;
    QHBoxLayout* m_pFileNameHL;
    QPushButton* m_pSingleImportPB;
    QSpacerItem* m_pSingleImportSI;
    QHBoxLayout* m_pSingleImportHL;
    QVBoxLayout* m_pSingleImportVL;

    QSpacerItem* m_pBottomSI;
    QVBoxLayout* m_pMainVL;
    QLabel* m_pCompanyLB;
    QHBoxLayout* m_pCompanyHL;

    std::map<int, std::string> _JobNameMap;
    QString m_strMultiImportDir;
    QString m_strSingleImportPath;
};

} // namespace KOZAV::UI
