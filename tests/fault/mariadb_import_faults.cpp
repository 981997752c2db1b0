// Imports through the panel while the database server, or the way to it, fails at every point of them.

#include "backend/Site.h"
#include "backend/config/Settings.h"
#include "backend/database/Database.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FlawText.h"
#include "tests/support/FreshSite.h"
#include "tests/support/MariaDbServer.h"
#include "tests/support/OperatedPanel.h"
#include "tests/support/ServerRelay.h"
#include "tests/support/ServiceWatch.h"
#include "tests/support/SiteEngines.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QDir>
#include <QSet>
#include <QTest>

#include <algorithm>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

constexpr int connectSeconds = 1;
constexpr int readSeconds = 2;
constexpr int writeSeconds = 2;
/// What one call may take by the configuration, and the time to do the rest of it on a machine that is busy.
constexpr qint64 longestCallMs = 1000LL * (connectSeconds + readSeconds + writeSeconds + 2);

const QString company = QStringLiteral("华兴");
const QByteArray archiveContent = QByteArray("not much of a board\n").repeated(500);

MariaDbServer& server()
{
    return *SiteEngines::rowServer();
}

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    if (!QDir().mkpath(QFileInfo(path).path()) || !file.open(QIODevice::WriteOnly) ||
        file.write(content) != content.size() || !file.flush())
        qFatal("%s: %s", qUtf8Printable(path), qUtf8Printable(file.errorString()));
}

/// What an operator does.
enum class Import { Archive, SavedJob, Folder, Batch };

/// A site with one company and short time-outs, and what is imported into it.
class Workplace final
{
public:
    Workplace()
    {
        site.configure(QStringLiteral("database/connect_timeout"), QString::number(connectSeconds));
        site.configure(QStringLiteral("database/read_timeout"), QString::number(readSeconds));
        site.configure(QStringLiteral("database/write_timeout"), QString::number(writeSeconds));
        // What a call does by itself; a batch does more where it is patient.
        site.configure(QStringLiteral("import/patience"), QStringLiteral("0"));
        // Nothing listens there: a saved job's request for the robot ends at once.
        site.configure(QStringLiteral("robot/port"), QStringLiteral("1"));
        site.addCompany(QStringLiteral("HX"), company);
        writeFile(site.path(QStringLiteral("one/board.tgz")), archiveContent);
        writeFile(site.path(QStringLiteral("one/board.kos")), archiveContent);
        writeFile(site.path(QStringLiteral("folder/job/matrix")), archiveContent);
        writeFile(site.path(QStringLiteral("batch/华兴/first.tgz")), archiveContent);
        writeFile(site.path(QStringLiteral("batch/华兴/second.tgz")), archiveContent);
    }

    /// Has a new panel import, whatever becomes of it.
    void import(Import what) const
    {
        OperatedPanel panel;
        switch (what) {
        case Import::Archive:
            return panel.importArchive(company, site.path(QStringLiteral("one/board.tgz")));
        case Import::SavedJob:
            return panel.importArchive(company, site.path(QStringLiteral("one/board.kos")));
        case Import::Folder:
            return panel.importFolder(company, site.path(QStringLiteral("folder/job")));
        case Import::Batch:
            return panel.importBatch(site.path(QStringLiteral("batch")));
        }
    }

    [[nodiscard]] QString password() const
    {
        const auto file =
            Backend::readSetting(site.configuration(), QStringLiteral("database/password_file"));
        return QString::fromUtf8(contentOf(file.value()));
    }

    const FreshSite site;
};

/// What is wrong with the calls of an import; empty where nothing is.
QString faultOf(const ServiceWatch& watch, const QString& password)
{
    if (watch.longestCallMs() > longestCallMs)
        return QStringLiteral("a call took %1 ms").arg(watch.longestCallMs());
    const QString warnings = CapturedLog::of(QtWarningMsg).join(QLatin1Char('\n'));
    for (const QString& failure : watch.failures()) {
        const QString reason = failure.section(QStringLiteral(": "), 1);
        if (reason.isEmpty() || !warnings.contains(reason))
            return QStringLiteral("not logged: ") + failure;
    }
    for (const QtMsgType type : {QtDebugMsg, QtInfoMsg, QtWarningMsg, QtCriticalMsg})
        if (CapturedLog::of(type).join(QLatin1Char(' ')).contains(password))
            return QStringLiteral("the password is in the log");
    return {};
}

