#include "admin/Application.h"
#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/records/RobotRequests.h"
#include "robot/RobotRequest.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobCompressBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"
#include "services/common/Common.h"
#include "services/ui/ZAV_StdCommon.h"
#include "tests/support/AdminSession.h"
#include "tests/support/FreshSite.h"
#include "tests/support/RobotClient.h"
#include "tests/support/RobotProgram.h"
#include "tests/support/ScriptedRobot.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Test;
using namespace KOZAV::DataLib;
using Admin::ExitCode;
using Backend::RobotOrigin;
using Backend::RobotOutcome;
using Backend::Site;

Q_DECLARE_METATYPE(ExitCode)

namespace {

using After = ScriptedRobot::After;

Backend::Database& database()
{
    return *Site::current().database().value();
}

QString waiting()
{
    QStringList names;
    for (const Model::Odbpp_Job_C& job : UI::ZAV_StdCommon::interface()->getInputJobList())
        names << QString::fromStdString(job.jobName);
    return names.join(QLatin1Char(' '));
}

} // namespace

Q_DECLARE_METATYPE(KOZAV::Test::ScriptedRobot::After)

/// Jobs that went to the robot: back on the waiting list, and their requests sent again.
class AdminRobotTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void aRequeuedJobWaitsAgain();
    void withoutYesNothingIsRequeued();
    void aBatchIsRequeuedAsFarAsItIsAtTheRobot();
    void jobsThatAreNotAtTheRobotAreRefused_data();
    void jobsThatAreNotAtTheRobotAreRefused();
    void aJobThatChangesMeanwhileStays();

    void outcomesOfARequestThatIsSentAgain_data();
    void outcomesOfARequestThatIsSentAgain();
    void aRobotThatIsOff();
    void aNameThatLeadsNowhere();
    void aNameIsLookedUp();
    void anAnswerInPieces();
    void theRequestIsTheOneThatWasMade_data();
    void theRequestIsTheOneThatWasMade();
    void withoutYesNothingIsSent();
    void allRequestsOfABatchAreSent();
    void aStandInThatIsFull();
    void mistakesAreNamed_data();
    void mistakesAreNamed();

    void aNameAsAddressIsWarnedOf_data();
    void aNameAsAddressIsWarnedOf();

private:
    [[nodiscard]] AdminOutcome run(const QString& line) const;
    /// Imports a job of company AB, of batch 7, and hands it to the robot. @return its flow key
    std::string importJob(const char* suffix = "tgz", bool toRobot = true, bool complete = true) const;
    [[nodiscard]] QString stateOf(const char* name) const;
    /// The events of a job, oldest first.
    [[nodiscard]] QJsonArray events(const char* job) const;
    void useRobot(quint16 port) const { m_site->configure(text("robot/port"), QString::number(port)); }

    std::unique_ptr<FreshSite> m_site;
};

void AdminRobotTest::init()
{
    m_site = std::make_unique<FreshSite>();
    m_site->addCompany(text("AB"), text("Acme"));
}

void AdminRobotTest::cleanup()
{
    m_site.reset();
}

AdminOutcome AdminRobotTest::run(const QString& line) const
{
    return runAdmin(m_site->configuration(), line.split(QLatin1Char(' ')));
}

std::string AdminRobotTest::importJob(const char* suffix, bool toRobot, bool complete) const
{
    const Model::Odbpp_Company company = m_site->company(text("AB"));
    const int number = company.jobCount + 1;
    std::string label = company.companyLabel;
    BLL::Odbpp_CompanyBll().inputCompanies(label, 1, number);
    const std::string name = text("AB%1").arg(number, 6, 10, QLatin1Char('0')).toStdString();
    const std::string stored = name + '.' + suffix;
    const auto config = Common::commonInterface()->getConfig();
    writeFile(m_site->path(text("source")).toStdString(), QByteArray::fromStdString(name));
    Common::MongodbPut(config.mongoDbName, config.mongoFsName, m_site->path(text("source")).toStdString(),
                       stored);
    const std::string guid = Common::commonInterface()->getGUID();
    BLL::Odbpp_OrigFilesBll().inputOrigFile(guid, "board", stored, suffix, "AB", 0, 1);
    BLL::Odbpp_JobFlowBll flows;
    const std::string key = flows.insertflowbeforeorigfile("board", 1, "F1", name);
    flows.UpdateOrigFileGuid(guid, key);
    flows.updateUploadBatchNum(7, key);
    if (complete)
        BLL::Odbpp_JobCompressBll().inputJobCompress(company.companyLabel, "AB", company.companyId, "board",
                                                     key, stored, suffix, "", config.mongoFsName, 1, number);
    if (toRobot)
        flows.UpdateState(1, 1, 2, key);
    return key;
}

