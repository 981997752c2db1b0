#include "tests/support/PanelHarness.h"
#include "tests/support/TestProgram.h"

#include "ui/import_from_file/StyleSheets.h"

#include <QApplication>
#include <QGroupBox>
#include <QPushButton>
#include <QTest>

#include <type_traits>

using KOZAV::Test::PanelHarness;
using KOZAV::Test::PanelView;
using namespace KOZAV::UI;

Q_DECLARE_METATYPE(QPushButton* KOZAV::Test::PanelView::*)

// The texts, written down a second time: "|" stands for one tab.

namespace {

QString withTabs(const char* text)
{
    QString result = QString::fromUtf8(text);
    result.replace(QLatin1Char('|'), QLatin1Char('\t'));
    return result;
}

QString tabs(int count)
{
    return QString(count, QLatin1Char('\t'));
}

QString buttonSheet(const char* colour, const char* hoverColour)
{
    return withTabs("QPushButton{|background-color: ") + QString::fromLatin1(colour) +
           withTabs(";|font-size:15px;|color: #ebebeb;}QPushButton:hover{|background-color: ") +
           QString::fromLatin1(hoverColour) + QStringLiteral(";}");
}

QString groupBoxGradient()
{
    return QStringLiteral("qlineargradient( x1 : 0, y1 : 0 , x2 : 0, y2 : 1,") + tabs(15) +
           QStringLiteral(" stop : 0 #277ae7, stop 1 : #ffffff);");
}

QString groupBoxSheet()
{
    return withTabs("QGroupBox{|background-color: ") + groupBoxGradient() +
           withTabs("|border: 2px solid #277ae7;|border-radius: 5px;|margin-top: 20px;}") +
           withTabs("QGroupBox::title{|subcontrol-origin : margin;|subcontrol-position: top center;") +
           withTabs("|padding: 10px 15px;|background: ") + groupBoxGradient() + QStringLiteral("}");
}

QString tabBarGradient(const char* first, const char* middle)
{
    return QStringLiteral("qlineargradient(x1: 0,y1: 0,x2: 0,y2: 1,") + tabs(13) +
           QStringLiteral(" stop:0 %1, stop: 0.4 %1,").arg(QLatin1String(first)) + tabs(13) +
           QStringLiteral(" stop: 0.5 %1, stop : 1.0 #5b5b5b);").arg(QLatin1String(middle));
}

QString tabBarSheet()
{
    return withTabs("QTabBar::tab-bar{|left:20px;}QTabBar::tab{|background:") +
           tabBarGradient("#242424", "#252525") +
           withTabs("|border:2px solid #c4c4c3;|min-width:50px;|padding:2px;}") +
           withTabs("QTabBar::tab:selected,QTabBar::tab:hover{|background:") +
           tabBarGradient("#5b5b5b", "#5b5b5b") +
           withTabs("}QTabBar::tab:selected{|border-color:#9b9b9b;|border-bottom-color:#c2c7cb;}") +
           withTabs("QTabBar::tab:!selected{|margin-top:2px; }");
}

QString tableSheet()
{
    return withTabs("QTableWidget{|font-size : 15px;|font-family : \"Microsoft YaHei\";|color : #eff4ff;"
                    "|background : #444444;|alternate-background-color : #525252;}"
                    "QTableWidget::item::selected{|color:#dcdcdc;|background : #141414;}"
                    "QTableWidget::item::selected:hover{|color:#dcdcdc;|background : #242424;}"
                    "QTableWidget::item:hover{|color:#dcdcdc;|background : #5b5b5b}"
                    "QScrollBar::handle::vertical{|background : rgba(255, 255, 255, 20%);"
                    "|border : 0px solid grey;|border-radius : 3px;|width: 8px;}"
                    "QScrollBar::vertical{|border-width : 1px;|border-style : solid;"
                    "|border-color : rgba(255, 255, 255, 10%);|width: 8px;|margin : 0px 0px 0px 0px ;"
                    "|border-radius : 3px;}"
                    "QScrollBar::add-page:vertical, QScrollBar::sub-page:vertical{"
                    "|background:rgba(255,255,255,10%);}"
                    "QHeaderView::section{|background : #5e5e5e;|text-align : center;|padding : 3px;"
                    "|margin : 0px;|color:#dcdcdc;|border : 1px solid #242424;|border-left-width : 0;}"
                    "QTableCornerButton::section{|background : #5e5e5e;}");
}

/// The text with its tabs shown, so that a difference is seen in the output.
QString shown(QString text)
{
    return text.replace(QLatin1Char('\t'), QStringLiteral("\\t"));
}

} // namespace

class PanelStyleSheetsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void globalText_data();
    void globalText();
    void globalsAreConstantTexts();
    void groupBoxTextHasItsRunsOfTabs();
    void tabBarTextHasItsRunsOfTabs();
    void emptyStandardString();
    void boxesAreStyled();
    void buttonStyle_data();
    void buttonStyle();
    void nothingElseIsStyled();
};

void PanelStyleSheetsTest::globalText_data()
{
    QTest::addColumn<QString>("actual");
    QTest::addColumn<QString>("expected");
    QTest::newRow("blue button") << g_styleBlueButton << buttonSheet("#277ae7", "#2693e5");
    QTest::newRow("grey button") << g_styleGreyButton << buttonSheet("#7f7d7e", "#989697");
    QTest::newRow("widget 13") << g_styleWidget13
                               << withTabs(
                                      "QWidget{|background-color: #4b4b4b;|font-size:13px;|color: white;};");
    QTest::newRow("widget 17")
        << g_styleWidget17
        << withTabs("QWidget{|background-color: #474747;|gridline-color: rgb(194, 197, 225);"
                    "|font-size:17px;|color: white;};");
    QTest::newRow("group box") << g_styleGroupBox << groupBoxSheet();
    QTest::newRow("table") << g_styleTableWidget << tableSheet();
    QTest::newRow("tab bar") << g_styleTabBar << tabBarSheet();
}

void PanelStyleSheetsTest::globalText()
{
    QFETCH(QString, actual);
    QFETCH(QString, expected);
    QCOMPARE(shown(actual), shown(expected));
    QVERIFY(!actual.contains(QLatin1Char('\n')));
}

void PanelStyleSheetsTest::globalsAreConstantTexts()
{
    static_assert(std::is_same_v<decltype(g_styleBlueButton), const QString>);
    static_assert(std::is_same_v<decltype(g_emptyStdString), const std::string>);
    QVERIFY(g_styleBlueButton != g_styleGreyButton);
}

void PanelStyleSheetsTest::groupBoxTextHasItsRunsOfTabs()
{
    QCOMPARE(g_styleGroupBox.count(tabs(15) + QStringLiteral(" stop : 0")), 2);
    QCOMPARE(g_styleGroupBox.count(tabs(16)), 0);
    QCOMPARE(g_styleGroupBox.count(QStringLiteral("stop 1 : #ffffff")), 2);
}

void PanelStyleSheetsTest::tabBarTextHasItsRunsOfTabs()
{
    QCOMPARE(g_styleTabBar.count(tabs(13) + QStringLiteral(" stop")), 4);
    QCOMPARE(g_styleTabBar.count(tabs(14)), 0);
}

void PanelStyleSheetsTest::emptyStandardString()
{
    QCOMPARE(g_emptyStdString, std::string());
}

void PanelStyleSheetsTest::boxesAreStyled()
{
    PanelHarness harness;
    harness.open();
    QCOMPARE(shown(harness.view().batchBox->styleSheet()), shown(groupBoxSheet()));
    QCOMPARE(shown(harness.view().singleBox->styleSheet()), shown(groupBoxSheet()));
}

void PanelStyleSheetsTest::buttonStyle_data()
{
    QTest::addColumn<QPushButton * PanelView::*>("button");
    QTest::addColumn<bool>("blue");
    QTest::newRow("open folder") << &PanelView::openFolder << false;
    QTest::newRow("batch clear") << &PanelView::batchClear << false;
    QTest::newRow("batch import") << &PanelView::batchImport << true;
    QTest::newRow("open file") << &PanelView::openFile << false;
    QTest::newRow("open dir") << &PanelView::openDir << false;
    QTest::newRow("single clear") << &PanelView::singleClear << false;
    QTest::newRow("single import") << &PanelView::singleImport << true;
}

void PanelStyleSheetsTest::buttonStyle()
{
    QFETCH(QPushButton * PanelView::*, button);
    QFETCH(bool, blue);
    PanelHarness harness;
    harness.open();
    const QString expected = blue ? buttonSheet("#277ae7", "#2693e5") : buttonSheet("#7f7d7e", "#989697");
    QCOMPARE(shown((harness.view().*button)->styleSheet()), shown(expected));
}

void PanelStyleSheetsTest::nothingElseIsStyled()
{
    PanelHarness harness;
    harness.open();
    QCOMPARE(harness.panel().styleSheet(), QString());
    int styled = 0;
    for (const QWidget* const widget : harness.panel().findChildren<QWidget*>())
        styled += widget->styleSheet().isEmpty() ? 0 : 1;
    QCOMPARE(styled, 2 + 7);
}

ZAV_REGISTER_TEST(panel_style_sheets, PanelStyleSheetsTest, QApplication)

#include "panel_style_sheets.moc"
