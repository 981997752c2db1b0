#include "tests/support/ListPanelHarness.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTest>
#include <QVBoxLayout>

using KOZAV::Test::ListPanelHarness;
using Panel = KOZAV::UI::ZAV_Import_Widget;

class ListConstructionTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void parent_data();
    void parent();
    void isDeletedWithItsParent();
    void windowFlagsAreTheDefaults();
    void bothConstructorsBuildTheSame();
    void childrenInTheirOrder();
    void filterLine();
    void filterCombo();
    void buttons();
    void mainLayout();
    void topRow();
    void bottomRow();
    void spacer_data();
    void spacer();
    void buttonsStandAtTheRightWithImportRightmost();
    void tableStyleSheet();
    void buttonStyleSheets();
    void nothingElseIsStyled();
    void rowColoursAlternate();
    void jobListIsFetchedOnceAndNothingElseIsCalled();
    void nothingIsShownOrSignalled();
    void openingRecordIsTakenSilently();
    void destroyedPanelHearsNothing();
};

namespace {

template <typename Layout>
const Layout* layoutAt(const QVBoxLayout& main, int index)
{
    return qobject_cast<Layout*>(main.itemAt(index)->layout());
}

const QVBoxLayout* mainLayoutOf(const Panel& panel)
{
    return qobject_cast<QVBoxLayout*>(panel.layout());
}

const QHBoxLayout* rowOf(const ListPanelHarness& harness, int index)
{
    return layoutAt<QHBoxLayout>(*mainLayoutOf(harness.panel()), index);
}

QString withTabs(const char* text)
{
    QString result = QString::fromUtf8(text);
    return result.replace(QLatin1Char('|'), QLatin1Char('\t'));
}

/// The text with its tabs shown, so that a difference is seen in the output.
QString shown(QString text)
{
    return text.replace(QLatin1Char('\t'), QStringLiteral("\\t"));
}

// Written down a second time: "|" stands for one tab.
QString blueButtonSheet()
{
    return withTabs("QPushButton{|background-color: #277ae7;|font-size:15px;|color: #ebebeb;}"
                    "QPushButton:hover{|background-color: #2693e5;}");
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

QStringList describedChildren(const QWidget& panel)
{
    QStringList classes;
    for (const QWidget* const child : panel.findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
        const auto* const button = qobject_cast<const QPushButton*>(child);
        const QString text = button == nullptr ? QString() : QLatin1Char(' ') + button->text();
        classes << QLatin1String(child->metaObject()->className()) + text;
    }
    return classes;
}

} // namespace

void ListConstructionTest::parent_data()
{
    QTest::addColumn<bool>("withMode");
    QTest::newRow("with a mode") << true;
    QTest::newRow("without a mode") << false;
}

void ListConstructionTest::parent()
{
    QFETCH(bool, withMode);
    const ListPanelHarness harness;
    QWidget host;
    const Panel* const panel = withMode ? new Panel(1, &host) : new Panel(&host);
    QCOMPARE(panel->parentWidget(), &host);
    QVERIFY(!panel->isWindow());
}

void ListConstructionTest::isDeletedWithItsParent()
{
    const ListPanelHarness harness;
    QPointer<Panel> panel;
    {
        QWidget host;
        panel = new Panel(0, &host);
        QVERIFY(!panel.isNull());
    }
    QVERIFY(panel.isNull());
}

void ListConstructionTest::windowFlagsAreTheDefaults()
{
    ListPanelHarness harness;
    harness.build();
    const QWidget plain;
    QCOMPARE(harness.panel().windowFlags(), plain.windowFlags());
    QVERIFY(!harness.panel().testAttribute(Qt::WA_DeleteOnClose));
    QVERIFY(!harness.panel().isVisible());
}

void ListConstructionTest::bothConstructorsBuildTheSame()
{
    ListPanelHarness harness;
    harness.build();
    const QStringList children = describedChildren(harness.panel());
    const QStringList rows = harness.rows();
    const QStringList calls = harness.services.takeJournal();
    harness.build(3);
    QCOMPARE(describedChildren(harness.panel()), children);
    QCOMPARE(harness.rows(), rows);
    QCOMPARE(harness.services.journal(), calls);
    VERIFY_DIALOGS(harness);
}

void ListConstructionTest::childrenInTheirOrder()
{
    ListPanelHarness harness;
    harness.build();
    const QStringList expected{QStringLiteral("QLineEdit"), QStringLiteral("QComboBox"),
                               QStringLiteral("QTableWidget"), QStringLiteral("QPushButton 导入"),
                               QStringLiteral("QPushButton 刷新")};
    QCOMPARE(describedChildren(harness.panel()), expected);
}

void ListConstructionTest::filterLine()
{
    ListPanelHarness harness;
    harness.build();
    QCOMPARE(harness.filter().placeholderText(), QStringLiteral("请输入搜索项"));
    QCOMPARE(harness.filter().text(), QString());
    QVERIFY(!harness.filter().isReadOnly());
    QVERIFY(harness.filter().isEnabled());
}

void ListConstructionTest::filterCombo()
{
    ListPanelHarness harness;
    harness.build();
    QCOMPARE(harness.mode().count(), 1);
    QCOMPARE(harness.mode().itemText(0), QStringLiteral("全部"));
    QCOMPARE(harness.mode().currentIndex(), 0);
    QVERIFY(!harness.mode().isEditable());
}

void ListConstructionTest::buttons()
{
    ListPanelHarness harness;
    harness.build();
    QCOMPARE(harness.importButton().text(), QStringLiteral("导入"));
    QCOMPARE(harness.refreshButton().text(), QStringLiteral("刷新"));
    QVERIFY(harness.importButton().isEnabled());
    QVERIFY(harness.refreshButton().isEnabled());
}

void ListConstructionTest::mainLayout()
{
    ListPanelHarness harness;
    harness.build();
    const QVBoxLayout* const layout = mainLayoutOf(harness.panel());
    QVERIFY(layout != nullptr);
    QCOMPARE(layout->count(), 3);
    QVERIFY(rowOf(harness, 0) != nullptr);
    QCOMPARE(layout->itemAt(1)->widget(), &harness.table());
    QVERIFY(rowOf(harness, 2) != nullptr);
}

void ListConstructionTest::topRow()
{
    ListPanelHarness harness;
    harness.build();
    const QHBoxLayout* const row = rowOf(harness, 0);
    QCOMPARE(row->count(), 3);
    QCOMPARE(row->itemAt(0)->widget(), &harness.filter());
    QCOMPARE(row->itemAt(1)->widget(), &harness.mode());
    QVERIFY(row->itemAt(2)->spacerItem() != nullptr);
}

void ListConstructionTest::bottomRow()
{
    ListPanelHarness harness;
    harness.build();
    const QHBoxLayout* const row = rowOf(harness, 2);
    QCOMPARE(row->count(), 3);
    QVERIFY(row->itemAt(0)->spacerItem() != nullptr);
    QCOMPARE(row->itemAt(1)->widget(), &harness.refreshButton());
    QCOMPARE(row->itemAt(2)->widget(), &harness.importButton());
}

void ListConstructionTest::spacer_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("item");
    QTest::addColumn<QSize>("size");
    QTest::newRow("top") << 0 << 2 << QSize(3, 1);
    QTest::newRow("bottom") << 2 << 0 << QSize(2, 1);
}

