// Batches on a site of MariaDB and GridFS, disturbed at each piece that goes to a server or comes from it.
//
// Relays stand between the client and both servers. A run that nobody disturbs counts the pieces; then at
// each of them, requests and answers alike, the connection is cut, the server is gone, the server falls
// silent, and the client is killed. Every trial has a site of its own, and ImportTrial judges what is left
// when the servers are back.
//
// Without $ZAV_FAULT_LOOP=whole only a sample is tried, spread over the whole run; $ZAV_FAULT_SEED chooses
// others.

#include "backend/Site.h"
#include "backend/config/Settings.h"
#include "tests/fault/ImportTrial.h"
#include "tests/support/ClientProgram.h"
#include "tests/support/GridFsPeer.h"
#include "tests/support/MariaDbServer.h"
#include "tests/support/ServerRelay.h"
#include "tests/support/SiteEngines.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QTest>

#include <array>
#include <vector>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

constexpr int longestRunMs = 90'000;
constexpr int slices = 48;
constexpr int slicesOfSample = 4;
constexpr size_t pointsOfSample = 12;

enum class Server { Rows, Files };
enum class Fault { Cut, Gone, Silent, Killed };

struct Strike
{
    Server server;
    ServerRelay::Piece piece;
    int number;
    Fault fault;

    [[nodiscard]] QString text() const
    {
        static const std::array<const char*, 4> faults = {"cut", "gone", "silent", "client killed"};
        return QStringLiteral("%1 at %2 %3 of the server of %4")
            .arg(QString::fromLatin1(faults[static_cast<size_t>(fault)]))
            .arg(piece == ServerRelay::Piece::Request ? QStringLiteral("request") : QStringLiteral("answer"))
            .arg(number)
            .arg(server == Server::Rows ? QStringLiteral("rows") : QStringLiteral("stored files"));
    }
};

/// A site behind relays, with time-outs that are soon over.
class Workplace final
{
public:
    explicit Workplace(TrialTally& tally)
        : trial(tally)
        , m_rows(SiteEngines::rowServer()->port())
        , m_files(SiteEngines::fileServer()->port())
    {
        const FreshSite& site = trial.site();
        m_database = Backend::loadSettings(site.configuration()).value().database;
        for (const char* key : {"connect_timeout", "read_timeout", "write_timeout"})
            site.configure(QStringLiteral("database/") + QLatin1String(key), QStringLiteral("1"));
        site.configure(QStringLiteral("database/port"), QString::number(m_rows.port()));
        QString uri = SiteEngines::fileServer()->uri(
            QStringLiteral("connectTimeoutMS=1000&socketTimeoutMS=1000&serverSelectionTimeoutMS=1500"));
        uri.replace(QStringLiteral(":%1").arg(SiteEngines::fileServer()->port()),
                    QStringLiteral(":%1").arg(m_files.port()));
        site.configure(QStringLiteral("document_store/uri"), uri);
        site.configure(QStringLiteral("import/patience"), QStringLiteral("2"));
        Backend::Site::current().close();
        // With these rights a check looks at all of the database.
        if (!SiteEngines::rowServer()->run(
                m_database, QStringLiteral("GRANT EVENT, EXECUTE, TRIGGER ON %1.* TO '%2'@'127.0.0.1'")
                                .arg(m_database.name, m_database.user)))
            qFatal("the rights cannot be given");
    }

    [[nodiscard]] ServerRelay& relay(Server server) { return server == Server::Rows ? m_rows : m_files; }

    DisturbedRun run(const Strike* strike)
    {
        QProcess client;
        client.setProcessChannelMode(QProcess::MergedChannels);
        if (strike != nullptr)
            relay(strike->server)
                .lose(strike->piece, strike->number,
                      strike->fault == Fault::Cut    ? ServerRelay::Loss::Connection
                      : strike->fault == Fault::Gone ? ServerRelay::Loss::AllConnections
                                                     : ServerRelay::Loss::Silence);
        client.start(clientProgram(), trial.arguments());
        DisturbedRun run;
        QElapsedTimer time;
        time.start();
        while (!client.waitForFinished(10)) {
            const bool isDue =
                strike != nullptr && strike->fault == Fault::Killed && relay(strike->server).hasLost();
            if (isDue || time.elapsed() > longestRunMs) {
                run.killed = isDue;
                client.kill();
                client.waitForFinished();
                break;
            }
        }
        run.exitCode = client.exitStatus() == QProcess::NormalExit ? client.exitCode() : -1;
        run.output = QString::fromUtf8(client.readAll());
        return run;
    }

