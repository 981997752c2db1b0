#include "tests/support/PanelHarness.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QBoxLayout>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>

using namespace KOZAV;
using KOZAV::Test::call;
using KOZAV::Test::PanelHarness;

class PanelConstructionTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { m_harness = std::make_unique<PanelHarness>(); }
    void cleanup();

    void panelIsAPlainChildOfItsParent();
    void panelHoldsBothBoxesAndAFiller();
    void batchBoxRows();
    void batchPathRow();
    void batchActionRow();
    void batchProgressRow();
    void singleBoxRows();
    void singlePathRow();
    void fileNameRow();
    void companyRowShowsOnlyItsLabel();
    void companyListStandsInTheLastRow();
    void companyListIsSeenBesideTheImportButton();
    void childrenOfThePanel();
    void childrenOfTheBatchBox();
    void childrenOfTheSingleBox();
    void tabOrderIsTheOrderOfMaking();
    void textsAtStart();
    void processingControlsAreHiddenBeforeAnyImport();
    void processingControlsStayHiddenWhenThePanelIsShownAgain();
    void progressBarSize();
    void progressBarRangeAndValueAreTheDefaults();
    void batchPathIsReadOnly();
    void singlePathAndFileNameAreEditable();
    void companyListIsNotEditable();
    void controlsAreEnabled();
    void noObjectNames();
    void constructionCallsOnlyOneSelect();
    void destructionCallsNothing();
    void panelWithoutParent();

private:
    [[nodiscard]] const Test::PanelView& view() const { return m_harness->view(); }
    [[nodiscard]] QLayout* boxRow(const QGroupBox* box, int index) const;

    std::unique_ptr<PanelHarness> m_harness;
};

namespace {

/// The rectangle's place in the panel.
QRect placeOf(const QWidget* widget, const QWidget& panel)
{
    return QRect(widget->mapTo(&panel, QPoint(0, 0)), widget->size());
}

QList<QWidget*> childWidgets(const QWidget* parent)
{
    return parent->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly);
}

} // namespace

// The widgets of a row, left to right; a spacer item is a null entry.
#define COMPARE_ROW(row, ...)                                                                                \
    do {                                                                                                     \
        const QLayout* const theRow = (row);                                                                 \
        QVERIFY(theRow != nullptr);                                                                          \
        const QList<const QWidget*> expectedWidgets __VA_ARGS__;                                             \
        QCOMPARE(theRow->count(), expectedWidgets.size());                                                   \
        for (int index = 0; index < theRow->count(); ++index)                                                \
            QCOMPARE(static_cast<const QWidget*>(theRow->itemAt(index)->widget()),                           \
                     expectedWidgets.at(index));                                                             \
    } while (false)

#define COMPARE_SPACER(item, width, height, horizontal, vertical)                                            \
    do {                                                                                                     \
        QSpacerItem* const spacer = (item)->spacerItem();                                                    \
        QVERIFY(spacer != nullptr);                                                                          \
        QCOMPARE(spacer->sizeHint(), QSize(width, height));                                                  \
        QCOMPARE(spacer->sizePolicy().horizontalPolicy(), QSizePolicy::horizontal);                          \
        QCOMPARE(spacer->sizePolicy().verticalPolicy(), QSizePolicy::vertical);                              \
    } while (false)

QLayout* PanelConstructionTest::boxRow(const QGroupBox* box, int index) const
{
    const QLayout* const rows = box->layout();
    return rows == nullptr || index >= rows->count() ? nullptr : rows->itemAt(index)->layout();
}

void PanelConstructionTest::cleanup()
{
    VERIFY_DIALOGS(*m_harness);
    m_harness.reset();
}

void PanelConstructionTest::panelIsAPlainChildOfItsParent()
{
    QWidget parent;
    const auto* const panel = new UI::ZAV_ImportFromFile_Widget(&parent);
    QCOMPARE(panel->parentWidget(), &parent);
    QVERIFY(!panel->isWindow());
}

void PanelConstructionTest::panelWithoutParent()
{
    const UI::ZAV_ImportFromFile_Widget panel(nullptr);
    QVERIFY(panel.isWindow());
    QCOMPARE(panel.windowTitle(), QString());
}

void PanelConstructionTest::panelHoldsBothBoxesAndAFiller()
{
    m_harness->open();
    const auto* const layout = qobject_cast<QVBoxLayout*>(m_harness->panel().layout());
    COMPARE_ROW(layout, {view().batchBox, view().singleBox, nullptr});
    COMPARE_SPACER(layout->itemAt(2), 1, 2, Minimum, Expanding);
    QCOMPARE(view().batchBox->parentWidget(), &m_harness->panel());
    QCOMPARE(view().singleBox->parentWidget(), &m_harness->panel());
}