void ListConstructionTest::spacer()
{
    QFETCH(int, row);
    QFETCH(int, item);
    QFETCH(QSize, size);
    ListPanelHarness harness;
    harness.build();
    const QSpacerItem* const spacer = rowOf(harness, row)->itemAt(item)->spacerItem();
    QVERIFY(spacer != nullptr);
    QCOMPARE(spacer->sizeHint(), size);
    QCOMPARE(spacer->sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
    QCOMPARE(spacer->sizePolicy().verticalPolicy(), QSizePolicy::Minimum);
}

void ListConstructionTest::buttonsStandAtTheRightWithImportRightmost()
{
    ListPanelHarness harness;
    harness.open();
    const QRect refresh = harness.refreshButton().geometry();
    const QRect import = harness.importButton().geometry();
    QVERIFY(refresh.right() < import.left());
    QVERIFY(refresh.left() > harness.panel().width() - import.right());
    QVERIFY(harness.filter().geometry().right() < harness.mode().geometry().left());
    QVERIFY(harness.filter().geometry().bottom() < harness.table().geometry().top());
    QVERIFY(harness.table().geometry().bottom() < import.top());
}

void ListConstructionTest::tableStyleSheet()
{
    ListPanelHarness harness;
    harness.build();
    QCOMPARE(shown(harness.table().styleSheet()), shown(tableSheet()));
}

void ListConstructionTest::buttonStyleSheets()
{
    ListPanelHarness harness;
    harness.build();
    QCOMPARE(shown(harness.importButton().styleSheet()), shown(blueButtonSheet()));
    QCOMPARE(shown(harness.refreshButton().styleSheet()), shown(blueButtonSheet()));
}

void ListConstructionTest::nothingElseIsStyled()
{
    ListPanelHarness harness;
    harness.build();
    QCOMPARE(harness.panel().styleSheet(), QString());
    int styled = 0;
    for (const QWidget* const widget : harness.panel().findChildren<QWidget*>())
        styled += widget->styleSheet().isEmpty() ? 0 : 1;
    QCOMPARE(styled, 3);
}

void ListConstructionTest::rowColoursAlternate()
{
    ListPanelHarness harness;
    harness.build();
    QVERIFY(harness.table().alternatingRowColors());
}

void ListConstructionTest::jobListIsFetchedOnceAndNothingElseIsCalled()
{
    ListPanelHarness harness;
    harness.services.recordsObjects = true;
    harness.build();
    COMPARE_JOURNAL(harness, {QStringLiteral("getInputJobList()")});
}

void ListConstructionTest::nothingIsShownOrSignalled()
{
    ListPanelHarness harness;
    harness.open();
    QCoreApplication::processEvents();
    COMPARE_JOURNAL(harness, {});
    QCOMPARE(harness.dialogs.shown().size(), std::size_t(0));
    VERIFY_DIALOGS(harness);
}

void ListConstructionTest::openingRecordIsTakenSilently()
{
    ListPanelHarness harness;
    harness.open();
    const QStringList rows = harness.rows();
    harness.openFor("AB000042", QStringLiteral("web.zip"));
    QCoreApplication::processEvents();
    COMPARE_JOURNAL(harness, {});
    QCOMPARE(harness.rows(), rows);
    QCOMPARE(harness.table().currentRow(), -1);
    QCOMPARE(harness.filter().text(), QString());
    VERIFY_DIALOGS(harness);
}

void ListConstructionTest::destroyedPanelHearsNothing()
{
    ListPanelHarness harness;
    harness.open();
    harness.destroy();
    harness.reportSuccess();
    QCoreApplication::processEvents();
    COMPARE_JOURNAL(harness, {});
    VERIFY_DIALOGS(harness);
}

ZAV_REGISTER_TEST(list_construction, ListConstructionTest, QApplication)

#include "list_construction.moc"
