// Whether everything that the client draws can be read, and its pictures drawn.

#include "host/Theme.h"
#include "tests/support/TestProgram.h"
#include "ui/PanelTheme.h"

#include <QApplication>
#include <QIcon>
#include <QImage>
#include <QMap>
#include <QPainter>
#include <QRegularExpression>
#include <QTest>

#include <cmath>
#include <vector>

using namespace KOZAV::Host;
using KOZAV::UI::panelPalette;

namespace {

/// As WCAG 2.1 defines them.
double luminance(const QColor& color)
{
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

double contrast(const QColor& one, const QColor& other)
{
    const double lighter = std::max(luminance(one), luminance(other));
    const double darker = std::min(luminance(one), luminance(other));
    return (lighter + 0.05) / (darker + 0.05);
}

/// A rule of a style sheet: what it is for, and its properties.
struct Rule
{
    QString selector;
    QMap<QString, QString> properties;
};

std::vector<Rule> rulesOf(const QString& styleSheet)
{
    std::vector<Rule> rules;
    static const QRegularExpression block(QStringLiteral("([^{}]+)\\{([^}]*)\\}"));
    for (auto found = block.globalMatch(styleSheet); found.hasNext();) {
        const auto match = found.next();
        Rule rule{match.captured(1).trimmed(), {}};
        for (const QString& property : match.captured(2).split(QLatin1Char(';'), Qt::SkipEmptyParts))
            rule.properties.insert(property.section(QLatin1Char(':'), 0, 0).trimmed(),
                                   property.section(QLatin1Char(':'), 1).trimmed());
        rules.push_back(rule);
    }
    return rules;
}

constexpr double enough = 4.5;

} // namespace

class HostThemeTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void contrastIsThatOfWcag();
    void paletteIsReadable();
    void styleSheetIsReadable();
    void coloursOfStatesAreReadable();
    void selectionHasOneColour();
    void focusIsShown_data();
    void focusIsShown();
    void picturesAreDrawn_data();
    void picturesAreDrawn();
};

void HostThemeTest::contrastIsThatOfWcag()
{
    QCOMPARE(qRound(contrast(Qt::white, Qt::black) * 10), 210);
    QCOMPARE(qRound(contrast(QColor(0x77, 0x77, 0x77), Qt::white) * 100), 448);
}

void HostThemeTest::paletteIsReadable()
{
    const QPalette palette = panelPalette();
    using P = QPalette;
    const std::vector<std::pair<P::ColorRole, P::ColorRole>> pairs = {{P::WindowText, P::Window},
                                                                      {P::Text, P::Base},
                                                                      {P::Text, P::AlternateBase},
                                                                      {P::Text, P::Window},
                                                                      {P::ButtonText, P::Button},
                                                                      {P::PlaceholderText, P::Base},
                                                                      {P::ToolTipText, P::ToolTipBase},
                                                                      {P::HighlightedText, P::Highlight},
                                                                      {P::Link, P::Base},
                                                                      {P::Link, P::Window},
                                                                      {P::LinkVisited, P::Base},
                                                                      {P::BrightText, P::Button}};
    for (const auto group : {P::Active, P::Inactive, P::Disabled}) {
        for (const auto& [text, background] : pairs) {
            // A switched-off button has a background of its own, by the style sheet.
            if (group == P::Disabled && background == P::Button)
                continue;
            const double found = contrast(palette.color(group, text), palette.color(group, background));
            QVERIFY2(found >= enough, qPrintable(QStringLiteral("group %1, role %2 on %3: %4")
                                                     .arg(group)
                                                     .arg(text)
                                                     .arg(background)
                                                     .arg(found)));
        }
    }
}