QString AdminRobotTest::stateOf(const char* name) const
{
    for (const Backend::JobRecord& job : m_site->jobs())
        if (job.generatedName == text(name))
            return text("%1,%2").arg(job.state).arg(job.subState);
    return {};
}

QJsonArray AdminRobotTest::events(const char* job) const
{
    return run(text("job show %1 --json").arg(text(job))).json().value(text("events")).toArray();
}

void AdminRobotTest::aRequeuedJobWaitsAgain()
{
    importJob("kos");
    importJob();
    QCOMPARE(waiting(), QString());
    const AdminOutcome done = run(text("job requeue AB000001 --reason robot-was-off --yes"));
    QCOMPARE(done.err, QString());
    QCOMPARE(done.code, ExitCode::Success);
    QVERIFY2(done.out.contains(text("waits again")), qPrintable(done.out));
    QCOMPARE(waiting(), text("AB000001"));
    QCOMPARE(stateOf("AB000002"), text("1,2"));

    const QJsonObject event = events("AB000001").last().toObject();
    QCOMPARE(event.value(text("kind")).toString(), text("requeue"));
    QCOMPARE(event.value(text("reason")).toString(), text("robot-was-off"));
    QCOMPARE(event.value(text("detail")).toObject(),
             (QJsonObject{{text("state"), 1}, {text("sub_state"), 2}}));
    QVERIFY(run(text("job show AB000001")).out.contains(text("requeue")));
}

void AdminRobotTest::withoutYesNothingIsRequeued()
{
    importJob();
    const AdminOutcome asked = run(text("job requeue AB000001"));
    QCOMPARE(asked.code, ExitCode::Usage);
    QVERIFY2(asked.out.contains(text("would wait again")), qPrintable(asked.out));
    QVERIFY2(asked.err.contains(text("nothing has been changed")), qPrintable(asked.err));
    QCOMPARE(stateOf("AB000001"), text("1,2"));
    QVERIFY(events("AB000001").isEmpty());
}

void AdminRobotTest::aBatchIsRequeuedAsFarAsItIsAtTheRobot()
{
    importJob("tgz", false);
    importJob("kos");
    importJob("kos");
    QCOMPARE(run(text("job requeue --company AB --batch 7 --yes")).code, ExitCode::Success);
    QCOMPARE(waiting(), text("AB000001 AB000002 AB000003"));
    QVERIFY(events("AB000001").isEmpty());
    const AdminOutcome again = run(text("job requeue --company AB --batch 7 --yes"));
    QCOMPARE(again.code, ExitCode::NotFound);
    QVERIFY2(again.err.contains(text("no job of the batch is with the robot")), qPrintable(again.err));
}

void AdminRobotTest::jobsThatAreNotAtTheRobotAreRefused_data()
{
    QTest::addColumn<QString>("verb");
    QTest::addColumn<QString>("job");
    QTest::addColumn<QString>("reason");
    for (const char* verb : {"requeue", "resend"}) {
        const auto row = [verb](const char* name, const char* job, const char* reason) {
            QTest::addRow("%s: %s", verb, name) << text(verb) << text(job) << text(reason);
        };
        row("waiting", "AB000001", "AB000001 is in state 0,0, not with the robot (1,2)");
        row("voided", "AB000002", "AB000002 is voided");
        row("half", "AB000003", "the import of AB000003 did not end");
        row("beyond", "AB000004", "AB000004 is in state 2,0, not with the robot (1,2)");
    }
}

void AdminRobotTest::jobsThatAreNotAtTheRobotAreRefused()
{
    QFETCH(QString, verb);
    QFETCH(QString, job);
    QFETCH(QString, reason);
    importJob("tgz", false);
    importJob();
    importJob("kos", true, false);
    const std::string beyond = importJob();
    importJob();
    BLL::Odbpp_JobFlowBll().UpdateState(1, 2, 0, beyond);
    QCOMPARE(run(text("job void AB000002 --reason x --yes --force")).code, ExitCode::Success);

    const AdminOutcome refused = run(text("job %1 AB000005 %2 --yes").arg(verb, job));
    QCOMPARE(refused.code, ExitCode::Usage);
    QVERIFY2(refused.err.contains(reason), qPrintable(refused.err));
    // Nor is anything done for the job that could be.
    QCOMPARE(stateOf("AB000005"), text("1,2"));
    QVERIFY(events("AB000005").isEmpty());
}

