#include "tests/support/ListPanelHarness.h"
#include "tests/support/TestProgram.h"

#include "services/ui/ZAV_UICommon.h"

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>

using KOZAV::Test::call;
using KOZAV::Test::inputJob;
using KOZAV::Test::ListPanelHarness;
using KOZAV::UI::ZAV_UICommon;

Q_DECLARE_METATYPE(std::function<void(ListPanelHarness&)>)

using Action = std::function<void(ListPanelHarness&)>;

class ListFilterTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void keptJobs_data();
    void keptJobs();
    void filterIsCaseSensitive();
    void clearingTheFilterLineShowsAllJobsAgain();
    void everyKeystrokeFiltersAfresh();
    void onlyTheJobNameIsSearched();
    void keptRowsHaveAllThreeColumns();
    void keptItemsHaveTheDefaultFlags();
    void columnsStayHidden();

    void slotFiltersByItsTextNotByTheLines();
    void slotIndexIsNotUsed();
    void anotherComboIndexKeepsEveryJob();
    void backAtTheFirstComboItemTheFilterApplies();
    void noComboItemKeepsEveryJob();

    void refreshKeepsTheFilterAndAppliesItToTheFreshList_data();
    void refreshKeepsTheFilterAndAppliesItToTheFreshList();
    void refreshAppliesATextThatWasNotTyped();
    void newJobShowsUpOnTheNextRebuild_data();
    void newJobShowsUpOnTheNextRebuild();
    void rebuildFetchesOnceAndCallsNothingElse_data();
    void rebuildFetchesOnceAndCallsNothingElse();
    void tableIsEmptyWhileTheListIsFetched_data();
    void tableIsEmptyWhileTheListIsFetched();
    void rowsAreRemovedFromTheEnd_data();
    void rowsAreRemovedFromTheEnd();
    void rowsAreInsertedInTheListsOrder();
    void choiceIsGoneAfterARebuild_data();
    void choiceIsGoneAfterARebuild();
    void listThatBecameEmptyEmptiesTheTable();
    void longListIsFiltered();
};

namespace {

void editFilter(ListPanelHarness& harness)
{
    QTest::keyClicks(&harness.filter(), QStringLiteral("B"));
}

void changeCombo(ListPanelHarness& harness)
{
    harness.mode().addItem(QStringLiteral("另一项"));
    harness.mode().setCurrentIndex(1);
}

void pressRefresh(ListPanelHarness& harness)
{
    harness.press(harness.refreshButton());
}

void signalRefresh(ListPanelHarness&)
{
    Q_EMIT ZAV_UICommon::interface()->refreshImportJobTable();
}

void invokeUpdate(ListPanelHarness& harness)
{
    QVERIFY(QMetaObject::invokeMethod(&harness.panel(), "updateImportJobTable"));
}

void invokeJobList(ListPanelHarness& harness)
{
    QVERIFY(QMetaObject::invokeMethod(&harness.panel(), "slotImportJobList"));
}

void invokeFilter(ListPanelHarness& harness, const QString& text)
{
    QVERIFY(QMetaObject::invokeMethod(&harness.panel(), "on_m_pFilterLE_textEdited", Q_ARG(QString, text)));
}

void addRefreshes()
{
    QTest::addColumn<Action>("action");
    QTest::newRow("refresh button") << Action(pressRefresh);
    QTest::newRow("shared refresh signal") << Action(signalRefresh);
    QTest::newRow("updateImportJobTable") << Action(invokeUpdate);
    QTest::newRow("slotImportJobList") << Action(invokeJobList);
}

void addRebuilds()
{
    addRefreshes();
    QTest::newRow("edit") << Action(editFilter);
    QTest::newRow("combo change") << Action(changeCombo);
}

} // namespace

