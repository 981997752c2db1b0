#include "tests/support/PanelHarness.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QComboBox>
#include <QTest>

using namespace KOZAV;
using KOZAV::Test::company;
using KOZAV::Test::PanelHarness;

class PanelCompanyListTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { m_harness = std::make_unique<PanelHarness>(); }
    void cleanup();

    void companyWithCodeWebIsNotListed();
    void companyWithAnotherCodeIsListed_data();
    void companyWithAnotherCodeIsListed();
    void nameWebIsListed();
    void equalNamesGiveEqualItems();
    void orderIsThatOfSelect();
    void failedSelectGivesAnEmptyList();
    void rowsOfAFailedSelectAreListed();
    void noCompaniesGiveAnEmptyList();
    void onlyWebGivesAnEmptyList();
    void firstItemIsShown();
    void itemsHaveNeitherIconNorData();
    void namesAreUtf8();
    void listIsNotRefreshedLater();

private:
    [[nodiscard]] QStringList listed();

    std::unique_ptr<PanelHarness> m_harness;
};

void PanelCompanyListTest::cleanup()
{
    VERIFY_DIALOGS(*m_harness);
    m_harness.reset();
}

QStringList PanelCompanyListTest::listed()
{
    m_harness->open();
    const QComboBox& list = *m_harness->view().company;
    QStringList names;
    for (int index = 0; index < list.count(); ++index)
        names << list.itemText(index);
    return names;
}

void PanelCompanyListTest::companyWithCodeWebIsNotListed()
{
    m_harness->services.results.companies = {company(1, "AB", "first"), company(2, "web", "uploads"),
                                             company(3, "CD", "third")};
    QCOMPARE(listed(), (QStringList{QStringLiteral("first"), QStringLiteral("third")}));
}

void PanelCompanyListTest::companyWithAnotherCodeIsListed_data()
{
    QTest::addColumn<QByteArray>("code");
    QTest::newRow("capital") << QByteArray("Web");
    QTest::newRow("all capitals") << QByteArray("WEB");
    QTest::newRow("blank behind") << QByteArray("web ");
    QTest::newRow("blank before") << QByteArray(" web");
    QTest::newRow("longer") << QByteArray("webx");
    QTest::newRow("shorter") << QByteArray("we");
    QTest::newRow("empty") << QByteArray("");
}

void PanelCompanyListTest::companyWithAnotherCodeIsListed()
{
    QFETCH(QByteArray, code);
    m_harness->services.results.companies = {company(1, code.constData(), "listed")};
    QCOMPARE(listed(), QStringList{QStringLiteral("listed")});
}

void PanelCompanyListTest::nameWebIsListed()
{
    m_harness->services.results.companies = {company(1, "AB", "web")};
    QCOMPARE(listed(), QStringList{QStringLiteral("web")});
}

void PanelCompanyListTest::equalNamesGiveEqualItems()
{
    m_harness->services.results.companies = {company(1, "AB", "twin"), company(2, "CD", "twin")};
    QCOMPARE(listed(), (QStringList{QStringLiteral("twin"), QStringLiteral("twin")}));
}

void PanelCompanyListTest::orderIsThatOfSelect()
{
    m_harness->services.results.companies = {company(3, "C", "zeta"), company(1, "A", "Alpha"),
                                             company(2, "B", "beta")};
    QCOMPARE(listed(),
             (QStringList{QStringLiteral("zeta"), QStringLiteral("Alpha"), QStringLiteral("beta")}));
}

void PanelCompanyListTest::failedSelectGivesAnEmptyList()
{
    m_harness->services.results.companies.clear();
    m_harness->services.results.companySelectResult = false;
    QCOMPARE(listed(), QStringList());
}

void PanelCompanyListTest::rowsOfAFailedSelectAreListed()
{
    m_harness->services.results.companySelectResult = false;
    QCOMPARE(listed(), QStringList{QStringLiteral("甲公司")});
}

void PanelCompanyListTest::noCompaniesGiveAnEmptyList()
{
    m_harness->services.results.companies.clear();
    QCOMPARE(listed(), QStringList());
    QCOMPARE(m_harness->view().company->currentIndex(), -1);
}

void PanelCompanyListTest::onlyWebGivesAnEmptyList()
{
    m_harness->services.results.companies = {company(2, "web", "uploads")};
    QCOMPARE(listed(), QStringList());
}

void PanelCompanyListTest::firstItemIsShown()
{
    m_harness->services.results.companies = {company(1, "web", "uploads"), company(2, "A", "first"),
                                             company(3, "B", "second")};
    m_harness->open();
    QCOMPARE(m_harness->view().company->currentIndex(), 0);
    QCOMPARE(m_harness->view().company->currentText(), QStringLiteral("first"));
}

void PanelCompanyListTest::itemsHaveNeitherIconNorData()
{
    m_harness->open();
    QVERIFY(m_harness->view().company->itemIcon(0).isNull());
    QVERIFY(!m_harness->view().company->itemData(0).isValid());
}

void PanelCompanyListTest::namesAreUtf8()
{
    m_harness->services.results.companies = {
        company(1, "A", "\xe7\x94\xb2\xe4\xb9\x99 Gr\xc3\xb6\xc3\x9f\x65")};
    QCOMPARE(listed(), QStringList{QStringLiteral("甲乙 Größe")});
}

void PanelCompanyListTest::listIsNotRefreshedLater()
{
    m_harness->open();
    m_harness->services.results.companies.push_back(company(8, "NEW", "newcomer"));
    m_harness->panel().hide();
    m_harness->panel().show();
    m_harness->chooseFile(m_harness->makeFile(QStringLiteral("jobs/a.tgz")));
    m_harness->importSingle();
    QCOMPARE(m_harness->view().company->count(), 1);
}

ZAV_REGISTER_TEST(panel_company_list, PanelCompanyListTest, QApplication)

#include "panel_company_list.moc"
