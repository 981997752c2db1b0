// What the client's status bar says of the site in use.

#include "backend/Site.h"
#include "backend/database/Database.h"
#include "host/SiteStatusBar.h"
#include "host/site/SiteAccess.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "services/common/Common.h"
#include "services/ui/ZAV_StdCommon.h"
#include "tests/support/FreshSite.h"
#include "tests/support/GridFsPeer.h"
#include "tests/support/MariaDbServer.h"
#include "tests/support/SiteEngines.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

namespace {

/// A client's view of a fresh site.
class Client final
{
public:
    Client()
        : access(site.configuration())
        , failure(access.open())
        , bar(access)
    {
    }

    [[nodiscard]] QString text(const char* name) const { return label(name)->text(); }
    [[nodiscard]] QString toolTip(const char* name) const { return label(name)->toolTip(); }
    [[nodiscard]] bool isUnreachable(const char* name) const
    {
        return text(name).endsWith(QStringLiteral(" ○ unreachable"));
    }

    FreshSite site;
    SiteAccess access;
    QString failure;
    SiteStatusBar bar;

private:
    [[nodiscard]] const QLabel* label(const char* name) const
    {
        return bar.findChild<QLabel*>(QString::fromLatin1(name));
    }
};

/// Calls of the services: one of the rows, one of the stored files.
bool askRows()
{
    std::vector<DataLib::Model::Odbpp_Company> companies;
    return DataLib::BLL::Odbpp_CompanyBll().select({}, {}, companies);
}

/// @param path  file to be stored
bool storeFile(const QString& path)
{
    const auto config = Common::commonInterface()->getConfig();
    return Common::MongodbPut(config.mongoDbName, config.mongoFsName, QFile::encodeName(path).toStdString(),
                              "job.zip") == 0;
}

} // namespace

class HostSiteStatus final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void enginesAndPlacesAreShown();
    void toolTipsHaveVersions();
    void passwordsAreNotShown();
    void lockedFileIsNoLostServer();
    void lostRowServerIsShownUntilACallWorks();
    void lostFileServerIsShownUntilACallWorks();
    void callsOfOtherThreadsCount();
    void otherFailuresAreNoLostServer();
    void anotherSiteIsShown();
    void waitIsShownWhileItLasts();
};

void HostSiteStatus::initTestCase()
{
    if (const QString problem = SiteEngines::problem(); !problem.isEmpty())
        QSKIP(qPrintable(problem));
}

void HostSiteStatus::enginesAndPlacesAreShown()
{
    const Client client;
    QCOMPARE(client.failure, QString());
    if (MariaDbServer* server = SiteEngines::rowServer()) {
        QVERIFY2(client.text("siteRows")
                     .startsWith(QStringLiteral("Database MariaDB 127.0.0.1:%1/").arg(server->port())),
                 qPrintable(client.text("siteRows")));
        QVERIFY(client.text("siteRows").endsWith(QStringLiteral(" not encrypted")));
    } else {
        QCOMPARE(client.text("siteRows"),
                 QStringLiteral("Database SQLite ") + client.site.path(QStringLiteral("data/site.db")));
    }
    if (SiteEngines::fileServer()) {
        QVERIFY2(client.text("siteFiles").startsWith(QStringLiteral("File store GridFS ")),
                 qPrintable(client.text("siteFiles")));
        QVERIFY(client.text("siteFiles").endsWith(QStringLiteral("/odbpp) not encrypted")));
    } else {
        QCOMPARE(client.text("siteFiles"), QStringLiteral("File store local %1 (zav_import/odbpp)")
                                               .arg(client.site.path(QStringLiteral("data/store"))));
    }
    QVERIFY(!client.isUnreachable("siteRows"));
    QVERIFY(!client.isUnreachable("siteFiles"));
}

void HostSiteStatus::toolTipsHaveVersions()
{
    const Client client;
    const QString engine =
        SiteEngines::rowServer() ? QStringLiteral("Engine: MariaDB 1") : QStringLiteral("Engine: SQLite 3.");
    QVERIFY2(client.toolTip("siteRows").contains(engine), qPrintable(client.toolTip("siteRows")));
    QVERIFY(client.toolTip("siteRows").contains(client.site.configuration()));
    QVERIFY(client.toolTip("siteRows")
                .contains(SiteEngines::rowServer() ? QStringLiteral("Connection: not encrypted")
                                                   : QStringLiteral("Connection: this machine")));
    QVERIFY(client.toolTip("siteFiles").contains(QStringLiteral("Engine: ")));
}

void HostSiteStatus::passwordsAreNotShown()
{
    MariaDbServer* server = SiteEngines::rowServer();
    if (server == nullptr)
        QSKIP("the rows need no password");
    const Client client;
    const auto settings = Backend::Site::current().settings();
    QFile file(settings->database.passwordFile);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString password = QString::fromUtf8(file.readLine()).trimmed();
    QVERIFY(!password.isEmpty());
    QVERIFY(!(client.text("siteRows") + client.toolTip("siteRows")).contains(password));
}

