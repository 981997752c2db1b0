#include "ContractProcess.h"

#include "ContractSite.h"
#include "ImportSteps.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/common/Common.h"

#include <QCoreApplication>
#include <QDeadlineTimer>

#include <csignal>
#include <cstdio>
#include <map>

namespace KOZAV::Test {

using namespace DataLib;

namespace {

constexpr int longestWaitMs = 60000;

void tell(const std::string& line)
{
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

int jobCountOf(const std::string& company)
{
    std::vector<Model::Odbpp_Company> companies;
    BLL::Odbpp_CompanyBll().select({{"CompanyName", company}}, {}, companies);
    return companies.empty() ? -1 : companies.front().jobCount;
}

/// Tries to take one job number of a company; tells whether it has it.
void claim(const QStringList& arguments)
{
    std::string company = arguments.at(0).toStdString();
    tell(BLL::Odbpp_CompanyBll().inputCompanies(company, 1, arguments.at(1).toInt()) ? "won" : "lost");
}

/// Takes job numbers of a company as imports do, trying again when it is told that it lost; tells each that
/// it has.
void count(const QStringList& arguments)
{
    std::string company = arguments.at(0).toStdString();
    const QDeadlineTimer deadline(longestWaitMs);
    for (int won = 0; won < arguments.at(1).toInt() && !deadline.hasExpired();) {
        const int number = jobCountOf(company) + 1;
        if (!BLL::Odbpp_CompanyBll().inputCompanies(company, 1, number))
            continue;
        ++won;
        tell(std::to_string(number));
    }
}

/// Tries to make the job flow of a generated name.
void makeFlow(const QStringList& arguments)
{
    const std::string key =
        BLL::Odbpp_JobFlowBll().insertflowbeforeorigfile("job", 1, "F1", arguments.at(0).toStdString());
    tell(key.empty() ? "lost" : "won");
}

/// Tries to store a file under a name.
void put(const QStringList& arguments)
{
    const Model::KOZAV_Config config = Common::commonInterface()->getConfig();
    const int status = Common::MongodbPut(config.mongoDbName, config.mongoFsName,
                                          arguments.at(0).toStdString(), arguments.at(1).toStdString());
    tell(status == 0 ? "won" : "lost");
}

/// Imports an archive, tells the generated name when the import is durable, and dies at once.
void importAndDie(const QStringList& arguments)
{
    const ImportedJob job = importArchive(arguments.at(0).toStdString(), arguments.at(1).toStdString());
    tell(job.complete ? job.generatedName : "failed");
    std::raise(SIGKILL);
}

const std::map<QString, void (*)(const QStringList&)>& roles()
{
    static const std::map<QString, void (*)(const QStringList&)> known = {
        {QStringLiteral("claim"), claim},
        {QStringLiteral("count"), count},
        {QStringLiteral("make-flow"), makeFlow},
        {QStringLiteral("put"), put},
        {QStringLiteral("import-and-die"), importAndDie},
    };
    return known;
}

} // namespace

ContractProcess::ContractProcess(const QString& role, const QString& configuration,
                                 const QStringList& arguments)
{
    m_process.setProcessChannelMode(QProcess::SeparateChannels);
    m_process.start(QCoreApplication::applicationFilePath(),
                    QStringList({QStringLiteral("--role"), role, configuration}) + arguments);
}

ContractProcess::~ContractProcess()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    m_process.waitForFinished(longestWaitMs);
}

bool ContractProcess::play(const QStringList& arguments, int& exitCode)
{
    if (arguments.size() < 4 || arguments.at(1) != QLatin1String("--role"))
        return false;
    ContractSite::join(arguments.at(3));
    tell("ready");
    while (std::getchar() != EOF) {
    }
    roles().at(arguments.at(2))(arguments.mid(4));
    exitCode = 0;
    return true;
}

std::vector<QStringList>
ContractProcess::runTogether(const std::vector<std::unique_ptr<ContractProcess>>& processes)
{
    for (const auto& process : processes)
        process->waitUntilReady();
    for (const auto& process : processes)
        process->release();
    std::vector<QStringList> written;
    written.reserve(processes.size());
    for (const auto& process : processes)
        written.push_back(process->finish());
    return written;
}

QStringList ContractProcess::run()
{
    waitUntilReady();
    release();
    return finish();
}

void ContractProcess::waitUntilReady()
{
    const QDeadlineTimer deadline(longestWaitMs);
    while (!m_process.canReadLine() && !deadline.hasExpired())
        if (!m_process.waitForReadyRead(static_cast<int>(deadline.remainingTime())))
            break;
    m_process.readLine();
}

void ContractProcess::release()
{
    m_process.closeWriteChannel();
}

QStringList ContractProcess::finish()
{
    if (m_process.state() != QProcess::NotRunning)
        m_process.waitForFinished(longestWaitMs);
    QStringList lines =
        QString::fromUtf8(m_process.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    if (m_process.exitStatus() != QProcess::NormalExit || m_process.exitCode() != 0)
        lines << QStringLiteral("ended badly");
    return lines;
}

} // namespace KOZAV::Test
