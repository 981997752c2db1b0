// Service calls while the database server fails, refuses, or is not what the configuration says.

#include "backend/Site.h"
#include "backend/config/Settings.h"
#include "backend/database/Database.h"
#include "backend/records/SiteIdentity.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"
#include "services/dbs_api/DBS_API.h"
#include "services/ui/ZAV_StdCommon.h"
#include "tests/contract/ImportSteps.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FlawText.h"
#include "tests/support/FreshSite.h"
#include "tests/support/MariaDbServer.h"
#include "tests/support/ServiceWatch.h"
#include "tests/support/SiteEngines.h"
#include "tests/support/TableLock.h"
#include "tests/support/TestAuthority.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QTcpServer>
#include <QTest>

#include <functional>
#include <future>
#include <memory>

using namespace KOZAV;
using namespace KOZAV::Test;
using namespace KOZAV::DataLib;

namespace {

constexpr int connectSeconds = 1;
constexpr int readSeconds = 2;
constexpr int writeSeconds = 2;
/// What one call may take by the configuration, and the time to do the rest of it on a machine that is busy.
constexpr qint64 longestCallMs = 1000LL * (connectSeconds + readSeconds + writeSeconds + 2);

const std::string companyName = "华兴";
constexpr int strikeWaitMs = 5000;
constexpr const char* fourByteText = "\xF0\x9F\x93\xA6\xF0\xA0\x80\x8B";

MariaDbServer& server()
{
    return *SiteEngines::rowServer();
}

void setTimeouts(const FreshSite& site)
{
    site.configure(QStringLiteral("database/connect_timeout"), QString::number(connectSeconds));
    site.configure(QStringLiteral("database/read_timeout"), QString::number(readSeconds));
    site.configure(QStringLiteral("database/write_timeout"), QString::number(writeSeconds));
}

/// Calls of the services, each with what it takes to succeed.
struct ServiceCall
{
    const char* operation;
    bool writes;
    std::function<bool(const ImportedJob& job, const std::string& file)> run;
};

const std::vector<ServiceCall>& serviceCalls()
{
    static const std::vector<ServiceCall> calls = {
        {"Odbpp_CompanyBll::select", false,
         [](const auto&, const auto&) {
             std::vector<Model::Odbpp_Company> found;
             return BLL::Odbpp_CompanyBll().select({}, {}, found) && !found.empty();
         }},
        {"Odbpp_JobFlowBll::select", false,
         [](const auto&, const auto&) {
             std::vector<Model::Odbpp_JobFlow> found;
             return BLL::Odbpp_JobFlowBll().select({}, {}, found) && !found.empty();
         }},
        {"getInputJobList", false,
         [](const auto&, const auto&) { return !UI::ZAV_StdCommon::interface()->getInputJobList().empty(); }},
        {"inputCompanies", true,
         [](const auto& job, const auto&) {
             std::string name = job.companyName;
             return BLL::Odbpp_CompanyBll().inputCompanies(name, 1, job.jobNumber + 1);
         }},
        {"UpdateBatchNumber", true,
         [](const auto& job, const auto&) {
             return BLL::Odbpp_CompanyBll().UpdateBatchNumber(2, job.companyId);
         }},
        {"inputOrigFile", true,
         [](const auto& job, const auto&) {
             return BLL::Odbpp_OrigFilesBll().inputOrigFile("another", "board", job.storedName, "tgz",
                                                            job.companyCode, 0, 1);
         }},
        {"insertflowbeforeorigfile", true,
         [](const auto&, const auto&) {
             return !BLL::Odbpp_JobFlowBll().insertflowbeforeorigfile("board", 1, "F1", "another").empty();
         }},
        {"UpdateOrigFileGuid", true,
         [](const auto& job, const auto&) {
             return BLL::Odbpp_JobFlowBll().UpdateOrigFileGuid(job.origFileGuid, job.flowGuid);
         }},
        {"UpdateLastOdbppImportMongoFsGuid", true,
         [](const auto& job, const auto&) {
             return BLL::Odbpp_JobFlowBll().UpdateLastOdbppImportMongoFsGuid(job.origFileGuid, job.flowGuid);
         }},
        {"updateUploadBatchNum", true,
         [](const auto& job, const auto&) {
             return BLL::Odbpp_JobFlowBll().updateUploadBatchNum(4, job.flowGuid);
         }},
        {"UpdateState", true,
         [](const auto& job, const auto&) {
             return BLL::Odbpp_JobFlowBll().UpdateState(1, 1, 2, job.flowGuid);
         }},
        {"UpdatePreImportOrCheckTime", true,
         [](const auto& job, const auto&) {
             return BLL::Odbpp_JobFlowBll().UpdatePreImportOrCheckTime(job.flowGuid, 1, 0, "", 1, "", 0, "");
         }},
        {"inputJobCompress", true, [](const auto& job, const auto&) { return addCompressRow(job); }},
        {"kozav_upload_prefile2mysql", true,
         [](const auto& job, const auto&) {
             return !DBS_API::kozav_upload_prefile2mysql(job.flowGuid, "", "", "", "", 1, "").empty();
         }},
        {"kozav_reupload_robot_tgz", true,
         [](const auto& job, const auto& file) {
             return DBS_API::kozav_reupload_robot_tgz(file, job.generatedName, 1, "who");
         }},
    };
    return calls;
}

bool anyCompany()
{
    return serviceCalls().front().run({}, {});
}

/// Everything that has been logged.
QString logged()
{
    QStringList all;
    for (const QtMsgType type : {QtDebugMsg, QtInfoMsg, QtWarningMsg, QtCriticalMsg})
        all << CapturedLog::of(type);
    return all.join(QLatin1Char('\n'));
}

/// Whether the operation finds out by itself what became of a write whose answer was lost. A batch number
/// could go back if it was written a second time.
bool settlesALostAnswer(const ServiceCall& call)
{
    return QLatin1String(call.operation) != QLatin1String("UpdateBatchNumber");
}

} // namespace