void ListFilterTest::keptJobs_data()
{
    QTest::addColumn<QStringList>("jobs");
    QTest::addColumn<QString>("filter");
    QTest::addColumn<QStringList>("kept");
    const auto add = [](const char* row, const char* jobs, const char* filter, const char* kept) {
        const auto list = [](const char* names) {
            return QString::fromUtf8(names).split(QLatin1Char('/'), Qt::SkipEmptyParts);
        };
        QTest::newRow(row) << list(jobs) << QString::fromUtf8(filter) << list(kept);
    };
    add("start", "AB01/CD01", "AB", "AB01");
    add("middle", "xABy/xACy", "AB", "xABy");
    add("end", "01AB/01CD", "AB", "01AB");
    add("whole", "AB01/AB012/AB0", "AB01", "AB01/AB012");
    add("longer than the name", "AB/ABC", "ABCD", "");
    add("none", "AB/CD", "x", "");
    add("order is kept", "z1/a1/m2/b1", "1", "z1/a1/b1");
    add("equal names", "AB/CD/AB", "A", "AB/AB");
    add("case", "ab01/AB01/Ab01", "AB", "AB01");
    add("blank is a character", "a b/ab", " ", "a b");
    add("blanks are not trimmed", "a b/ab", "b ", "");
    add("dot is itself", "a.b/axb", ".", "a.b");
    add("star is itself", "a*b/ab", "*", "a*b");
    add("question mark is itself", "a?b/axb", "?", "a?b");
    add("brackets are themselves", "a[b]/ab", "[b]", "a[b]");
    add("backslash is itself", "a\\b/ab", "\\", "a\\b");
    add("percent is itself", "a%b/ab", "%", "a%b");
    add("Chinese", "料号甲01/料号乙01", "甲", "料号甲01");
    add("Chinese, several", "料号甲01/料号乙01", "料号", "料号甲01/料号乙01");
    add("emoji", "a\U0001F600/a\U0001F601", "\U0001F600", "a\U0001F600");
    add("beyond the first plane", "\U00020000x/\U00020001x", "\U00020001", "\U00020001x");
    add("accent", "caf\u00e9/cafe", "\u00e9", "caf\u00e9");
    add("composed is not decomposed", "caf\u00e9/cafe\u0301", "e\u0301", "cafe\u0301");
    add("case beyond ASCII", "\u00c9t\u00e9/\u00e9t\u00e9", "\u00c9", "\u00c9t\u00e9");
    add("full width is not ASCII", "ＡＢ/AB", "AB", "AB");
}

void ListFilterTest::keptJobs()
{
    QFETCH(QStringList, jobs);
    QFETCH(QString, filter);
    QFETCH(QStringList, kept);
    ListPanelHarness harness;
    harness.listJobs(jobs);
    harness.open();
    harness.typeFilter(filter);
    QCOMPARE(harness.filter().text(), filter);
    QCOMPARE(harness.jobNames(), kept);
    QCOMPARE(harness.table().rowCount(), kept.size());
    VERIFY_DIALOGS(harness);
}

void ListFilterTest::filterIsCaseSensitive()
{
    ListPanelHarness harness;
    harness.listJobs({QStringLiteral("ab01")});
    harness.open();
    QTest::keyClicks(&harness.filter(), QStringLiteral("AB"));
    QCOMPARE(harness.jobNames(), QStringList());
    harness.clearFilter();
    QTest::keyClicks(&harness.filter(), QStringLiteral("ab"));
    QCOMPARE(harness.jobNames(), QStringList{QStringLiteral("ab01")});
}

void ListFilterTest::clearingTheFilterLineShowsAllJobsAgain()
{
    ListPanelHarness harness;
    harness.open();
    const QStringList all = harness.rows();
    QTest::keyClicks(&harness.filter(), QStringLiteral("42"));
    QCOMPARE(harness.jobNames(), QStringList{QStringLiteral("AB000042")});
    harness.clearFilter();
    QCOMPARE(harness.filter().text(), QString());
    QCOMPARE(harness.rows(), all);
    QCOMPARE(harness.table().currentRow(), -1);
}

void ListFilterTest::everyKeystrokeFiltersAfresh()
{
    ListPanelHarness harness;
    harness.listJobs({QStringLiteral("a1"), QStringLiteral("a12"), QStringLiteral("b2")});
    harness.open();
    QTest::keyClicks(&harness.filter(), QStringLiteral("1"));
    const QStringList withOne{QStringLiteral("a1"), QStringLiteral("a12")};
    QCOMPARE(harness.jobNames(), withOne);
    QTest::keyClicks(&harness.filter(), QStringLiteral("2"));
    QCOMPARE(harness.jobNames(), QStringList{QStringLiteral("a12")});
    QTest::keyClick(&harness.filter(), Qt::Key_Backspace);
    QCOMPARE(harness.jobNames(), withOne);
    COMPARE_JOURNAL(harness, {call("getInputJobList"), call("getInputJobList"), call("getInputJobList")});
}

void ListFilterTest::onlyTheJobNameIsSearched()
{
    ListPanelHarness harness;
    harness.services.results.inputJobs = {inputJob("needle", 7, "hay"), inputJob("hay", 7, "needle")};
    harness.open();
    harness.typeFilter(QStringLiteral("needle"));
    QCOMPARE(harness.rows(), QStringList{QStringLiteral("hay/7/needle")});
    harness.clearFilter();
    harness.typeFilter(QStringLiteral("7"));
    QCOMPARE(harness.rows(), QStringList());
}

