// A batch of the client whose servers go away: it waits for them and loses nothing, or gives up and takes
// nothing more.

#include "backend/config/Settings.h"
#include "tests/support/ClientProgram.h"
#include "tests/support/FreshSite.h"
#include "tests/support/GridFsPeer.h"
#include "tests/support/MariaDbServer.h"
#include "tests/support/SiteEngines.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSet>
#include <QTest>

#include <algorithm>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

constexpr int companies = 5;
constexpr int jobsOfEach = 10;
constexpr int jobsOfAll = companies * jobsOfEach;

QString codeOf(int company)
{
    return QStringLiteral("C%1").arg(company);
}

MariaDbServer& rows()
{
    return *SiteEngines::rowServer();
}

GridFsPeer& files()
{
    return *SiteEngines::fileServer();
}

/// What takes a server away, and what brings it back.
struct Outage
{
    const char* name;
    void (*begin)();
    void (*end)();
};

constexpr Outage outages[] = {
    {"rows killed", [] { rows().kill(); }, [] { rows().restart(); }},
    {"rows halted", [] { rows().stop(); }, [] { rows().resume(); }},
    {"files away", [] { files().goAway(); }, [] { files().comeBack(); }},
};

/// What the report says behind a heading.
int reported(const QString& output, const QString& heading)
{
    for (const QString& line : output.split(QLatin1Char('\n')))
        if (line.startsWith(heading + QStringLiteral(": ")))
            return line.mid(heading.size() + 2).section(QLatin1Char(' '), 0, 0).toInt();
    return 0;
}

/// A site on servers, with a batch of archives for it.
class Workplace final
{
public:
    explicit Workplace(int patience)
    {
        site.configure(QStringLiteral("import/patience"), QString::number(patience));
        site.configure(QStringLiteral("database/connect_timeout"), QStringLiteral("1"));
        site.configure(QStringLiteral("database/read_timeout"), QStringLiteral("2"));
        for (int company = 0; company < companies; ++company) {
            site.addCompany(codeOf(company), codeOf(company));
            const QString folder = site.path(QStringLiteral("batch/") + codeOf(company));
            for (int job = 0; job < jobsOfEach; ++job) {
                QFile file(QStringLiteral("%1/%2.tgz").arg(folder).arg(job));
                if (!QDir().mkpath(folder) || !file.open(QIODevice::WriteOnly) ||
                    file.write(QByteArray("job ") + codeOf(company).toUtf8()) < 0)
                    qFatal("%s", qPrintable(file.fileName()));
            }
        }
    }

    /// Has the client import the batch. Once the first company is done the outage begins; it ends when the
    /// output has the line that it is to end with, at the latest when the client has ended.
    ClientRun import(const Outage& outage, const QString& lastLine) const
    {
        const QString moment = QStringLiteral("progress: 1 of ");
        bool begun = false;
        bool ended = false;
        const ClientRun client = runClient({QStringLiteral("--config"), site.configuration(),
                                            QStringLiteral("--batch"), site.path(QStringLiteral("batch"))},
                                           {}, [&](const QString& output) {
                                               if (!begun && output.contains(moment)) {
                                                   outage.begin();
                                                   begun = true;
                                               }
                                               if (begun && !ended && output.contains(lastLine)) {
                                                   outage.end();
                                                   ended = true;
                                               }
                                           });
        if (begun && !ended)
            outage.end();
        return client;
    }

    [[nodiscard]] QStringList stagedCopies() const
    {
        const auto cache = Backend::readSetting(site.configuration(), QStringLiteral("cache/upload"));
        return QDir(cache.value()).entryList(QDir::Files | QDir::Hidden);
    }

    [[nodiscard]] int numbersTaken() const
    {
        int taken = 0;
        for (int company = 0; company < companies; ++company)
            taken += site.company(codeOf(company)).jobCount;
        return taken;
    }

    const FreshSite site;
};

int completeOf(const std::vector<Backend::JobRecord>& jobs)
{
    return int(std::count_if(jobs.begin(), jobs.end(), [](const auto& job) { return job.complete; }));
}

} // namespace

Q_DECLARE_METATYPE(const Outage*)

