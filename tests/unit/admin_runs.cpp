// The imports that a site keeps, as an administrator asks for them.

#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/records/ImportRuns.h"
#include "tests/support/AdminSession.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

using namespace KOZAV;
using namespace KOZAV::Backend;
using namespace KOZAV::Test;
using Admin::ExitCode;

class AdminRunsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void runsAreListedNewestFirst();
    void oneRunIsShown();
    void whatIsWrongIsRefused();

private:
    FreshSite m_site;
};

void AdminRunsTest::initTestCase()
{
    for (const char* const guid : {"r1", "r2"}) {
        ImportRun run;
        run.guid = QString::fromLatin1(guid);
        run.source = text("/批量/b");
        run.startTime = run.endTime = text("2026-01-31T08:15:00.123Z");
        run.counts = {{text("failed"), 1}, {text("imported"), 0}};
        run.userName = text("王");
        run.entries = {QJsonObject{{text("company"), text("甲")},
                                   {text("entry"), text("料号.zip")},
                                   {text("outcome"), text("failed")},
                                   {text("reason_code"), text("no-space")}}};
        const auto database = Site::current().database();
        QVERIFY(database.ok());
        QVERIFY(addImportRun(*database.value(), run).ok());
    }
}

void AdminRunsTest::runsAreListedNewestFirst()
{
    const AdminOutcome listed = runAdmin(m_site.configuration(), {text("runs")});
    QVERIFY2(listed.code == ExitCode::Success, qPrintable(listed.err));
    QVERIFY(listed.out.indexOf(text("r2 ")) < listed.out.indexOf(text("r1 ")));
    QVERIFY2(listed.out.contains(text("failed 1")) && !listed.out.contains(text("imported 0")),
             qPrintable(listed.out));
    const AdminOutcome one =
        runAdmin(m_site.configuration(), {text("runs"), text("--runs"), text("1"), text("--json")});
    QCOMPARE(one.json().value(text("runs")).toArray().size(), 1);
    QCOMPARE(one.json().value(text("runs"))[0][text("run")].toString(), text("r2"));
    QCOMPARE(one.json().value(text("runs"))[0][text("entries")].toInt(), 1);
}

void AdminRunsTest::oneRunIsShown()
{
    const AdminOutcome shown = runAdmin(m_site.configuration(), {text("runs"), text("r1")});
    QVERIFY2(shown.code == ExitCode::Success, qPrintable(shown.err));
    QVERIFY2(shown.out.contains(text("料号.zip")) && shown.out.contains(text("no-space")),
             qPrintable(shown.out));
    const AdminOutcome json = runAdmin(m_site.configuration(), {text("runs"), text("r1"), text("--json")});
    QCOMPARE(json.json().value(text("run"))[text("rows")][0][text("entry")].toString(), text("料号.zip"));
}

void AdminRunsTest::whatIsWrongIsRefused()
{
    QCOMPARE(runAdmin(m_site.configuration(), {text("runs"), text("r3")}).code, ExitCode::NotFound);
    for (const char* const number : {"0", "many"})
        QCOMPARE(runAdmin(m_site.configuration(), {text("runs"), text("--runs"), text(number)}).code,
                 ExitCode::Usage);
}

ZAV_REGISTER_TEST(admin_runs, AdminRunsTest, QCoreApplication)

#include "admin_runs.moc"
