// What the client tells of its requests to the robot, and what the jobs' histories tell.

#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/records/SiteEvents.h"
#include "host/MainWindow.h"
#include "host/ServiceLog.h"
#include "host/core/Reasons.h"
#include "host/site/SiteAccess.h"
#include "robot/RobotRequest.h"
#include "samples/JobGenerator.h"
#include "services/ui/ZAV_StdCommon.h"
#include "tests/support/AdminSession.h"
#include "tests/support/ClientProgram.h"
#include "tests/support/DialogDriver.h"
#include "tests/support/FreshSite.h"
#include "tests/support/OperatedPanel.h"
#include "tests/support/PanelView.h"
#include "tests/support/RobotClient.h"
#include "tests/support/RobotProgram.h"
#include "tests/support/ScriptedRobot.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

#include <memory>
#include <optional>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

constexpr int idlePeers = 32;

std::vector<Backend::SiteEvent> eventsOf(const char* job)
{
    std::vector<Backend::SiteEvent> found;
    const auto events = Backend::listEvents(*Backend::Site::current().database().value());
    for (auto event = events.value().rbegin(); event != events.value().rend(); ++event)
        if (event->subject == text(job))
            found.push_back(*event);
    return found;
}

QString stateOf(const FreshSite& site, const char* name)
{
    for (const Backend::JobRecord& job : site.jobs())
        if (job.generatedName == text(name))
            return text("%1,%2").arg(job.state).arg(job.subState);
    return {};
}

QString waiting()
{
    QStringList names;
    for (const auto& job : UI::ZAV_StdCommon::interface()->getInputJobList())
        names << QString::fromStdString(job.jobName);
    return names.join(QLatin1Char(' '));
}

ClientRun run(const FreshSite& site, const QStringList& arguments)
{
    return runClient(QStringList({text("--config"), site.configuration()}) + arguments);
}

/// The messages of the window.
QString linesOf(const Host::ServiceLog& log)
{
    QStringList all;
    for (int row = 0; row < log.rowCount(); ++row)
        all << log.data(log.index(row, Host::ServiceLog::Text), Qt::DisplayRole).toString();
    return all.join(QLatin1Char('\n'));
}

/// Code and text of the warning of an entry of the company 甲, as the table of a batch has it.
QString warningOf(const ClientRun& client, const char* entry)
{
    const QRegularExpression row(
        text("\n甲 +%1 +(robot-[a-z-]+) +(.*)\n").arg(QRegularExpression::escape(text(entry))));
    const auto found = row.match(client.output);
    return found.hasMatch() ? found.captured(1) + text(" ") + found.captured(2).trimmed() : QString();
}

/// A robot, or none, at the address that the site's configuration names.
class RobotAtSite final
{
public:
    RobotAtSite(const FreshSite& site, const QString& kind)
    {
        quint16 port = ScriptedRobot::closedPort();
        if (kind != text("off") && kind != text("name")) {
            program.emplace(QStringList({text("--port"), text("0")}) + options(kind));
            port = program->port();
        }
        if (kind == text("full"))
            for (int i = 0; i < idlePeers; ++i)
                idle.push_back(std::make_unique<RobotClient>(port));
        if (kind == text("name"))
            site.configure(text("robot/host"), text("localhost"));
        site.configure(text("robot/port"), QString::number(port));
        place = text("127.0.0.1:%1").arg(port);
        isOn = kind == text("on");
    }

    std::optional<RobotProgram> program;
    std::vector<std::unique_ptr<RobotClient>> idle;
    QString place;
    bool isOn = false; ///< it takes requests

private:
    static QStringList options(const QString& kind)
    {
        if (kind == text("on") || kind == text("full"))
            return {};
        return {text("--") + kind};
    }
};

} // namespace

class ClientRobot : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void savedJobsOfABatch_data();
    void savedJobsOfABatch();
    void savedJobsInTheDocument();
    void savedJobWhoseImportFails();
    void savedJobsThatCannotBeWrittenDown();
    void noSavedJobNoProbe();

    void confirmedJobs_data();
    void confirmedJobs();
    void confirmedJobComesBackAndIsSent();

    void singleSavedJobInTheWindow();
    void nameIsWarnedOfAtTheStart();

private:
    static void compareHistories(const FreshSite& site, const QString& outcome, const QString& probe,
                                 const QString& told, RobotAtSite& peer);
};

