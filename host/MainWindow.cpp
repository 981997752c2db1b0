// The window puts the parts side by side and passes signals between them; none of them knows another. Both
// panels stay as they are: the window adds names for screen readers, a place, and what is shown around them.
// Their slots run on this thread to the end: while one of them works the window is painted, and nothing else
// here happens (WorkPulse).

#include "host/MainWindow.h"

#include "host/AboutDialog.h"
#include "host/CamImport.h"
#include "host/CompaniesView.h"
#include "host/CompanyWatch.h"
#include "host/DesktopNotice.h"
#include "host/ForesightView.h"
#include "host/JobListDock.h"
#include "host/JobView.h"
#include "host/JobsView.h"
#include "host/MainDocks.h"
#include "host/MainMenu.h"
#include "host/ManifestKeeper.h"
#include "host/Pages.h"
#include "host/PanelBoxes.h"
#include "host/PanelPlace.h"
#include "host/PanelReport.h"
#include "host/PanelRun.h"
#include "host/PanelTidying.h"
#include "host/ProgressStrip.h"
#include "host/ResultStrip.h"
#include "host/ResultsView.h"
#include "host/RobotLedger.h"
#include "host/RobotProbe.h"
#include "host/RobotView.h"
#include "host/RunClosing.h"
#include "host/RunResults.h"
#include "host/ServiceLog.h"
#include "host/SettingsDialog.h"
#include "host/SiteStatusBar.h"
#include "host/SourceWatch.h"
#include "host/Theme.h"
#include "host/WaitingJobsView.h"
#include "host/WorkPulse.h"
#include "host/core/BatchLinks.h"
#include "host/core/JobReader.h"
#include "host/core/Reasons.h"
#include "host/core/RunGate.h"
#include "host/site/JobPages.h"
#include "host/site/SiteAccess.h"
#include "services/ui/ZAV_UICommon.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"
#include "ui/import_list/ZAV_Import_Widget.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDeadlineTimer>
#include <QFileInfo>
#include <QLineEdit>
#include <QLocale>
#include <QMenu>
#include <QProgressBar>
#include <QTableView>
#include <QVBoxLayout>