Q_DECLARE_METATYPE(const ServiceCall*)

class MariaDbFaults final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { qputenv("ZAV_TEST_SITE", "mariadb/local"); }
    void init();
    void cleanup();

    void everyCallSucceedsUndisturbed_data() { addCalls(); }
    void everyCallSucceedsUndisturbed();
    void serverIsDown_data() { addCalls(); }
    void serverIsDown();
    void serverIsHalted_data() { addCalls(); }
    void serverIsHalted();
    void connectionIsLost_data() { addCalls(); }
    void connectionIsLost();
    void rowsAreLockedByAnother_data() { addCalls(); }
    void rowsAreLockedByAnother();
    void connectionIsKilledDuringACall_data() { addCalls(); }
    void connectionIsKilledDuringACall();
    void serverIsRestarted();
    void completeImportOutlivesACrash();

    void nobodyAnswersAtThePort();
    void nobodyListensAtThePort();
    void configurationIsWrong_data();
    void configurationIsWrong();
    void encryptionThatTheServerDoesNotHave();
    void encryptionOfAnotherAuthority();
    void encryptionOfTheRightAuthority();

    void serverIsReadOnly();
    void serverHasNoRoom();
    void packetIsTooLarge();
    void textIsTooLong();
    void serverHasNoStrictMode();
    void idleConnectionIsEndedByTheServer();

private:
    static void addCalls();
    void mended();
    void takeRowsOfTheSite() const;
    [[nodiscard]] QString reasonOf(const char* operation) const;
    bool refused(const char* operation, const QString& words);
    [[nodiscard]] int waitingConnections() const;

    std::unique_ptr<FreshSite> m_site;
    std::unique_ptr<CapturedLog> m_log;
    std::unique_ptr<ServiceWatch> m_watch;
    std::string m_file;
    ImportedJob m_whole;      ///< imported before the fault
    ImportedJob m_unfinished; ///< the same up to its last row
    Backend::DatabaseSettings m_database;
    QString m_password;
};

