#pragma once

#include "services/model/Odbpp_Job_C.h"
#include "services/ui/Import_Info.h"
#include "zav_import_export.h"

#include <QString>
#include <QWidget>

#include <cstdint>
#include <vector>

class QComboBox;
class QHBoxLayout;
class QLineEdit;
class QPushButton;
class QSpacerItem;
class QTableWidget;
class QTcpSocket;
class QVBoxLayout;

namespace KOZAV::UI {

/// The job list panel: lists the jobs that wait for import, asks the host to import the one it was opened
/// for, and once that is done stamps the job's flow and asks the CAM robot to process it.
///
/// Everything runs on the GUI thread. The panel reports through modal message boxes and keeps no log.
class ZAV_IMPORT_EXPORT ZAV_Import_Widget : public QWidget
{
    Q_OBJECT
public:
    /// @param mode  below 1: jobs of this system and of web uploads; 1 or more: jobs processed by the robot
    ZAV_Import_Widget(int mode, QWidget* parent);
    /// The same with mode -1.
    explicit ZAV_Import_Widget(QWidget* parent);
    /// Leaves the robot socket, which has no parent, to the process.
    ~ZAV_Import_Widget() override;

    /// Sets the job that the panel is opened for.
    void setFlowGuid(const Import_Info& importInfo);

Q_SIGNALS:
    /// For listeners; the panel itself never emits it.
    void emitCAMImportJobInfo(QString _jobName);
    /// The robot request has been written to the connection.
    void webJobHaveSent();
    /// A robot archive has been handed to the database API.
    void robotImportComplete();

private Q_SLOTS:
    void on_m_pImportPB_Clicked();
    void updateImportJobTable();
    void slotImportJobList();
    void on_m_pFilterLE_textEdited(const QString& text);
    void s_hasImportSuccess();
    void on_m_pFilterCMB_currentIndexChanged(int index);
    void on_import_import_to_ZAV(const QString& first, const QString& second, const QString& third);
    void on_m_pSocket_readyRead();

private:
    void buildControls();
    void buildLayout();
    void connectControls();
    void InitImportTableWidget();
    void FillImportTableWidget();
    void clearTableData();
    /// A listed job with its name as the table shows it.
    struct ListedJob
    {
        const DataLib::Model::Odbpp_Job_C* job;
        QString name;
    };
    void appendJobs(const std::vector<ListedJob>& jobs);
    void sendMsgToServer();
    void showInformation(const QString& text);
    [[nodiscard]] QString currentJobName() const;

    QLineEdit* m_pFilterLE = nullptr;
    QComboBox* m_pFilterCMB = nullptr;
    QSpacerItem* m_pTopSI = nullptr;
    QHBoxLayout* m_pTopHL = nullptr;
    QTableWidget* m_pImportTW = nullptr;
    QPushButton* m_pImportPB = nullptr;
    QPushButton* m_pRefreshPB = nullptr;
    QSpacerItem* m_pBottomSI = nullptr;
    QHBoxLayout* m_pBottomHL = nullptr;
    QVBoxLayout* m_pMainVL = nullptr;
    QTcpSocket* m_pSocket = nullptr; ///< made by the first robot request, kept for the panel's lifetime
    Import_Info m_importInfo;
    std::int32_t m_mode;
};

} // namespace KOZAV::UI
