#include "host/Theme.h"

#include "host/RowCopy.h"
#include "ui/PanelTheme.h"

#include <QApplication>
#include <QHeaderView>
#include <QIcon>
#include <QTableView>
#include <QTextDocument>

/// They lie in a static library, whose own start nobody would link.
static void initResources()
{
    Q_INIT_RESOURCE(zav_client);
}

namespace KOZAV::Host {

namespace {

// They can be read on each grey of the panels' theme.
constexpr QRgb goodColor = 0xff7ddc9a;
constexpr QRgb warningColor = 0xffffc98f;
constexpr QRgb badColor = 0xffffada6;

/// What the client has and the panels' theme says nothing of.
const char* const clientStyle = R"(
QTextBrowser:focus, QPlainTextEdit:focus, QSpinBox:focus { border: 1px solid #9cc4ff; }
QComboBox { background: #444444; border: 1px solid #6e6e6e; border-radius: 3px; }
QComboBox:disabled { color: #bcc2ca; background: #484848; }
QComboBox:focus { border: 1px solid #9cc4ff; }
QComboBox::drop-down { border: 0; width: 20px; }
QComboBox::down-arrow { image: url(:/client/down.svg); width: 12px; height: 12px; }
QCheckBox, QRadioButton { border: 1px solid transparent; padding: 2px; }
QCheckBox:focus, QRadioButton:focus, QToolButton:focus { border: 1px solid #9cc4ff; border-radius: 3px; }
QGroupBox { font-size: 14px; font-weight: bold; }
QLabel#sectionTitle { font-size: 15px; padding: 6px 2px; }
QLabel#panelNotice { color: #ffc98f; background: #3b3b3b; }
QTableView, QTreeView, QListView { border: 1px solid #5e5e5e; }
QTableView { gridline-color: #5e5e5e; selection-background-color: #1d69cc; selection-color: #ffffff; }
QTableView:focus, QTreeView:focus, QListView:focus { border: 1px solid #9cc4ff; }
QHeaderView::section { background: #5e5e5e; color: #eff4ff; padding: 4px 8px; border: 0;
                       border-right: 1px solid #242424; border-bottom: 1px solid #242424; }
QTableCornerButton::section { background: #5e5e5e; }
QTabWidget::pane { border: 0; border-top: 1px solid #5e5e5e; }
QTabBar::tab { color: #eff4ff; background: #444444; padding: 6px 14px; border: 1px solid #333333;
               border-top: 3px solid #444444; }
QTabBar::tab:selected { background: #5e5e5e; border-top: 3px solid #1d69cc; }
QTabBar::tab:hover { background: #525252; }
QTabBar::tab:focus { border: 1px solid #9cc4ff; border-top: 3px solid #9cc4ff; }
QDockWidget { titlebar-close-icon: url(:/client/close.svg); titlebar-normal-icon: url(:/client/float.svg); }
QDockWidget::title { color: #eff4ff; background: #333333; padding: 5px 8px; border-left: 3px solid #1d69cc; }
QDockWidget::close-button, QDockWidget::float-button { border: 0; padding: 0; icon-size: 14px; }
QDockWidget::close-button:hover, QDockWidget::float-button:hover { background: #6b6b6b; border-radius: 3px; }
QMainWindow::separator { background: #333333; width: 5px; height: 5px; }
QMainWindow::separator:hover { background: #1d69cc; }
QMenuBar, QMenu { color: #eff4ff; background: #333333; }
QMenuBar::item:selected, QMenu::item:selected { color: #ffffff; background: #1d69cc; }
QMenu::item:disabled { color: #bcc2ca; background: #333333; }
QStatusBar { background: #333333; }
QStatusBar::item { border: 0; }
QStatusBar { color: #c9d1dc; background: #333333; }
QToolTip { color: #eff4ff; background: #444444; border: 1px solid #9cc4ff; }
)";

} // namespace

QString clientStyleSheet()
{
    return UI::panelStyleSheet() + QString::fromLatin1(clientStyle);
}

QColor goodTextColor()
{
    return QColor(goodColor);
}

QColor warningTextColor()
{
    return QColor(warningColor);
}

QColor badTextColor()
{
    return QColor(badColor);
}

void applyTheme(QApplication& application)
{
    initResources();
    UI::applyPanelTheme(application);
    application.setStyleSheet(clientStyleSheet());
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/client/zav_client.svg")));
}

void applyTableLook(QTableView& table, const std::vector<int>& columnWidths)
{
    table.setAlternatingRowColors(true);
    table.setSelectionBehavior(QAbstractItemView::SelectRows);
    table.setSelectionMode(QAbstractItemView::SingleSelection);
    table.setWordWrap(false);
    table.setTabKeyNavigation(false);
    offerCopying(table);
    table.verticalHeader()->hide();
    table.verticalHeader()->setDefaultSectionSize(28);
    QHeaderView* header = table.horizontalHeader();
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    header->setHighlightSections(false);
    header->setStretchLastSection(true);
    int column = 0;
    for (const int width : columnWidths)
        header->resizeSection(column++, width);
}

QString plainToolTip(const QString& text)
{
    return Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text) : text;
}

} // namespace KOZAV::Host