/// A rule that has a text's colour or a background without the other is read on what it is drawn with else.
void HostThemeTest::styleSheetIsReadable()
{
    const QPalette palette = panelPalette();
    int judged = 0;
    for (const Rule& rule : rulesOf(clientStyleSheet())) {
        for (const auto& [text, background] :
             {std::pair("color", "background"), std::pair("selection-color", "selection-background-color")}) {
            const QString textColor = rule.properties.value(QString::fromLatin1(text));
            const QString backgroundColor = rule.properties.value(QString::fromLatin1(background));
            if (textColor.isEmpty() && backgroundColor.isEmpty())
                continue;
            const QColor on =
                backgroundColor.isEmpty() ? palette.color(QPalette::Window) : QColor(backgroundColor);
            const QColor of = textColor.isEmpty() ? palette.color(QPalette::WindowText) : QColor(textColor);
            // What is drawn there has no text.
            if (rule.selector.contains(QLatin1String("separator")))
                continue;
            QVERIFY2(of.isValid() && on.isValid(), qPrintable(rule.selector));
            QVERIFY2(contrast(of, on) >= enough,
                     qPrintable(QStringLiteral("%1: %2").arg(rule.selector).arg(contrast(of, on))));
            ++judged;
        }
    }
    QVERIFY(judged >= 20);
}

void HostThemeTest::coloursOfStatesAreReadable()
{
    const QPalette palette = panelPalette();
    const std::vector<QColor> backgrounds = {palette.color(QPalette::Base),
                                             palette.color(QPalette::AlternateBase),
                                             palette.color(QPalette::Window), QColor(0x33, 0x33, 0x33)};
    for (const QColor& background : backgrounds) {
        for (const QColor& text : {goodTextColor(), warningTextColor(), badTextColor()})
            QVERIFY2(contrast(text, background) >= enough,
                     qPrintable(text.name() + QLatin1Char(' ') + background.name()));
    }
}

void HostThemeTest::selectionHasOneColour()
{
    const QColor selection = panelPalette().color(QPalette::Highlight);
    int rules = 0;
    for (const Rule& rule : rulesOf(clientStyleSheet())) {
        const bool isItem = rule.selector.contains(QLatin1String("item:selected"));
        const QString color = isItem ? rule.properties.value(QStringLiteral("background"))
                                     : rule.properties.value(QStringLiteral("selection-background-color"));
        if (color.isEmpty())
            continue;
        ++rules;
        QCOMPARE(QColor(color), selection);
    }
    QVERIFY(rules >= 2);
}

void HostThemeTest::focusIsShown_data()
{
    QTest::addColumn<QString>("kind");
    for (const char* kind : {"QPushButton", "QLineEdit", "QComboBox", "QTableView", "QTreeView", "QListView",
                             "QCheckBox", "QRadioButton", "QToolButton", "QTabBar::tab", "QSpinBox"})
        QTest::newRow(kind) << QString::fromLatin1(kind);
}

/// Three to one is asked for of what is no text.
void HostThemeTest::focusIsShown()
{
    QFETCH(QString, kind);
    for (const Rule& rule : rulesOf(clientStyleSheet())) {
        if (!rule.selector.split(QRegularExpression(QStringLiteral(",\\s*")))
                 .contains(kind + QStringLiteral(":focus")))
            continue;
        const QColor frame(rule.properties.value(QStringLiteral("border")).section(QLatin1Char(' '), -1));
        QVERIFY(frame.isValid());
        QVERIFY(contrast(frame, panelPalette().color(QPalette::Window)) >= 3.0);
        return;
    }
    QFAIL("nothing shows that it has the keyboard");
}

void HostThemeTest::picturesAreDrawn_data()
{
    QTest::addColumn<QString>("name");
    for (const char* name : {"zav_client", "close", "float", "down"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void HostThemeTest::picturesAreDrawn()
{
    QFETCH(QString, name);
    applyTheme(*qobject_cast<QApplication*>(QCoreApplication::instance()));
    QVERIFY(!QApplication::windowIcon().isNull());
    for (const int size : {16, 32, 256}) {
        const QPixmap picture = QIcon(QStringLiteral(":/client/%1.svg").arg(name)).pixmap(size, size);
        QCOMPARE(picture.size(), QSize(size, size));
        const QImage image = picture.toImage();
        int drawn = 0;
        for (int y = 0; y < size; ++y)
            for (int x = 0; x < size; ++x)
                drawn += qAlpha(image.pixel(x, y)) > 127 ? 1 : 0;
        // Lines at least, and never the whole square.
        QVERIFY2(drawn > size * size / 25 && drawn < size * size, qPrintable(QString::number(drawn)));
    }
}

ZAV_REGISTER_TEST(host_theme, HostThemeTest, QApplication)
#include "host_theme.moc"