void PanelConstructionTest::batchBoxRows()
{
    m_harness->open();
    const auto* const layout = qobject_cast<QVBoxLayout*>(view().batchBox->layout());
    QVERIFY(layout != nullptr);
    QCOMPARE(layout->count(), 3);
    for (int row = 0; row < 3; ++row)
        QVERIFY(qobject_cast<QHBoxLayout*>(layout->itemAt(row)->layout()) != nullptr);
}

void PanelConstructionTest::batchPathRow()
{
    m_harness->open();
    COMPARE_ROW(boxRow(view().batchBox, 0), {view().openFolder, view().batchPath, view().batchClear});
}

void PanelConstructionTest::batchActionRow()
{
    m_harness->open();
    const QLayout* const row = boxRow(view().batchBox, 1);
    COMPARE_ROW(row, {nullptr, view().batchImport});
    COMPARE_SPACER(row->itemAt(0), 2, 1, Expanding, Minimum);
}

void PanelConstructionTest::batchProgressRow()
{
    m_harness->open();
    COMPARE_ROW(boxRow(view().batchBox, 2), {view().processing, view().progress});
}

void PanelConstructionTest::singleBoxRows()
{
    m_harness->open();
    const auto* const layout = qobject_cast<QVBoxLayout*>(view().singleBox->layout());
    QVERIFY(layout != nullptr);
    QCOMPARE(layout->count(), 4);
    for (int row = 0; row < 4; ++row)
        QVERIFY(qobject_cast<QHBoxLayout*>(layout->itemAt(row)->layout()) != nullptr);
}

void PanelConstructionTest::singlePathRow()
{
    m_harness->open();
    COMPARE_ROW(boxRow(view().singleBox, 0),
                {view().openFile, view().openDir, view().singlePath, view().singleClear});
}

void PanelConstructionTest::fileNameRow()
{
    m_harness->open();
    COMPARE_ROW(boxRow(view().singleBox, 1), {view().fileNameLabel, view().fileName});
}

void PanelConstructionTest::companyRowShowsOnlyItsLabel()
{
    m_harness->open();
    COMPARE_ROW(boxRow(view().singleBox, 2), {view().companyLabel});
}

void PanelConstructionTest::companyListStandsInTheLastRow()
{
    m_harness->open();
    const QLayout* const row = boxRow(view().singleBox, 3);
    COMPARE_ROW(row, {view().company, nullptr, view().singleImport});
    COMPARE_SPACER(row->itemAt(1), 2, 1, Expanding, Minimum);
}

void PanelConstructionTest::companyListIsSeenBesideTheImportButton()
{
    m_harness->open();
    m_harness->panel().resize(800, 500);
    QTRY_COMPARE(m_harness->panel().size(), QSize(800, 500));
    const QRect list = placeOf(view().company, m_harness->panel());
    const QRect label = placeOf(view().companyLabel, m_harness->panel());
    const QRect button = placeOf(view().singleImport, m_harness->panel());
    QVERIFY(list.top() > label.bottom());
    QVERIFY(qAbs(list.center().y() - button.center().y()) <= 2);
    QVERIFY(list.right() < button.left());
    QCOMPARE(list.left(), label.left());
    QVERIFY(button.right() > 700);
}

void PanelConstructionTest::childrenOfThePanel()
{
    m_harness->open();
    QCOMPARE(childWidgets(&m_harness->panel()), (QList<QWidget*>{view().batchBox, view().singleBox}));
}

void PanelConstructionTest::childrenOfTheBatchBox()
{
    m_harness->open();
    QCOMPARE(childWidgets(view().batchBox),
             (QList<QWidget*>{view().openFolder, view().batchPath, view().batchClear, view().batchImport,
                              view().processing, view().progress}));
}

void PanelConstructionTest::childrenOfTheSingleBox()
{
    m_harness->open();
    // The company list comes last: it is made as a child of the panel, and only its row brings it into the
    // box.
    QCOMPARE(childWidgets(view().singleBox),
             (QList<QWidget*>{view().openFile, view().openDir, view().singlePath, view().singleClear,
                              view().companyLabel, view().fileNameLabel, view().fileName, view().singleImport,
                              view().company}));
}

void PanelConstructionTest::tabOrderIsTheOrderOfMaking()
{
    m_harness->open();
    const QList<const QWidget*> controls{view().openFolder,  view().batchPath,   view().batchClear,
                                         view().batchImport, view().openFile,    view().openDir,
                                         view().singlePath,  view().singleClear, view().company,
                                         view().fileName,    view().singleImport};
    QList<const QWidget*> chain;
    for (const QWidget* widget = m_harness->panel().nextInFocusChain(); widget != &m_harness->panel();
         widget = widget->nextInFocusChain()) {
        if (controls.contains(widget))
            chain << widget;
    }
    QCOMPARE(chain, controls);
}