/// What is wrong with the rows of a site; empty where each refers to what is there whole.
QString faultOf(const FreshSite& site)
{
    if (QString flaws = flawsOf(*Backend::Site::current().database().value()); !flaws.isEmpty())
        return flaws;
    QSet<QString> generatedNames;
    for (const auto& job : site.jobs()) {
        generatedNames.insert(job.generatedName);
        if (!job.complete)
            continue;
        const QString fetched = site.fetch(job);
        if (fetched.isEmpty())
            return QStringLiteral("%1 has no file").arg(job.generatedName);
        if (!job.suffix.isEmpty() && contentOf(fetched) != archiveContent)
            return QStringLiteral("%1 has another file").arg(job.generatedName);
    }
    const QStringList stored = site.storedNames();
    for (const auto& file : site.origFiles())
        if (!stored.contains(file.storedName))
            return QStringLiteral("the original file %1 is not stored").arg(file.storedName);
    if (generatedNames.size() != int(site.jobs().size()))
        return QStringLiteral("a generated name is there twice");
    if (site.company(QStringLiteral("HX")).jobCount < generatedNames.size())
        return QStringLiteral("the job count is behind the jobs");
    return {};
}

/// What nobody was told of: that an import is not complete; empty where all are, or a call has failed.
QString silenceOf(const ServiceWatch& watch, const FreshSite& site, Import import)
{
    const auto jobs = site.jobs();
    const auto complete =
        std::count_if(jobs.begin(), jobs.end(), [](const auto& job) { return job.complete; });
    if (!watch.failures().isEmpty() || complete == (import == Import::Batch ? 2 : 1))
        return {};
    return QStringLiteral("no call has failed, and only %1 imports are complete").arg(complete);
}

/// How many service calls an import makes that nothing disturbs.
int callsOf(Import import)
{
    const Workplace workplace;
    const ServiceWatch watch;
    workplace.import(import);
    return watch.calls();
}

/// Imports an archive that nothing disturbs. @return what went wrong; empty where it is complete
QString importAgain(const Workplace& workplace)
{
    const int before = int(workplace.site.jobs().size());
    const ServiceWatch watch;
    workplace.import(Import::Archive);
    if (!watch.failures().isEmpty())
        return watch.failures().join(QStringLiteral("; "));
    const auto jobs = workplace.site.jobs();
    if (int(jobs.size()) != before + 1 || !jobs.back().complete || jobs.back().batchNumber != 0)
        return QStringLiteral("the next import is not complete");
    const QString expected = QStringLiteral("HX%1").arg(workplace.site.company(QStringLiteral("HX")).jobCount,
                                                        6, 10, QLatin1Char('0'));
    return jobs.back().generatedName == expected ? QString() : jobs.back().generatedName;
}

} // namespace

Q_DECLARE_METATYPE(Import)

class MariaDbImportFaults final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void undisturbedImportsAreComplete_data() { addImports(); }
    void undisturbedImportsAreComplete();
    void connectionIsKilledBetweenTwoCalls_data() { addImports(); }
    void connectionIsKilledBetweenTwoCalls();
    void serverCrashesBetweenTwoCalls_data() { addImports(); }
    void serverCrashesBetweenTwoCalls();
    void serverIsRestartedBetweenTwoCalls_data() { addImports(); }
    void serverIsRestartedBetweenTwoCalls();
    void serverHaltsBetweenTwoCalls_data();
    void serverHaltsBetweenTwoCalls();
    void requestIsLost_data() { addImports(); }
    void requestIsLost();
    void answerIsLost_data() { addImports(); }
    void answerIsLost();
    void haltedServerIsAskedAgainByItself();

private:
    static void addImports();
    template <typename Strike, typename Mend>
    void sweepCalls(const Strike& strike, const Mend& mend);
    void sweepPieces(ServerRelay::Piece piece);
};

void MariaDbImportFaults::initTestCase()
{
    qputenv("ZAV_TEST_SITE", "mariadb/local");
}

void MariaDbImportFaults::addImports()
{
    QTest::addColumn<Import>("import");
    QTest::newRow("archive") << Import::Archive;
    QTest::newRow("saved job") << Import::SavedJob;
    QTest::newRow("folder") << Import::Folder;
    QTest::newRow("batch") << Import::Batch;
}

void MariaDbImportFaults::undisturbedImportsAreComplete()
{
    QFETCH(Import, import);
    const Workplace workplace;
    const ServiceWatch watch;
    workplace.import(import);
    QCOMPARE(watch.failures(), QStringList());
    QCOMPARE(int(workplace.site.jobs().size()), import == Import::Batch ? 2 : 1);
    QVERIFY(workplace.site.jobs().back().complete);
    QCOMPARE(faultOf(workplace.site), QString());
    QCOMPARE(importAgain(workplace), QString());
}