void ListFilterTest::keptRowsHaveAllThreeColumns()
{
    ListPanelHarness harness;
    harness.services.results.inputJobs = {inputJob("f1", 1, "x"), inputJob("f2", -2, "AB2"),
                                          inputJob("f3", 3, "x"), inputJob("f4", 1234567, "AB4")};
    harness.open();
    harness.typeFilter(QStringLiteral("AB"));
    const QStringList expected{QStringLiteral("f2/-2/AB2"), QStringLiteral("f4/1234567/AB4")};
    QCOMPARE(harness.rows(), expected);
}

void ListFilterTest::keptItemsHaveTheDefaultFlags()
{
    ListPanelHarness harness;
    harness.open();
    harness.typeFilter(QStringLiteral("42"));
    const QTableWidgetItem plain;
    for (int column = 0; column < 3; ++column)
        QCOMPARE(harness.table().item(0, column)->flags(), plain.flags());
}

void ListFilterTest::columnsStayHidden()
{
    ListPanelHarness harness;
    harness.open();
    harness.typeFilter(QStringLiteral("42"));
    harness.press(harness.refreshButton());
    QCOMPARE(harness.table().columnCount(), 3);
    QVERIFY(harness.table().isColumnHidden(0));
    QVERIFY(harness.table().isColumnHidden(1));
    QVERIFY(!harness.table().isColumnHidden(2));
    QCOMPARE(harness.table().horizontalHeaderItem(2)->text(), QStringLiteral("料号名称"));
}

void ListFilterTest::slotFiltersByItsTextNotByTheLines()
{
    ListPanelHarness harness;
    harness.open();
    invokeFilter(harness, QStringLiteral("43"));
    QCOMPARE(harness.jobNames(), QStringList{QStringLiteral("AB000043")});
    QCOMPARE(harness.filter().text(), QString());
    harness.press(harness.refreshButton());
    QCOMPARE(harness.jobNames().size(), 3);
}

void ListFilterTest::slotIndexIsNotUsed()
{
    ListPanelHarness harness;
    harness.open();
    harness.filter().setText(QStringLiteral("42"));
    QVERIFY(
        QMetaObject::invokeMethod(&harness.panel(), "on_m_pFilterCMB_currentIndexChanged", Q_ARG(int, 7)));
    QCOMPARE(harness.jobNames(), QStringList{QStringLiteral("AB000042")});
    COMPARE_JOURNAL(harness, {call("getInputJobList")});
}

void ListFilterTest::anotherComboIndexKeepsEveryJob()
{
    ListPanelHarness harness;
    harness.open();
    const QStringList all = harness.rows();
    harness.typeFilter(QStringLiteral("42"));
    changeCombo(harness);
    QCOMPARE(harness.rows(), all);
    harness.typeFilter(QStringLiteral("nowhere"));
    QCOMPARE(harness.rows(), all);
    harness.press(harness.refreshButton());
    QCOMPARE(harness.rows(), all);
}

void ListFilterTest::backAtTheFirstComboItemTheFilterApplies()
{
    ListPanelHarness harness;
    harness.open();
    changeCombo(harness);
    harness.typeFilter(QStringLiteral("42"));
    QCOMPARE(harness.jobNames().size(), 3);
    harness.mode().setCurrentIndex(0);
    QCOMPARE(harness.jobNames(), QStringList{QStringLiteral("AB000042")});
}

void ListFilterTest::noComboItemKeepsEveryJob()
{
    ListPanelHarness harness;
    harness.open();
    harness.typeFilter(QStringLiteral("42"));
    harness.mode().clear();
    QCOMPARE(harness.mode().currentIndex(), -1);
    QCOMPARE(harness.jobNames().size(), 3);
}

void ListFilterTest::refreshKeepsTheFilterAndAppliesItToTheFreshList_data()
{
    addRefreshes();
}

void ListFilterTest::refreshKeepsTheFilterAndAppliesItToTheFreshList()
{
    QFETCH(Action, action);
    ListPanelHarness harness;
    harness.open();
    harness.typeFilter(QStringLiteral("42"));
    harness.listJobs({QStringLiteral("new42"), QStringLiteral("new43"), QStringLiteral("42old")});
    action(harness);
    QCOMPARE(harness.filter().text(), QStringLiteral("42"));
    const QStringList expected{QStringLiteral("flow-1/1/new42"), QStringLiteral("flow-3/3/42old")};
    QCOMPARE(harness.rows(), expected);
}

void ListFilterTest::refreshAppliesATextThatWasNotTyped()
{
    ListPanelHarness harness;
    harness.open();
    harness.filter().setText(QStringLiteral("43"));
    harness.press(harness.refreshButton());
    QCOMPARE(harness.jobNames(), QStringList{QStringLiteral("AB000043")});
}

