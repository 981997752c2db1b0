#include "admin/Application.h"
#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/records/JobListing.h"
#include "backend/records/JobVoiding.h"
#include "backend/records/SiteEvents.h"
#include "backend/store/DocumentStore.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobCompressBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"
#include "services/common/Common.h"
#include "services/ui/ZAV_StdCommon.h"
#include "tests/support/AdminSession.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QRegularExpression>
#include <QTest>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Test;
using namespace KOZAV::DataLib;
using Admin::ExitCode;
using Backend::ErrorCode;
using Backend::Site;
using Backend::Status;

Q_DECLARE_METATYPE(ExitCode)

namespace {

Backend::StoreLocation location()
{
    return storeLocation(Site::current().settings()->documentStore);
}

Backend::DocumentStore& store()
{
    return *Site::current().documentStore().value();
}

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

/// Imports taken back, and that taken back.
class AdminJobVoidingTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void aVoidedJobIsOutOfTheWay();
    void withoutYesNothingChanges();
    void aVoidedJobComesBackAsItWas();
    void jobsAtTheRobotNeedForce();
    void aBatchIsVoidedWhole();
    void numbersAreNotGivenAgain();
    void aFileThatAnotherJobNeedsStays();
    void filesInUseAreFoundByTheirIndexes();
    void aSecondRunCompletesAnInterruptedOne();
    void aPurgedFileKeepsTheJobVoided();
    void aHalfImportIsVoided();
    void aJobThatChangesMeanwhileEndsTheRun();
    void noClientBringsAVoidedJobBack();
    void aRunningImportThatIsVoidedEndsWithoutItsLastRow();
    void mistakesAreNamed_data();
    void mistakesAreNamed();

private:
    [[nodiscard]] AdminOutcome run(const QString& line) const;
    /// Imports a job of company AB. @return its flow key
    std::string importJob(int batch, const std::string& storedName = {}, bool complete = true) const;
    [[nodiscard]] QString stateOf(const char* name) const;

    std::unique_ptr<FreshSite> m_site;
};

void AdminJobVoidingTest::init()
{
    m_site = std::make_unique<FreshSite>();
    m_site->addCompany(text("AB"), text("Acme"));
}

void AdminJobVoidingTest::cleanup()
{
    m_site.reset();
}

AdminOutcome AdminJobVoidingTest::run(const QString& line) const
{
    return runAdmin(m_site->configuration(), line.split(QLatin1Char(' ')));
}

std::string AdminJobVoidingTest::importJob(int batch, const std::string& storedName, bool complete) const
{
    const Model::Odbpp_Company company = m_site->company(text("AB"));
    const int number = company.jobCount + 1;
    std::string label = company.companyLabel;
    BLL::Odbpp_CompanyBll().inputCompanies(label, 1, number);
    const std::string name = text("AB%1").arg(number, 6, 10, QLatin1Char('0')).toStdString();
    const std::string stored = storedName.empty() ? name + ".tgz" : storedName;
    const auto config = Common::commonInterface()->getConfig();
    if (storedName.empty()) {
        writeFile(m_site->path(text("source")).toStdString(), QByteArray::fromStdString(name));
        Common::MongodbPut(config.mongoDbName, config.mongoFsName, m_site->path(text("source")).toStdString(),
                           stored);
    }
    const std::string guid = Common::commonInterface()->getGUID();
    BLL::Odbpp_OrigFilesBll().inputOrigFile(guid, "board", stored, "tgz", "AB", 0, 1);
    BLL::Odbpp_JobFlowBll flows;
    const std::string key = flows.insertflowbeforeorigfile("board", 1, "F1", name);
    flows.UpdateOrigFileGuid(guid, key);
    flows.updateUploadBatchNum(batch, key);
    if (complete)
        BLL::Odbpp_JobCompressBll().inputJobCompress(company.companyLabel, "AB", company.companyId, "board",
                                                     key, stored, "tgz", "", config.mongoFsName, 1, number);
    return key;
}