void MariaDbFaults::init()
{
    m_site = std::make_unique<FreshSite>();
    setTimeouts(*m_site);
    m_site->addCompany(QStringLiteral("HX"), QString::fromStdString(companyName));
    QFile file(m_site->path(QStringLiteral("board.tgz")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("not much of a board") > 0);
    m_file = QFile::encodeName(file.fileName()).toStdString();
    file.close();
    m_whole = importArchive(companyName, m_file);
    QVERIFY(m_whole.complete);
    m_unfinished = beginJob(companyName);
    QVERIFY(!m_unfinished.flowGuid.empty());
    m_unfinished.storedName = m_whole.storedName;
    m_unfinished.origFileGuid = m_whole.origFileGuid;
    m_unfinished.suffix = "tgz";
    m_database = Backend::loadSettings(m_site->configuration()).value().database;
    m_password = QString::fromUtf8(contentOf(m_database.passwordFile));
    m_log = std::make_unique<CapturedLog>();
    m_watch = std::make_unique<ServiceWatch>();
}

void MariaDbFaults::cleanup()
{
    const QString log = logged();
    m_watch.reset();
    m_log.reset();
    m_site.reset();
    QVERIFY(!m_password.isEmpty());
    QVERIFY2(!log.contains(m_password), "the password is in the log");
}

void MariaDbFaults::addCalls()
{
    QTest::addColumn<const ServiceCall*>("call");
    for (const ServiceCall& call : serviceCalls())
        QTest::newRow(call.operation) << &call;
}

/// Why a call has failed; empty where that was not logged.
QString MariaDbFaults::reasonOf(const char* operation) const
{
    for (const QString& failure : m_watch->failures()) {
        QString reason = failure.section(QStringLiteral(": "), 1);
        if (failure.startsWith(QLatin1String(operation) + QStringLiteral(": ")) && !reason.isEmpty() &&
            logged().contains(reason))
            return reason;
    }
    return {};
}

/// Whether a call has failed in time, with a reason in the log that holds the words.
bool MariaDbFaults::refused(const char* operation, const QString& words)
{
    const QString reason = reasonOf(operation);
    if (!reason.isEmpty() && reason.contains(words) && m_watch->longestCallMs() <= longestCallMs)
        return true;
    qWarning("%s failed after %lld ms for: %s", operation, m_watch->longestCallMs(), qUtf8Printable(reason));
    return false;
}

/// How many connections of sites wait for a lock.
int MariaDbFaults::waitingConnections() const
{
    return server()
        .value({}, QStringLiteral("SELECT COUNT(*) FROM information_schema.processlist WHERE user LIKE "
                                  "'zav\\_%' AND state LIKE 'Waiting%'"))
        .toInt();
}

/// The fault is over: the next whole import works, and each row refers to what is there.
void MariaDbFaults::mended()
{
    const ImportedJob next = importArchive(companyName, m_file);
    QVERIFY2(next.complete, qUtf8Printable(m_watch->failures().join(QLatin1Char('\n'))));
    QCOMPARE(next.jobNumber, m_site->company(QStringLiteral("HX")).jobCount);
    QCOMPARE(flawsOf(*Backend::Site::current().database().value()), QString());
    const QStringList stored = m_site->storedNames();
    for (const auto& file : m_site->origFiles())
        QVERIFY2(stored.contains(file.storedName), qUtf8Printable(file.storedName));
    for (const auto& job : m_site->jobs())
        QVERIFY(!job.complete || contentOf(m_site->fetch(job)) == "not much of a board");
}

/// Makes the empty database that the configuration names the site's.
void MariaDbFaults::takeRowsOfTheSite() const
{
    const auto settings = Backend::loadSettings(m_site->configuration());
    const auto made = Backend::Database::create(settings->database);
    QVERIFY2(made.ok(), qUtf8Printable(made.message()));
    QVERIFY(Backend::setSiteIdentity(*made.value(), settings->siteId).ok());
}

void MariaDbFaults::everyCallSucceedsUndisturbed()
{
    QFETCH(const ServiceCall*, call);
    QVERIFY(call->run(m_unfinished, m_file));
    QCOMPARE(m_watch->failures(), QStringList());
    mended();
}

void MariaDbFaults::serverIsDown()
{
    QFETCH(const ServiceCall*, call);
    server().kill();
    const bool succeeded = call->run(m_unfinished, m_file);
    server().restart();
    QVERIFY(!succeeded);
    QVERIFY(refused(call->operation, QString()));
    mended();
    QVERIFY(call->run(m_unfinished, m_file) || call->writes);
}

void MariaDbFaults::serverIsHalted()
{
    QFETCH(const ServiceCall*, call);
    server().stop();
    const bool succeeded = call->run(m_unfinished, m_file);
    server().resume();
    QVERIFY(!succeeded);
    QVERIFY(refused(call->operation, QString()));
    Backend::Site::current().close(); // The next session does not keep the pause that this one makes.
    mended();
}

void MariaDbFaults::connectionIsLost()
{
    QFETCH(const ServiceCall*, call);
    QCOMPARE(server().killConnections(), 1);
    const bool succeeded = call->run(m_unfinished, m_file);
    if (succeeded)
        QCOMPARE(m_watch->failures(), QStringList());
    else
        QVERIFY(refused(call->operation, QString()));
    QVERIFY(succeeded || !settlesALostAnswer(*call));
    mended();
}

void MariaDbFaults::rowsAreLockedByAnother()
{
    QFETCH(const ServiceCall*, call);
    bool succeeded = false;
    {
        const TableLock lock(server(), m_database.name);
        succeeded = call->run(m_unfinished, m_file);
    }
    QVERIFY(!succeeded);
    QVERIFY(refused(call->operation, QString()));
    mended();
}

void MariaDbFaults::connectionIsKilledDuringACall()
{
    QFETCH(const ServiceCall*, call);
    std::promise<void> locked;
    const auto strike = [this, &locked] {
        const TableLock lock(server(), m_database.name);
        locked.set_value();
        const QDeadlineTimer deadline(strikeWaitMs);
        while (waitingConnections() == 0 && !deadline.hasExpired()) {
        }
        return server().killConnections();
    };
    std::future<int> killed = std::async(std::launch::async, strike);
    locked.get_future().wait();
    const bool succeeded = call->run(m_unfinished, m_file);
    QCOMPARE(killed.get(), 1);
    if (succeeded)
        QCOMPARE(m_watch->failures(), QStringList());
    else
        QVERIFY(refused(call->operation, QString()));
    QVERIFY(succeeded || call->writes);
    mended();
}

void MariaDbFaults::serverIsRestarted()
{
    QVERIFY(anyCompany());
    server().restart();
    QVERIFY(anyCompany());
    QCOMPARE(m_watch->failures(), QStringList());
    mended();
}

void MariaDbFaults::completeImportOutlivesACrash()
{
    const ImportedJob last = importArchive(companyName, m_file);
    QVERIFY(last.complete);
    server().kill();
    server().restart();
    QVERIFY(m_site->jobs().back().complete);
    QCOMPARE(m_site->jobs().back().flowGuid.toStdString(), last.flowGuid);
    QCOMPARE(m_site->company(QStringLiteral("HX")).jobCount, last.jobNumber);
    mended();
}

void MariaDbFaults::nobodyAnswersAtThePort()
{
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    m_site->configure(QStringLiteral("database/port"), QString::number(silent.serverPort()));
    QVERIFY(!anyCompany());
    QVERIFY(refused("Odbpp_CompanyBll::select", QStringLiteral("cannot open the database")));
    m_site->configure(QStringLiteral("database/port"), QString::number(server().port()));
    mended();
}

void MariaDbFaults::nobodyListensAtThePort()
{
    QTcpServer gone;
    QVERIFY(gone.listen(QHostAddress::LocalHost));
    m_site->configure(QStringLiteral("database/port"), QString::number(gone.serverPort()));
    gone.close();
    QVERIFY(!anyCompany());
    QVERIFY(refused("Odbpp_CompanyBll::select", QStringLiteral("Can't connect to")));
    m_site->configure(QStringLiteral("database/port"), QString::number(server().port()));
    mended();
}

void MariaDbFaults::configurationIsWrong_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("words");
    const auto row = [](const char* what, const char* key, const char* value, const char* words) {
        QTest::newRow(what) << QString::fromLatin1(key) << QString::fromLatin1(value)
                            << QString::fromLatin1(words);
    };
    row("password", "password_file", "wrong.password", "Access denied");
    row("no password", "password_file", "empty.password", "first line is empty");
    row("password that others may read", "password_file", "open.password", "other users may read it");
    row("missing password file", "password_file", "missing.password", "cannot be used");
    row("account", "user", "nobody", "Access denied");
    row("database", "name", "zav_nothing", "Unknown database");
    row("database of another", "name", "mysql", "Access denied");
}