void ClientRobot::savedJobsOfABatch_data()
{
    QTest::addColumn<QString>("robot");
    QTest::addColumn<QString>("outcome");
    QTest::addColumn<QString>("probe");
    QTest::addColumn<QString>("told");
    const auto row = [](const char* robot, const char* outcome, const char* probe, const char* told) {
        QTest::newRow(robot) << text(robot) << text(outcome) << text(probe) << text(told);
    };
    row("on", "unknown", "connected", "took a connection");
    row("silent", "unknown", "connected", "took a connection");
    row("never-accept", "unknown", "connected", "took a connection");
    row("hang-up", "unknown", "closed", "took a connection and closed it at once");
    row("full", "unknown", "closed", "took a connection and closed it at once");
    row("refuse", "not-sent", "refused", "refused a connection");
    row("off", "not-sent", "refused", "refused a connection");
    row("name", "not-sent", "", "robot/host \"localhost\" is not a numeric address");
}

void ClientRobot::savedJobsOfABatch()
{
    QFETCH(QString, robot);
    QFETCH(QString, outcome);
    QFETCH(QString, probe);
    QFETCH(QString, told);
    const FreshSite site;
    site.addCompany(text("AB"), text("甲"));
    writeFile(site.path(text("batch/甲/one.kos")).toStdString(), "one");
    writeFile(site.path(text("batch/甲/two.tgz")).toStdString(), "two");
    writeFile(site.path(text("batch/甲/three.kos")).toStdString(), "three");
    RobotAtSite peer(site, robot);

    QElapsedTimer elapsed;
    elapsed.start();
    const ClientRun client = run(site, {text("--batch"), site.path(text("batch"))});
    QVERIFY(elapsed.elapsed() < 15'000);
    QVERIFY2(client.exitCode == 0, client.everything().constData());
    QVERIFY2(client.output.contains(text("Imported: 3")), client.everything().constData());
    const QString words = outcome == text("not-sent")
                              ? text("its request did not reach the robot: ")
                              : text("whether its request reached the robot is not known: ");
    const QString where = robot == text("name") ? QString() : text("after the import %1 ").arg(peer.place);
    const QString code = outcome == text("not-sent") ? text("robot-not-sent") : text("robot-unknown");
    for (const char* entry : {"one.kos", "three.kos"})
        QVERIFY2(warningOf(client, entry) == code + text(" ") + words + where + told,
                 client.everything().constData());
    QCOMPARE(warningOf(client, "two.tgz"), QString());

    compareHistories(site, outcome, probe, told, peer);
}

void ClientRobot::compareHistories(const FreshSite& site, const QString& outcome, const QString& probe,
                                   const QString& told, RobotAtSite& peer)
{
    int saved = 0;
    for (const Backend::JobRecord& job : site.jobs()) {
        const auto events = eventsOf(job.generatedName.toUtf8().constData());
        if (job.suffix != text("kos")) {
            QVERIFY(events.empty());
            continue;
        }
        ++saved;
        QCOMPARE(int(events.size()), 1);
        QCOMPARE(events.front().kind, QString(Backend::eventKind::robot));
        QCOMPARE(events.front().flowGuid, job.flowGuid);
        QCOMPARE(events.front().outcome, outcome);
        QVERIFY(events.front().reason.contains(told));
        QCOMPARE(events.front().userName, Backend::Site::current().settings()->userName);
        const QJsonObject detail = events.front().detail;
        QCOMPARE(detail.value(text("origin")).toString(), text("saved"));
        QCOMPARE(detail.value(text("probe")).toString(), probe);
        QCOMPARE(detail.value(text("document")).toObject(),
                 Robot::robotRequest(job.generatedName.toLower(), false));
        const QString requested = detail.value(text("requested")).toString();
        QVERIFY2(requested >= job.createdTime && requested <= events.front().createdTime,
                 qPrintable(requested));
        if (peer.isOn)
            QTRY_VERIFY(peer.program->lines().join(' ').contains(job.generatedName.toLower().toUtf8()));
    }
    QCOMPARE(saved, 2);
}

void ClientRobot::savedJobsInTheDocument()
{
    const FreshSite site;
    site.addCompany(text("AB"), text("甲"));
    writeFile(site.path(text("batch/甲/one.kos")).toStdString(), "one");
    for (const auto& [kind, code] : {std::pair("on", "robot-unknown"), std::pair("off", "robot-not-sent")}) {
        const RobotAtSite peer(site, text(kind));
        const ClientRun client = run(site, {text("--batch"), site.path(text("batch")), text("--json")});
        QCOMPARE(client.exitCode, 0);
        const QJsonObject document = QJsonDocument::fromJson(client.output.toUtf8()).object();
        const QJsonObject row = document.value(text("rows")).toArray().first().toObject();
        QStringList codes;
        for (const QJsonValue& warning : row.value(text("warnings")).toArray())
            codes << warning.toObject().value(text("code")).toString();
        QVERIFY2(codes.contains(text(code)), client.everything().constData());
    }
}

/// Nothing is staged where there is no place for it: the file cannot be stored, and the last row is refused.
void ClientRobot::savedJobWhoseImportFails()
{
    const FreshSite site;
    site.addCompany(text("AB"), text("甲"));
    writeFile(site.path(text("batch/甲/one.kos")).toStdString(), "one");
    const RobotAtSite peer(site, text("on"));
    site.configure(text("cache/upload"), text("/proc/none/"));

    const ClientRun client = run(site, {text("--batch"), site.path(text("batch"))});
    QVERIFY2(client.exitCode == 1, client.everything().constData());
    const auto events = eventsOf("AB000001");
    QCOMPARE(int(events.size()), 1);
    QCOMPARE(events.front().outcome, text("unknown"));
    QVERIFY2(events.front().reason.endsWith(text("; the import failed")), qPrintable(events.front().reason));
    QVERIFY2(warningOf(client, "one.kos").startsWith(text("robot-unknown ")),
             client.everything().constData());
}

void ClientRobot::savedJobsThatCannotBeWrittenDown()
{
    const FreshSite site;
    site.addCompany(text("AB"), text("甲"));
    writeFile(site.path(text("batch/甲/one.kos")).toStdString(), "one");
    const RobotAtSite peer(site, text("off"));
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(text("QSQLITE"), text("events"));
        database.setDatabaseName(Backend::Site::current().settings()->database.file);
        QVERIFY(database.open());
        QSqlQuery query(database);
        QVERIFY(query.exec(text("CREATE TRIGGER no_events BEFORE INSERT ON event BEGIN"
                                " SELECT RAISE(ABORT, 'no room for events'); END")));
    }
    QSqlDatabase::removeDatabase(text("events"));

    const ClientRun client = run(site, {text("--batch"), site.path(text("batch"))});
    QVERIFY2(client.exitCode == 0, client.everything().constData());
    QVERIFY2(warningOf(client, "one.kos").startsWith(text("robot-not-sent ")),
             client.everything().constData());
    QVERIFY2(client.output.contains(
                 text("remark: the history of the jobs does not tell of 1 requests to the robot: ")),
             client.everything().constData());
    QCOMPARE(stateOf(site, "AB000001"), text("1,2"));
    QVERIFY(eventsOf("AB000001").empty());
}

