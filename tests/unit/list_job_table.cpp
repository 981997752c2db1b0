#include "tests/support/ListPanelHarness.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QHeaderView>
#include <QTableWidget>
#include <QTest>

#include <limits>

using KOZAV::Test::inputJob;
using KOZAV::Test::ListPanelHarness;

class ListJobTableTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void threeColumnsWithTheirHeaders();
    void onlyTheJobNameColumnIsVisible();
    void hiddenValuesStayReadable();
    void sectionsStretchToTheTableWidth();
    void wholeSingleRowsAreSelected();
    void editTriggersAreTheDefaults();
    void itemFlagsAreTheDefaults();
    void jobsStandInTheListsOrder();
    void everyCellHasAnItem();
    void jobIdentifier_data();
    void jobIdentifier();
    void textsAreUtf8_data();
    void textsAreUtf8();
    void emptyTextsAreKept();
    void equalJobsAreAllListed();
    void emptyJobListGivesAnEmptyTableWithItsHeaders();
    void noRowIsCurrentAtFirst();
    void laterChangesOfTheListWaitForARebuild();
};

void ListJobTableTest::threeColumnsWithTheirHeaders()
{
    ListPanelHarness harness;
    harness.build();
    const QTableWidget& table = harness.table();
    QCOMPARE(table.columnCount(), 3);
    QCOMPARE(table.horizontalHeaderItem(0)->text(), QStringLiteral("flowId"));
    QCOMPARE(table.horizontalHeaderItem(1)->text(), QStringLiteral("jobId"));
    QCOMPARE(table.horizontalHeaderItem(2)->text(), QStringLiteral("料号名称"));
    QVERIFY(!table.horizontalHeader()->isHidden());
}

void ListJobTableTest::onlyTheJobNameColumnIsVisible()
{
    ListPanelHarness harness;
    harness.open();
    QVERIFY(harness.table().isColumnHidden(0));
    QVERIFY(harness.table().isColumnHidden(1));
    QVERIFY(!harness.table().isColumnHidden(2));
}

void ListJobTableTest::hiddenValuesStayReadable()
{
    ListPanelHarness harness;
    harness.open();
    const QTableWidget& table = harness.table();
    QCOMPARE(table.item(1, 0)->text(), QStringLiteral("flow-42"));
    QCOMPARE(table.item(1, 1)->text(), QStringLiteral("42"));
    QCOMPARE(table.item(1, 2)->text(), QStringLiteral("AB000042"));
}

void ListJobTableTest::sectionsStretchToTheTableWidth()
{
    ListPanelHarness harness;
    harness.open();
    QTableWidget& table = harness.table();
    for (int column = 0; column < 3; ++column)
        QCOMPARE(table.horizontalHeader()->sectionResizeMode(column), QHeaderView::Stretch);
    QTRY_COMPARE(table.columnWidth(2), table.viewport()->width());
    harness.panel().resize(harness.panel().width() + 200, harness.panel().height());
    QTRY_COMPARE(table.columnWidth(2), table.viewport()->width());
}

void ListJobTableTest::wholeSingleRowsAreSelected()
{
    ListPanelHarness harness;
    harness.open();
    QTableWidget& table = harness.table();
    QCOMPARE(table.selectionMode(), QAbstractItemView::SingleSelection);
    QCOMPARE(table.selectionBehavior(), QAbstractItemView::SelectRows);
    harness.chooseJob(QStringLiteral("AB000041"));
    harness.chooseJob(QStringLiteral("AB000043"));
    QCOMPARE(table.selectionModel()->selectedRows().size(), 1);
    QCOMPARE(table.selectionModel()->selectedIndexes().size(), 3);
    QCOMPARE(table.currentRow(), 2);
}

void ListJobTableTest::editTriggersAreTheDefaults()
{
    ListPanelHarness harness;
    harness.build();
    const QTableWidget plain;
    QCOMPARE(harness.table().editTriggers(), plain.editTriggers());
    QCOMPARE(harness.table().isSortingEnabled(), plain.isSortingEnabled());
}

void ListJobTableTest::itemFlagsAreTheDefaults()
{
    ListPanelHarness harness;
    harness.build();
    const QTableWidgetItem plain;
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column)
            QCOMPARE(harness.table().item(row, column)->flags(), plain.flags());
    }
}

void ListJobTableTest::jobsStandInTheListsOrder()
{
    ListPanelHarness harness;
    harness.services.results.inputJobs = {inputJob("z", 9, "last"), inputJob("a", 1, "first"),
                                          inputJob("m", 5, "between")};
    harness.build();
    const QStringList expected{QStringLiteral("z/9/last"), QStringLiteral("a/1/first"),
                               QStringLiteral("m/5/between")};
    QCOMPARE(harness.rows(), expected);
}