void MariaDbFaults::configurationIsWrong()
{
    QFETCH(const QString, key);
    QFETCH(const QString, value);
    QFETCH(const QString, words);
    const auto write = [this](const char* name, const QByteArray& content, QFile::Permissions permissions) {
        QFile file(m_site->path(QLatin1String(name)));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        QVERIFY(file.setPermissions(permissions));
    };
    const QFile::Permissions owner = QFile::ReadOwner | QFile::WriteOwner;
    write("wrong.password", "not it", owner);
    write("empty.password", "\n", owner);
    write("open.password", m_password.toUtf8(), owner | QFile::ReadOther);
    QVERIFY(server().run(
        m_database, QStringLiteral("GRANT SELECT ON zav_nothing.* TO %1@'127.0.0.1'").arg(m_database.user)));

    const QString fullKey = QStringLiteral("database/") + key;
    const QString before = Backend::readSetting(m_site->configuration(), fullKey).value();
    m_site->configure(fullKey, value);
    QVERIFY(!anyCompany());
    QVERIFY(refused("Odbpp_CompanyBll::select", words));
    QVERIFY(!logged().contains(QStringLiteral("not it")));
    m_site->configure(fullKey, before);
    mended();
}

void MariaDbFaults::encryptionThatTheServerDoesNotHave()
{
    const TestAuthority authority;
    m_site->configure(QStringLiteral("database/tls_ca"), authority.certificate());
    QVERIFY(!anyCompany());
    QVERIFY(refused("Odbpp_CompanyBll::select", QStringLiteral("does not encrypt")));
    QTRY_COMPARE(server().connections(), 0);
}

