// The panel is made anew for each job: it reads its list when it is constructed, and closes itself for good
// after a request that was sent.

#include "host/JobListDock.h"

#include "host/site/SiteAccess.h"
#include "services/ui/Import_Info.h"
#include "ui/import_list/ZAV_Import_Widget.h"

#include <QEvent>
#include <QLabel>
#include <QVBoxLayout>

namespace KOZAV::Host {

JobListDock::JobListDock(QWidget* parent)
    : QDockWidget(tr("Job import"), parent)
{
    setObjectName(QStringLiteral("jobListDock"));
}

UI::ZAV_Import_Widget* JobListDock::open(const ImportedJob& job, int mode)
{
    if (m_panel)
        m_panel->deleteLater();
    m_panel = new UI::ZAV_Import_Widget(mode, this);
    m_panel->setFlowGuid({job.flowKey.toStdString(), job.generatedName.toStdString(),
                          job.jobName.toStdString(), job.company.toStdString(), QString()});
    m_panel->setAccessibleName(tr("Job import %1").arg(job.generatedName));
    m_panel->installEventFilter(this);
    connect(m_panel, &UI::ZAV_Import_Widget::webJobHaveSent, this,
            [this, name = job.generatedName] { Q_EMIT requestSent(name); });

    Q_EMIT opened(m_panel, job);

    setWindowTitle(tr("Job import: %1").arg(job.generatedName));
    setWidget(m_panel);
    m_panel->show();
    show();
    raise();
    return m_panel;
}

bool JobListDock::eventFilter(QObject* watched, QEvent* event)
{
    // After a sent request the panel closes itself, and with it the place that it stood in.
    if (watched == m_panel && event->type() == QEvent::Close)
        hide();
    return QDockWidget::eventFilter(watched, event);
}

} // namespace KOZAV::Host
