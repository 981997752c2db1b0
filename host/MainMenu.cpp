// A text field takes Ctrl+C and the like for itself before a menu hears of them, so the menu's copying is
// that of rows. A dock that stands behind another one is visible to Qt and has nothing to be seen: what F6
// goes to is asked for its region.

#include "host/MainMenu.h"

#include "host/HelpWindow.h"
#include "host/MainDocks.h"
#include "host/Pages.h"
#include "host/RowCopy.h"

#include <QAction>
#include <QApplication>
#include <QDockWidget>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>

namespace KOZAV::Host {

namespace {

constexpr int numberedPages = 9;

/// The first of its widgets that can have the keyboard, in the order of the Tab key.
QWidget* firstWithin(QWidget& part)
{
    for (QWidget* next = part.nextInFocusChain(); next && next != &part; next = next->nextInFocusChain()) {
        if (part.isAncestorOf(next) && next->isVisible() && next->isEnabled() &&
            (next->focusPolicy() & Qt::TabFocus) != 0)
            return next;
    }
    return nullptr;
}

/// The field that searches a page says so in its name; else the page's first field is taken for it.
QLineEdit* searchField(const QWidget* page)
{
    QLineEdit* first = nullptr;
    if (!page)
        return first;
    for (QLineEdit* field : page->findChildren<QLineEdit*>()) {
        if (!field->isVisible() || !field->isEnabled())
            continue;
        if (field->objectName().contains(QLatin1String("search"), Qt::CaseInsensitive))
            return field;
        if (!first)
            first = field;
    }
    return first;
}

} // namespace

MainMenu::MainMenu(QMainWindow& window, Pages& pages, const MainDocks& docks)
    : QObject(&window)
    , m_window(window)
    , m_pages(pages)
    , m_file(window.menuBar()->addMenu(tr("&File")))
    , m_edit(window.menuBar()->addMenu(tr("&Edit")))
    , m_view(window.menuBar()->addMenu(tr("&View")))
    , m_help(window.menuBar()->addMenu(tr("&Help")))
{
    m_help->setObjectName(QStringLiteral("helpMenu"));
    buildFile();
    buildEdit();
    buildView(docks);
    buildHelp();
    for (QDockWidget* dock : docks.all())
        m_parts << dock;
    m_parts << &pages;
}

void MainMenu::buildFile()
{
    QAction* refresh = m_file->addAction(tr("&Refresh"), this, &MainMenu::refreshWanted);
    refresh->setShortcut(QKeySequence::Refresh);
    m_file->addSeparator();
    QAction* quit = m_file->addAction(tr("&Quit"), &m_window, &QWidget::close);
    quit->setShortcut(QKeySequence::Quit);
    quit->setObjectName(QStringLiteral("quit"));
}

void MainMenu::buildEdit()
{
    QAction* copyRows = m_edit->addAction(tr("&Copy rows"), this, &MainMenu::copy);
    copyRows->setShortcut(QKeySequence::Copy);
    QAction* search = m_edit->addAction(tr("&Find on the page"), this, &MainMenu::find);
    search->setShortcut(QKeySequence::Find);
}

void MainMenu::buildView(const MainDocks& docks)
{
    for (int index = 0; index < m_pages.count(); ++index) {
        QAction* page = m_view->addAction(m_pages.title(index), this, [this, index] { m_pages.show(index); });
        if (index < numberedPages)
            page->setShortcut(QKeySequence(static_cast<int>(Qt::CTRL) + Qt::Key_1 + index));
    }
    m_view->addSeparator();
    for (const QDockWidget* dock : docks.all())
        m_view->addAction(dock->toggleViewAction());
    m_view->addSeparator();
    QAction* next = m_view->addAction(tr("&Next part of the window"), this, [this] { goToNextPart(1); });
    next->setShortcut(QKeySequence(Qt::Key_F6));
    QAction* previous =
        m_view->addAction(tr("&Previous part of the window"), this, [this] { goToNextPart(-1); });
    previous->setShortcut(QKeySequence(static_cast<int>(Qt::SHIFT) + Qt::Key_F6));
}

void MainMenu::buildHelp()
{
    QAction* help = m_help->addAction(tr("&How it works"), this,
                                      [this] { showHelp(m_window, manualPageOf(partInFront())); });
    help->setShortcut(QKeySequence::HelpContents);
}

/// The dock that has the keyboard, else the page that is seen.
QString MainMenu::partInFront() const
{
    for (const QWidget* part : m_parts) {
        if (part != &m_pages && part->isAncestorOf(QApplication::focusWidget()))
            return part->objectName();
    }
    const QWidget* page = m_pages.current();
    return page ? page->objectName() : QString();
}

void MainMenu::copy()
{
    if (!copyRowsOf(QApplication::focusWidget()))
        Q_EMIT told(tr("No row is selected here"));
}

void MainMenu::find()
{
    QLineEdit* field = searchField(m_pages.current());
    if (!field)
        return Q_EMIT told(tr("There is nothing to search on this page"));
    field->setFocus(Qt::ShortcutFocusReason);
    field->selectAll();
}

void MainMenu::goToNextPart(int step)
{
    const int count = static_cast<int>(m_parts.size());
    int from = 0;
    for (int index = 0; index < count; ++index) {
        if (m_parts.at(index)->isAncestorOf(QApplication::focusWidget()))
            from = index;
    }
    for (int distance = 1; distance <= count; ++distance) {
        QWidget* part = m_parts.at((from + (distance * step) + (count * distance)) % count);
        QWidget* target =
            part->isVisible() && !part->visibleRegion().isEmpty() ? firstWithin(*part) : nullptr;
        if (target)
            return target->setFocus(Qt::ShortcutFocusReason);
    }
}

} // namespace KOZAV::Host