void ClientRobot::noSavedJobNoProbe()
{
    const FreshSite site;
    site.addCompany(text("AB"), text("甲"));
    writeFile(site.path(text("batch/甲/two.tgz")).toStdString(), "two");
    const ScriptedRobot robot("{}", ScriptedRobot::After::Stay);
    site.configure(text("robot/port"), QString::number(robot.port()));
    QCOMPARE(run(site, {text("--batch"), site.path(text("batch"))}).exitCode, 0);
    QCOMPARE(robot.connectionCount(), 0);
}

void ClientRobot::confirmedJobs_data()
{
    QTest::addColumn<QString>("robot");
    QTest::addColumn<QString>("outcome");
    QTest::addColumn<QString>("probe");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* robot, const char* outcome, const char* probe, const char* reason) {
        QTest::newRow(robot) << text(robot) << text(outcome) << text(probe) << text(reason);
    };
    row("on", "sent", "connected", "written to a connection with %1");
    row("silent", "sent", "connected", "written to a connection with %1");
    row("never-accept", "sent", "connected", "written to a connection with %1");
    row("full", "unknown", "closed",
        "written to a connection with %1, which then took a connection and closed it at once");
    row("hang-up", "unknown", "closed",
        "written to a connection with %1, which then took a connection and closed it at once");
    row("refuse", "not-sent", "", "%1 could not be connected to");
    row("off", "not-sent", "", "%1 could not be connected to");
}

void ClientRobot::confirmedJobs()
{
    QFETCH(QString, robot);
    QFETCH(QString, outcome);
    QFETCH(QString, probe);
    QFETCH(QString, reason);
    const FreshSite site;
    site.addCompany(text("HX"), text("甲"));
    Samples::JobRequest request;
    request.directory = site.path(text("batch/甲"));
    request.name = text("board");
    QVERIFY(Samples::generateJob(request).ok());
    OperatedPanel panel;
    panel.importBatch(site.path(text("batch")));
    const RobotAtSite peer(site, robot);
    const ClientRun client = run(site, {text("--import"), text("HX000001")});
    const bool sent = outcome == text("sent");
    QVERIFY2(client.exitCode == (sent ? 0 : 1), client.everything().constData());
    QCOMPARE(client.output.contains(text("sent: HX000001")), sent);
    QCOMPARE(client.output.contains(text("robot: ")), !sent);
    if (!sent)
        QVERIFY2(client.output.contains(reason.arg(peer.place)), client.everything().constData());

    const auto events = eventsOf("HX000001");
    QCOMPARE(int(events.size()), 1);
    QCOMPARE(events.front().outcome, outcome);
    QCOMPARE(events.front().reason, reason.arg(peer.place));
    const QJsonObject detail = events.front().detail;
    QCOMPARE(detail.value(text("origin")).toString(), text("confirmed"));
    QCOMPARE(detail.value(text("probe")).toString(), probe);
    QCOMPARE(detail.value(text("document")).toObject(), Robot::robotRequest(text("HX000001"), false));
    QCOMPARE(stateOf(site, "HX000001"), text("1,2"));
}

