// Many clients import into one site at once, half of them for the same company.

#include "backend/HostInterface.h"
#include "backend/Site.h"
#include "backend/database/Database.h"
#include "host/PanelRun.h"
#include "host/core/BatchReport.h"
#include "host/site/SiteAccess.h"
#include "tests/support/FlawText.h"
#include "tests/support/FreshSite.h"
#include "tests/support/OperatedPanel.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QDir>
#include <QProcess>
#include <QTest>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <vector>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

constexpr int clients = 16;
constexpr int jobsOfAClient = 200;
constexpr int longestWaitMs = 600'000;
const QString sharedCompany = QStringLiteral("华兴");
const QStringList otherCompanies = {QStringLiteral("甲"), QStringLiteral("乙"), QStringLiteral("丙"),
                                    QStringLiteral("丁")};

/// Where a client's job goes: the first half of the clients imports for one company, the others in turn for
/// the other companies.
QString companyOf(int client, int job)
{
    return client < clients / 2 ? sharedCompany : otherCompanies.at((client + job) % otherCompanies.size());
}

QString jobName(int client, int job)
{
    return QStringLiteral("client%1-job%2").arg(client, 2, 10, QLatin1Char('0')).arg(job);
}

/// What a job's archive holds: for some jobs more than one chunk of a store.
QByteArray contentOfJob(const QString& name)
{
    const bool isLarge = name.endsWith(QLatin1Char('0'));
    return (name.toUtf8() + '\n').repeated(isLarge ? 20'000 : 100);
}

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    if (!QDir().mkpath(QFileInfo(path).path()) || !file.open(QIODevice::WriteOnly) ||
        file.write(content) != content.size() || !file.flush())
        qFatal("%s: %s", qUtf8Printable(path), qUtf8Printable(file.errorString()));
}

void writeBatch(const QString& directory, int client)
{
    for (int job = 0; job < jobsOfAClient; ++job) {
        const QString name = jobName(client, job);
        writeFile(directory + QLatin1Char('/') + companyOf(client, job) + QLatin1Char('/') + name +
                      QStringLiteral(".tgz"),
                  contentOfJob(name));
    }
}

void tell(const QStringList& fields)
{
    std::printf("%s\n", qUtf8Printable(fields.join(QLatin1Char('\t'))));
    std::fflush(stdout);
}

/// Has the panel import a batch directory once, takes what was imported out of it, and tells what the
/// client's report says of each entry. @return whether all was imported
bool importOnce(Host::SiteAccess& site, OperatedPanel& panel, const QString& directory)
{
    Host::BatchReport report({Host::PanelSource::Kind::Batch, directory, QString()});
    const auto connection = QObject::connect(&site, &Host::SiteAccess::serviceCalled,
                                             [&report](const auto& call) { report.serviceCalled(call); });
    panel.importBatch(directory);
    QObject::disconnect(connection);
    report.finish();
    for (const Host::BatchReportRow& row : report.rows()) {
        if (row.result != Host::BatchResult::Imported) {
            tell({QStringLiteral("refused"), row.entry, row.reason});
            continue;
        }
        tell({QStringLiteral("imported"), row.entry, row.generatedName, row.storedName});
        QFile::remove(directory + QLatin1Char('/') + row.company + QLatin1Char('/') + row.entry);
    }
    for (const Host::Remark& remark : report.remarks())
        tell({QStringLiteral("remark"), remark.text});
    return report.isSettled();
}

/// Role of another process: a client that imports its batch directory, and again what was refused, until all
/// is imported.
int runClient(const QStringList& arguments)
{
    const QString& configuration = arguments.at(2);
    const QString& directory = arguments.at(3);
    constexpr int closingMessages = 2;
    Host::SiteAccess site(configuration);
    if (const QString problem = site.open(); !problem.isEmpty())
        qFatal("%s", qUtf8Printable(problem));
    OperatedPanel panel;
    int waits = 0;
    Backend::setWaitObserver([&waits](const Backend::ServiceWait& wait) { waits += wait.over ? 1 : 0; });
    tell({QStringLiteral("ready")});
    while (std::getchar() != EOF) {
    }
    int runs = 1;
    while (!importOnce(site, panel, directory))
        ++runs;
    Backend::setWaitObserver({});
    tell({QStringLiteral("warned"), QString::number(panel.messages().size() - runs * closingMessages)});
    tell({QStringLiteral("waited"), QString::number(waits)});
    return 0;
}

