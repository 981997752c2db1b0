#include "host/Theme.h"

#include <QApplication>
#include <QFont>
#include <QFontDatabase>
#include <QHeaderView>
#include <QPalette>
#include <QStyleFactory>
#include <QTableView>
#include <QTextDocument>

namespace KOZAV::Host {

namespace {

// The greys and blues of the panels' style sheets.
constexpr QRgb windowColor = 0xff3b3b3b;
constexpr QRgb baseColor = 0xff444444;
constexpr QRgb alternateColor = 0xff525252;
constexpr QRgb buttonColor = 0xff5e5e5e;
constexpr QRgb textColor = 0xffeff4ff;
constexpr QRgb dimTextColor = 0xff9aa0a8;
constexpr QRgb accentColor = 0xff277ae7;

QPalette darkPalette()
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
    palette.setColor(QPalette::Highlight, QColor(accentColor));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(accentColor));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, QColor(dimTextColor));
    return palette;
}

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
QPushButton:disabled { color: #8d929a; background: #484848; border-color: #525252; }
QPushButton:focus { border: 1px solid #9cc4ff; }
QLineEdit, QComboBox { padding: 3px 6px; min-height: 20px; }
QGroupBox { font-size: 14px; font-weight: bold; }
QLabel#sectionTitle { font-size: 15px; padding: 6px 2px; }
QTableView { gridline-color: #5e5e5e; selection-background-color: #277ae7; }
QHeaderView::section { background: #5e5e5e; color: #dcdcdc; padding: 4px 8px; border: 0;
                       border-right: 1px solid #242424; border-bottom: 1px solid #242424; }
QTableCornerButton::section { background: #5e5e5e; }
QDockWidget::title { background: #333333; padding: 3px 8px; border-left: 3px solid #277ae7; }
QMainWindow::separator { background: #333333; width: 5px; height: 5px; }
QMainWindow::separator:hover { background: #277ae7; }
QMenuBar, QMenu { background: #333333; }
QMenuBar::item:selected, QMenu::item:selected { background: #277ae7; }
QStatusBar { background: #333333; }
QStatusBar::item { border: 0; }
QStatusBar { color: #c9d1dc; }
QToolTip { color: #eff4ff; background: #444444; border: 1px solid #277ae7; }
)";

} // namespace

void applyTheme(QApplication& application)
{
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QApplication::setPalette(darkPalette());
    QApplication::setFont(clientFont());
    application.setStyleSheet(QString::fromLatin1(clientStyle));
}

void applyTableLook(QTableView& table, const std::vector<int>& columnWidths)
{
    table.setAlternatingRowColors(true);
    table.setSelectionBehavior(QAbstractItemView::SelectRows);
    table.setSelectionMode(QAbstractItemView::SingleSelection);
    table.setWordWrap(false);
    table.setTabKeyNavigation(false);
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
