// The window is worked as a person would work it: the row is chosen, the button pressed, the boxes are
// answered. The button's slot returns before the job is fetched, so an event loop runs here until CamImport
// has ended. What counts as sent is the panel's own word (webJobHaveSent), unless the robot is seen to take
// no requests right after it; everything else is only told.

#include "host/ImportRun.h"

#include "host/CamImport.h"
#include "host/DialogOperator.h"
#include "host/JobListDock.h"
#include "host/MainWindow.h"
#include "host/RobotLedger.h"
#include "host/site/SiteAccess.h"
#include "ui/import_list/ZAV_Import_Widget.h"

#include <QApplication>
#include <QPixmap>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>

namespace KOZAV::Host {

namespace {

/// The request lies in the panel's socket when the panel says that it is sent; the event loop brings it out.
constexpr int flushMs = 300;

QPushButton* importButton(const QWidget& panel)
{
    for (auto* button : panel.findChildren<QPushButton*>()) {
        if (button->text() == QStringLiteral("导入"))
            return button;
    }
    return nullptr;
}

} // namespace

ImportRun::ImportRun(MainWindow& window, SiteAccess& site, const QString& jobName, int mode,
                     const QString& screenshots, QTextStream& out)
    : m_window(window)
    , m_site(site)
    , m_jobName(jobName)
    , m_mode(mode)
    , m_screenshots(screenshots)
    , m_out(out)
{
}

int ImportRun::run()
{
    const auto job = m_site.jobNamed(m_jobName);
    if (!job) {
        say(QStringLiteral("error: the site has no job %1").arg(m_jobName));
        return 2;
    }
    DialogOperator dialogs;
    UI::ZAV_Import_Widget* panel = m_window.jobListDock().open(*job, m_mode);
    if (!pickRow(*panel)) {
        say(QStringLiteral("error: %1 does not wait for import").arg(m_jobName));
        return 2;
    }
    watch(panel, dialogs);
    QApplication::processEvents();
    screenshot(QStringLiteral("list"));
    importButton(*panel)->click();
    // Its thread may have ended already; what follows from that, and the sending of the request, has not.
    if (m_started && !m_isOver)
        m_loop.exec();
    QApplication::processEvents();
    m_window.robotLedger().conclude();
    screenshot(QStringLiteral("opened"));
    if (m_sent)
        say(QStringLiteral("sent: %1").arg(m_jobName));
    return m_sent && m_rowChanged ? 0 : 1;
}

bool ImportRun::pickRow(const UI::ZAV_Import_Widget& panel)
{
    auto* table = panel.findChild<QTableWidget*>();
    for (int row = 0; row < table->rowCount(); ++row) {
        if (table->item(row, 2)->text() == m_jobName) {
            table->setCurrentCell(row, 2);
            return true;
        }
    }
    return false;
}

void ImportRun::watch(UI::ZAV_Import_Widget* panel, DialogOperator& dialogs)
{
    connect(&dialogs, &DialogOperator::messageRead, this, [this](const QString& title, const QString& text) {
        say(QStringLiteral("message: %1: %2").arg(title, text));
    });
    connect(panel, &UI::ZAV_Import_Widget::webJobHaveSent, this, [this] { m_sent = true; });
    connect(&m_window.robotLedger(), &RobotLedger::concluded, this,
            [this](const RobotRequest& request) { m_sent = request.outcome == RobotRequest::Outcome::Sent; });
    // The panel sends its request whether the job's row was changed or not; then the job is still waiting.
    connect(&m_site, &SiteAccess::serviceCalled, this, [this](const Backend::OperationEvent& event) {
        const bool isOfTheRow = event.operation == Backend::ServiceOperation::UpdatePreImportOrCheckTime ||
                                event.operation == Backend::ServiceOperation::UpdateState;
        if (!isOfTheRow || event.outcome == Backend::OperationOutcome::Succeeded)
            return;
        m_rowChanged = false;
        say(QStringLiteral("failed: %1: %2").arg(m_jobName, event.message));
    });
    connect(&m_window.robotLedger(), &RobotLedger::told, this,
            [this](const QString& text) { say(QStringLiteral("robot: ") + text); });
    const CamImport* camImport = &m_window.camImport();
    connect(camImport, &CamImport::opened, this, [this](const QString& name, const OdbJob& job) {
        say(QStringLiteral("opened: %1: %2 steps, %3 layers")
                .arg(name)
                .arg(job.matrix.steps.size())
                .arg(job.matrix.layers.size()));
    });
    connect(camImport, &CamImport::warned, this, [this](const QString& name, const QString& warning) {
        say(QStringLiteral("warning: %1: %2").arg(name, warning));
    });
    // ended() comes after the panel has done its part, or after a failure.
    connect(camImport, &CamImport::failed, this, [this](const QString& name, const QString& reason) {
        say(QStringLiteral("failed: %1: %2").arg(name, reason));
    });
    connect(camImport, &CamImport::started, this, [this] { m_started = true; });
    connect(camImport, &CamImport::ended, this, [this] {
        QTimer::singleShot(flushMs, this, [this] {
            m_isOver = true;
            m_loop.quit();
        });
    });
}

void ImportRun::say(const QString& text)
{
    m_out << text << '\n';
    m_out.flush();
}

void ImportRun::screenshot(const QString& name)
{
    if (m_screenshots.isEmpty())
        return;
    const QString file = m_screenshots + QStringLiteral("/client-") + name + QStringLiteral(".png");
    if (!m_window.savePicture(file))
        say(QStringLiteral("warning: the picture %1 could not be written").arg(file));
}

} // namespace KOZAV::Host