/// What the clients were told.
struct Told
{
    struct Import
    {
        QString entry;
        QString storedName;
    };
    std::map<QString, Import> imports; ///< by generated name
    QStringList refusals;              ///< their reasons
    QStringList others;
    int warnings = 0;
    int waits = 0; ///< for a company that another client had

    void add(const QStringList& fields)
    {
        const QString& kind = fields.at(0);
        if (kind == QLatin1String("imported"))
            imports[fields.at(2)] = {fields.at(1), fields.at(3)};
        else if (kind == QLatin1String("refused"))
            refusals << fields.at(2);
        else if (kind == QLatin1String("warned"))
            warnings += fields.at(1).toInt();
        else if (kind == QLatin1String("waited"))
            waits += fields.at(1).toInt();
        else if (kind != QLatin1String("ready"))
            others << fields.join(QLatin1Char(' '));
    }
};

using Processes = std::vector<std::unique_ptr<QProcess>>;

Processes startClients(const FreshSite& site)
{
    Processes processes;
    for (int client = 0; client < clients; ++client) {
        const QString directory = site.path(QStringLiteral("batch%1").arg(client));
        writeBatch(directory, client);
        processes.push_back(std::make_unique<QProcess>());
        processes.back()->setProcessChannelMode(QProcess::SeparateChannels);
        processes.back()->start(QCoreApplication::applicationFilePath(),
                                {QStringLiteral("--client"), site.configuration(), directory});
    }
    return processes;
}

bool runTogether(const Processes& processes)
{
    const auto all = [&processes](const auto& condition) {
        return QTest::qWaitFor([&] { return std::all_of(processes.begin(), processes.end(), condition); },
                               longestWaitMs);
    };
    if (!all([](const auto& process) { return process->canReadLine(); }))
        return false;
    for (const auto& process : processes)
        process->closeWriteChannel();
    return all([](const auto& process) { return process->state() == QProcess::NotRunning; });
}

Told whatWasTold(const Processes& processes)
{
    Told told;
    for (const auto& process : processes) {
        const QString lines = QString::fromUtf8(process->readAllStandardOutput());
        for (const QString& line : lines.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
            told.add(line.split(QLatin1Char('\t')));
        if (process->exitStatus() != QProcess::NormalExit || process->exitCode() != 0)
            told.others << QString::fromUtf8(process->readAllStandardError());
    }
    return told;
}

} // namespace

class Races final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { m_site.reset(); }
    void everyClientImportsAllItsJobs();
    void nobodyIsRefused();
    void everyBatchHasItsNumber();
    void noNumberIsGivenTwiceOrLost();
    void rowsAreWhatWasTold();
    void nothingRefersToNothing();
    void storedFilesEqualTheirSources();

private:
    std::unique_ptr<FreshSite> m_site;
    Told m_told;
    std::vector<Backend::JobRecord> m_jobs;
};

void Races::initTestCase()
{
    m_site = std::make_unique<FreshSite>();
    m_site->addCompany(QStringLiteral("HX"), sharedCompany);
    for (int i = 0; i < otherCompanies.size(); ++i)
        m_site->addCompany(QStringLiteral("C%1-").arg(i), otherCompanies.at(i));
    const Processes processes = startClients(*m_site);
    QVERIFY(runTogether(processes));
    m_told = whatWasTold(processes);
    m_jobs = m_site->jobs();
}

