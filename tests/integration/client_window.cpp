// The window with the keyboard, and for those who do not see it.

#include "host/MainWindow.h"
#include "host/Pages.h"
#include "host/RowCopy.h"
#include "host/ServiceLog.h"
#include "host/Theme.h"
#include "host/site/SiteAccess.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QDialog>
#include <QDockWidget>
#include <QHeaderView>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTabBar>
#include <QTableView>
#include <QTest>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

class ClientWindow : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void everythingThatTakesTheKeyboardHasAName();
    void everyPageHasAKey();
    void menusHaveMnemonicsOfTheirOwn();
    void partsAreGoneRoundByKey();
    void helpByKey();
    void rowsAreCopied();
    void tablesHaveContextMenus();
    void docksOfAJobAreThereWithAJob();

private:
    [[nodiscard]] QTableView* messages() const;

    std::unique_ptr<FreshSite> m_site;
    std::unique_ptr<SiteAccess> m_access;
    std::unique_ptr<ServiceLog> m_log;
    std::unique_ptr<MainWindow> m_window;
};

void ClientWindow::init()
{
    applyTheme(*qobject_cast<QApplication*>(QCoreApplication::instance()));
    m_site = std::make_unique<FreshSite>();
    m_site->addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    m_access = std::make_unique<SiteAccess>(m_site->configuration());
    QCOMPARE(m_access->open(), QString());
    m_log = std::make_unique<ServiceLog>();
    m_window = std::make_unique<MainWindow>(*m_access, *m_log);
    m_window->show();
    m_window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
}

void ClientWindow::cleanup()
{
    m_window.reset();
    m_log.reset();
    m_access.reset();
    m_site.reset();
}

QTableView* ClientWindow::messages() const
{
    return m_window->findChild<QDockWidget*>(QStringLiteral("messageDock"))->findChild<QTableView*>();
}

void ClientWindow::everythingThatTakesTheKeyboardHasAName()
{
    auto* pages = m_window->findChild<Pages*>();
    int named = 0;
    for (int index = 0; index < pages->count(); ++index) {
        pages->show(index);
        for (QWidget* widget : m_window->findChildren<QWidget*>()) {
            const bool isPanels = m_window->importPanel()->isAncestorOf(widget);
            if (isPanels || widget->visibleRegion().isEmpty() || (widget->focusPolicy() & Qt::TabFocus) == 0)
                continue;
            const QAccessibleInterface* seen = QAccessible::queryAccessibleInterface(widget);
            QVERIFY(seen);
            const QByteArray who = widget->metaObject()->className() + QByteArray(" ") +
                                   widget->objectName().toUtf8() + " in " +
                                   widget->parentWidget()->metaObject()->className() + " on page " +
                                   pages->title(index).toUtf8();
            QVERIFY2(!seen->text(QAccessible::Name).isEmpty(), who.constData());
            ++named;
        }
    }
    QVERIFY(named > 10);
}

void ClientWindow::everyPageHasAKey()
{
    auto* pages = m_window->findChild<Pages*>();
    QVERIFY(pages->count() <= 9);
    for (int index = pages->count() - 1; index >= 0; --index) {
        QTest::keyClick(m_window.get(), static_cast<Qt::Key>(Qt::Key_1 + index), Qt::ControlModifier);
        QTRY_COMPARE(m_window->findChild<QTabBar*>(QStringLiteral("qt_tabwidget_tabbar"))->currentIndex(),
                     index);
        QVERIFY(pages->current()->isVisible());
    }
}

