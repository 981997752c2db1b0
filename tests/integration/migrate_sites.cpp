// A site moves from embedded engines to the ones that this run is about, and back, with whatever may happen
// to the servers on the way.

#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/migrate/SiteMigration.h"
#include "backend/records/RowTransfer.h"
#include "tests/support/AdminSession.h"
#include "tests/support/BoundProcess.h"
#include "tests/support/GridFsPeer.h"
#include "tests/support/MariaDbServer.h"
#include "tests/support/SiteContent.h"
#include "tests/support/SiteEngines.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QJsonArray>
#include <QTest>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Test;
using Admin::ExitCode;

class MigrateSites final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void thereAndBackAgain();
    void numbersContinue();
    void tablesOfTheEngineAreListed();
    void killedProgramsAreContinued();
    void absentRowServerIsTold();
    void lostRowServerIsTold_data();
    void lostRowServerIsTold();
    void fileServerThatFailsIsTold_data();
    void fileServerThatFailsIsTold();
    void pingTellsTheEngines();

private:
    static AdminOutcome migrate(const AdminSession& from, const AdminSession& to);

    std::unique_ptr<AdminSession> m_embedded;
    std::unique_ptr<AdminSession> m_site; ///< on the engines of this run
};

namespace {

constexpr int jobs = 23;

std::unique_ptr<AdminSession> newSession()
{
    auto session = std::make_unique<AdminSession>();
    const Backend::Status made =
        Backend::createDefaultSettings(session->file().path(), session->file().inFolder(text("data")));
    if (!made.ok())
        qFatal("%s", qPrintable(made.message()));
    return session;
}

QString path(const AdminSession& session)
{
    return session.file().path();
}

QString finish(const AdminSession& session)
{
    return session.run({text("init")}).err;
}

} // namespace

void MigrateSites::initTestCase()
{
    if (const QString problem = SiteEngines::problem(); !problem.isEmpty())
        QSKIP(qPrintable(problem));
}

void MigrateSites::init()
{
    m_embedded = newSession();
    QCOMPARE(finish(*m_embedded), QString());
    m_site = newSession();
    SiteEngines::applyTo(path(*m_site));
    QCOMPARE(finish(*m_site), QString());
}

void MigrateSites::cleanup()
{
    if (GridFsPeer* peer = SiteEngines::fileServer(); peer != nullptr && peer->refusal().isEmpty())
        peer->clearFaults();
}

AdminOutcome MigrateSites::migrate(const AdminSession& from, const AdminSession& to)
{
    return from.run({text("migrate"), text("--to"), path(to), text("--json")});
}

void MigrateSites::thereAndBackAgain()
{
    fillSite(path(*m_embedded), jobs);
    const SiteContent original = readSite(path(*m_embedded));
    const AdminOutcome there = migrate(*m_embedded, *m_site);
    QCOMPARE(there.err, QString());
    QCOMPARE(difference(original, readSite(path(*m_site))), QString());

    const auto home = newSession();
    QCOMPARE(finish(*home), QString());
    const AdminOutcome back = migrate(*m_site, *home);
    QCOMPARE(back.err, QString());
    QCOMPARE(difference(original, readSite(path(*home))), QString());
    // The digests are the same on every engine.
    QCOMPARE(back.json()[text("tables")], there.json()[text("tables")]);
    QCOMPARE(back.json()[text("files")], there.json()[text("files")]);

    // What the site gets on its servers goes home as well, beside what was there before.
    fillSite(path(*m_site), 5, jobs + 1);
    QCOMPARE(migrate(*m_site, *home).err, QString());
    const SiteContent later = readSite(path(*m_site));
    QCOMPARE(later.files.size(), filesOf(jobs + 5));
    QCOMPARE(difference(later, readSite(path(*home))), QString());
    QCOMPARE(migrate(*home, *m_embedded).err, QString());
    QCOMPARE(difference(later, readSite(path(*m_embedded))), QString());
}