namespace KOZAV::Host {

namespace {

/// What a code means, in the operator's language, and the particulars beneath it.
QString inWords(const QString& code, const QString& particulars)
{
    const QString meaning = reasonText(code);
    return meaning.isEmpty() ? particulars : meaning + QLatin1Char('\n') + particulars;
}

} // namespace

MainWindow::MainWindow(SiteAccess& site, ServiceLog& log, QWidget* parent)
    : QMainWindow(parent)
    , m_site(site)
    , m_log(log)
    , m_panelPlace(new PanelPlace(this))
    , m_jobReader(new JobReader(this))
    , m_camImport(new CamImport(site, *m_panelPlace->panel(), this))
    , m_panelRun(new PanelRun(*m_panelPlace->panel(), this))
    , m_panelReport(new PanelReport(site, *m_panelRun, this))
    , m_robotLedger(new RobotLedger(site, *m_panelRun, *m_panelReport, this))
    , m_sourceWatch(new SourceWatch(site, *m_panelRun, *m_panelReport, this))
    , m_manifests(new ManifestKeeper(site, *m_panelRun, *m_panelReport, this))
    , m_results(new RunResults(site, *m_panelRun, *m_panelReport, *m_sourceWatch, this))
    , m_status(new SiteStatusBar(site, this))
    , m_progress(new ProgressStrip(site, *m_panelRun, this))
    , m_robotProbe(new RobotProbe(this))
    , m_companyWatch(new CompanyWatch(this))
{
    auto* tidying = new PanelTidying(site, *m_panelRun, this);
    setWindowTitle(tr("Job data management"));
    setStatusBar(m_status);
    setCentralWidget(buildPages());
    buildDocks();
    buildMenu();
    connectParts();
    connectPanel();
    connectManifests();
    connectRobot();
    connect(m_sourceWatch, &SourceWatch::refuted, m_manifests, &ManifestKeeper::keepAgain);
    connect(m_sourceWatch, &SourceWatch::waitingListChanged, this, &MainWindow::reloadFiles);
    connect(m_sourceWatch, &SourceWatch::warnedLate, this, [this](const QString& path, const Remark& remark) {
        m_log.add(QtWarningMsg, QStringLiteral("client"),
                  tr("%1: %2").arg(path, inWords(remark.code, remark.text)));
    });
    // After all that have something to tell of the run.
    connect(m_panelRun, &PanelRun::ended, this, &MainWindow::tellReport);
    new DesktopNotice(*m_panelRun, *m_panelReport, this);
    followWork(*tidying);
    m_manifests->recover();
    reloadFiles();
}

MainWindow::~MainWindow() = default;

UI::ZAV_ImportFromFile_Widget* MainWindow::importPanel() const
{
    return m_panelPlace->panel();
}

/// What an operator looks at between two runs, side by side in one place: a small window has room for one.
/// While the panel imports, how far that is stands above them.
QWidget* MainWindow::buildPages()
{
    m_pages = new Pages(this);
    m_pages->addStrip(m_progress);
    m_jobs = new JobsView(*m_jobReader, this);
    addPage(QStringLiteral("filesPage"), tr("Source files"), m_jobs);
    m_foresightView = new ForesightView(*m_panelRun, this);
    addPage(QStringLiteral("foresightPage"), tr("Import preview"), m_foresightView);
    addPage(QStringLiteral("resultsPage"), tr("Results"), buildResults());
    addPage(QStringLiteral("robotPage"), tr("Robot"), m_robotView = new RobotView(this));
    addPage(QStringLiteral("companiesPage"), tr("Companies"), m_companiesView = new CompaniesView(this));
    return m_pages;
}

QWidget* MainWindow::buildResults()
{
    auto* view = new ResultsView(m_site, this);
    auto* strip = new ResultStrip(this);
    m_pages->addStrip(strip);
    connect(m_results, &RunResults::concluded, view, &ResultsView::show);
    connect(m_results, &RunResults::amended, view, &ResultsView::amend);
    connect(m_results, &RunResults::kept, view, &ResultsView::reload);
    connect(m_results, &RunResults::concluded, strip, &ResultStrip::show);
    connect(m_results, &RunResults::amended, strip, &ResultStrip::show);
    const auto turnTo = [this, view](std::optional<Outcome> outcome) {
        m_pages->show(QStringLiteral("resultsPage"));
        view->showLast(outcome);
    };
    connect(strip, &ResultStrip::outcomeChosen, this, turnTo);
    connect(strip, &ResultStrip::allChosen, this, [turnTo] { turnTo(std::nullopt); });
    return view;
}

void MainWindow::addPage(const QString& objectName, const QString& title, QWidget* page)
{
    m_pages->add(objectName, title, page);
}

QWidget* MainWindow::buildMessages()
{
    auto* messages = new QTableView(this);
    messages->setModel(&m_log);
    messages->setAccessibleName(tr("Messages"));
    applyTableLook(*messages, {110, 190});
    connect(&m_log, &QAbstractItemModel::rowsInserted, messages, &QTableView::scrollToBottom);
    return messages;
}

void MainWindow::buildDocks()
{
    m_waitingJobs = new WaitingJobsView(*m_jobReader, this);
    m_jobListDock = new JobListDock(this);
    m_docks = new MainDocks(*this, {m_panelPlace, m_waitingJobs, m_jobListDock,
                                    new JobView(*m_camImport, this), buildMessages()});
    connect(m_camImport, &CamImport::started, m_docks, &MainDocks::showJob);
}

void MainWindow::buildMenu()
{
    m_menu = new MainMenu(*this, *m_pages, *m_docks);
    connect(m_menu, &MainMenu::refreshWanted, this, [this] {
        reloadFiles();
        m_companyWatch->look();
    });
    connect(m_menu, &MainMenu::told, this,
            [this](const QString& text) { m_status->showMessage(text, 5000); });
    auto* settings = new QAction(tr("&Settings …"), this);
    connect(settings, &QAction::triggered, this, &MainWindow::openSettings);
    m_menu->file()->insertAction(m_menu->file()->actions().constLast(), settings);
    QAction* about = m_menu->help()->addAction(
        tr("&About this program …"), this, [this] { AboutDialog(m_site, m_log.keptFile(), this).exec(); });
    about->setObjectName(QStringLiteral("about"));
    about->setMenuRole(QAction::AboutRole);
}

void MainWindow::connectParts()
{
    const auto* notifications = UI::ZAV_UICommon::interface();
    connect(notifications, &UI::ZAV_UICommon::origFileTableRefreshRequested, this, &MainWindow::reloadFiles);
    connect(m_waitingJobs, &WaitingJobsView::openRequested, this, &MainWindow::openJob);
    connect(m_waitingJobs, &WaitingJobsView::requestChosen, this,
            [this] { m_pages->show(QStringLiteral("robotPage")); });
    const auto noteRows = [this](const JobReadFailure& failure) {
        if (failure.reason.isEmpty() || failure.unreachable)
            m_site.noteRows(failure.reason);
    };
    connect(m_jobs, &JobsView::told, this, noteRows);
    connect(m_jobs, &JobsView::allCounted, this, [this](int jobs, bool orMore) {
        m_status->showMessage(orMore ? tr("More than %1 source files").arg(QLocale().toString(jobs))
                                     : tr("%n source file(s)", nullptr, jobs),
                              5000);
    });
    connect(m_waitingJobs, &WaitingJobsView::told, this, noteRows);
    connect(m_jobListDock, &JobListDock::requestSent, this, [this](const QString& jobName) {
        m_log.add(QtInfoMsg, QStringLiteral("client"), tr("%1 has been sent to the robot").arg(jobName));
        reloadFiles();
    });
    connect(m_camImport, &CamImport::failed, this, [this](const QString& jobName, const QString& reason) {
        m_log.add(QtWarningMsg, QStringLiteral("client"), tr("%1 cannot be opened: %2").arg(jobName, reason));
    });
    connect(m_camImport, &CamImport::warned, this, [this](const QString& jobName, const QString& warning) {
        m_log.add(QtWarningMsg, QStringLiteral("client"), tr("%1: %2").arg(jobName, warning));
    });
}

/// The panel may be another one after each change of the companies.
void MainWindow::connectPanel()
{
    m_panelPlace->setUsers(*m_panelRun, *m_camImport);
    followPanel();
    connect(m_panelPlace, &PanelPlace::renewed, this, &MainWindow::followPanel);
    connect(m_panelPlace, &PanelPlace::choiceDropped, this,
            [this](const QString& text) { m_log.add(QtWarningMsg, QStringLiteral("client"), text); });
    connect(m_panelPlace, &PanelPlace::companiesWanted, this,
            [this] { m_pages->show(QStringLiteral("companiesPage")); });
    connect(m_companiesView, &CompaniesView::companiesChanged, m_companyWatch, &CompanyWatch::look);
    connect(m_foresightView, &ForesightView::companiesChanged, m_companyWatch, &CompanyWatch::look);
    connect(m_foresightView, &ForesightView::lookBegun, this,
            [this] { m_pages->bring(QStringLiteral("foresightPage")); });
    connect(m_companyWatch, &CompanyWatch::looked, m_panelPlace, &PanelPlace::showCompanies);
}

void MainWindow::followPanel()
{
    connect(batchBoxOf(*importPanel()).directory, &QLineEdit::textChanged, this, &MainWindow::warnOfLinks);
}

void MainWindow::connectManifests()
{
    connect(m_manifests, &ManifestKeeper::putBack, this, [this](const QString& folder) {
        m_log.add(QtInfoMsg, QStringLiteral("client"),
                  tr("The readme.json of %1 has been put back").arg(folder));
    });
    connect(m_manifests, &ManifestKeeper::lost, this, [this](const QString& folder, const QString& reason) {
        m_log.add(QtWarningMsg, QStringLiteral("client"),
                  tr("The readme.json of %1 could not be kept: %2").arg(folder, reason));
    });
}

/// After all that follow the services' calls: what they know by then is painted, and asked about.
void MainWindow::followWork(PanelTidying& tidying)
{
    auto* pulse = new WorkPulse(m_site, this);
    m_progress->follow(*pulse);
    m_closing = new RunClosing(m_site, *m_panelRun, *m_progress, tidying, *pulse, *this);
}

/// A line for every entry of which there is more to know than that it is imported.
void MainWindow::tellReport()
{
    const BatchReport& report = *m_panelReport->current();
    const auto add = [this](const QString& text) { m_log.add(QtWarningMsg, QStringLiteral("client"), text); };
    for (const BatchReportRow& row : report.rows()) {
        const QString place = row.company + QLatin1Char('/') + row.entry;
        if (row.result == BatchResult::NotImported)
            add(tr("%1 was not imported: %2").arg(place, inWords(row.reasonCode, row.reason)));
        else if (row.result == BatchResult::Unknown)
            add(tr("Whether %1 was imported is not known: %2")
                    .arg(place, inWords(row.reasonCode, row.reason)));
        else if (row.result == BatchResult::LeftOut)
            add(tr("%1 was left out: %2").arg(place, inWords(row.reasonCode, row.reason)));
        for (const Remark& warning : row.warnings)
            add(tr("%1: %2").arg(place, inWords(warning.code, warning.text)));
    }
    for (const Remark& remark : report.remarks())
        add(inWords(remark.code, remark.text));
}

void MainWindow::connectRobot()
{
    const auto tell = [this](const QString& text) { m_log.add(QtWarningMsg, QStringLiteral("robot"), text); };
    connect(m_robotProbe, &RobotProbe::probed, m_status, &SiteStatusBar::showRobot);
    connect(m_jobListDock, &JobListDock::opened, m_robotLedger, &RobotLedger::follow);
    connect(m_robotLedger, &RobotLedger::told, this, tell);
    connect(m_robotLedger, &RobotLedger::concluded, m_robotView, &RobotView::reload);
    connect(m_robotView, &RobotView::told, this, tell);
    connect(m_robotView, &RobotView::jobsChanged, this, &MainWindow::reloadFiles);
    connect(m_panelRun, &PanelRun::ended, m_robotView, &RobotView::reload);
    connect(m_panelRun, &PanelRun::ended, m_companiesView, &CompaniesView::reload);
    if (const QString warning = RobotLedger::addressWarning(); !warning.isEmpty())
        tell(warning);
}

/// A directory that the client has made for the panel itself consists of such links.
void MainWindow::warnOfLinks(const QString& batchDirectory)
{
    const auto links = linksOutOf(batchDirectory);
    const QString own = links.empty() ? QString() : m_site.workDirectory();
    if (!own.isEmpty() && batchDirectory.startsWith(own + QLatin1Char('/')))
        return;
    for (const LinkOut& link : links)
        m_log.add(QtWarningMsg, QStringLiteral("client"),
                  tr("%1 is a link that leads out of the batch directory: %2").arg(link.path, link.target));
}

void MainWindow::openSettings()
{
    SettingsDialog dialog(this);
    connect(&dialog, &SettingsDialog::settingsChanged, this, &MainWindow::reloadFiles);
    connect(&dialog, &SettingsDialog::told, this,
            [this](const QString& text) { m_log.add(QtWarningMsg, QStringLiteral("client"), text); });
    dialog.exec();
}

void MainWindow::watchRobot()
{
    m_robotProbe->start();
}

void MainWindow::watchCompanies()
{
    m_companyWatch->start();
}

void MainWindow::restLists()
{
    m_jobReader->rest();
}

bool MainWindow::savePicture(const QString& file)
{
    constexpr int patienceMs = 10'000;
    const QDeadlineTimer deadline(patienceMs);
    while (!RunGate::isClosed() && !m_jobReader->isIdle() && !deadline.hasExpired())
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return grab().save(file);
}

void MainWindow::reloadFiles()
{
    m_jobs->refresh();
    m_waitingJobs->refresh();
}

void MainWindow::openJob(const DataLib::Model::Odbpp_Job_C& job)
{
    if (const auto imported = m_site.importedJob(QString::fromStdString(job.flowId)))
        m_jobListDock->open(*imported, -1);
    else
        m_log.add(QtWarningMsg, QStringLiteral("client"),
                  tr("%1 is no longer in the database").arg(QString::fromStdString(job.jobName)));
}

void MainWindow::restorePlaces()
{
    m_docks->restore(m_site.identity(), QFileInfo(m_site.configurationPath()).absolutePath() +
                                            QStringLiteral("/zav_client.ini"));
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    if (!m_closing->mayClose())
        return event->ignore();
    m_docks->keep(m_site.identity());
    QMainWindow::closeEvent(event);
}

} // namespace KOZAV::Host