void ClientWindow::menusHaveMnemonicsOfTheirOwn()
{
    const auto mnemonicsDiffer = [](const QList<QAction*>& actions) {
        QStringList keys;
        for (const QAction* action : actions) {
            const int mark = action->text().indexOf(QLatin1Char('&'));
            if (mark >= 0)
                keys << action->text().mid(mark + 1, 1).toUpper();
        }
        return keys.removeDuplicates() == 0;
    };
    const auto menus = m_window->menuBar()->actions();
    QVERIFY(menus.size() >= 4);
    QVERIFY(mnemonicsDiffer(menus));
    for (const QAction* menu : menus) {
        QVERIFY2(menu->text().contains(QLatin1Char('&')), qPrintable(menu->text()));
        QVERIFY2(mnemonicsDiffer(menu->menu()->actions()), qPrintable(menu->text()));
    }
}

void ClientWindow::partsAreGoneRoundByKey()
{
    const auto partOf = [this](const QWidget* widget) -> const QWidget* {
        for (; widget && widget != m_window.get(); widget = widget->parentWidget()) {
            if (qobject_cast<const QDockWidget*>(widget) || qobject_cast<const Pages*>(widget))
                return widget;
        }
        return nullptr;
    };
    m_window->importPanel()->findChild<QLineEdit*>()->setFocus();
    QList<const QWidget*> parts;
    for (int turn = 0; turn < 4; ++turn) {
        QTest::keyClick(m_window.get(), Qt::Key_F6);
        const QWidget* part = partOf(QApplication::focusWidget());
        QVERIFY(part);
        QVERIFY2(!parts.contains(part), qPrintable(part->objectName()));
        parts << part;
    }
    // Waiting jobs, messages, pages, and the import again.
    QCOMPARE(parts.last()->objectName(), QStringLiteral("importDock"));
    QTest::keyClick(m_window.get(), Qt::Key_F6, Qt::ShiftModifier);
    QCOMPARE(partOf(QApplication::focusWidget()), parts.at(2));
}

void ClientWindow::helpByKey()
{
    QTest::keyClick(m_window.get(), Qt::Key_F1);
    auto* help = m_window->findChild<QDialog*>(QStringLiteral("helpWindow"));
    QVERIFY(help);
    QVERIFY(help->isVisible());
    QVERIFY(!help->isModal());
}

void ClientWindow::rowsAreCopied()
{
    m_log->add(QtInfoMsg, QStringLiteral("client"), QStringLiteral("one\ttwo\nthree"));
    QTableView* table = messages();
    const auto rowOf = [table] {
        const auto found = table->model()->match(table->model()->index(0, 2), Qt::DisplayRole,
                                                 QStringLiteral("one"), 1, Qt::MatchContains);
        return found.isEmpty() ? -1 : found.first().row();
    };
    QTRY_VERIFY(rowOf() >= 0);
    table->selectRow(rowOf());
    table->setFocus();
    QTest::keyClick(m_window.get(), Qt::Key_C, Qt::ControlModifier);
    const QString copied = QApplication::clipboard()->text();
    QVERIFY2(copied.endsWith(QStringLiteral("\tclient\tone two three\n")), qPrintable(copied));
    table->horizontalHeader()->hideSection(0);
    QCOMPARE(selectedRows(*table), QStringLiteral("client\tone two three\n"));
}

void ClientWindow::tablesHaveContextMenus()
{
    int tables = 0;
    for (const QTableView* table : m_window->findChildren<QTableView*>()) {
        if (table->inherits("QTableWidget"))
            continue; // the panel's own
        ++tables;
        QVERIFY2(table->contextMenuPolicy() == Qt::ActionsContextMenu ||
                     table->contextMenuPolicy() == Qt::CustomContextMenu,
                 qPrintable(table->accessibleName()));
    }
    QVERIFY(tables >= 3);
}

void ClientWindow::docksOfAJobAreThereWithAJob()
{
    for (const char* name : {"jobDock", "jobListDock"}) {
        const auto* dock = m_window->findChild<QDockWidget*>(QString::fromLatin1(name));
        QVERIFY(!dock->isVisible());
        QVERIFY(!dock->toggleViewAction()->isEnabled());
    }
}

ZAV_REGISTER_TEST(client_window, ClientWindow, QApplication)
#include "client_window.moc"
