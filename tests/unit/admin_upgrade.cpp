// A site of version 1 of the schema in the hands of an administrator: it is given its identity, its rows are
// filled, and from then on its files are compared with them.

#include "backend/store/DocumentStore.h"
#include "tests/support/AdminSession.h"
#include "tests/support/FreshSite.h"
#include "tests/support/OldSite.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QTest>

using namespace KOZAV;
using namespace KOZAV::Test;
using Admin::ExitCode;

class AdminUpgradeTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void aSiteOfVersionOneIsTakenOver();
    void itsRowsAreFilledByACheck();
    void itsFilesAreComparedAfterwards();
    void aStoreOfOtherFilesIsRefused();

private:
    [[nodiscard]] static QVector<QJsonObject> jobs(const OldSite& site)
    {
        QVector<QJsonObject> jobs;
        const QJsonArray list = runAdmin(site.configuration(), {text("jobs"), text("--json")})
                                    .json()
                                    .value(text("jobs"))
                                    .toArray();
        for (const QJsonValue& job : list)
            jobs << job.toObject();
        return jobs;
    }
};

namespace {

AdminOutcome check(const OldSite& site)
{
    return runAdmin(site.configuration(),
                    {text("check"), text("--read-data"), text("--settle=0"), text("--json")});
}

AdminOutcome get(const OldSite& site, const QString& job)
{
    return runAdmin(site.configuration(), {text("get"), job, site.path(text("back")), text("--force")});
}

} // namespace

void AdminUpgradeTest::aSiteOfVersionOneIsTakenOver()
{
    const OldSite site;
    QCOMPARE(site.settings().siteId, QString());
    const AdminOutcome listed = runAdmin(site.configuration(), {text("jobs")});
    QCOMPARE(listed.err, QString());
    QCOMPARE(jobs(site).size(), 6);
    const QString identity = site.settings().siteId;
    QVERIFY(!identity.isEmpty());
    const PlainConnection rows(site.databaseFile());
    QCOMPARE(rows.value(text("SELECT version FROM schema_version")).toInt(), 4);
    QCOMPARE(rows.value(text("SELECT identity FROM site")).toString(), identity);
    const auto settings = site.settings().documentStore;
    const auto store = Backend::openDocumentStore(settings);
    QVERIFY2(store.ok(), qPrintable(store.message()));
    QCOMPARE(store.value()->siteMark(Backend::storeLocation(settings)).value(), identity);
}

void AdminUpgradeTest::itsRowsAreFilledByACheck()
{
    const OldSite site;
    for (const QJsonObject& job : jobs(site)) {
        QVERIFY(job.value(text("stored_sha256")).isNull());
        QCOMPARE(get(site, job.value(text("generated_name")).toString()).code, ExitCode::Success);
    }
    const AdminOutcome checked = check(site);
    QCOMPARE(checked.json().value(text("files_read")).toInt(), 7);
    // The two imports that did not come to their end are told, and the batch that was never closed.
    QStringList told;
    for (const QJsonValue& finding : checked.json().value(text("findings")).toArray())
        told << finding[text("kind")].toString() + QLatin1Char(' ') + finding[text("job")].toString();
    told.sort();
    QCOMPARE(told, QStringList({text("batch-behind "), text("half-import AC000003"),
                                text("import-failed AC000002")}));
    for (const QJsonObject& job : jobs(site)) {
        const QString name = job.value(text("generated_name")).toString();
        QVERIFY(job.value(text("stored_length")).toInt() > 0);
        QCOMPARE(job.value(text("stored_sha256")).toString().size(), 64);
        QCOMPARE(job.value(text("content_sha256")).toString().size(),
                 name == text("HX000001") || name == text("HX000002") ? 64 : 0);
        QCOMPARE(get(site, name).code, ExitCode::Success);
    }
    QCOMPARE(jobs(site).at(1).value(text("content_length")).toInt(), 41);
    QCOMPARE(PlainConnection(site.databaseFile())
                 .value(text("SELECT count(*) FROM orig_file WHERE stored_sha256 IS NULL"))
                 .toInt(),
             0);
}

void AdminUpgradeTest::itsFilesAreComparedAfterwards()
{
    const OldSite site;
    (void)check(site);
    const QString one = jobs(site).at(0).value(text("stored_name")).toString();
    const QString other = jobs(site).at(1).value(text("stored_name")).toString();
    swapStoredFiles(site.configuration(), one, other);
    const AdminOutcome refused = get(site, text("HX000001"));
    QCOMPARE(refused.code, ExitCode::Corrupt);
    QVERIFY2(refused.err.contains(text("\"HX000001\"")), qPrintable(refused.err));
    QCOMPARE(get(site, text("AC000001")).code, ExitCode::Success);
}

/// Before rows and files are known to be one site's, they are compared.
void AdminUpgradeTest::aStoreOfOtherFilesIsRefused()
{
    const OldSite site;
    QVERIFY(QDir(site.path(text("store"))).removeRecursively());
    QVERIFY(QDir().mkpath(site.path(text("store/zav_import/odbpp"))));
    const AdminOutcome refused = runAdmin(site.configuration(), {text("jobs")});
    QCOMPARE(refused.code, ExitCode::Configuration);
    QCOMPARE(site.settings().siteId, QString());
    QCOMPARE(PlainConnection(site.databaseFile()).value(text("SELECT count(*) FROM site")).toInt(), 0);
}

ZAV_REGISTER_TEST(admin_upgrade, AdminUpgradeTest, QCoreApplication)

#include "admin_upgrade.moc"