void ClientRobot::confirmedJobComesBackAndIsSent()
{
    const FreshSite site;
    site.addCompany(text("HX"), text("甲"));
    Samples::JobRequest request;
    request.directory = site.path(text("batch/甲"));
    request.name = text("board");
    QVERIFY(Samples::generateJob(request).ok());
    OperatedPanel panel;
    panel.importBatch(site.path(text("batch")));
    {
        const RobotAtSite off(site, text("off"));
        const ClientRun client = run(site, {text("--import"), text("HX000001")});
        QCOMPARE(client.exitCode, 1);
        QVERIFY2(client.output.contains(
                     text("robot: the request of HX000001 was not sent (%1 could not be connected to")
                         .arg(off.place)),
                 client.everything().constData());
    }
    QCOMPARE(stateOf(site, "HX000001"), text("1,2"));
    QCOMPARE(waiting(), QString());
    const AdminOutcome shown = runAdmin(site.configuration(), {text("job"), text("show"), text("HX000001")});
    QVERIFY2(shown.out.contains(text("not-sent; ")), qPrintable(shown.out));

    QCOMPARE(
        runAdmin(site.configuration(), {text("job"), text("requeue"), text("HX000001"), text("--yes")}).code,
        Admin::ExitCode::Success);
    QCOMPARE(waiting(), text("HX000001"));
    RobotAtSite on(site, text("on"));
    const ClientRun again = run(site, {text("--import"), text("HX000001")});
    QVERIFY2(again.exitCode == 0, again.everything().constData());
    QTRY_VERIFY(on.program->lines().join(' ').contains("HX000001"));
    const auto events = eventsOf("HX000001");
    QCOMPARE(int(events.size()), 3);
    QCOMPARE(events.at(0).outcome, text("not-sent"));
    QCOMPARE(events.at(1).kind, text("requeue"));
    QCOMPARE(events.at(2).outcome, text("sent"));
}

void ClientRobot::singleSavedJobInTheWindow()
{
    const FreshSite fresh;
    fresh.addCompany(text("AB"), text("甲"));
    const RobotAtSite peer(fresh, text("off"));
    writeFile(fresh.path(text("one.kos")).toStdString(), "one");
    Host::SiteAccess site(fresh.configuration());
    QCOMPARE(site.open(), QString());
    Host::ServiceLog log;
    Host::MainWindow window(site, log);
    window.show();
    const PanelView panel(*window.importPanel());
    DialogDriver dialogs;
    panel.company->setCurrentText(text("甲"));
    dialogs.expectFileDialog({fresh.path(text("one.kos"))});
    QTest::mouseClick(panel.openFile, Qt::LeftButton);
    dialogs.expectMessage();
    QTest::mouseClick(panel.singleImport, Qt::LeftButton);
    QCOMPARE(dialogs.complaint(), QString());

    const auto events = eventsOf("AB000001");
    QCOMPARE(int(events.size()), 1);
    QCOMPARE(events.front().outcome, text("not-sent"));
    QTRY_VERIFY2(
        linesOf(log).contains(text("one.kos: %1\nits request did not reach the robot: after the import "
                                   "%2 refused a connection")
                                  .arg(Host::reasonText(text("robot-not-sent")), peer.place)),
        qPrintable(linesOf(log)));
}

void ClientRobot::nameIsWarnedOfAtTheStart()
{
    const FreshSite fresh;
    for (const char* host : {"127.0.0.1", "robot.plant.example"}) {
        fresh.configure(text("robot/host"), text(host));
        Host::SiteAccess site(fresh.configuration());
        QCOMPARE(site.open(), QString());
        Host::ServiceLog log;
        const Host::MainWindow window(site, log);
        // Lines are shown in the order in which they come.
        log.add(QtInfoMsg, text("test"), text("last line"));
        QTRY_VERIFY(linesOf(log).contains(text("last line")));
        const QString warning =
            text("The robot's address robot/host = %1 is not a numeric one").arg(text(host));
        QCOMPARE(linesOf(log).contains(warning), qstrcmp(host, "127.0.0.1") != 0);
    }
}

ZAV_REGISTER_TEST(client_robot, ClientRobot, QApplication)

#include "client_robot.moc"