void MigrateSites::numbersContinue()
{
    fillSite(path(*m_embedded), jobs);
    QCOMPARE(migrate(*m_embedded, *m_site).err, QString());
    const QString company = text("company");
    const int last = readSite(path(*m_site)).tables[company].size();
    const AdminOutcome added =
        m_site->run({text("--json"), company, text("add"), text("--code=NEW"), text("--name=New")});
    QCOMPARE(added.json()[company].toObject()[text("id")].toInt(), last + 1);
}

void MigrateSites::tablesOfTheEngineAreListed()
{
    const auto settings = Backend::loadSettings(path(*m_site)).value().database;
    MariaDbServer* server = SiteEngines::rowServer();
    if (server == nullptr)
        QSKIP("SQLite's are compared by database_transfer");
    // Who holds a company is true of the programs that run, not of a site that is copied.
    const QString ours =
        text("table_schema = DATABASE() AND table_name NOT IN ('schema_version', 'site', 'company_hold')");
    QStringList columns;
    for (const Backend::TransferTable& table : Backend::transferTables())
        for (const Backend::TransferColumn& column : table.columns)
            columns << QLatin1String(table.name) + QLatin1Char('.') + QLatin1String(column.name) +
                           (column.type == Backend::ColumnType::Number ? text(" number") : text(" text"));
    columns.sort();
    const QString actual = server->value(
        settings, text("SELECT GROUP_CONCAT(CONCAT(table_name, '.', column_name,"
                       " IF(data_type IN ('int', 'bigint'), ' number', ' text')) SEPARATOR '\\n')"
                       " FROM information_schema.columns WHERE extra NOT LIKE '%GENERATED%' AND ") +
                      ours);
    QStringList named = actual.split(QLatin1Char('\n'));
    named.sort();
    QCOMPARE(columns, named);
}

