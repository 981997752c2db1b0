#include "CompanyContract.h"

#include "WeirdTexts.h"
#include "services/bll/Odbpp_CompanyBll.h"

#include <QDateTime>
#include <QTest>

namespace KOZAV::Test {

using namespace DataLib;

using TextConditions = std::map<std::string, std::string>;
using IntConditions = std::map<std::string, int>;
using Companies = std::vector<Model::Odbpp_Company>;

} // namespace KOZAV::Test

Q_DECLARE_METATYPE(KOZAV::Test::TextConditions)
Q_DECLARE_METATYPE(KOZAV::Test::IntConditions)

namespace KOZAV::Test {

namespace {

Companies selected(const TextConditions& texts, const IntConditions& numbers = {})
{
    Companies companies(3);
    if (!BLL::Odbpp_CompanyBll().select(texts, numbers, companies))
        qFatal("select failed");
    return companies;
}

QString codes(const Companies& companies)
{
    QStringList found;
    for (const Model::Odbpp_Company& company : companies)
        found << QString::fromStdString(company.companyCode);
    return found.join(QLatin1Char(' '));
}

Model::Odbpp_Company named(const std::string& name)
{
    const Companies companies = selected({{"CompanyName", name}});
    return companies.empty() ? Model::Odbpp_Company() : companies.front();
}

bool count(std::string name, int jobCount)
{
    return BLL::Odbpp_CompanyBll().inputCompanies(name, 5, jobCount);
}

/// Zeta (Z), Alpha (A) and the pseudo-company web, in this order.
void addThreeCompanies(const ContractSite& site)
{
    site.addCompany("Z", "Zeta");
    site.addCompany("A", "Alpha");
    site.addCompany("web", "Web");
}

} // namespace

void CompanyContract::noConditionSelectsAllInTheirOrder()
{
    QVERIFY(selected({}).empty());
    addThreeCompanies(*m_site);
    QCOMPARE(codes(selected({})), QStringLiteral("Z A web"));
}

void CompanyContract::conditionsSelect_data()
{
    QTest::addColumn<TextConditions>("texts");
    QTest::addColumn<IntConditions>("numbers");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char* what, const TextConditions& texts, const IntConditions& numbers,
                        const char* expected) {
        QTest::newRow(what) << texts << numbers << QString::fromLatin1(expected);
    };
    row("name", {{"CompanyName", "Alpha"}}, {}, "A");
    row("code", {{"CompanyCode", "Z"}}, {}, "Z");
    row("number", {}, {{"CompanyId", 1}}, "Z");
    row("number as text", {{"CompanyId", "1"}}, {}, "Z");
    row("all three agree", {{"CompanyName", "Zeta"}, {"CompanyCode", "Z"}}, {{"CompanyId", 1}}, "Z");
    row("number twice", {{"CompanyId", "1"}}, {{"CompanyId", 1}}, "Z");
    row("number twice, different", {{"CompanyId", "1"}}, {{"CompanyId", 2}}, "");
    row("name and code disagree", {{"CompanyName", "Zeta"}, {"CompanyCode", "A"}}, {}, "");
    row("name and number disagree", {{"CompanyName", "Alpha"}}, {{"CompanyId", 1}}, "");
    row("code and number disagree", {{"CompanyCode", "A"}}, {{"CompanyId", 1}}, "");
    row("unknown name", {{"CompanyName", "Beta"}}, {}, "");
    row("unknown number", {}, {{"CompanyId", 99}}, "");
    row("empty name", {{"CompanyName", ""}}, {}, "");
    row("case", {{"CompanyName", "alpha"}}, {}, "");
    row("trailing blank", {{"CompanyName", "Alpha "}}, {}, "");
    row("code of web", {{"CompanyCode", "web"}}, {}, "web");
    row("number with a letter", {{"CompanyId", "1x"}}, {}, "");
    row("number with a blank", {{"CompanyId", " 1"}}, {}, "");
    row("number with a sign", {{"CompanyId", "+1"}}, {}, "");
    row("number with a nought", {{"CompanyId", "01"}}, {}, "");
    row("no number", {{"CompanyId", ""}}, {}, "");
    row("number as expression", {{"CompanyId", "1 OR 1=1"}}, {}, "");
    row("far number", {{"CompanyId", "99999999999999999999"}}, {}, "");
}

void CompanyContract::conditionsSelect()
{
    QFETCH(const TextConditions, texts);
    QFETCH(const IntConditions, numbers);
    QFETCH(const QString, expected);
    addThreeCompanies(*m_site);
    QCOMPARE(named("Zeta").companyId, 1);
    QCOMPARE(codes(selected(texts, numbers)), expected);
}

void CompanyContract::unknownColumnsAreRefused_data()
{
    QTest::addColumn<TextConditions>("texts");
    QTest::addColumn<IntConditions>("numbers");
    const auto row = [](const char* what, const TextConditions& texts, const IntConditions& numbers) {
        QTest::newRow(what) << texts << numbers;
    };
    row("column of the table", {{"name", "Alpha"}}, {});
    row("case", {{"companyname", "Alpha"}}, {});
    row("blank", {{"CompanyName ", "Alpha"}}, {});
    row("empty", {{"", "Alpha"}}, {});
    row("column of another record", {{"KoSerialName", "Alpha"}}, {});
    row("expression", {{"1=1 OR CompanyName", "Alpha"}}, {});
    row("statement", {{"CompanyName\" = \"\"; DROP TABLE company;--", "Alpha"}}, {});
    row("quoted", {{"\"CompanyName\"", "Alpha"}}, {});
    row("beside a known one", {{"CompanyName", "Alpha"}, {"Nothing", "x"}}, {});
    row("number", {}, {{"JobCount", 0}});
}