void HostSiteStatus::lockedFileIsNoLostServer()
{
    if (SiteEngines::rowServer() != nullptr)
        QSKIP("the rows are on a server");
    Client client;
    client.site.addCompany(QStringLiteral("HX"), QStringLiteral("甲"));
    client.site.configure(QStringLiteral("database/busy_timeout"), QStringLiteral("10"));
    const auto other = Backend::Database::open(Backend::Site::current().settings()->database);
    QSignalSpy calls(&client.access, &SiteAccess::serviceCalled);
    const Backend::Status held = other.value()->transaction([] {
        std::string company = "甲";
        return DataLib::BLL::Odbpp_CompanyBll().inputCompanies(company, 1, 1)
                   ? Backend::Status(Backend::ErrorCode::Internal, QStringLiteral("it was not locked"))
                   : Backend::Status();
    });
    QVERIFY2(held.ok(), qPrintable(held.message()));
    QCOMPARE(calls.count(), 1);
    const auto event = calls[0][0].value<Backend::OperationEvent>();
    QCOMPARE(event.reason, Backend::ErrorCode::Unavailable);
    QCOMPARE(event.part, Backend::SitePart::Rows);
    QVERIFY(!client.isUnreachable("siteRows"));
}

void HostSiteStatus::lostRowServerIsShownUntilACallWorks()
{
    MariaDbServer* server = SiteEngines::rowServer();
    if (server == nullptr)
        QSKIP("there is no row server");
    Client client;
    QVERIFY(askRows());
    server->kill();
    QVERIFY(!askRows());
    const bool shown = client.isUnreachable("siteRows");
    const QString toolTip = client.toolTip("siteRows");
    const bool filesToo = client.isUnreachable("siteFiles");
    server->restart();
    QVERIFY2(shown, qPrintable(client.text("siteRows")));
    QVERIFY2(toolTip.contains(QStringLiteral("Unreachable: ")), qPrintable(toolTip));
    QVERIFY(!filesToo);
    QVERIFY(client.isUnreachable("siteRows"));  // nobody has asked since
    QTRY_VERIFY_WITH_TIMEOUT(askRows(), 30000); // a pause may have to pass first
    QVERIFY2(!client.isUnreachable("siteRows"), qPrintable(client.text("siteRows")));
    QVERIFY(!client.toolTip("siteRows").contains(QStringLiteral("Unreachable: ")));
}

void HostSiteStatus::lostFileServerIsShownUntilACallWorks()
{
    GridFsPeer* peer = SiteEngines::fileServer();
    if (peer == nullptr)
        QSKIP("there is no file server");
    if (!peer->refusal().isEmpty())
        QSKIP(qPrintable(peer->refusal()));
    Client client;
    const QString file = client.site.configuration();
    QVERIFY(storeFile(file));
    peer->goAway();
    QVERIFY(!storeFile(file));
    const bool shown = client.isUnreachable("siteFiles");
    const bool rowsToo = client.isUnreachable("siteRows");
    peer->comeBack();
    QVERIFY2(shown, qPrintable(client.text("siteFiles")));
    QVERIFY(!rowsToo);
    Backend::Site::current().close(); // a connection of its own has no pause to wait for
    QVERIFY(storeFile(file));
    QVERIFY2(!client.isUnreachable("siteFiles"), qPrintable(client.text("siteFiles")));
}

void HostSiteStatus::callsOfOtherThreadsCount()
{
    MariaDbServer* server = SiteEngines::rowServer();
    if (server == nullptr)
        QSKIP("there is no row server");
    Client client;
    server->kill();
    bool worked = true;
    const std::unique_ptr<QThread> thread(QThread::create([&worked] {
        worked = askRows();
        Backend::Site::current().close();
    }));
    thread->start();
    const bool ended = thread->wait(60000);
    server->restart();
    QVERIFY(ended);
    QVERIFY(!worked);
    QTRY_VERIFY(client.isUnreachable("siteRows"));
}

void HostSiteStatus::otherFailuresAreNoLostServer()
{
    Client client;
    std::vector<DataLib::Model::Odbpp_Company> companies;
    QVERIFY(!DataLib::BLL::Odbpp_CompanyBll().select({{"NoSuchColumn", "x"}}, {}, companies));
    QVERIFY(!storeFile(QStringLiteral("/nowhere/file")));
    QVERIFY(!client.isUnreachable("siteRows"));
    QVERIFY(!client.isUnreachable("siteFiles"));
}

void HostSiteStatus::anotherSiteIsShown()
{
    Client client;
    const QString other = client.site.path(QStringLiteral("elsewhere"));
    client.site.configure(QStringLiteral("document_store/root"), other);
    client.site.configure(QStringLiteral("document_store/kind"), QStringLiteral("local"));
    QVERIFY(!client.text("siteFiles").contains(other));
    client.access.noteRows({}); // as the window does when its lists were read
    QVERIFY2(client.text("siteFiles").contains(QStringLiteral("local ") + other),
             qPrintable(client.text("siteFiles")));
}

void HostSiteStatus::waitIsShownWhileItLasts()
{
    Client client;
    client.bar.resize(1200, 30);
    client.bar.show();
    client.bar.showMessage(QStringLiteral("another text"));
    Backend::ServiceWait wait;
    wait.part = Backend::SitePart::Rows;
    wait.waitedMs = 12'400;
    wait.patienceMs = 60'000;
    Q_EMIT client.access.serviceWaits(wait);
    QCOMPARE(client.text("siteWait"), QStringLiteral("Waiting for the database 12 of 60 s"));
    QVERIFY(client.bar.currentMessage().isEmpty());
    wait.cause = Backend::ServiceWait::Cause::Company;
    wait.company = QStringLiteral("华兴");
    wait.holder = QStringLiteral("lisa@host");
    Q_EMIT client.access.serviceWaits(wait);
    QCOMPARE(client.text("siteWait"),
             QStringLiteral("Waiting for company 华兴 (held by lisa@host) 12 of 60 s"));
    wait.over = true;
    Q_EMIT client.access.serviceWaits(wait);
    QCOMPARE(client.text("siteWait"), QString());
}

ZAV_REGISTER_TEST(host_site_status, HostSiteStatus, QApplication)

#include "host_site_status.moc"
