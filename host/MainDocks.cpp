// The docks at the right come and go with their jobs, and a dock that is hidden when the state of the window
// is kept, or restored, comes back with whatever the layout then has left for it. So their width is kept
// apart, and given to them each time that the first of them is shown.
//
// The state of the window has a version: one of other docks is not put together from it.

#include "host/MainDocks.h"

#include "host/ClientState.h"
#include "host/JobListDock.h"

#include <QAction>
#include <QDockWidget>
#include <QEvent>
#include <QGuiApplication>
#include <QMainWindow>
#include <QScreen>
#include <QSettings>
#include <QTabBar>
#include <QTimer>

namespace KOZAV::Host {

namespace {

constexpr int stateVersion = 2;
constexpr QSize roomySize(1680, 960);
// Frame and title that a window manager puts around the window.
constexpr QSize frameRoom(8, 40);

constexpr int barsHeight = 60;
constexpr int progressHeight = 44; ///< of the panel's row that comes with a batch
constexpr int lowWindow = 800;
constexpr int rightWidth = 420;
constexpr int roomyRightWidth = 545;

QString geometryKey()
{
    return QStringLiteral("window/geometry");
}

QString stateKey()
{
    return QStringLiteral("window/state");
}

QString rightWidthKey()
{
    return QStringLiteral("window/rightWidth");
}

} // namespace

MainDocks::MainDocks(QMainWindow& window, const DockContents& contents)
    : QObject(&window)
    , m_window(window)
    , m_import(add("importDock", tr("Source data import"), contents.importPanel, Qt::LeftDockWidgetArea))
    , m_waiting(add("waitingDock", tr("Waiting for import"), contents.waitingJobs, Qt::LeftDockWidgetArea))
    , m_jobList(contents.jobList)
    , m_job(nullptr)
    , m_messages(nullptr)
    , m_rightWidth(rightWidth)
{
    window.setCorner(Qt::BottomLeftCorner, Qt::LeftDockWidgetArea);
    window.setCorner(Qt::BottomRightCorner, Qt::RightDockWidgetArea);
    window.setTabPosition(Qt::RightDockWidgetArea, QTabWidget::North);
    window.addDockWidget(Qt::RightDockWidgetArea, m_jobList);
    m_job = add("jobDock", tr("Layer stack of the job"), contents.job, Qt::RightDockWidgetArea);
    window.tabifyDockWidget(m_jobList, m_job);
    m_messages = add("messageDock", tr("Messages"), contents.messages, Qt::BottomDockWidgetArea);
    for (QDockWidget* dock : {m_jobList, m_job}) {
        dock->hide();
        dock->installEventFilter(this);
        // There is nothing to be seen in it before its job is there.
        dock->toggleViewAction()->setEnabled(false);
    }
    m_window.resize(roomySize);
    giveDefaultSizes();
    nameTabs();
}

QDockWidget* MainDocks::add(const char* objectName, const QString& title, QWidget* content,
                            Qt::DockWidgetArea area)
{
    auto* dock = new QDockWidget(title, &m_window);
    dock->setObjectName(QString::fromLatin1(objectName));
    dock->setAccessibleName(title);
    dock->setWidget(content);
    m_window.addDockWidget(area, dock);
    return dock;
}

QList<QDockWidget*> MainDocks::all() const
{
    return {m_import, m_waiting, m_jobList, m_job, m_messages};
}

void MainDocks::giveDefaultSizes()
{
    // The panel as much as it needs, unless that leaves nothing for the jobs that wait.
    const int left = m_window.height() - barsHeight;
    const int import = qMin(m_import->sizeHint().height() + progressHeight, left * 7 / 10);
    m_window.resizeDocks({m_import}, {qMin(m_import->sizeHint().width(), m_window.width() * 3 / 8)},
                         Qt::Horizontal);
    m_window.resizeDocks({m_import, m_waiting}, {import, left - import}, Qt::Vertical);
    m_window.resizeDocks({m_messages}, {m_window.height() < lowWindow ? 120 : 170}, Qt::Vertical);
}

void MainDocks::showJob()
{
    m_job->toggleViewAction()->setEnabled(true);
    m_job->show();
    m_job->raise();
}

/// Docks that stand behind one another get a row of tabs from the window.
void MainDocks::nameTabs() const
{
    for (QTabBar* tabs : m_window.findChildren<QTabBar*>(QString(), Qt::FindDirectChildrenOnly)) {
        tabs->setAccessibleName(tr("Parts of the window behind one another"));
        tabs->setDrawBase(false);
    }
}

/// The layout has its say before: the width is given when that is done.
void MainDocks::showRight(QDockWidget* dock)
{
    dock->toggleViewAction()->setEnabled(true);
    QTimer::singleShot(0, dock, [this, dock] {
        nameTabs();
        if (dock->isVisible() && !dock->isFloating())
            m_window.resizeDocks({dock}, {m_rightWidth}, Qt::Horizontal);
    });
}

void MainDocks::noteRightSize(const QDockWidget& dock)
{
    const bool atSide = m_window.dockWidgetArea(const_cast<QDockWidget*>(&dock)) == Qt::RightDockWidgetArea;
    if (atSide && dock.isVisible() && !dock.isFloating())
        m_rightWidth = dock.width();
}

bool MainDocks::eventFilter(QObject* watched, QEvent* event)
{
    auto* dock = qobject_cast<QDockWidget*>(watched);
    if (dock && event->type() == QEvent::Show)
        showRight(dock);
    // Only whoever drags the edge between two docks holds a button down meanwhile.
    if (dock && event->type() == QEvent::Resize && QGuiApplication::mouseButtons() != Qt::NoButton)
        noteRightSize(*dock);
    return QObject::eventFilter(watched, event);
}

void MainDocks::restore(const QString& siteId, const QString& formerState)
{
    const ClientState state = ClientState::ofSite(siteId);
    const QSettings former(formerState, QSettings::IniFormat);
    const bool useFormer = ClientState::isKept() && !state.contains(geometryKey());
    const auto kept = [&](const QString& key) {
        return (useFormer ? former.value(key) : state.value(key)).toByteArray();
    };
    // One that was left on a screen that is no longer there is moved by Qt to one that is.
    if (!m_window.restoreGeometry(kept(geometryKey()))) {
        m_window.resize(roomySize.boundedTo(m_window.screen()->availableSize() - frameRoom));
        giveDefaultSizes();
    }
    m_window.restoreState(kept(stateKey()), stateVersion);
    const int wide = m_window.width() < roomySize.width() ? rightWidth : roomyRightWidth;
    m_rightWidth = state.value(rightWidthKey(), wide).toInt();
    for (QDockWidget* dock : {m_jobList, m_job})
        dock->hide();
}

void MainDocks::keep(const QString& siteId) const
{
    ClientState state = ClientState::ofSite(siteId);
    state.setValue(geometryKey(), m_window.saveGeometry());
    state.setValue(stateKey(), m_window.saveState(stateVersion));
    state.setValue(rightWidthKey(), m_rightWidth);
}

} // namespace KOZAV::Host
