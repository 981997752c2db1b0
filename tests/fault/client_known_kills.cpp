// A batch that is killed again and again, each time at another moment, and run once more with what the site
// has left out, until all of it is imported: every job is there once.

#include "backend/Site.h"
#include "backend/database/Database.h"
#include "tests/support/ClientProgram.h"
#include "tests/support/FreshSite.h"
#include "tests/support/KilledClient.h"
#include "tests/support/SiteEngines.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QMap>
#include <QTest>

#include <vector>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

constexpr int companies = 2;
constexpr int foldersOfEach = 2;
constexpr int archivesOfEach = 2;
constexpr int jobs = companies * (foldersOfEach + archivesOfEach);

/// A batch directory in which no content comes twice in one company; the archives of both hold the same.
QString makeBatch(const FreshSite& site)
{
    QString batch = site.path(QStringLiteral("batch"));
    for (int company = 0; company < companies; ++company) {
        const QString name = QStringLiteral("公司%1").arg(company);
        site.addCompany(QStringLiteral("C%1").arg(company), name);
        const QString folder = batch + QLatin1Char('/') + name;
        for (int job = 0; job < foldersOfEach; ++job) {
            const QString jobFolder = QStringLiteral("%1/job%2").arg(folder).arg(job);
            writeFile(local(jobFolder + QStringLiteral("/steps/features")),
                      featureLines(100'000, quint32(10 * company + job)));
            writeFile(local(jobFolder + QStringLiteral("/readme.json")), R"({"customer2": "c"})");
        }
        for (int job = 0; job < archivesOfEach; ++job)
            writeFile(local(QStringLiteral("%1/archive%2.tgz").arg(folder).arg(job)),
                      randomBytes(50'000, quint32(job)));
    }
    return batch;
}

QStringList arguments(const FreshSite& site, const QString& batch)
{
    return {QStringLiteral("--config"), site.configuration(), QStringLiteral("--batch"), batch,
            QStringLiteral("--skip-known")};
}

/// What a dead client held on a server ends by its time; not to wait for that here.
void endHolds()
{
    const auto database = Backend::Site::current().database();
    QVERIFY2(database.ok(), qPrintable(database.message()));
    if (SiteEngines::rowServer())
        QVERIFY(
            database.value()->change("DELETE FROM company_hold", {}, Backend::Durability::Immediate).ok());
}

/// How often each job is complete, by company and name.
QMap<QString, int> completeJobs(const FreshSite& site)
{
    QMap<QString, int> counts;
    for (const auto& job : site.jobs()) {
        if (job.complete && job.state >= 0)
            ++counts[job.companyName + QLatin1Char('/') + job.jobName];
    }
    return counts;
}

} // namespace

class ClientKnownKills final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void everyJobIsThereOnce_data();
    void everyJobIsThereOnce();

private:
    std::vector<SystemCall> m_calls; ///< of a whole batch, in order
};

void ClientKnownKills::initTestCase()
{
    if (!canInject())
        QSKIP("strace cannot inject faults here");
    if (const QString problem = SiteEngines::problem(); !problem.isEmpty())
        QSKIP(qPrintable(problem));
    const FreshSite site;
    m_calls = clientCalls(arguments(site, makeBatch(site)), site.path(QStringLiteral("trace")));
    QVERIFY2(m_calls.size() > 100, qPrintable(QString::number(m_calls.size())));
}

/// In percent of the calls of a whole batch, one run after the other.
void ClientKnownKills::everyJobIsThereOnce_data()
{
    QTest::addColumn<QList<int>>("moments");
    QTest::newRow("early, late") << QList<int>{8, 90};
    QTest::newRow("in the middle, and again") << QList<int>{50, 45, 40};
    QTest::newRow("step by step") << QList<int>{20, 25, 30, 35};
    QTest::newRow("at the end") << QList<int>{97, 60};
}

void ClientKnownKills::everyJobIsThereOnce()
{
    QFETCH(const QList<int>, moments);
    const FreshSite site;
    const QString batch = makeBatch(site);
    int kills = 0;
    for (const int moment : moments) {
        const SystemCall& call = m_calls.at(m_calls.size() * size_t(moment) / 100);
        const ProgramEnd end = killClient(arguments(site, batch), call);
        // With the jobs that the site has left out, a later run may end before it comes to the call.
        QVERIFY2(end.exitCode == -1 || end.exitCode == 0, end.output.constData());
        kills += end.exitCode == -1 ? 1 : 0;
        endHolds();
        const QMap<QString, int> complete = completeJobs(site);
        for (auto job = complete.begin(); job != complete.end(); ++job)
            QVERIFY2(job.value() == 1, qPrintable(job.key()));
    }
    QVERIFY(kills > 0);

    const ClientRun rest = runClient(arguments(site, batch));
    QVERIFY2(rest.exitCode == 0, rest.everything().constData());
    const QMap<QString, int> complete = completeJobs(site);
    QCOMPARE(complete.size(), jobs);
    for (auto job = complete.begin(); job != complete.end(); ++job)
        QVERIFY2(job.value() == 1, qPrintable(job.key()));

    const ClientRun nothing = runClient(arguments(site, batch));
    QVERIFY2(nothing.exitCode == 0, nothing.everything().constData());
    QVERIFY2(nothing.output.contains(QStringLiteral("Left out: %1").arg(jobs)),
             nothing.everything().constData());
    QCOMPARE(completeJobs(site).size(), jobs);
}

ZAV_REGISTER_TEST(client_known_kills, ClientKnownKills, QCoreApplication)

#include "client_known_kills.moc"
