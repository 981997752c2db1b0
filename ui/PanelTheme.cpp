// The look that the panels take over from their host. Their own style sheets are fixed texts, which say
// nothing of labels, fields, combo box and progress bar; so all that they leave open is said here, in greys
// of those sheets. Every text stands on each of its backgrounds with a contrast of 4.5 to 1 at least, also
// where it is switched off.

#include "ui/PanelTheme.h"

#include <QApplication>
#include <QColor>
#include <QFontDatabase>
#include <QStyleFactory>
#include <QWidget>

namespace KOZAV::UI {

namespace {

constexpr QRgb windowColor = 0xff3b3b3b;
constexpr QRgb baseColor = 0xff444444;
constexpr QRgb alternateColor = 0xff4c4c4c;
constexpr QRgb buttonColor = 0xff5e5e5e;
constexpr QRgb textColor = 0xffeff4ff;
constexpr QRgb dimTextColor = 0xffbcc2ca;
constexpr QRgb selectionColor = 0xff1d69cc;
constexpr QRgb linkColor = 0xff8ab8ff;

constexpr int fontPixels = 14;

const char* const themeStyle = R"(
QPushButton { padding: 5px 14px; border-radius: 3px; background: #5e5e5e; border: 1px solid #6e6e6e; }
QPushButton:hover { background: #6b6b6b; }
QPushButton:disabled { color: #bcc2ca; background: #484848; border-color: #525252; }
QPushButton:focus { border: 2px solid #9cc4ff; padding: 4px 13px; }
QLineEdit, QComboBox { padding: 3px 6px; min-height: 20px; }
QLineEdit:focus { border: 1px solid #9cc4ff; }
)";

} // namespace

QPalette panelPalette()
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

QFont panelFont()
{
    QFont font = QApplication::font();
    const QStringList installed = QFontDatabase().families();
    // Fallback glyphs of another family stand higher than the line that the first one asks for, and are cut
    // off.
    for (const char* family :
         {"Microsoft YaHei", "Noto Sans CJK SC", "Source Han Sans SC", "WenQuanYi Micro Hei"}) {
        if (installed.contains(QLatin1String(family))) {
            font.setFamily(QLatin1String(family));
            break;
        }
    }
    font.setPixelSize(fontPixels);
    return font;
}

QString panelStyleSheet()
{
    return QString::fromLatin1(themeStyle);
}

void applyPanelTheme(QApplication& application)
{
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QApplication::setPalette(panelPalette());
    QApplication::setFont(panelFont());
    application.setStyleSheet(panelStyleSheet());
}

void applyPanelTheme(QWidget& place)
{
    const QPalette palette = panelPalette();
    const QFont font = panelFont();
    QList<QWidget*> widgets = place.findChildren<QWidget*>();
    widgets.prepend(&place);
    for (QWidget* widget : qAsConst(widgets)) {
        if (widget != &place && widget->isWindow())
            continue;
        widget->setPalette(palette);
        widget->setFont(font);
    }
    place.setAutoFillBackground(true);
}

} // namespace KOZAV::UI
