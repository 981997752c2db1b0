// The host's part of the game. The panels tell it two things and wait to be told three; whatever is not
// emitted here is emitted by nobody.

#include "HostWindow.h"

#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/ui/Import_Info.h"
#include "services/ui/ZAV_StdCommon.h"
#include "services/ui/ZAV_UICommon.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"
#include "ui/import_list/ZAV_Import_Widget.h"

#include <QLabel>
#include <QPushButton>
#include <QSplitter>
#include <QStatusBar>
#include <QTableWidget>

using KOZAV::UI::ZAV_Import_Widget;
using KOZAV::UI::ZAV_ImportFromFile_Widget;
using KOZAV::UI::ZAV_UICommon;

HostWindow::HostWindow()
    : m_place(new QSplitter(this))
    , m_importPanel(new ZAV_ImportFromFile_Widget(m_place))
    , m_message(new QLabel(this))
    , m_imported(new QPushButton(QStringLiteral("The job has been imported"), this))
{
    setCentralWidget(m_place);
    statusBar()->setSizeGripEnabled(false);
    statusBar()->addWidget(m_message, 1);
    statusBar()->addPermanentWidget(m_imported);
    m_imported->setEnabled(false);
    connect(m_imported, &QPushButton::clicked, this, &HostWindow::reportImported);

    ZAV_UICommon* notices = ZAV_UICommon::interface();
    // What was imported from disk is registered by now: the list of waiting jobs is another one.
    connect(notices, &ZAV_UICommon::origFileTableRefreshRequested, this, &HostWindow::openJobList);
    connect(notices, &ZAV_UICommon::emitCAMImportJobInfo, this, &HostWindow::importJob);
    openJobList();
    resize(1000, 640);
}

QWidget& HostWindow::place() const
{
    return *m_place;
}

QStringList HostWindow::listedJobs() const
{
    QStringList names;
    const auto* table = m_jobList->findChild<QTableWidget*>();
    for (int row = 0; row < table->rowCount(); ++row)
        names << table->item(row, 2)->text();
    return names;
}

/// The panel is opened for one job, and refuses to import another one: here it is the job that waits longest.
/// A panel that has sent its request closes itself, so each job gets one of its own; the one before must go
/// at once, since every panel that there is answers the signals.
void HostWindow::openJobList()
{
    delete m_jobList;
    m_jobList = new ZAV_Import_Widget(m_place);
    // Not at once: the panel is still working when it says so.
    connect(
        m_jobList, &ZAV_Import_Widget::webJobHaveSent, this, [this] { openJobList(); }, Qt::QueuedConnection);

    const auto waiting = KOZAV::UI::ZAV_StdCommon::interface()->getInputJobList();
    if (waiting.empty()) {
        m_message->setText(QStringLiteral("No job waits for import."));
        return;
    }
    std::vector<KOZAV::DataLib::Model::Odbpp_JobFlow> flows;
    KOZAV::DataLib::BLL::Odbpp_JobFlowBll().select({{"FlowGuid", waiting.front().flowId}}, {}, flows);
    const std::string sourceName = flows.empty() ? std::string() : flows.front().jobName;
    m_jobList->setFlowGuid({waiting.front().flowId, waiting.front().jobName, sourceName, {}, {}});
    m_message->setText(
        QStringLiteral("The list is open for %1.").arg(QString::fromStdString(waiting.front().jobName)));
}

/// A host that has a CAM system has it import the job now. In this one the operator is the CAM system.
void HostWindow::importJob(const QString& jobInformation)
{
    m_message->setText(QStringLiteral("To be imported: ") + jobInformation);
    m_imported->setEnabled(true);
}

/// The panel stamps the job's flow, asks the robot, and closes itself if that could be reached.
void HostWindow::reportImported()
{
    m_imported->setEnabled(false);
    Q_EMIT ZAV_UICommon::interface()->hasImportSuccess();
}