void AdminRobotTest::aJobThatChangesMeanwhileStays()
{
    importJob();
    const std::string second = importJob();
    const auto jobs = m_site->jobs();
    BLL::Odbpp_JobFlowBll().UpdateState(1, 2, 0, second);
    const auto requeued = Backend::requeueJobs(database(), jobs, {});
    QCOMPARE(requeued.code(), Backend::ErrorCode::ChangedWhileRead);
    QCOMPARE(stateOf("AB000001"), text("1,2"));
    QCOMPARE(stateOf("AB000002"), text("2,0"));
    QVERIFY(events("AB000001").isEmpty());
}

void AdminRobotTest::outcomesOfARequestThatIsSentAgain_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<After>("after");
    QTest::addColumn<QString>("outcome");
    QTest::addColumn<ExitCode>("code");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* name, const QByteArray& answer, After after, const char* outcome,
                        ExitCode code, const char* reason) {
        QTest::newRow(name) << answer << after << text(outcome) << code << text(reason);
    };
    const auto unknown = ExitCode::Unavailable;
    row("accepts", "{\"accepted\":true}\n", After::Stay, "answered", ExitCode::Success,
        "answered {\"accepted\":true}");
    row("answers in its own way", "[1, {\"id\": 7}]", After::Close, "answered", ExitCode::Success,
        "answered [1,{\"id\":7}]");
    row("answers twice at once", "{\"a\":1}\n{\"b\":2}\n", After::Stay, "answered", ExitCode::Success,
        "answered {\"a\":1}");
    row("refuses", "{\"accepted\":false,\"reason\":\"busy\"}\n", After::Stay, "refused", ExitCode::Failure,
        "\"reason\":\"busy\"");
    row("never answers", "", After::Stay, "no-answer", unknown, "sent no answer within 1 s");
    row("hangs up", "", After::Close, "no-answer", unknown, "sent no answer before the connection ended");
    row("half an answer", "{\"accepted\":", After::Stay, "unknown", unknown,
        "sent no whole answer within 1 s");
    row("half an answer, then the end", "{\"accepted\":", After::Close, "unknown", unknown,
        "sent no whole answer before the connection ended");
    row("rubbish", "\x80\xff ok\r\n", After::Stay, "unknown", unknown, "no JSON document");
    row("rubbish in brackets", "{accepted}", After::Stay, "unknown", unknown,
        "sent no whole answer within 1 s");
    row("very much", "[" + QByteArray(4 << 20, ' '), After::Stay, "unknown", unknown,
        "sent more than 16384 bytes");
    row("very deep", QByteArray(5000, '['), After::Stay, "unknown", unknown, "sent no whole answer");
    row("resets", "", After::Reset, "no-answer", unknown, "sent no answer before the connection ended");
    row("resets in mid-answer", "{\"acc", After::Reset, "unknown", unknown, "sent no whole answer");
}

