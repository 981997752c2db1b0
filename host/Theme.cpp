#include "host/Theme.h"

#include "host/RowCopy.h"

#include <QApplication>
#include <QFont>
#include <QFontDatabase>
#include <QHeaderView>
#include <QIcon>
#include <QPalette>
#include <QStyleFactory>
#include <QTableView>
#include <QTextDocument>

/// They lie in a static library, whose own start nobody would link.
static void initResources()
{
    Q_INIT_RESOURCE(zav_client);
}

namespace KOZAV::Host {

namespace {

// The greys of the panels' style sheets. Every text stands on each of its backgrounds with a contrast of 4.5
// to 1 at least, also where it is switched off.
constexpr QRgb windowColor = 0xff3b3b3b;
constexpr QRgb baseColor = 0xff444444;
constexpr QRgb alternateColor = 0xff4c4c4c;
constexpr QRgb buttonColor = 0xff5e5e5e;
constexpr QRgb textColor = 0xffeff4ff;
constexpr QRgb dimTextColor = 0xffbcc2ca;
constexpr QRgb selectionColor = 0xff1d69cc;
constexpr QRgb linkColor = 0xff8ab8ff;
constexpr QRgb goodColor = 0xff7ddc9a;
constexpr QRgb warningColor = 0xffffc98f;
constexpr QRgb badColor = 0xffffada6;

/// A family that holds Chinese and Latin alike, where there is one: fallback glyphs stand higher than the
/// line that the first family asks for, and are cut off.
QFont clientFont()
{
    QFont font = QApplication::font();
    const QStringList installed = QFontDatabase().families();
    for (const char* family :
         {"Microsoft YaHei", "Noto Sans CJK SC", "Source Han Sans SC", "WenQuanYi Micro Hei"}) {
        if (installed.contains(QLatin1String(family))) {
            font.setFamily(QLatin1String(family));
            break;
        }
    }
    font.setPixelSize(14);
    return font;
}

const char* const clientStyle = R"(
QPushButton { padding: 5px 14px; border-radius: 3px; background: #5e5e5e; border: 1px solid #6e6e6e; }
QPushButton:hover { background: #6b6b6b; }
QPushButton:disabled { color: #bcc2ca; background: #484848; border-color: #525252; }
QPushButton:focus { border: 2px solid #9cc4ff; padding: 4px 13px; }
QLineEdit, QComboBox { padding: 3px 6px; min-height: 20px; }
QLineEdit:focus, QTextBrowser:focus, QPlainTextEdit:focus, QSpinBox:focus { border: 1px solid #9cc4ff; }
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

QPalette clientPalette()
{
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(windowColor));
    palette.setColor(QPalette::WindowText, QColor(textColor));
    palette.setColor(QPalette::Base, QColor(baseColor));
    palette.setColor(QPalette::AlternateBase, QColor(alternateColor));
    palette.setColor(QPalette::Text, QColor(textColor));
    palette.setColor(QPalette::PlaceholderText, QColor(dimTextColor));
    palette.setColor(QPalette::Button, QColor(buttonColor));
    palette.setColor(QPalette::ButtonText, QColor(textColor));
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::ToolTipBase, QColor(baseColor));
    palette.setColor(QPalette::ToolTipText, QColor(textColor));
    palette.setColor(QPalette::Highlight, QColor(selectionColor));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(linkColor));
    palette.setColor(QPalette::LinkVisited, QColor(linkColor));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, QColor(dimTextColor));
    return palette;
}

QString clientStyleSheet()
{
    return QString::fromLatin1(clientStyle);
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
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QApplication::setPalette(clientPalette());
    QApplication::setFont(clientFont());
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