void MariaDbFaults::encryptionOfAnotherAuthority()
{
    const TestAuthority authority;
    const TestAuthority other;
    MariaDbServer encrypting({authority.server().certificate, authority.server().key, {}});
    MariaDbServer::writeTo(m_site->configuration(), encrypting.makeDatabase());
    setTimeouts(*m_site);
    m_site->configure(QStringLiteral("database/tls_ca"), other.certificate());
    QVERIFY(!anyCompany());
    QVERIFY(refused("Odbpp_CompanyBll::select", QStringLiteral("certificate")));
}

void MariaDbFaults::encryptionOfTheRightAuthority()
{
    const TestAuthority authority;
    MariaDbServer encrypting({authority.server().certificate, authority.server().key, {}});
    const Backend::DatabaseSettings database = encrypting.makeDatabase();
    QVERIFY(encrypting.run({}, QStringLiteral("ALTER USER %1@'127.0.0.1' REQUIRE SSL").arg(database.user)));
    MariaDbServer::writeTo(m_site->configuration(), database);
    setTimeouts(*m_site);
    QVERIFY(!anyCompany());
    QVERIFY(refused("Odbpp_CompanyBll::select", QStringLiteral("Access denied")));
    m_site->configure(QStringLiteral("database/tls_ca"), authority.certificate());
    takeRowsOfTheSite();
    m_site->addCompany(QStringLiteral("HX"), QString::fromStdString(companyName));
    mended();
    const auto health = Backend::Site::current().database().value()->health();
    QVERIFY2(health.ok() && health->encryption.startsWith(QLatin1String("TLSv1.")),
             qUtf8Printable(health.message()));
    encrypting.killConnections();
    QVERIFY2(anyCompany(), qUtf8Printable(m_watch->failures().join(QLatin1Char('\n'))));
    const auto again = Backend::Site::current().database().value()->health();
    QVERIFY2(again.ok() && again->encryption.startsWith(QLatin1String("TLSv1.")),
             qUtf8Printable(again.message()));
}

void MariaDbFaults::serverIsReadOnly()
{
    QVERIFY(server().run({}, QStringLiteral("SET GLOBAL read_only = ON")));
    for (const ServiceCall& call : serviceCalls()) {
        QVERIFY2(call.run(m_unfinished, m_file) != call.writes, call.operation);
        QVERIFY2(!call.writes || refused(call.operation, QStringLiteral("read-only")), call.operation);
    }
    QVERIFY(server().run({}, QStringLiteral("SET GLOBAL read_only = OFF")));
    mended();
}

