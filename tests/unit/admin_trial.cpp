#include "backend/Site.h"
#include "backend/SiteTrial.h"
#include "backend/config/Settings.h"
#include "backend/database/Database.h"
#include "backend/store/DocumentStore.h"
#include "tests/support/AdminSession.h"
#include "tests/support/FreshSite.h"
#include "tests/support/GridFsPeer.h"
#include "tests/support/SiteEngines.h"
#include "tests/support/TestProgram.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Test;
using Admin::ExitCode;
using Backend::Site;

/// The trial of a document store by "init", and that "ping" makes none.
class AdminTrialTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void trialLeavesNothing();
    void storeThatKeepsNoFileIsNamed_data();
    void storeThatKeepsNoFileIsNamed();
    void pingMakesNothing();
    void pingReadsWhatItCallsReachable();

private:
    [[nodiscard]] AdminOutcome run(const char* verb) const;

    std::unique_ptr<FreshSite> m_site;
};

namespace {

Backend::StoreLocation location()
{
    return storeLocation(Site::current().settings()->documentStore);
}

Backend::DocumentStore& store()
{
    return *Site::current().documentStore().value();
}

/// The folder of a local store's location.
QString localFolder(const char* name)
{
    const auto settings = Site::current().settings()->documentStore;
    return QDir(settings.root)
        .filePath(settings.database + QLatin1Char('/') + settings.fileStore + QLatin1Char('/') +
                  QLatin1String(name));
}

} // namespace

void AdminTrialTest::init()
{
    m_site = std::make_unique<FreshSite>();
}

void AdminTrialTest::cleanup()
{
    m_site.reset();
}

AdminOutcome AdminTrialTest::run(const char* verb) const
{
    QBuffer out;
    QBuffer err;
    out.open(QIODevice::WriteOnly);
    err.open(QIODevice::WriteOnly);
    const ExitCode code = Admin::runCommandLine(
        {text("--config"), m_site->configuration(), text("--json"), QLatin1String(verb)}, out, err);
    return {code, QString::fromUtf8(out.data()), QString::fromUtf8(err.data())};
}

void AdminTrialTest::trialLeavesNothing()
{
    for (auto* const trial : {&Backend::tryStore, &Backend::tryNewStore}) {
        const Backend::Status tried = trial(store(), location());
        QVERIFY2(tried.ok(), qPrintable(tried.message()));
        QCOMPARE(m_site->storedNames(), QStringList());
        QVERIFY(store().survey(location())->empty());
    }
}

void AdminTrialTest::storeThatKeepsNoFileIsNamed_data()
{
    QTest::addColumn<QString>("place");
    QTest::addColumn<QString>("told");
    QTest::newRow("content") << text("chunk") << text("writing a file");
    QTest::newRow("name") << text("file") << text("writing a file");
    QTest::newRow("removal") << text("delete") << text("removing it");
}

void AdminTrialTest::storeThatKeepsNoFileIsNamed()
{
    QFETCH(const QString, place);
    QFETCH(const QString, told);
    GridFsPeer* server = SiteEngines::fileServer();
    if (!server) {
        if (place != text("chunk"))
            QSKIP("a folder takes files and lets them go, or does neither");
        QVERIFY(QDir(localFolder("files")).removeRecursively());
        QFile inTheWay(localFolder("files"));
        QVERIFY(inTheWay.open(QIODevice::WriteOnly));
    } else if (!server->refusal().isEmpty()) {
        QSKIP(qPrintable(server->refusal()));
    } else {
        server->order({{text("error"), place, 1, 0}});
    }
    const AdminOutcome outcome = run("init");
    if (server)
        server->clearFaults();
    QVERIFY(outcome.code != ExitCode::Success);
    const QString error = outcome.failure()[text("error")].toString();
    QVERIFY2(error.contains(text("the document store fails a trial, ") + told), qPrintable(error));
    if (server)
        QCOMPARE(run("init").code, ExitCode::Success);
}

void AdminTrialTest::pingMakesNothing()
{
    Backend::Database& database = *Site::current().database().value();
    QVERIFY(
        database.change("UPDATE schema_version SET version = 1", {}, Backend::Durability::Immediate).ok());
    GridFsPeer* server = SiteEngines::fileServer();
    const auto writes = [server] {
        int count = 0;
        if (server && server->refusal().isEmpty())
            for (const char* command : {"insert", "update", "delete", "createIndexes", "create"})
                count += server->received(text(command));
        return count;
    };
    const int before = writes();
    const AdminOutcome outcome = run("ping");
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.code, ExitCode::Success);
    QCOMPARE(database.schemaVersion().value(), 1);
    QCOMPARE(writes(), before);
}

void AdminTrialTest::pingReadsWhatItCallsReachable()
{
    GridFsPeer* server = SiteEngines::fileServer();
    if (!server) {
        QVERIFY(QFile::remove(localFolder("site")));
        QVERIFY(QDir().mkdir(localFolder("site")));
    } else if (!server->refusal().isEmpty()) {
        QSKIP(qPrintable(server->refusal()));
    } else {
        server->order({{text("error"), text("find"), 1, 0}}); // It still answers the command "ping".
    }
    const AdminOutcome outcome = run("ping");
    if (server)
        server->clearFaults();
    QVERIFY(outcome.code != ExitCode::Success);
    const QJsonArray services = outcome.json()[text("services")].toArray();
    QVERIFY(services[0].toObject()[text("reachable")].toBool());
    QVERIFY(!services[1].toObject()[text("reachable")].toBool(true));
}

ZAV_REGISTER_TEST(admin_trial, AdminTrialTest, QCoreApplication)

#include "admin_trial.moc"
