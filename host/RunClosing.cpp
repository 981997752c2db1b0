// The request comes in the middle of a job, at a pulse, and is only noted there. The job's last call has
// ended when the question is put, and no call of the next one has begun: between two calls of the services,
// on the stack of the panel's slot. So the box must let nothing in but what is meant for it.
//
// A batch that is stopped goes on to its end, as the panel's slot cannot be left: each entry that is left is
// refused at once. Archives among them are copied by the panel all the same, before it asks its services.

#include "host/RunClosing.h"

#include "host/PanelRun.h"
#include "host/PanelTidying.h"
#include "host/ProgressStrip.h"
#include "host/WorkPulse.h"
#include "host/core/RunGate.h"
#include "host/core/RunProgress.h"
#include "host/site/SiteAccess.h"

#include <QMessageBox>
#include <QPushButton>

namespace KOZAV::Host {

RunClosing::RunClosing(SiteAccess& site, const PanelRun& run, ProgressStrip& strip, PanelTidying& tidying,
                       WorkPulse& pulse, QWidget& window)
    : QObject(&window)
    , m_run(run)
    , m_strip(strip)
    , m_tidying(tidying)
    , m_pulse(pulse)
    , m_window(window)
{
    connect(&run, &PanelRun::begins, this, &RunClosing::begin);
    connect(&run, &PanelRun::ended, this, &RunClosing::end);
    connect(&site, &SiteAccess::serviceCalled, this, &RunClosing::serviceCalled);
    connect(&pulse, &WorkPulse::closeRequested, this, [this] { (void)mayClose(); });
}

void RunClosing::begin()
{
    m_asked = m_isStopped = false;
}

bool RunClosing::mayClose()
{
    if (!RunGate::isClosed())
        return true;
    if (m_run.isRunning()) {
        m_asked = true;
        m_strip.tellClosing(m_isStopped);
    } else {
        RunGate::whenOpen(&m_window, [this] { m_window.close(); });
    }
    return false;
}

/// Nothing is left to be asked about then.
void RunClosing::end()
{
    if (m_asked || m_isStopped)
        RunGate::whenOpen(&m_window, [this] { m_window.close(); });
    m_asked = m_isStopped = false;
}

void RunClosing::serviceCalled(const Backend::OperationEvent& /*event*/)
{
    const RunProgress* progress = m_strip.progress();
    if (!m_asked || m_isStopped || !progress || !progress->isBetweenEntries() || progress->entriesLeft() == 0)
        return;
    if (askToStop())
        stop();
    else
        m_asked = false;
}

bool RunClosing::askToStop()
{
    const RunProgress& progress = *m_strip.progress();
    QMessageBox box(
        QMessageBox::Question, tr("Close the window"),
        tr("An import is running: %n job(s) are left. They can be imported, or left for another time.",
           nullptr, progress.entriesLeft()),
        QMessageBox::NoButton, &m_window);
    box.setTextFormat(Qt::PlainText);
    box.setObjectName(QStringLiteral("closingBox"));
    QPushButton* stopButton = box.addButton(tr("&Stop and close"), QMessageBox::AcceptRole);
    QPushButton* goOnButton = box.addButton(tr("&Go on importing"), QMessageBox::RejectRole);
    box.setDefaultButton(goOnButton);
    box.setEscapeButton(goOnButton);
    m_pulse.ask(box);
    return box.clickedButton() == stopButton;
}

void RunClosing::stop()
{
    m_isStopped = true;
    Backend::refuseImports(tr("the operator closed the window"));
    m_tidying.answerAll();
    m_strip.tellClosing(true);
}

} // namespace KOZAV::Host
