#include "host/Theme.h"

#include <QApplication>
#include <QFont>
#include <QPalette>
#include <QStyleFactory>

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

const char* const clientStyle = R"(
QPushButton { padding: 5px 14px; border-radius: 3px; }
QPushButton:focus { border: 1px solid #9cc4ff; }
QLineEdit, QComboBox { padding: 3px 6px; min-height: 20px; }
QGroupBox { font-size: 14px; font-weight: bold; }
QLabel#sectionTitle { font-size: 15px; padding: 6px 2px; }
QTableView { gridline-color: #5e5e5e; selection-background-color: #277ae7; }
QHeaderView::section { background: #5e5e5e; color: #dcdcdc; padding: 4px 8px; border: 0;
                       border-right: 1px solid #242424; border-bottom: 1px solid #242424; }
QTableCornerButton::section { background: #5e5e5e; }
QStatusBar { color: #c9d1dc; }
QToolTip { color: #eff4ff; background: #444444; border: 1px solid #277ae7; }
)";

} // namespace

void applyTheme(QApplication& application)
{
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QApplication::setPalette(darkPalette());
    QFont font = QApplication::font();
    font.setPixelSize(14);
    QApplication::setFont(font);
    application.setStyleSheet(QString::fromLatin1(clientStyle));
}

} // namespace KOZAV::Host