class ClientBatchOutages final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void batchWaitsForItsServer_data();
    void batchWaitsForItsServer();
    void batchGivesUp_data();
    void batchGivesUp();
    void withoutPatienceNothingIsStoredWhileRowsAreDown();

private:
    static void addOutages();
};

void ClientBatchOutages::initTestCase()
{
    if (const QString problem = SiteEngines::problem(); !problem.isEmpty())
        QSKIP(qPrintable(problem));
    if (const QString refusal = files().refusal(); !refusal.isEmpty())
        QSKIP(qPrintable(refusal));
}

void ClientBatchOutages::addOutages()
{
    QTest::addColumn<const Outage*>("outage");
    for (const Outage& outage : outages)
        QTest::newRow(outage.name) << &outage;
}

void ClientBatchOutages::batchWaitsForItsServer_data()
{
    addOutages();
}

void ClientBatchOutages::batchWaitsForItsServer()
{
    QFETCH(const Outage*, outage);
    const Workplace workplace(60);
    const ClientRun client = workplace.import(*outage, QStringLiteral("wait: waiting for the "));
    QVERIFY2(client.output.contains(QStringLiteral("wait: going on after ")),
             client.everything().constData());
    QCOMPARE(reported(client.output, QStringLiteral("Imported")), jobsOfAll);
    QCOMPARE(client.exitCode, 0);

    const auto jobs = workplace.site.jobs();
    QCOMPARE(int(jobs.size()), jobsOfAll);
    QCOMPARE(completeOf(jobs), jobsOfAll);
    QCOMPARE(workplace.numbersTaken(), jobsOfAll);
    QCOMPARE(workplace.site.storedNames().size(), jobsOfAll);
    QCOMPARE(workplace.stagedCopies(), QStringList());
    QSet<int> batches;
    for (const auto& job : jobs)
        batches.insert(job.batchNumber);
    QCOMPARE(batches, QSet<int>{1});
}

void ClientBatchOutages::batchGivesUp_data()
{
    addOutages();
}

/// One job is under way when the server goes: only of that something may be left.
void ClientBatchOutages::batchGivesUp()
{
    QFETCH(const Outage*, outage);
    const Workplace workplace(1);
    const ClientRun client = workplace.import(*outage, QStringLiteral("Not imported: "));
    QVERIFY2(client.output.contains(QStringLiteral("wait: gave up waiting after ")),
             client.everything().constData());
    QCOMPARE(client.exitCode, 1);
    const int imported = reported(client.output, QStringLiteral("Imported"));
    const int unknown = reported(client.output, QStringLiteral("Unknown"));
    QVERIFY2(imported >= jobsOfEach, client.everything().constData());
    QCOMPARE(imported + unknown + reported(client.output, QStringLiteral("Not imported")), jobsOfAll);
    QVERIFY(imported < jobsOfAll);

    const auto jobs = workplace.site.jobs();
    const int complete = completeOf(jobs);
    QVERIFY2(complete >= imported && complete <= imported + unknown, client.everything().constData());
    QVERIFY(int(jobs.size()) <= complete + 1);
    QVERIFY(workplace.numbersTaken() <= complete + 1);
    QVERIFY(workplace.site.storedNames().size() <= complete + 1);
    QCOMPARE(workplace.stagedCopies(), QStringList());
}

void ClientBatchOutages::withoutPatienceNothingIsStoredWhileRowsAreDown()
{
    const Workplace workplace(0);
    const ClientRun client = workplace.import(outages[0], QStringLiteral("Not imported: "));
    QCOMPARE(client.exitCode, 1);
    QVERIFY2(!client.output.contains(QStringLiteral("wait: ")), client.everything().constData());
    QVERIFY2(client.output.contains(QStringLiteral("nothing is stored while its rows cannot be written")),
             client.everything().constData());
    const auto jobs = workplace.site.jobs();
    const int complete = completeOf(jobs);
    QVERIFY(complete < jobsOfAll);
    QVERIFY(workplace.numbersTaken() <= complete + 1);
    QVERIFY(workplace.site.storedNames().size() <= complete + 1);
}

ZAV_REGISTER_TEST(client_batch_outages, ClientBatchOutages, QCoreApplication)

#include "client_batch_outages.moc"