QString AdminJobVoidingTest::stateOf(const char* name) const
{
    for (const Backend::JobRecord& job : m_site->jobs())
        if (job.generatedName == text(name))
            return text("%1,%2").arg(job.state).arg(job.subState);
    return {};
}

void AdminJobVoidingTest::aVoidedJobIsOutOfTheWay()
{
    importJob(1);
    importJob(1);
    const AdminOutcome done = run(text("job void AB000001 --reason wrong-customer --yes"));
    QCOMPARE(done.err, QString());
    QCOMPARE(done.code, ExitCode::Success);
    QVERIFY2(done.out.contains(text("to quarantine")), qPrintable(done.out));

    QCOMPARE(waiting(), text("AB000002"));
    QCOMPARE(m_site->storedNames(), QStringList(text("AB000002.tgz")));
    const QJsonArray listed = run(text("--json jobs --state voided")).json().value(text("jobs")).toArray();
    QCOMPARE(listed.size(), 1);
    QCOMPARE(listed.at(0).toObject().value(text("generated_name")).toString(), text("AB000001"));
    QVERIFY(run(text("jobs")).out.contains(text("voided")));
    QCOMPARE(run(text("get AB000001 ") + m_site->path(text("out"))).code, ExitCode::NotFound);

    const QJsonObject shown = run(text("--json job show AB000001")).json();
    QCOMPARE(shown.value(text("job")).toObject().value(text("state")).toInt(), -2);
    const QJsonObject file = shown.value(text("stored_file")).toObject();
    QCOMPARE(file.value(text("place")).toString(), text("quarantined"));
    QCOMPARE(file.value(text("bytes")).toInt(), 8);
    const QJsonArray events = shown.value(text("events")).toArray();
    QCOMPARE(events.size(), 1);
    const QJsonObject event = events.at(0).toObject();
    QCOMPARE(event.value(text("kind")).toString(), text("void"));
    QCOMPARE(event.value(text("reason")).toString(), text("wrong-customer"));
    QVERIFY(!event.value(text("user_name")).toString().isEmpty());
    QCOMPARE(event.value(text("detail")).toObject().value(text("state")).toInt(-9), 0);
    const QString timeline = run(text("job show AB000001")).out;
    QVERIFY2(timeline.contains(text("wrong-customer")) && timeline.contains(text("quarantined")),
             qPrintable(timeline));
}

void AdminJobVoidingTest::withoutYesNothingChanges()
{
    importJob(1);
    const AdminOutcome asked = run(text("job void AB000001 --reason r"));
    QCOMPARE(asked.code, ExitCode::Usage);
    QVERIFY2(asked.out.contains(text("would go to quarantine")), qPrintable(asked.out));
    QVERIFY2(asked.err.contains(text("--yes")), qPrintable(asked.err));
    QCOMPARE(waiting(), text("AB000001"));
    QCOMPARE(m_site->storedNames().size(), 1);
    QVERIFY(run(text("--json job show AB000001")).json().value(text("events")).toArray().isEmpty());

    QCOMPARE(run(text("job void AB000001 --reason r --yes")).code, ExitCode::Success);
    const AdminOutcome back = run(text("--json job unvoid AB000001"));
    QCOMPARE(back.code, ExitCode::Usage);
    QCOMPARE(back.json().value(text("dry_run")).toBool(), true);
    QCOMPARE(stateOf("AB000001"), text("-2,-2"));
    QVERIFY(m_site->storedNames().isEmpty());
}