void PanelConstructionTest::textsAtStart()
{
    m_harness->open();
    QCOMPARE(view().batchBox->title(), QStringLiteral("批量导入"));
    QCOMPARE(view().openFolder->text(), QStringLiteral("打开"));
    QCOMPARE(view().batchClear->text(), QStringLiteral("清空"));
    QCOMPARE(view().batchImport->text(), QStringLiteral("导入"));
    QCOMPARE(view().processing->text(), QStringLiteral("处理中，请勿进行其他操作或关闭程序！"));
    QCOMPARE(view().singleBox->title(), QStringLiteral("导入"));
    QCOMPARE(view().openFile->text(), QStringLiteral("选择文件"));
    QCOMPARE(view().openDir->text(), QStringLiteral("选择文件夹"));
    QCOMPARE(view().singleClear->text(), QStringLiteral("清空"));
    QCOMPARE(view().companyLabel->text(), QStringLiteral("单个导入前请选择公司名："));
    QCOMPARE(view().fileNameLabel->text(), QStringLiteral("文件名："));
    QCOMPARE(view().singleImport->text(), QStringLiteral("导入"));
    QCOMPARE(view().batchPath->text(), QString());
    QCOMPARE(view().singlePath->text(), QString());
    QCOMPARE(view().fileName->text(), QString());
}

void PanelConstructionTest::processingControlsAreHiddenBeforeAnyImport()
{
    m_harness->open();
    QVERIFY(!view().processing->isVisible());
    QVERIFY(!view().progress->isVisible());
    QVERIFY(view().batchImport->isVisible());
    QVERIFY(view().company->isVisible());
}

void PanelConstructionTest::processingControlsStayHiddenWhenThePanelIsShownAgain()
{
    m_harness->open();
    m_harness->panel().hide();
    m_harness->panel().show();
    QVERIFY(!view().processing->isVisible());
    QVERIFY(!view().progress->isVisible());
}

void PanelConstructionTest::progressBarSize()
{
    m_harness->open();
    QCOMPARE(view().progress->maximumSize(), QSize(300, 30));
    QCOMPARE(view().progress->minimumSize(), QProgressBar().minimumSize());
}

void PanelConstructionTest::progressBarRangeAndValueAreTheDefaults()
{
    m_harness->open();
    const QProgressBar untouched;
    QCOMPARE(view().progress->minimum(), untouched.minimum());
    QCOMPARE(view().progress->maximum(), untouched.maximum());
    QCOMPARE(view().progress->value(), untouched.value());
    QCOMPARE(view().progress->format(), untouched.format());
    QCOMPARE(view().progress->isTextVisible(), untouched.isTextVisible());
    QCOMPARE(view().progress->orientation(), untouched.orientation());
}

void PanelConstructionTest::batchPathIsReadOnly()
{
    m_harness->open();
    QVERIFY(view().batchPath->isReadOnly());
    QTest::keyClicks(view().batchPath, QStringLiteral("typed"));
    QCOMPARE(view().batchPath->text(), QString());
}

void PanelConstructionTest::singlePathAndFileNameAreEditable()
{
    m_harness->open();
    QTest::keyClicks(view().singlePath, QStringLiteral("/a/b.tgz"));
    QTest::keyClicks(view().fileName, QStringLiteral("b"));
    QCOMPARE(view().singlePath->text(), QStringLiteral("/a/b.tgz"));
    QCOMPARE(view().fileName->text(), QStringLiteral("b"));
}

void PanelConstructionTest::companyListIsNotEditable()
{
    m_harness->open();
    QVERIFY(!view().company->isEditable());
}

void PanelConstructionTest::controlsAreEnabled()
{
    m_harness->open();
    for (const QWidget* const widget : m_harness->panel().findChildren<QWidget*>())
        QVERIFY(widget->isEnabled());
}

void PanelConstructionTest::noObjectNames()
{
    m_harness->open();
    QCOMPARE(m_harness->panel().objectName(), QString());
    QList<QWidget*> own = childWidgets(&m_harness->panel());
    own += childWidgets(view().batchBox) + childWidgets(view().singleBox);
    for (const QWidget* const widget : qAsConst(own))
        QCOMPARE(widget->objectName(), QString());
}

void PanelConstructionTest::constructionCallsOnlyOneSelect()
{
    m_harness->services.recordsObjects = true;
    const UI::ZAV_ImportFromFile_Widget panel(nullptr);
    const std::map<std::string, std::string> noTexts;
    const std::map<std::string, int> noNumbers;
    COMPARE_JOURNAL(*m_harness,
                    {call("Odbpp_CompanyBll"), call("Odbpp_CompanyBll::select", noTexts, noNumbers),
                     QStringLiteral("~Odbpp_CompanyBll()")});
}

void PanelConstructionTest::destructionCallsNothing()
{
    m_harness->services.recordsObjects = true;
    {
        const UI::ZAV_ImportFromFile_Widget panel(nullptr);
        m_harness->services.takeJournal().clear();
    }
    COMPARE_JOURNAL(*m_harness, {});
    QCOMPARE(m_harness->services.liveObjects(), 0);
}

ZAV_REGISTER_TEST(panel_construction, PanelConstructionTest, QApplication)

#include "panel_construction.moc"