void MigrateSites::killedProgramsAreContinued()
{
    fillSite(path(*m_embedded), jobs);
    const SiteContent original = readSite(path(*m_embedded));
    int killed = 0;
    for (const char* moment : {"files: 0%", "files: 5", "rows: ", "verifying: "}) {
        BoundProcess program;
        program.setProcessChannelMode(QProcess::SeparateChannels);
        program.start(text(ZAV_ADMIN_PROGRAM),
                      {text("--config"), path(*m_embedded), text("migrate"), text("--to"), path(*m_site)});
        QByteArray told;
        const QDeadlineTimer deadline(60'000);
        while (!told.contains(moment) && !deadline.hasExpired() && program.waitForReadyRead(60'000))
            told += program.readAllStandardError();
        killed += program.state() == QProcess::Running ? 1 : 0;
        program.end();
        const SiteContent there = readSite(path(*m_site));
        for (auto file = there.files.cbegin(); file != there.files.cend(); ++file)
            QCOMPARE(file.value(), original.files.value(file.key()));
        for (const auto& row : there.tables[text("orig_file")])
            QVERIFY(there.files.contains(text("odbpp/") + row[text("stored_name")]) ||
                    there.files.contains(text("older/") + row[text("stored_name")]));
    }
    QVERIFY(killed > 0);
    QCOMPARE(migrate(*m_embedded, *m_site).err, QString());
    QCOMPARE(difference(original, readSite(path(*m_site))), QString());
}

void MigrateSites::absentRowServerIsTold()
{
    MariaDbServer* server = SiteEngines::rowServer();
    if (server == nullptr)
        QSKIP("there is no row server");
    fillSite(path(*m_embedded), jobs);
    server->kill();
    const AdminOutcome outcome = migrate(*m_embedded, *m_site);
    server->restart();
    QCOMPARE(outcome.code, ExitCode::Unavailable);
    QVERIFY2(outcome.failure()[text("error")].toString().startsWith(text("target: ")),
             qPrintable(outcome.err));
    QCOMPARE(migrate(*m_embedded, *m_site).err, QString());
    QCOMPARE(difference(readSite(path(*m_embedded)), readSite(path(*m_site))), QString());
}

void MigrateSites::lostRowServerIsTold_data()
{
    QTest::addColumn<bool>("isTarget");
    QTest::newRow("target") << true;
    QTest::newRow("source") << false;
}

void MigrateSites::lostRowServerIsTold()
{
    QFETCH(const bool, isTarget);
    MariaDbServer* server = SiteEngines::rowServer();
    if (server == nullptr)
        QSKIP("there is no row server");
    const AdminSession& from = isTarget ? *m_embedded : *m_site;
    const AdminSession& to = isTarget ? *m_site : *m_embedded;
    fillSite(path(from), jobs);
    bool killed = false;
    const auto killServer = [&](const Backend::MigrationProgress& progress) {
        if (!killed && progress.phase == Backend::MigrationProgress::Phase::Rows && progress.rows > 10) {
            killed = true;
            server->kill();
        }
    };
    Backend::Site fromSite(path(from));
    Backend::Site toSite(path(to));
    const auto outcome = Backend::migrateSite(fromSite, toSite, {}, killServer);
    QVERIFY(killed);
    server->restart();
    QCOMPARE(outcome.code(), Backend::ErrorCode::Unavailable);
    QCOMPARE(migrate(from, to).err, QString());
    QCOMPARE(difference(readSite(path(from)), readSite(path(to))), QString());
}

void MigrateSites::fileServerThatFailsIsTold_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("at");
    QTest::addColumn<int>("n");
    if (SiteEngines::fileServer() == nullptr)
        QSKIP("there is no file server");
    for (const char* action : {"error", "drop", "wcerror"})
        for (const auto& [at, n] : {std::make_pair("chunk", 1), {"chunk", 9}, {"file", 1}, {"file", 7}})
            QTest::addRow("%s at %s %d", action, at, n) << text(action) << text(at) << n;
}

void MigrateSites::fileServerThatFailsIsTold()
{
    QFETCH(const QString, action);
    QFETCH(const QString, at);
    QFETCH(const int, n);
    GridFsPeer* peer = SiteEngines::fileServer();
    if (!peer->refusal().isEmpty())
        QSKIP(qPrintable(peer->refusal()));
    fillSite(path(*m_embedded), jobs);
    PeerFault fault;
    fault.action = action;
    fault.at = at;
    fault.n = n;
    fault.times = 0;
    peer->order({fault});
    const AdminOutcome outcome = migrate(*m_embedded, *m_site);
    QVERIFY(outcome.code != ExitCode::Success);
    QVERIFY2(outcome.failure()[text("error")].toString().contains(text("stored file")),
             qPrintable(outcome.err));
    QVERIFY(peer->hits() > 0);
    peer->clearFaults();
    QCOMPARE(peer->incompleteFiles(), QStringList());
    QCOMPARE(readSite(path(*m_site)).rowCount(), 0);

    QCOMPARE(migrate(*m_embedded, *m_site).err, QString());
    QCOMPARE(difference(readSite(path(*m_embedded)), readSite(path(*m_site))), QString());
    QCOMPARE(peer->incompleteFiles(), QStringList());
}

void MigrateSites::pingTellsTheEngines()
{
    const QJsonArray services =
        m_site->run({text("ping"), text("--json")}).json()[text("services")].toArray();
    QCOMPARE(services.size(), 2);
    const bool rowServer = SiteEngines::rowServer() != nullptr;
    const bool fileServer = SiteEngines::fileServer() != nullptr;
    QCOMPARE(services[0][text("engine")].toString().section(QLatin1Char(' '), 0, 0),
             rowServer ? text("MariaDB") : text("SQLite"));
    QCOMPARE(services[0][text("remote")].toBool(), rowServer);
    QCOMPARE(services[1][text("engine")].toString().section(QLatin1Char(' '), 0, 0),
             fileServer ? text("MongoDB") : text("local"));
    QCOMPARE(services[1][text("remote")].toBool(), fileServer);
    for (const QJsonValue& service : services)
        QVERIFY(service[text("latency_ms")].toDouble() > 0);
}

ZAV_REGISTER_TEST(migrate_sites, MigrateSites, QCoreApplication)

#include "migrate_sites.moc"