void ListFilterTest::newJobShowsUpOnTheNextRebuild_data()
{
    addRebuilds();
}

void ListFilterTest::newJobShowsUpOnTheNextRebuild()
{
    QFETCH(Action, action);
    ListPanelHarness harness;
    harness.open();
    harness.services.results.inputJobs.push_back(inputJob("flow-44", 44, "AB000044"));
    action(harness);
    QCOMPARE(harness.rows().size(), 4);
    QCOMPARE(harness.rows().last(), QStringLiteral("flow-44/44/AB000044"));
}

void ListFilterTest::rebuildFetchesOnceAndCallsNothingElse_data()
{
    addRebuilds();
}

void ListFilterTest::rebuildFetchesOnceAndCallsNothingElse()
{
    QFETCH(Action, action);
    ListPanelHarness harness;
    harness.services.recordsObjects = true;
    harness.open();
    action(harness);
    COMPARE_JOURNAL(harness, {call("getInputJobList")});
    VERIFY_DIALOGS(harness);
}

void ListFilterTest::tableIsEmptyWhileTheListIsFetched_data()
{
    addRebuilds();
}

void ListFilterTest::tableIsEmptyWhileTheListIsFetched()
{
    QFETCH(Action, action);
    ListPanelHarness harness;
    harness.open();
    int rowsAtFetch = -1;
    harness.services.results.hooks["getInputJobList"] = [&] { rowsAtFetch = harness.table().rowCount(); };
    action(harness);
    QCOMPARE(rowsAtFetch, 0);
}

void ListFilterTest::rowsAreRemovedFromTheEnd_data()
{
    addRebuilds();
}

void ListFilterTest::rowsAreRemovedFromTheEnd()
{
    QFETCH(Action, action);
    ListPanelHarness harness;
    harness.open();
    const QAbstractItemModel* const model = harness.table().model();
    int removed = 0;
    bool fromTheEnd = true;
    const auto check = [&](const QModelIndex&, int first, int last) {
        fromTheEnd = fromTheEnd && last == model->rowCount() - 1;
        removed += last - first + 1;
    };
    connect(model, &QAbstractItemModel::rowsAboutToBeRemoved, this, check);
    action(harness);
    QVERIFY(fromTheEnd);
    QCOMPARE(removed, 3);
}

void ListFilterTest::rowsAreInsertedInTheListsOrder()
{
    ListPanelHarness harness;
    harness.open();
    const QAbstractItemModel* const model = harness.table().model();
    bool atTheEnd = true;
    const auto check = [&](const QModelIndex&, int, int last) {
        atTheEnd = atTheEnd && last == model->rowCount() - 1;
    };
    connect(model, &QAbstractItemModel::rowsInserted, this, check);
    harness.press(harness.refreshButton());
    QVERIFY(atTheEnd);
    QCOMPARE(harness.jobNames().size(), 3);
}

void ListFilterTest::choiceIsGoneAfterARebuild_data()
{
    addRebuilds();
}

void ListFilterTest::choiceIsGoneAfterARebuild()
{
    QFETCH(Action, action);
    ListPanelHarness harness;
    harness.open();
    harness.chooseJob(QStringLiteral("AB000042"));
    QCOMPARE(harness.table().currentRow(), 1);
    action(harness);
    QCOMPARE(harness.jobNames().size(), 3);
    QCOMPARE(harness.table().currentRow(), -1);
    QVERIFY(!harness.table().selectionModel()->hasSelection());
}

void ListFilterTest::listThatBecameEmptyEmptiesTheTable()
{
    ListPanelHarness harness;
    harness.open();
    harness.services.results.inputJobs.clear();
    harness.press(harness.refreshButton());
    QCOMPARE(harness.table().rowCount(), 0);
    QCOMPARE(harness.table().columnCount(), 3);
}

void ListFilterTest::longListIsFiltered()
{
    ListPanelHarness harness;
    QStringList names;
    for (int number = 0; number < 2000; ++number)
        names << QStringLiteral("AB%1").arg(number, 6, 10, QLatin1Char('0'));
    harness.listJobs(names);
    harness.open();
    QCOMPARE(harness.jobNames(), names);
    harness.typeFilter(QStringLiteral("99"));
    QCOMPARE(harness.jobNames(), names.filter(QStringLiteral("99")));
    harness.clearFilter();
    QCOMPARE(harness.jobNames(), names);
}

ZAV_REGISTER_TEST(list_filter, ListFilterTest, QApplication)

#include "list_filter.moc"