void MariaDbFaults::serverHasNoRoom()
{
    // A space for all tables that may not grow: what the server then says is what it says on a full disk.
    const auto space = [](const char* limit) {
        return QStringList{QStringLiteral("--innodb-file-per-table=0"),
                           QStringLiteral("--innodb-data-file-path=ibdata1:12M") + QLatin1String(limit)};
    };
    MariaDbServer small({{}, {}, space("")});
    MariaDbServer::writeTo(m_site->configuration(), small.makeDatabase());
    setTimeouts(*m_site);
    takeRowsOfTheSite();
    m_site->addCompany(QStringLiteral("HX"), QString::fromStdString(companyName));
    const ImportedJob job = importArchive(companyName, m_file);
    QVERIFY(job.complete);
    const std::string text(300'000, 'x');
    int written = 0;
    while (!DBS_API::kozav_upload_prefile2mysql(job.flowGuid, "", text, text, text, 1, "").empty())
        ++written;
    QVERIFY(written > 0);
    QVERIFY(refused("kozav_upload_prefile2mysql", QStringLiteral("is full")));
    const auto files = Backend::listPreFiles(*Backend::Site::current().database().value(),
                                             QString::fromStdString(job.flowGuid));
    QVERIFY2(files.ok(), qUtf8Printable(files.message()));
    QCOMPARE(int(files->size()), written);

    small.setArguments(space(":autoextend"));
    small.restart();
    QVERIFY(anyCompany()); // which finds the lost connection
    mended();
    QVERIFY(!DBS_API::kozav_upload_prefile2mysql(job.flowGuid, "", text, text, text, 1, "").empty());
}

void MariaDbFaults::packetIsTooLarge()
{
    const std::string text = QByteArray(20'000'000, 'x').toStdString();
    QVERIFY(DBS_API::kozav_upload_prefile2mysql(m_whole.flowGuid, "", text, "", "", 1, "").empty());
    QVERIFY(refused("kozav_upload_prefile2mysql", QString()));
    QVERIFY(!DBS_API::kozav_upload_prefile2mysql(m_whole.flowGuid, "", "small", "", "", 1, "").empty());
    mended();
}

void MariaDbFaults::textIsTooLong()
{
    const std::string text(300, 'x');
    QVERIFY(BLL::Odbpp_JobFlowBll().insertflowbeforeorigfile("board", 1, "F1", text).empty());
    QVERIFY(refused("insertflowbeforeorigfile", QStringLiteral("too long")));
    for (const auto& job : m_site->jobs())
        QVERIFY(!job.generatedName.startsWith(QLatin1Char('x')));
    mended();
}

void MariaDbFaults::serverHasNoStrictMode()
{
    QVERIFY(server().run({}, QStringLiteral("SET GLOBAL sql_mode = ''")));
    Backend::Site::current().close();
    textIsTooLong();
    QVERIFY(server().run({}, QStringLiteral("SET GLOBAL sql_mode = DEFAULT")));
}

void MariaDbFaults::idleConnectionIsEndedByTheServer()
{
    QVERIFY(server().run({}, QStringLiteral("SET GLOBAL wait_timeout = 1")));
    Backend::Site::current().close();
    QVERIFY(anyCompany());
    QVERIFY(server().run({}, QStringLiteral("SET GLOBAL wait_timeout = DEFAULT")));
    QTRY_COMPARE(server().connections(), 0);

    BLL::Odbpp_JobFlowBll flows;
    QVERIFY(!flows.insertflowbeforeorigfile(fourByteText, 1, "F1", fourByteText).empty());
    QCOMPARE(m_watch->failures(), QStringList());
    QCOMPARE(m_site->jobs().back().jobName, QString::fromUtf8(fourByteText));
    QCOMPARE(m_site->jobs().back().generatedName, QString::fromUtf8(fourByteText));
    textIsTooLong();
}

ZAV_REGISTER_TEST(mariadb_faults, MariaDbFaults, QCoreApplication)

#include "mariadb_faults.moc"