void AdminJobVoidingTest::aVoidedJobComesBackAsItWas()
{
    importJob(1);
    importJob(1);
    const QByteArray before = contentOf(m_site->fetch(m_site->jobs().front()));
    QCOMPARE(run(text("job void AB000001 --reason r --yes")).code, ExitCode::Success);
    const AdminOutcome back = run(text("job unvoid AB000001 --reason mistake --yes"));
    QCOMPARE(back.err, QString());
    QCOMPARE(waiting(), text("AB000001 AB000002"));
    QCOMPARE(contentOf(m_site->fetch(m_site->jobs().front())), before);
    const QJsonArray events = run(text("--json job show AB000001")).json().value(text("events")).toArray();
    QCOMPARE(events.size(), 2);
    QCOMPARE(events.at(1).toObject().value(text("kind")).toString(), text("unvoid"));
    QCOMPARE(events.at(1).toObject().value(text("reason")).toString(), text("mistake"));
    QVERIFY(run(text("job unvoid AB000001 --yes")).out.contains(text("not voided")));
}

void AdminJobVoidingTest::jobsAtTheRobotNeedForce()
{
    const std::string key = importJob(1);
    importJob(1);
    QVERIFY(BLL::Odbpp_JobFlowBll().UpdateState(1, 1, 2, key));
    const AdminOutcome refused = run(text("job void AB000001 AB000002 --reason r --yes"));
    QCOMPARE(refused.code, ExitCode::Usage);
    QVERIFY2(refused.err.contains(text("AB000001")) && !refused.err.contains(text("AB000002")),
             qPrintable(refused.err));
    QCOMPARE(waiting(), text("AB000002"));
    QCOMPARE(run(text("job void AB000001 --reason r --yes --force")).code, ExitCode::Success);
    QCOMPARE(stateOf("AB000001"), text("-2,-2"));
    QCOMPARE(run(text("job unvoid AB000001 --yes")).code, ExitCode::Success);
    QCOMPARE(stateOf("AB000001"), text("1,2"));
}

void AdminJobVoidingTest::aBatchIsVoidedWhole()
{
    m_site->addCompany(text("CD"), text("Cedar"));
    importJob(4);
    importJob(5);
    importJob(4);
    QCOMPARE(run(text("job void --company Acme --batch 4 --reason r --yes")).err, QString());
    QCOMPARE(waiting(), text("AB000002"));
    QCOMPARE(run(text("job void --company CD --batch 4 --reason r --yes")).code, ExitCode::NotFound);
    QCOMPARE(run(text("job unvoid --company AB --batch 4 --yes")).err, QString());
    QCOMPARE(waiting(), text("AB000001 AB000002 AB000003"));
}

void AdminJobVoidingTest::numbersAreNotGivenAgain()
{
    importJob(1);
    QCOMPARE(run(text("job void AB000001 --reason r --yes")).code, ExitCode::Success);
    QCOMPARE(m_site->company(text("AB")).jobCount, 1);
    importJob(1);
    QCOMPARE(waiting(), text("AB000002"));
    QVERIFY(BLL::Odbpp_JobFlowBll().insertflowbeforeorigfile("board", 1, "F1", "AB000001").empty());
}

void AdminJobVoidingTest::aFileThatAnotherJobNeedsStays()
{
    importJob(1);
    importJob(1, "AB000001.tgz");
    const AdminOutcome first = run(text("job void AB000001 --reason r --yes"));
    QVERIFY2(first.out.contains(text("another job needs it")), qPrintable(first.out));
    QCOMPARE(m_site->storedNames(), QStringList(text("AB000001.tgz")));
    QCOMPARE(run(text("job unvoid AB000001 --yes")).code, ExitCode::Success);
    QCOMPARE(run(text("job void AB000001 AB000002 --reason r --yes")).code, ExitCode::Success);
    QVERIFY(m_site->storedNames().isEmpty());
    QCOMPARE(run(text("job unvoid AB000002 --yes")).err, QString());
    QCOMPARE(run(text("job unvoid AB000001 --yes")).err, QString());
    QCOMPARE(waiting(), text("AB000001 AB000002"));
    QCOMPARE(m_site->storedNames().size(), 1);
}

