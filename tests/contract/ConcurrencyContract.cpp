#include "ConcurrencyContract.h"

#include "ContractProcess.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/common/Common.h"

#include <QFile>
#include <QTest>

#include <algorithm>

namespace KOZAV::Test {

using namespace DataLib;

namespace {

constexpr int processCount = 4;

std::vector<QStringList> together(const ContractSite& site, const QString& role,
                                  const std::vector<QStringList>& arguments)
{
    std::vector<std::unique_ptr<ContractProcess>> processes;
    processes.reserve(arguments.size());
    for (const QStringList& own : arguments)
        processes.push_back(std::make_unique<ContractProcess>(role, site.configuration(), own));
    return ContractProcess::runTogether(processes);
}

std::vector<QStringList> sameForAll(const QStringList& arguments)
{
    return std::vector<QStringList>(processCount, arguments);
}

int winners(const std::vector<QStringList>& written)
{
    return static_cast<int>(std::count(written.begin(), written.end(), QStringList(QStringLiteral("won"))));
}

int losers(const std::vector<QStringList>& written)
{
    return static_cast<int>(std::count(written.begin(), written.end(), QStringList(QStringLiteral("lost"))));
}

int jobCount()
{
    std::vector<Model::Odbpp_Company> companies;
    BLL::Odbpp_CompanyBll().select({{"CompanyName", "Alpha"}}, {}, companies);
    return companies.at(0).jobCount;
}

} // namespace

void ConcurrencyContract::init()
{
    if (!ContractSite::gives(Promise::SeveralPrograms))
        QSKIP("one program at a time works on a site here");
    m_site = std::make_unique<ContractSite>();
}

void ConcurrencyContract::oneOfManyTakesAJobNumber()
{
    m_site->addCompany("A", "Alpha");
    for (int number = 1; number <= 3; ++number) {
        const std::vector<QStringList> written = together(
            *m_site, QStringLiteral("claim"), sameForAll({QStringLiteral("Alpha"), QString::number(number)}));
        QCOMPARE(winners(written), 1);
        QCOMPARE(losers(written), processCount - 1);
        QCOMPARE(jobCount(), number);
    }
}

void ConcurrencyContract::manyCountWithoutGapOrRepeat()
{
    constexpr int each = 25;
    m_site->addCompany("A", "Alpha");
    std::vector<int> numbers;
    for (const QStringList& lines : together(*m_site, QStringLiteral("count"),
                                             sameForAll({QStringLiteral("Alpha"), QString::number(each)})))
        for (const QString& line : lines)
            numbers.push_back(line.toInt());
    std::sort(numbers.begin(), numbers.end());
    QCOMPARE(numbers.size(), size_t{processCount} * each);
    for (size_t i = 0; i < numbers.size(); ++i)
        QCOMPARE(numbers[i], static_cast<int>(i) + 1);
    QCOMPARE(jobCount(), processCount * each);
}

void ConcurrencyContract::oneOfManyTakesAGeneratedName()
{
    const std::vector<QStringList> written =
        together(*m_site, QStringLiteral("make-flow"), sameForAll({QStringLiteral("A000001")}));
    QCOMPARE(winners(written), 1);
    QCOMPARE(losers(written), processCount - 1);
    std::vector<Model::Odbpp_JobFlow> flows;
    QVERIFY(BLL::Odbpp_JobFlowBll().select({}, {}, flows));
    QCOMPARE(flows.size(), size_t{1});
}

void ConcurrencyContract::oneOfManyTakesAStoredName()
{
    std::vector<QStringList> arguments;
    for (int i = 0; i < processCount; ++i) {
        const QByteArray content(100000 + i, static_cast<char>('a' + i));
        const std::string file = m_site->writeFile(QStringLiteral("source%1").arg(i), content);
        arguments.push_back({QString::fromStdString(file), QStringLiteral("name.tgz")});
    }
    const std::vector<QStringList> written = together(*m_site, QStringLiteral("put"), arguments);
    QCOMPARE(winners(written), 1);
    QCOMPARE(losers(written), processCount - 1);

    const Model::KOZAV_Config config = Common::commonInterface()->getConfig();
    const QString target = m_site->path(QStringLiteral("target"));
    QCOMPARE(Common::MongodbGet(config.mongoDbName, config.mongoFsName, target.toStdString(), "name.tgz"), 0);
    const auto winner = std::find(written.begin(), written.end(), QStringList(QStringLiteral("won")));
    const int index = static_cast<int>(winner - written.begin());
    QFile fetched(target);
    QVERIFY(fetched.open(QIODevice::ReadOnly));
    QCOMPARE(fetched.readAll(), QByteArray(100000 + index, static_cast<char>('a' + index)));
}

void ConcurrencyContract::completeImportSurvivesTheDeathOfTheProgram()
{
    m_site->addCompany("A", "Alpha");
    const QByteArray content(300000, 'z');
    const QString archive = QString::fromStdString(m_site->writeFile(QStringLiteral("board.tgz"), content));
    ContractSite::close();
    ContractProcess process(QStringLiteral("import-and-die"), m_site->configuration(),
                            {QStringLiteral("Alpha"), archive});
    const QStringList written = process.run();
    QCOMPARE(written, QStringList({QStringLiteral("A000001"), QStringLiteral("ended badly")}));

    const QStringList job = ContractSite::job("A000001");
    QVERIFY2(job.contains(QStringLiteral("complete=1")), qPrintable(job.join(QLatin1Char(' '))));
    QVERIFY2(job.contains(QStringLiteral("batch=3")), qPrintable(job.join(QLatin1Char(' '))));
    QCOMPARE(jobCount(), 1);
    QCOMPARE(ContractSite::origFiles().size(), 1);
    QCOMPARE(ContractSite::storedNames().size(), size_t{1});
}

} // namespace KOZAV::Test