void CompanyContract::unknownColumnsAreRefused()
{
    QFETCH(const TextConditions, texts);
    QFETCH(const IntConditions, numbers);
    addThreeCompanies(*m_site);
    ContractSite::expectFailure("Odbpp_CompanyBll::select", "condition column");
    Companies companies(2);
    QVERIFY(!BLL::Odbpp_CompanyBll().select(texts, numbers, companies));
    QVERIFY(companies.empty());
    QCOMPARE(codes(selected({})), QStringLiteral("Z A web"));
}

void CompanyContract::namesAreFoundAsTheyWereGiven_data()
{
    addWeirdTexts();
}

void CompanyContract::namesAreFoundAsTheyWereGiven()
{
    QFETCH(std::string, text);
    m_site->addCompany("other", "Other");
    m_site->addCompany("A", text);
    QCOMPARE(named(text).companyLabel, text);
    QCOMPARE(named(text).companyCode, std::string("A"));
    QVERIFY(count(text, 1));
    QCOMPARE(named(text).jobCount, 1);
    QCOMPARE(named("Other").jobCount, 0);
}

void CompanyContract::anySearchedTextIsOnlyData_data()
{
    addWeirdTexts();
}

void CompanyContract::anySearchedTextIsOnlyData()
{
    QFETCH(const std::string, text);
    m_site->addCompany("Z", "Zeta");
    QVERIFY(selected({{"CompanyName", text}}).empty());
    QVERIFY(selected({{"CompanyCode", text}}).empty());
    QVERIFY(selected({{"CompanyId", text}}).empty());
    QCOMPARE(codes(selected({})), QStringLiteral("Z"));
}

void CompanyContract::newCompanyCountsFromZero()
{
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const int id = m_site->addCompany("A", "Alpha");
    const Model::Odbpp_Company company = named("Alpha");
    QCOMPARE(company.companyId, id);
    QCOMPARE(company.jobCount, 0);
    QCOMPARE(company.batchNumber, 0);
    const QDateTime made =
        QDateTime::fromString(QString::fromStdString(company.createdTime), Qt::ISODateWithMs);
    QVERIFY(before <= made && made <= QDateTime::currentDateTimeUtc());
    QCOMPARE(made.timeSpec(), Qt::UTC);
}

void CompanyContract::jobCountGoesOnlyForward_data()
{
    QTest::addColumn<int>("jobCount");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("next") << 42 << true;
    QTest::newRow("leap") << 1000000 << true;
    QTest::newRow("greatest") << 2147483647 << true;
    QTest::newRow("the same") << 41 << false;
    QTest::newRow("back") << 40 << false;
    QTest::newRow("nought") << 0 << false;
    QTest::newRow("negative") << -1 << false;
}

void CompanyContract::jobCountGoesOnlyForward()
{
    QFETCH(const int, jobCount);
    QFETCH(const bool, accepted);
    m_site->addCompany("A", "Alpha");
    m_site->addCompany("B", "Beta");
    QVERIFY(count("Alpha", 41));
    if (!accepted)
        ContractSite::expectFailure("inputCompanies", "at 41 already");
    QCOMPARE(count("Alpha", jobCount), accepted);
    QCOMPARE(named("Alpha").jobCount, accepted ? jobCount : 41);
    QCOMPARE(named("Beta").jobCount, 0);
}

void CompanyContract::jobCountOfAnUnknownCompanyIsRefused()
{
    m_site->addCompany("A", "Alpha");
    for (const char* name : {"Beta", "", "alpha", "Alpha ", "%"}) {
        ContractSite::expectFailure("inputCompanies", "no company of that name");
        QVERIFY(!count(name, 1));
    }
    QCOMPARE(codes(selected({})), QStringLiteral("A"));
    QCOMPARE(named("Alpha").jobCount, 0);
}

void CompanyContract::jobCountNotesItsWriter()
{
    m_site->addCompany("A", "Alpha");
    std::string name = "Alpha";
    QVERIFY(BLL::Odbpp_CompanyBll().inputCompanies(name, 23, 1));
    QCOMPARE(name, std::string("Alpha"));
    QCOMPARE(named("Alpha").updateUserId, 23);
    QVERIFY(named("Alpha").updatedTime >= named("Alpha").createdTime);
}

void CompanyContract::batchNumberIsStored()
{
    const int id = m_site->addCompany("A", "Alpha");
    m_site->addCompany("B", "Beta");
    for (const int number : {1, 2, 2, 900})
        QVERIFY(BLL::Odbpp_CompanyBll().UpdateBatchNumber(number, id));
    QCOMPARE(named("Alpha").batchNumber, 900);
    QCOMPARE(named("Alpha").jobCount, 0);
    QCOMPARE(named("Beta").batchNumber, 0);
}

void CompanyContract::batchNumberIsRefused_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("idOffset");
    QTest::newRow("unknown company") << 2 << 1;
    QTest::newRow("number nought") << 2 << -1;
    QTest::newRow("negative") << -1 << 0;
}

void CompanyContract::batchNumberIsRefused()
{
    QFETCH(const int, number);
    QFETCH(const int, idOffset);
    const int id = m_site->addCompany("A", "Alpha");
    QVERIFY(BLL::Odbpp_CompanyBll().UpdateBatchNumber(1, id));
    ContractSite::expectFailure("UpdateBatchNumber", "");
    QVERIFY(!BLL::Odbpp_CompanyBll().UpdateBatchNumber(number, id + idOffset));
    QCOMPARE(named("Alpha").batchNumber, 1);
}

} // namespace KOZAV::Test