/// The engine keeps the texts of the statements that are prepared: the plan is that of the product's own.
void AdminJobVoidingTest::filesInUseAreFoundByTheirIndexes()
{
    importJob(1);
    const auto jobs = Backend::listJobs(database(), {});
    QVERIFY2(jobs.ok(), qPrintable(jobs.message()));
    Backend::VoidingOrder order;
    order.reason = text("r");
    order.dryRun = true;
    const auto site = Site::current().settings();
    QVERIFY(Backend::voidJobs({database(), store(), site->documentStore}, jobs.value(), order).ok());
    const auto sql = database().value("SELECT sql FROM sqlite_stmt WHERE sql LIKE '%WHERE z.stored_name =%'"
                                      " AND sql NOT LIKE '%sqlite_stmt%'");
    if (!sql.ok())
        QSKIP("this engine does not tell its statements");
    QVERIFY(!sql.value().toString().isEmpty());
    QStringList plan;
    const QByteArray explained = "EXPLAIN QUERY PLAN " + sql.value().toString().toLatin1();
    const Status told = database().query(explained.constData(), {}, [&plan](const QSqlQuery& row) {
        plan << row.value(3).toString();
        return true;
    });
    QVERIFY2(told.ok(), qPrintable(told.message()));
    const QString steps = plan.join(text("; "));
    QVERIFY2(!steps.contains(text("SCAN")), qPrintable(steps));
    for (const char* index : {"z USING INDEX job_compress_stored_name", "o USING INDEX orig_file_stored_name",
                              "f USING INDEX job_flow_orig_file_guid", "f USING INDEX job_flow_last_import"})
        QVERIFY2(steps.contains(QLatin1String(index)), qPrintable(steps));
}

void AdminJobVoidingTest::aSecondRunCompletesAnInterruptedOne()
{
    importJob(1);
    QCOMPARE(run(text("job void AB000001 --reason r --yes")).code, ExitCode::Success);
    // As after an end between the rows and the files.
    QVERIFY(store().restoreQuarantined(location(), "AB000001.tgz").ok());
    const AdminOutcome again = run(text("job void AB000001 --reason r --yes"));
    QVERIFY2(again.out.contains(text("voided before")) && again.out.contains(text("to quarantine")),
             qPrintable(again.out));
    QVERIFY(m_site->storedNames().isEmpty());
    QCOMPARE(run(text("--json job show AB000001")).json().value(text("events")).toArray().size(), 1);

    // As after an end between the files and the rows, on the way back.
    QVERIFY(store().restoreQuarantined(location(), "AB000001.tgz").ok());
    QCOMPARE(run(text("job unvoid AB000001 --yes")).err, QString());
    QCOMPARE(waiting(), text("AB000001"));
}

void AdminJobVoidingTest::aPurgedFileKeepsTheJobVoided()
{
    importJob(1);
    QCOMPARE(run(text("job void AB000001 --reason r --yes")).code, ExitCode::Success);
    QVERIFY(store().purgeQuarantined(location(), "AB000001.tgz").ok());
    const AdminOutcome refused = run(text("job unvoid AB000001 --yes"));
    QCOMPARE(refused.code, ExitCode::NotFound);
    QVERIFY2(refused.err.contains(text("neither stored nor in quarantine")), qPrintable(refused.err));
    QCOMPARE(stateOf("AB000001"), text("-2,-2"));
    const QJsonObject shown = run(text("--json job show AB000001")).json();
    QCOMPARE(shown.value(text("stored_file")).toObject().value(text("place")).toString(), text("missing"));
}

void AdminJobVoidingTest::aHalfImportIsVoided()
{
    importJob(1, {}, false);
    QVERIFY(run(text("jobs --state failed")).out.contains(text("AB000001")));
    QCOMPARE(run(text("job void AB000001 --reason half --yes")).err, QString());
    QVERIFY(!run(text("jobs --state failed")).out.contains(text("AB000001")));
    QVERIFY(m_site->storedNames().isEmpty());
    QCOMPARE(run(text("job unvoid AB000001 --yes")).err, QString());
    QCOMPARE(stateOf("AB000001"), text("0,0"));
    QCOMPARE(waiting(), QString());
    QCOMPARE(m_site->storedNames().size(), 1);
}