void AdminRobotTest::outcomesOfARequestThatIsSentAgain()
{
    QFETCH(QByteArray, answer);
    QFETCH(After, after);
    QFETCH(QString, outcome);
    QFETCH(ExitCode, code);
    QFETCH(QString, reason);
    importJob();
    const ScriptedRobot robot(answer, after);
    useRobot(robot.port());
    QElapsedTimer elapsed;
    elapsed.start();
    const AdminOutcome resent = run(text("job resend AB000001 --timeout 1 --yes --json"));
    QVERIFY(elapsed.elapsed() < 10'000);
    QCOMPARE(resent.code, code);
    const QJsonObject job = resent.json().value(text("jobs")).toArray().first().toObject();
    QCOMPARE(job.value(text("outcome")).toString(), outcome);
    QVERIFY2(job.value(text("reason")).toString().contains(reason),
             qPrintable(job.value(text("reason")).toString()));
    QCOMPARE(job.value(text("recorded")), QJsonValue(true));

    const QJsonObject event = events("AB000001").last().toObject();
    QCOMPARE(event.value(text("kind")).toString(), text("robot"));
    QCOMPARE(event.value(text("outcome")).toString(), outcome);
    QCOMPARE(event.value(text("subject")).toString(), text("AB000001"));
    const QJsonObject detail = event.value(text("detail")).toObject();
    QCOMPARE(detail.value(text("origin")).toString(), text("resent"));
    QCOMPARE(detail.value(text("port")).toInt(), int(robot.port()));
    QVERIFY(detail.value(text("requested")).toString().startsWith(QLatin1String("20")));
    QCOMPARE(stateOf("AB000001"), text("1,2"));
    QCOMPARE(robot.received(), compactRequest(text("AB000001")));
}

void AdminRobotTest::aRobotThatIsOff()
{
    importJob();
    useRobot(ScriptedRobot::closedPort());
    const AdminOutcome resent = run(text("job resend AB000001 --yes"));
    QCOMPARE(resent.code, ExitCode::Unavailable);
    QVERIFY2(resent.out.contains(text("not-sent")), qPrintable(resent.out));
    QVERIFY2(resent.err.contains(text("cannot be connected to: Connection refused")), qPrintable(resent.err));
    QVERIFY(!resent.err.contains(text("may have the request")));
    QVERIFY(run(text("job show AB000001")).out.contains(text("not-sent; ")));
}

void AdminRobotTest::aNameThatLeadsNowhere()
{
    importJob();
    m_site->configure(text("robot/host"), text("robot.invalid"));
    const AdminOutcome resent = run(text("job resend AB000001 --timeout 2 --yes"));
    QCOMPARE(resent.code, ExitCode::Unavailable);
    QVERIFY2(resent.err.contains(text("the name robot.invalid leads to no address")), qPrintable(resent.err));
    QCOMPARE(events("AB000001").last().toObject().value(text("outcome")).toString(), text("not-sent"));
}

void AdminRobotTest::aNameIsLookedUp()
{
    importJob();
    const ScriptedRobot robot("{}", After::Stay);
    useRobot(robot.port());
    m_site->configure(text("robot/host"), text("localhost"));
    const AdminOutcome resent = run(text("job resend AB000001 --yes"));
    QVERIFY2(resent.code == ExitCode::Success, qPrintable(resent.err));
}

void AdminRobotTest::anAnswerInPieces()
{
    importJob();
    const ScriptedRobot robot("{\"accepted\": true, \"text\": \"}]\"}", After::Stay,
                              ScriptedRobot::Pace::ByteByByte);
    useRobot(robot.port());
    const AdminOutcome resent = run(text("job resend AB000001 --yes"));
    QVERIFY2(resent.code == ExitCode::Success, qPrintable(resent.err));
}

void AdminRobotTest::theRequestIsTheOneThatWasMade_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<int>("made");
    QTest::addColumn<bool>("fromWeb");
    QTest::addColumn<QByteArray>("request");
    const int nothing = -1;
    const int saved = static_cast<int>(RobotOrigin::Saved);
    const int confirmed = static_cast<int>(RobotOrigin::Confirmed);
    QTest::newRow("saved job") << text("kos") << nothing << false << indentedRequest(text("ab000001"));
    QTest::newRow("archive") << text("tgz") << nothing << false << compactRequest(text("AB000001"));
    QTest::newRow("saved job, as told") << text("kos") << saved << false << indentedRequest(text("ab000001"));
    QTest::newRow("saved job that was confirmed")
        << text("kos") << confirmed << false << compactRequest(text("AB000001"));
    QTest::newRow("from the web") << text("tgz") << confirmed << true
                                  << compactRequest(text("AB000001"), true);
}

void AdminRobotTest::theRequestIsTheOneThatWasMade()
{
    QFETCH(QString, suffix);
    QFETCH(int, made);
    QFETCH(bool, fromWeb);
    QFETCH(QByteArray, request);
    const std::string key = importJob(suffix.toLatin1().constData());
    if (made >= 0) {
        Backend::RobotRequestRecord before;
        before.origin = static_cast<RobotOrigin>(made);
        before.flowGuid = QString::fromStdString(key);
        before.generatedName = text("AB000001");
        before.document = Robot::robotRequest(text("AB000001"), fromWeb);
        QVERIFY(Backend::addRobotRequest(database(), before).ok());
    }
    // What was sent again before is not asked.
    for (int time = 0; time < 2; ++time) {
        const ScriptedRobot robot("{}", After::Stay);
        useRobot(robot.port());
        QCOMPARE(run(text("job resend AB000001 --yes")).code, ExitCode::Success);
        QCOMPARE(robot.received(), request);
    }
    QCOMPARE(events("AB000001").last().toObject().value(text("detail")).toObject().value(text("document")),
             QJsonValue(QJsonDocument::fromJson(request).object()));
}

void AdminRobotTest::withoutYesNothingIsSent()
{
    importJob("kos");
    const ScriptedRobot robot("{}", After::Stay);
    useRobot(robot.port());
    const AdminOutcome asked = run(text("job resend AB000001"));
    QCOMPARE(asked.code, ExitCode::Usage);
    QVERIFY2(asked.out.contains(text("ab000001")), qPrintable(asked.out));
    QVERIFY2(asked.out.contains(text("would be sent")), qPrintable(asked.out));
    QCOMPARE(robot.connectionCount(), 0);
    QVERIFY(events("AB000001").isEmpty());
}