void Races::everyClientImportsAllItsJobs()
{
    QCOMPARE(m_told.others, QStringList());
    QCOMPARE(int(m_told.imports.size()), clients * jobsOfAClient);
    std::set<QString> names;
    for (const auto& job : m_jobs) {
        QVERIFY2(job.complete, qUtf8Printable(job.generatedName));
        QCOMPARE(job.state, 0);
        names.insert(job.jobName);
    }
    QCOMPARE(int(m_jobs.size()), clients * jobsOfAClient);
    QCOMPARE(names.size(), m_jobs.size());
    for (int client = 0; client < clients; ++client)
        for (int job = 0; job < jobsOfAClient; ++job)
            QVERIFY2(names.count(jobName(client, job)) == 1, qUtf8Printable(jobName(client, job)));
}

void Races::nobodyIsRefused()
{
    QCOMPARE(m_told.refusals, QStringList());
    QCOMPARE(m_told.warnings, 0);
    // What is refused has been stored before, and stays without a row.
    QCOMPARE(m_site->storedNames().size(), clients * jobsOfAClient);
    qInfo("%d imports, %d waits for a company", clients * jobsOfAClient, m_told.waits);
    QVERIFY2(m_told.waits > 0, "the clients have not met");
}

void Races::everyBatchHasItsNumber()
{
    std::map<QString, std::set<QString>> clientsOfBatch;
    std::set<QString> batches;
    for (const auto& job : m_jobs) {
        const QString client = job.jobName.section(QLatin1Char('-'), 0, 0);
        const QString batch = job.companyCode + QString::number(job.batchNumber);
        clientsOfBatch[batch].insert(client);
        batches.insert(job.companyCode + client);
    }
    QCOMPARE(clientsOfBatch.size(), batches.size());
    for (const auto& [batch, ofBatch] : clientsOfBatch)
        QVERIFY2(ofBatch.size() == 1, qUtf8Printable(batch));
}

void Races::noNumberIsGivenTwiceOrLost()
{
    std::map<QString, std::vector<QString>> names;
    for (const auto& job : m_jobs)
        names[job.companyCode].push_back(job.generatedName);
    QCOMPARE(int(names.size()), otherCompanies.size() + 1);
    for (auto& [code, ofCompany] : names) {
        std::sort(ofCompany.begin(), ofCompany.end());
        for (std::size_t i = 0; i < ofCompany.size(); ++i)
            QCOMPARE(ofCompany[i], code + QStringLiteral("%1").arg(i + 1, 6, 10, QLatin1Char('0')));
        QCOMPARE(m_site->company(code).jobCount, int(ofCompany.size()));
    }
    QCOMPARE(int(names[QStringLiteral("HX")].size()), clients / 2 * jobsOfAClient);
}

void Races::rowsAreWhatWasTold()
{
    for (const auto& job : m_jobs) {
        const auto told = m_told.imports.find(job.generatedName);
        QVERIFY2(told != m_told.imports.end(), qUtf8Printable(job.generatedName));
        QCOMPARE(told->second.entry, job.jobName + QStringLiteral(".tgz"));
        QCOMPARE(told->second.storedName, job.storedName);
        const QStringList parts =
            job.jobName.mid(QStringLiteral("client").size()).split(QStringLiteral("-job"));
        QCOMPARE(job.companyName, companyOf(parts.value(0).toInt(), parts.value(1).toInt()));
    }
}

void Races::nothingRefersToNothing()
{
    std::set<QString> linked;
    for (const auto& job : m_jobs)
        linked.insert(job.origFileGuid);
    const auto files = m_site->origFiles();
    QCOMPARE(files.size(), m_jobs.size());
    for (const auto& file : files)
        QVERIFY2(linked.count(file.guid) == 1, qUtf8Printable(file.storedName));
    QCOMPARE(flawsOf(*Backend::Site::current().database().value()), QString());
}

void Races::storedFilesEqualTheirSources()
{
    for (const auto& job : m_jobs) {
        const QString fetched = m_site->fetch(job);
        QVERIFY2(!fetched.isEmpty(), qUtf8Printable(job.generatedName));
        QVERIFY2(contentOf(fetched) == contentOfJob(job.jobName), qUtf8Printable(job.generatedName));
        QVERIFY(QFile::remove(fetched));
    }
}

ZAV_REGISTER_ROLE("--client", runClient, QApplication)
ZAV_REGISTER_TEST(races, Races, QApplication)

#include "races.moc"
