// The panel is made anew for each job: it reads its list when it is constructed, and closes itself for good
// after a request that was sent.

#include "host/JobListDock.h"

#include "host/site/SiteAccess.h"
#include "services/ui/Import_Info.h"
#include "ui/import_list/ZAV_Import_Widget.h"

#include <QEvent>
#include <QHeaderView>
#include <QPushButton>
#include <QTableView>

#include <algorithm>

namespace KOZAV::Host {

namespace {

constexpr int leastRows = 8;
constexpr int nameColumn = 2; ///< of the generated name in the panel's table

} // namespace

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
    if (auto* table = m_panel->findChild<QTableView*>()) {
        keepRoomForRows(*table);
        preselect(*table, job.generatedName);
    }
    return m_panel;
}

/// The dock is not pressed to less than these rows, whatever else stands beside it.
void JobListDock::keepRoomForRows(const QTableView& table)
{
    const int around = m_panel->sizeHint().height() - table.sizeHint().height();
    const int rows = leastRows * table.verticalHeader()->defaultSectionSize();
    const int frame = 2 * table.frameWidth() + table.horizontalHeader()->sizeHint().height();
    m_panel->setMinimumHeight(around + rows + frame);
}

/// Selects the row as an operator does who then has but to press the panel's button, which gets the keyboard.
/// Nothing follows from a selection: the panel asks for it when its button is pressed.
void JobListDock::preselect(QTableView& table, const QString& generatedName)
{
    for (int row = 0; row < table.model()->rowCount(); ++row) {
        const QModelIndex name = table.model()->index(row, nameColumn);
        if (name.data().toString() != generatedName)
            continue;
        table.setCurrentIndex(name);
        table.scrollTo(name, QAbstractItemView::PositionAtCenter);
        // Of its two buttons the one at the right.
        const auto buttons = m_panel->findChildren<QPushButton*>();
        const auto byText = [](const QPushButton* button) {
            return button->text() == QStringLiteral("导入");
        };
        if (const auto button = std::find_if(buttons.begin(), buttons.end(), byText); button != buttons.end())
            (*button)->setFocus(Qt::OtherFocusReason);
        return;
    }
}

bool JobListDock::eventFilter(QObject* watched, QEvent* event)
{
    // After a sent request the panel closes itself, and with it the place that it stood in.
    if (watched == m_panel && event->type() == QEvent::Close)
        hide();
    return QDockWidget::eventFilter(watched, event);
}

} // namespace KOZAV::Host