void AdminRobotTest::allRequestsOfABatchAreSent()
{
    importJob("kos");
    importJob("tgz", false);
    importJob("kos");
    RobotProgram robot({text("--port"), text("0")});
    useRobot(robot.port());
    const AdminOutcome resent = run(text("job resend --company Acme --batch 7 --yes"));
    QVERIFY2(resent.code == ExitCode::Success, qPrintable(resent.err));
    QTRY_COMPARE(robot.lines().size(), 2);
    QVERIFY2(robot.lines().at(0).contains("jobname=\"ab000001\""), robot.lines().at(0).constData());
    QVERIFY2(robot.lines().at(1).contains("jobname=\"ab000003\""), robot.lines().at(1).constData());
}

/// Idle connections hold all places: the connection stands for a moment, and nothing is answered.
void AdminRobotTest::aStandInThatIsFull()
{
    importJob();
    RobotProgram robot({text("--port"), text("0")});
    const quint16 port = robot.port();
    std::vector<std::unique_ptr<RobotClient>> idle;
    for (int i = 0; i < 32; ++i)
        idle.push_back(std::make_unique<RobotClient>(port));
    useRobot(port);
    const AdminOutcome resent = run(text("job resend AB000001 --timeout 5 --yes --json"));
    QCOMPARE(resent.code, ExitCode::Unavailable);
    const QJsonObject job = resent.json().value(text("jobs")).toArray().first().toObject();
    const QString outcome = job.value(text("outcome")).toString();
    // Which of the two depends on when the end of the connection arrives.
    QVERIFY2(outcome == text("no-answer") || outcome == text("not-sent"), qPrintable(outcome));
    QVERIFY2(!robot.lines().join(' ').contains("AB000001"), "it was taken");
    idle.clear();
    const auto again = [&] { return run(text("job resend AB000001 --timeout 5 --yes")).code; };
    QTRY_COMPARE(again(), ExitCode::Success);
}

void AdminRobotTest::mistakesAreNamed_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<ExitCode>("code");
    QTest::addColumn<QString>("message");
    const auto row = [](const char* line, ExitCode code, const char* message) {
        QTest::newRow(line) << text(line) << code << text(message);
    };
    row("job requeue", ExitCode::Usage, "accepted are generated job names");
    row("job requeue AB000009", ExitCode::NotFound, "there is no job \"AB000009\"");
    row("job resend AB000009 --yes", ExitCode::NotFound, "there is no job \"AB000009\"");
    row("job resend AB000001 --timeout 0", ExitCode::Usage, "--timeout is \"0\"");
    row("job resend AB000001 --timeout 1h", ExitCode::Usage, "--timeout is \"1h\"");
    row("job resend AB000001 --company AB --batch 7", ExitCode::Usage, "and not both");
}

void AdminRobotTest::mistakesAreNamed()
{
    QFETCH(QString, line);
    QFETCH(ExitCode, code);
    QFETCH(QString, message);
    importJob();
    const AdminOutcome outcome = run(line);
    QCOMPARE(outcome.code, code);
    QVERIFY2(outcome.err.contains(message), qPrintable(outcome.err));
}

void AdminRobotTest::aNameAsAddressIsWarnedOf_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<bool>("warned");
    QTest::newRow("IPv4") << text("127.0.0.1") << false;
    QTest::newRow("IPv6") << text("::1") << false;
    QTest::newRow("name") << text("localhost") << true;
    QTest::newRow("domain") << text("robot.plant.example") << true;
    QTest::newRow("with port") << text("127.0.0.1:9000") << true;
}

void AdminRobotTest::aNameAsAddressIsWarnedOf()
{
    QFETCH(QString, host);
    QFETCH(bool, warned);
    const QString warning = text("robot/host is \"%1\", not a numeric address").arg(host);
    const AdminOutcome set = run(text("config set robot/host %1").arg(host));
    QCOMPARE(set.code, ExitCode::Success);
    QCOMPARE(set.out.contains(warning), warned);
    QCOMPARE(run(text("config set robot/host %1 --json").arg(host)).json().contains(text("warning")), warned);

    const AdminOutcome ping = run(text("ping"));
    QVERIFY2(ping.code == ExitCode::Success, qPrintable(ping.err));
    QCOMPARE(ping.out.contains(warning), warned);
    QCOMPARE(run(text("ping --json")).json().value(text("warnings")).toArray().size(), warned ? 1 : 0);
}

ZAV_REGISTER_TEST(admin_robot, AdminRobotTest, QCoreApplication)

#include "admin_robot.moc"
