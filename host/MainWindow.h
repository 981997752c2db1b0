#pragma once

#include <QMainWindow>

namespace KOZAV::DataLib::Model {
struct Odbpp_Job_C;
}

namespace KOZAV::UI {
class ZAV_Import_Widget;
class ZAV_ImportFromFile_Widget;
} // namespace KOZAV::UI

namespace KOZAV::Host {

class CamImport;
class CompaniesView;
class ForesightView;
class JobListDock;
class JobReader;
class JobsView;
class MainDocks;
class MainMenu;
class ManifestKeeper;
class Pages;
class CompanyWatch;
class PanelPlace;
class PanelReport;
class PanelRun;
class PanelTidying;
class ProgressStrip;
class RobotLedger;
class RobotProbe;
class RobotView;
class RunResults;
class RunClosing;
class ServiceLog;
class SiteAccess;
class SiteStatusBar;
class SourceWatch;
class WaitingJobsView;

/// The client's window: both panels, the table of original files, the waiting jobs, the opened job and the
/// messages.
class MainWindow final : public QMainWindow
{
    Q_OBJECT
public:
    MainWindow(SiteAccess& site, ServiceLog& log, QWidget* parent = nullptr);
    ~MainWindow() override;

    [[nodiscard]] UI::ZAV_ImportFromFile_Widget* importPanel() const;
    [[nodiscard]] const PanelRun& panelRun() const { return *m_panelRun; }
    [[nodiscard]] RobotLedger& robotLedger() const { return *m_robotLedger; }
    [[nodiscard]] PanelReport& panelReport() const { return *m_panelReport; }
    [[nodiscard]] RunResults& runResults() const { return *m_results; }
    [[nodiscard]] SourceWatch& sourceWatch() const { return *m_sourceWatch; }
    [[nodiscard]] CamImport& camImport() const { return *m_camImport; }
    [[nodiscard]] JobListDock& jobListDock() const { return *m_jobListDock; }
    [[nodiscard]] const ManifestKeeper& manifestKeeper() const { return *m_manifests; }

    /// Reads no lists from now on: nobody looks at this window. To be called before it is shown.
    void restLists();
    /// Writes a picture of the window, when the lists that it shows are read; while the panel works, at once.
    /// @return whether it could be written
    [[nodiscard]] bool savePicture(const QString& file);

    /// Restores sizes and places that this window had on this site the last time.
    void restorePlaces();
    /// Looks for the robot now and in intervals.
    void watchRobot();
    /// Looks for companies that other clients have added, in intervals.
    void watchCompanies();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    QWidget* buildPages();
    void addPage(const QString& objectName, const QString& title, QWidget* page);
    QWidget* buildResults();
    void buildDocks();
    void buildMenu();
    void connectParts();
    void connectPanel();
    void followPanel();
    void connectManifests();
    void connectRobot();
    void followWork(PanelTidying& tidying);
    void tellReport();
    void warnOfLinks(const QString& batchDirectory);
    QWidget* buildMessages();
    void openSettings();
    void reloadFiles();
    void openJob(const DataLib::Model::Odbpp_Job_C& job);

    SiteAccess& m_site;
    ServiceLog& m_log;
    PanelPlace* m_panelPlace;
    Pages* m_pages = nullptr;
    JobReader* m_jobReader; ///< reads for all lists of jobs
    JobsView* m_jobs = nullptr;
    CamImport* m_camImport;
    PanelRun* m_panelRun;
    PanelReport* m_panelReport;
    RobotLedger* m_robotLedger;
    SourceWatch* m_sourceWatch;
    ManifestKeeper* m_manifests;
    RobotView* m_robotView = nullptr;
    ForesightView* m_foresightView = nullptr;
    CompaniesView* m_companiesView = nullptr;
    RunResults* m_results;
    WaitingJobsView* m_waitingJobs = nullptr;
    JobListDock* m_jobListDock = nullptr;
    MainDocks* m_docks = nullptr;
    MainMenu* m_menu = nullptr;
    SiteStatusBar* m_status;
    ProgressStrip* m_progress;
    RunClosing* m_closing = nullptr;
    RobotProbe* m_robotProbe;
    CompanyWatch* m_companyWatch;
};

} // namespace KOZAV::Host
