// Jobs voided, and that taken back, by a program that is killed at each of its steps, and then run again.

#include "services/common/Common.h"
#include "services/ui/ZAV_StdCommon.h"
#include "tests/support/AdminSession.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <algorithm>
#include <vector>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

constexpr int jobs = 3;
constexpr int mostCalls = 100;
constexpr int leastKills = 60;

QStringList verb(const FreshSite& site, const char* name)
{
    return {text("--config"),  site.configuration(), text("job"),     text(name),
            text("--company"), text("AB"),           text("--batch"), text("7"),
            text("--reason"),  text("wrong batch"),  text("--yes")};
}

ProgramEnd run(const QStringList& arguments)
{
    return runProgram(text(ZAV_ADMIN_PROGRAM), arguments);
}

ProgramEnd runAndKill(const QStringList& arguments, const QString& call, int number)
{
    const QStringList tool = {text("-f"),
                              text("-o"),
                              text("/dev/null"),
                              text("-e"),
                              text("trace=") + call,
                              text("-e"),
                              text("inject=%1:signal=KILL:when=%2").arg(call).arg(number),
                              text(ZAV_ADMIN_PROGRAM)};
    return runProgram(text("strace"), tool + arguments);
}

size_t waitingJobs()
{
    return UI::ZAV_StdCommon::interface()->getInputJobList().size();
}

} // namespace

class AdminJobInterruptionTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void aKilledRunIsCompletedByTheNext_data();
    void aKilledRunIsCompletedByTheNext();
    void runsWereKilledAtManySteps();

private:
    static void everyWaitingJobHasItsFile(const FreshSite& site);

    int m_kills = 0;
};

void AdminJobInterruptionTest::initTestCase()
{
    if (!canInject())
        QSKIP("strace cannot inject faults here");
}

/// All jobs wait or none, and what waits can be fetched.
void AdminJobInterruptionTest::everyWaitingJobHasItsFile(const FreshSite& site)
{
    QVERIFY(waitingJobs() == 0 || waitingJobs() == jobs);
    for (const Backend::JobRecord& job : site.jobs())
        if (job.state == 0)
            QVERIFY2(!site.fetch(job).isEmpty(), qPrintable(job.generatedName));
}

void AdminJobInterruptionTest::aKilledRunIsCompletedByTheNext_data()
{
    QTest::addColumn<QString>("way");
    QTest::addColumn<QString>("call");
    for (const char* way : {"void", "unvoid"})
        for (const char* call : {"pwrite64", "fdatasync", "fsync", "rename", "renameat2", "linkat", "unlink"})
            QTest::addRow("%s, %s", way, call) << text(way) << text(call);
}

void AdminJobInterruptionTest::aKilledRunIsCompletedByTheNext()
{
    QFETCH(const QString, way);
    QFETCH(const QString, call);
    const QByteArray name = way.toLatin1();
    const bool voids = way == text("void");
    for (int number = 1; number < mostCalls; ++number) {
        const FreshSite site;
        site.addCompany(text("AB"), text("Acme"));
        const AdminSession importer;
        for (int job = 0; job < jobs; ++job)
            importer.importJob("AB", "board", QByteArray::number(job), 7);
        if (!voids)
            QCOMPARE(run(verb(site, "void")).exitCode, 0);

        const ProgramEnd killed = runAndKill(verb(site, name.constData()), call, number);
        everyWaitingJobHasItsFile(site);
        const ProgramEnd again = run(verb(site, name.constData()));
        QVERIFY2(again.exitCode == 0, again.output.constData());
        everyWaitingJobHasItsFile(site);
        QCOMPARE(waitingJobs(), size_t(voids ? 0 : jobs));
        QCOMPARE(site.storedNames().size(), voids ? 0 : jobs);
        if (QTest::currentTestFailed() || killed.exitCode == 0)
            return;
        ++m_kills;
    }
    QFAIL("the run makes too many calls");
}

/// A call that a run does not make has no step to be killed at.
void AdminJobInterruptionTest::runsWereKilledAtManySteps()
{
    QVERIFY2(m_kills >= leastKills, qPrintable(QString::number(m_kills)));
}

ZAV_REGISTER_TEST(admin_job_interruption, AdminJobInterruptionTest, QCoreApplication)

#include "admin_job_interruption.moc"