/// Imports once for each call of an import, with strike after that call and mend after the import.
template <typename Strike, typename Mend>
void MariaDbImportFaults::sweepCalls(const Strike& strike, const Mend& mend)
{
    QFETCH(Import, import);
    const int calls = callsOf(import);
    QVERIFY(calls > 5);
    int failures = 0;
    for (int at = 1; at < calls; ++at) {
        const Workplace workplace;
        const CapturedLog log;
        {
            ServiceWatch watch;
            watch.afterCall = [&](int call) {
                if (call == at)
                    strike();
            };
            workplace.import(import);
            mend();
            failures += watch.failures().size();
            QString fault = faultOf(watch, workplace.password());
            if (fault.isEmpty())
                fault = silenceOf(watch, workplace.site, import);
            QVERIFY2(fault.isEmpty(), qUtf8Printable(QStringLiteral("after call %1: %2").arg(at).arg(fault)));
        }
        QString fault = importAgain(workplace);
        if (fault.isEmpty())
            fault = faultOf(workplace.site);
        QVERIFY2(fault.isEmpty(), qUtf8Printable(QStringLiteral("after call %1: %2").arg(at).arg(fault)));
    }
    qInfo("struck after each of %d calls, %d calls failed", calls, failures);
}

void MariaDbImportFaults::connectionIsKilledBetweenTwoCalls()
{
    sweepCalls([] { server().killConnections(); }, [] {});
}

void MariaDbImportFaults::serverCrashesBetweenTwoCalls()
{
    sweepCalls([] { server().kill(); }, [] { server().restart(); });
}

void MariaDbImportFaults::serverIsRestartedBetweenTwoCalls()
{
    sweepCalls([] { server().restart(); }, [] {});
}

void MariaDbImportFaults::serverHaltsBetweenTwoCalls_data()
{
    QTest::addColumn<Import>("import"); // one is enough: each call that is waited for takes its time
    QTest::newRow("archive") << Import::Archive;
}

void MariaDbImportFaults::serverHaltsBetweenTwoCalls()
{
    // A new session does not know the pause that the old one makes between its tries.
    sweepCalls([] { server().stop(); },
               [] {
                   server().resume();
                   Backend::Site::current().close();
               });
}

/// Imports once for each piece that goes to the server or comes from it, and loses that one.
void MariaDbImportFaults::sweepPieces(ServerRelay::Piece piece)
{
    QFETCH(Import, import);
    int lost = 0;
    int failures = 0;
    for (bool more = true; more; ++lost) {
        ServerRelay relay(server().port());
        const Workplace workplace;
        workplace.site.configure(QStringLiteral("database/port"), QString::number(relay.port()));
        (void)workplace.site.jobs(); // the connection through the relay is open
        const CapturedLog log;
        {
            const ServiceWatch watch;
            relay.lose(piece, lost + 1);
            workplace.import(import);
            more = relay.hasLost();
            relay.loseNothing();
            failures += watch.failures().size();
            QString fault = faultOf(watch, workplace.password());
            if (fault.isEmpty())
                fault = silenceOf(watch, workplace.site, import);
            QVERIFY2(fault.isEmpty(),
                     qUtf8Printable(QStringLiteral("piece %1: %2").arg(lost + 1).arg(fault)));
        }
        QString fault = importAgain(workplace);
        if (fault.isEmpty())
            fault = faultOf(workplace.site);
        QVERIFY2(fault.isEmpty(), qUtf8Printable(QStringLiteral("piece %1: %2").arg(lost + 1).arg(fault)));
    }
    QVERIFY(lost > 5);
    qInfo("%d pieces lost, %d calls failed", lost - 1, failures);
}

void MariaDbImportFaults::requestIsLost()
{
    sweepPieces(ServerRelay::Piece::Request);
}

void MariaDbImportFaults::answerIsLost()
{
    sweepPieces(ServerRelay::Piece::Answer);
}

void MariaDbImportFaults::haltedServerIsAskedAgainByItself()
{
    const Workplace workplace;
    const CapturedLog log;
    (void)workplace.site.jobs();
    server().stop();
    {
        const ServiceWatch watch;
        workplace.import(Import::Batch);
        server().resume();
        QVERIFY(!watch.failures().isEmpty());
        QCOMPARE(faultOf(watch, workplace.password()), QString());
    }
    const auto import = [&workplace] {
        const ServiceWatch watch;
        workplace.import(Import::Archive);
        return watch.failures().isEmpty();
    };
    QTRY_VERIFY_WITH_TIMEOUT(import(), 20'000);
    QCOMPARE(faultOf(workplace.site), QString());
}

ZAV_REGISTER_TEST(mariadb_import_faults, MariaDbImportFaults, QApplication)

#include "mariadb_import_faults.moc"