void ListJobTableTest::everyCellHasAnItem()
{
    ListPanelHarness harness;
    harness.build();
    QCOMPARE(harness.table().rowCount(), 3);
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column)
            QVERIFY(harness.table().item(row, column) != nullptr);
    }
}

void ListJobTableTest::jobIdentifier_data()
{
    QTest::addColumn<int>("jobId");
    QTest::addColumn<QString>("text");
    QTest::newRow("zero") << 0 << QStringLiteral("0");
    QTest::newRow("negative") << -17 << QStringLiteral("-17");
    QTest::newRow("no separators") << 1234567 << QStringLiteral("1234567");
    QTest::newRow("largest") << std::numeric_limits<std::int32_t>::max() << QStringLiteral("2147483647");
    QTest::newRow("smallest") << std::numeric_limits<std::int32_t>::min() << QStringLiteral("-2147483648");
}

void ListJobTableTest::jobIdentifier()
{
    QFETCH(int, jobId);
    QFETCH(QString, text);
    ListPanelHarness harness;
    harness.services.results.inputJobs = {inputJob("flow", jobId, "job")};
    harness.build();
    QCOMPARE(harness.table().item(0, 1)->text(), text);
}

void ListJobTableTest::textsAreUtf8_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("latin") << QStringLiteral("caf\u00e9");
    QTest::newRow("Chinese") << QStringLiteral("料号甲");
    QTest::newRow("four bytes") << QStringLiteral("\U0001F600\U00020000");
    QTest::newRow("blanks at the ends") << QStringLiteral("  job ");
    QTest::newRow("markup") << QStringLiteral("<b>job</b>&amp;");
}

void ListJobTableTest::textsAreUtf8()
{
    QFETCH(QString, text);
    ListPanelHarness harness;
    const QByteArray bytes = text.toUtf8();
    harness.services.results.inputJobs = {inputJob(bytes.constData(), 1, bytes.constData())};
    harness.build();
    QCOMPARE(harness.table().item(0, 0)->text(), text);
    QCOMPARE(harness.table().item(0, 2)->text(), text);
}

void ListJobTableTest::emptyTextsAreKept()
{
    ListPanelHarness harness;
    harness.services.results.inputJobs = {inputJob("", 0, "")};
    harness.build();
    QCOMPARE(harness.rows(), QStringList{QStringLiteral("/0/")});
}

void ListJobTableTest::equalJobsAreAllListed()
{
    ListPanelHarness harness;
    harness.services.results.inputJobs = {inputJob("flow", 1, "job"), inputJob("flow", 1, "job")};
    harness.build();
    const QStringList expected{QStringLiteral("flow/1/job"), QStringLiteral("flow/1/job")};
    QCOMPARE(harness.rows(), expected);
}

void ListJobTableTest::emptyJobListGivesAnEmptyTableWithItsHeaders()
{
    ListPanelHarness harness;
    harness.services.results.inputJobs.clear();
    harness.open();
    const QTableWidget& table = harness.table();
    QCOMPARE(table.rowCount(), 0);
    QCOMPARE(table.columnCount(), 3);
    QCOMPARE(table.horizontalHeaderItem(0)->text(), QStringLiteral("flowId"));
    QCOMPARE(table.horizontalHeaderItem(1)->text(), QStringLiteral("jobId"));
    QCOMPARE(table.horizontalHeaderItem(2)->text(), QStringLiteral("料号名称"));
    QVERIFY(table.isColumnHidden(0));
    QVERIFY(table.isColumnHidden(1));
    QVERIFY(!table.isColumnHidden(2));
    VERIFY_DIALOGS(harness);
}

void ListJobTableTest::noRowIsCurrentAtFirst()
{
    ListPanelHarness harness;
    harness.open();
    QCOMPARE(harness.table().currentRow(), -1);
    QVERIFY(!harness.table().selectionModel()->hasSelection());
}

void ListJobTableTest::laterChangesOfTheListWaitForARebuild()
{
    ListPanelHarness harness;
    harness.open();
    const QStringList rows = harness.rows();
    harness.listJobs({QStringLiteral("other")});
    QCoreApplication::processEvents();
    QCOMPARE(harness.rows(), rows);
    COMPARE_JOURNAL(harness, {});
}

ZAV_REGISTER_TEST(list_job_table, ListJobTableTest, QApplication)

#include "list_job_table.moc"