void AdminJobVoidingTest::aJobThatChangesMeanwhileEndsTheRun()
{
    importJob(1);
    const std::string key = importJob(1);
    const std::vector<Backend::JobRecord> seen = m_site->jobs();
    QVERIFY(BLL::Odbpp_JobFlowBll().UpdateState(1, 0, 5, key));
    Backend::VoidingOrder order;
    order.reason = text("r");
    const auto done = voidJobs({database(), store(), Site::current().settings()->documentStore}, seen, order);
    QCOMPARE(done.code(), ErrorCode::ChangedWhileRead);
    QVERIFY2(done.message().contains(text("AB000002")), qPrintable(done.message()));
    QCOMPARE(waiting(), text("AB000001"));
    QVERIFY(Backend::listEvents(database())->empty());
    QCOMPARE(m_site->storedNames().size(), 2);
}

void AdminJobVoidingTest::noClientBringsAVoidedJobBack()
{
    const std::string key = importJob(1);
    QCOMPARE(run(text("job void AB000001 --reason r --yes")).code, ExitCode::Success);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(text("the job was voided")));
    QVERIFY(!BLL::Odbpp_JobFlowBll().UpdateState(1, 1, 2, key));
    QCOMPARE(stateOf("AB000001"), text("-2,-2"));
}

void AdminJobVoidingTest::aRunningImportThatIsVoidedEndsWithoutItsLastRow()
{
    const std::string key = importJob(1, {}, false);
    QCOMPARE(run(text("job void AB000001 --reason r --yes")).code, ExitCode::Success);
    const std::string fileStore = Common::commonInterface()->getConfig().mongoFsName;
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(text("inputJobCompress")));
    QVERIFY(!BLL::Odbpp_JobCompressBll().inputJobCompress("Acme", "AB", m_site->company(text("AB")).companyId,
                                                          "board", key, "AB000001.tgz", "tgz", "", fileStore,
                                                          1, 1));
    QCOMPARE(stateOf("AB000001"), text("-2,-2"));
    QCOMPARE(waiting(), QString());
}

void AdminJobVoidingTest::mistakesAreNamed_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<ExitCode>("code");
    QTest::addColumn<QString>("message");
    const auto row = [](const char* name, const char* line, ExitCode code, const char* message) {
        QTest::newRow(name) << text(line) << code << text(message);
    };
    row("no reason", "job void AB000001 --yes", ExitCode::Usage, "needs --reason TEXT");
    row("empty reason", "job void AB000001 --reason= --yes", ExitCode::Usage, "without a reason");
    row("no job", "job void --reason r --yes", ExitCode::Usage,
        "generated job names, or --company and --batch");
    row("both", "job void AB000001 --company AB --batch 1 --reason r --yes", ExitCode::Usage, "and not both");
    row("company alone", "job void --company AB --reason r --yes", ExitCode::Usage, "N above 0");
    row("batch 0", "job void --company AB --batch 0 --reason r --yes", ExitCode::Usage, "N above 0");
    row("unknown job", "job void AB000001 AB000009 --reason r --yes", ExitCode::NotFound,
        "no job \"AB000009\"");
    row("unknown company", "job void --company X --batch 1 --reason r", ExitCode::NotFound, "no company");
    row("show without a job", "job show", ExitCode::Usage, "needs JOB");
    row("unknown job shown", "job show AB000009", ExitCode::NotFound, "no job \"AB000009\"");
}

void AdminJobVoidingTest::mistakesAreNamed()
{
    QFETCH(const QString, line);
    QFETCH(const ExitCode, code);
    QFETCH(const QString, message);
    importJob(1);
    const AdminOutcome refused = run(line);
    QCOMPARE(refused.code, code);
    QVERIFY2(refused.err.contains(message), qPrintable(refused.err));
    QCOMPARE(waiting(), text("AB000001"));
}

ZAV_REGISTER_TEST(admin_job_voiding, AdminJobVoidingTest, QCoreApplication)

#include "admin_job_voiding.moc"