    /// The servers are there again, and the hold of a killed client has run out, which takes half a minute.
    void recover()
    {
        m_rows.loseNothing();
        m_files.loseNothing();
        if (!SiteEngines::rowServer()->run(m_database,
                                           QStringLiteral("UPDATE company_hold SET expires = '1970-01-01'")))
            qFatal("the hold cannot be ended");
    }

    ImportTrial trial;

private:
    ServerRelay m_rows;
    ServerRelay m_files;
    Backend::DatabaseSettings m_database;
};

bool isWhole()
{
    return qgetenv("ZAV_FAULT_LOOP") == "whole";
}

/// The kinds that a check may find after any of these faults: what an import does later has not been done.
QSet<QString> explained()
{
    return {
        QStringLiteral("file-orphan"),      // stored, and no row yet
        QStringLiteral("chunk-orphan"),     // parts of a file that was not stored to its end
        QStringLiteral("orig-file-unused"), // that row, and no flow yet
        QStringLiteral("half-import"),      // a flow, and not its last row yet
        QStringLiteral("batch-behind"),     // jobs of a batch that has not come to its company's number
        QStringLiteral("work-leftover"),    // of a killed client; the next start mends it
    };
}

} // namespace

class ServerFaultLoop final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void batch_data();
    void batch();
    void cleanupTestCase();

private:
    void makePlan();

    std::vector<Strike> m_plan;
    TrialTally m_tally;
};

void ServerFaultLoop::initTestCase()
{
    if (const QString problem = SiteEngines::problem(); !problem.isEmpty())
        QSKIP(qPrintable(problem));
}

void ServerFaultLoop::batch_data()
{
    QTest::addColumn<int>("slice");
    for (int slice = 0; slice < (isWhole() ? slices : slicesOfSample); ++slice)
        QTest::addRow("slice %d", slice) << slice;
}

void ServerFaultLoop::makePlan()
{
    TrialTally unused;
    Workplace workplace(unused);
    const DisturbedRun run = workplace.run(nullptr);
    if (run.exitCode != 0)
        qFatal("an undisturbed run fails: %s", qUtf8Printable(run.output));
    std::vector<Strike> plan;
    for (const Server server : {Server::Rows, Server::Files})
        for (const auto piece : {ServerRelay::Piece::Request, ServerRelay::Piece::Answer})
            for (int number = 1; number <= workplace.relay(server).count(piece); ++number)
                for (const Fault fault : {Fault::Cut, Fault::Gone, Fault::Silent, Fault::Killed})
                    plan.push_back({server, piece, number, fault});
    qInfo("%zu trials", plan.size());
    QRandomGenerator chance(static_cast<quint32>(qEnvironmentVariableIntValue("ZAV_FAULT_SEED")) + 1U);
    const size_t stretches = isWhole() ? plan.size() : pointsOfSample;
    for (size_t i = 0; i < stretches; ++i) {
        const size_t begin = plan.size() * i / stretches;
        const size_t end = plan.size() * (i + 1) / stretches;
        m_plan.push_back(plan[begin + chance.bounded(static_cast<quint32>(end - begin))]);
    }
}

void ServerFaultLoop::batch()
{
    QFETCH(const int, slice);
    if (m_plan.empty())
        makePlan();
    int faults = 0;
    const auto step = static_cast<size_t>(isWhole() ? slices : slicesOfSample);
    for (size_t at = static_cast<size_t>(slice); at < m_plan.size(); at += step) {
        const Strike& strike = m_plan[at];
        Workplace workplace(m_tally);
        const DisturbedRun run = workplace.run(&strike);
        workplace.recover();
        QString fault =
            run.exitCode < 0 && !run.killed ? QStringLiteral("hangs or crashes: ") + run.output : QString();
        fault += workplace.trial.judge(run, explained());
        if (!fault.isEmpty()) {
            ++faults;
            qWarning("%s: %s", qUtf8Printable(strike.text()), qUtf8Printable(fault));
        }
    }
    QCOMPARE(faults, 0);
}

void ServerFaultLoop::cleanupTestCase()
{
    qInfo("%s", qUtf8Printable(m_tally.text()));
}

ZAV_REGISTER_TEST(server_fault_loop, ServerFaultLoop, QCoreApplication)

#include "server_fault_loop.moc"
