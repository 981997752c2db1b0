// One import after the other has a company: on embedded engines by a lock of the system, on a server by a
// lease.

#include "backend/database/Database.h"
#include "backend/operations/CompanyHold.h"
#include "backend/records/CompanyClaim.h"
#include "tests/support/BoundProcess.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/MariaDbServer.h"
#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <csignal>
#include <cstdio>
#include <memory>
#include <vector>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;
using namespace std::chrono_literals;

namespace {

constexpr int company = 7;
constexpr auto shortLease = 2000ms;

QString numberText(qint64 number)
{
    return QString::number(number);
}

/// What another process needs to open the same database.
QStringList placeOf(const DatabaseSettings& settings)
{
    if (settings.driver == QLatin1String("QSQLITE"))
        return {settings.file};
    return {numberText(settings.port), settings.name, settings.user, settings.passwordFile};
}

DatabaseSettings settingsAt(const QStringList& place)
{
    DatabaseSettings settings;
    settings.file = place.at(0);
    if (place.size() > 1) {
        settings.driver = QStringLiteral("QMYSQL");
        settings.host = QStringLiteral("127.0.0.1");
        settings.port = place.at(0).toInt();
        settings.name = place.at(1);
        settings.user = place.at(2);
        settings.passwordFile = place.at(3);
    }
    return settings;
}

CompanyHold::Wanted wantedOn(const DatabaseSettings& settings)
{
    CompanyHold::Wanted wanted;
    wanted.database = settings;
    wanted.userName = QStringLiteral("lisa");
    wanted.companyId = company;
    wanted.company = QStringLiteral("华兴");
    wanted.lease = shortLease;
    return wanted;
}

Result<std::shared_ptr<CompanyHold>> acquire(Database& database, const CompanyHold::Wanted& wanted)
{
    return CompanyHold::acquire(wanted, [&database](const auto& work) { return work(database); });
}

void tell(const QString& line)
{
    std::printf("%s\n", qUtf8Printable(line));
    std::fflush(stdout);
}

/// Role of another process: holds the company until its input ends, and tells whether it has lost it
/// meanwhile. Arguments: how it ends ("gives-back", or "ends" without doing so), and the database.
int holdCompany(const QStringList& arguments)
{
    const DatabaseSettings settings = settingsAt(arguments.mid(3));
    const auto database = Database::open(settings);
    if (!database.ok())
        return 1;
    CompanyHold::Wanted wanted = wantedOn(settings);
    wanted.longestWait = 10s;
    const auto hold = acquire(*database.value(), wanted);
    tell(hold.ok() ? QStringLiteral("held") : hold.message());
    if (!hold.ok())
        return 1;
    hold.value()->beginUse();
    while (std::getchar() != EOF) {
    }
    const bool kept = hold.value()->isKept([&](const auto& work) { return work(*database.value()); });
    const QString loss = hold.value()->takeLoss();
    if (arguments.at(2) == QLatin1String("gives-back"))
        hold.value()->giveBack(*database.value());
    tell(kept ? loss : QStringLiteral("not kept"));
    return 0;
}

/// Another process in that role.
class Holder final
{
public:
    explicit Holder(const DatabaseSettings& settings, const char* end = "gives-back")
    {
        m_process.setProcessChannelMode(QProcess::SeparateChannels);
        m_process.start(QCoreApplication::applicationFilePath(),
                        QStringList({QStringLiteral("--hold-company"), QString::fromLatin1(end)}) +
                            placeOf(settings));
    }

    QString readLine()
    {
        while (!m_process.canReadLine())
            if (!m_process.waitForReadyRead(20'000))
                return QStringLiteral("nothing: ") + QString::fromUtf8(m_process.readAllStandardError());
        return QString::fromUtf8(m_process.readLine()).trimmed();
    }
    void release() { m_process.closeWriteChannel(); }
    bool hasEnded() { return m_process.waitForFinished(20'000); }
    void kill() { m_process.end(); }
    void stop()
    {
        m_process.send(SIGSTOP);
        QTRY_VERIFY(m_process.isStopped());
    }
    void resume() { m_process.send(SIGCONT); }
    [[nodiscard]] QString processText() const
    {
        return QStringLiteral("process ") + numberText(m_process.processId());
    }

private:
    BoundProcess m_process;
};

/// What the host is told of waits while this lives.
class ToldWaits final
{
public:
    explicit ToldWaits(std::function<void()> atFirst = {})
    {
        setWaitObserver([this, atFirst = std::move(atFirst)](const ServiceWait& wait) {
            if (m_waits.empty() && atFirst)
                atFirst();
            m_waits.push_back(wait);
        });
    }
    ~ToldWaits() { setWaitObserver({}); }
    Q_DISABLE_COPY(ToldWaits)

    [[nodiscard]] const std::vector<ServiceWait>& waits() const { return m_waits; }

private:
    std::vector<ServiceWait> m_waits;
};

} // namespace

class OperationsCompanyHold final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void onlyOneHasACompany_data() { engines(); }
    void onlyOneHasACompany();
    void whoWaitsIsToldWhoHasIt_data() { engines(); }
    void whoWaitsIsToldWhoHasIt();
    void aDeadHolderHasIt_data() { engines(); }
    void aDeadHolderHasIt();
    void aProcessThatEndsGivesItBack_data() { engines(); }
    void aProcessThatEndsGivesItBack();
    void whatNobodyUsesIsGivenBack_data() { engines(); }
    void whatNobodyUsesIsGivenBack();
    void aStoppedHolderKeepsItsLock();
    void aStoppedHolderLosesItsLease();
    void aLeaseIsRenewed_data();
    void aLeaseIsRenewed();
    void aClockThatWasSetBackHoldsNobodyUp();
    void aLockIsPrivateAndNamesItsHolder();
    void aLockThatCannotBeMadeIsAFailure();

private:
    static void engines();
    void open(bool onServer);
    [[nodiscard]] Result<std::shared_ptr<CompanyHold>> tryFor(std::chrono::milliseconds wait,
                                                              int number = company);
    [[nodiscard]] QString heldText();

    std::unique_ptr<MariaDbServer> m_server;
    std::unique_ptr<TemporaryDatabase> m_place;
    DatabaseSettings m_settings;
    std::unique_ptr<Database> m_database;
};

#define ZAV_OPEN_ENGINE()                                                                                    \
    QFETCH(const bool, onServer);                                                                            \
    if (onServer && !m_server)                                                                               \
        QSKIP("there is no MariaDB server here");                                                            \
    open(onServer)

#define ZAV_OPEN_SERVER()                                                                                    \
    if (!m_server)                                                                                           \
        QSKIP("there is no MariaDB server here");                                                            \
    open(true)

void OperationsCompanyHold::initTestCase()
{
#ifdef ZAV_WITH_MARIADB_SERVER
    m_server = std::make_unique<MariaDbServer>();
#endif
}

void OperationsCompanyHold::engines()
{
    QTest::addColumn<bool>("onServer");
    QTest::newRow("embedded") << false;
    QTest::newRow("server") << true;
}

void OperationsCompanyHold::open(bool onServer)
{
    m_database.reset();
    m_place = std::make_unique<TemporaryDatabase>();
    m_settings = onServer ? m_server->makeDatabase() : m_place->settings();
    auto made = Database::create(m_settings);
    if (!made.ok())
        qFatal("%s", qUtf8Printable(made.message()));
    m_database = std::move(made.value());
}

Result<std::shared_ptr<CompanyHold>> OperationsCompanyHold::tryFor(std::chrono::milliseconds wait, int number)
{
    CompanyHold::Wanted wanted = wantedOn(m_settings);
    wanted.longestWait = wait;
    wanted.companyId = number;
    return acquire(*m_database, wanted);
}

QString OperationsCompanyHold::heldText()
{
    QStringList told;
    const auto held = listHeldCompanies(*m_database, m_settings);
    if (!held.ok())
        return held.message();
    for (const HeldCompany& one : held.value())
        told << numberText(one.companyId) + QLatin1Char(' ') + one.holder.text();
    return told.join(QStringLiteral("; "));
}

void OperationsCompanyHold::onlyOneHasACompany()
{
    ZAV_OPEN_ENGINE();
    QCOMPARE(heldText(), QString());
    Holder other(m_settings);
    QCOMPARE(other.readLine(), QStringLiteral("held"));
    const auto refused = tryFor(0ms);
    QCOMPARE(refused.code(), ErrorCode::Unavailable);
    for (const QString& told : {QStringLiteral("\"华兴\" is held by lisa on "), other.processText()})
        QVERIFY2(refused.message().contains(told), qPrintable(refused.message()));
    QVERIFY2(heldText().startsWith(QStringLiteral("7 lisa on ")), qPrintable(heldText()));
    QVERIFY2(heldText().contains(other.processText()), qPrintable(heldText()));
    const auto another = tryFor(0ms, company + 1);
    QVERIFY2(another.ok(), qPrintable(another.message()));
    other.release();
    QCOMPARE(other.readLine(), QString());
    const auto taken = tryFor(0ms);
    QVERIFY2(taken.ok(), qPrintable(taken.message()));
    // A thread of this process is another import as well.
    QCOMPARE(tryFor(0ms).code(), ErrorCode::Unavailable);
    taken.value()->giveBack(*m_database);
    QVERIFY(tryFor(0ms).ok());
}

void OperationsCompanyHold::whoWaitsIsToldWhoHasIt()
{
    ZAV_OPEN_ENGINE();
    Holder other(m_settings);
    QCOMPARE(other.readLine(), QStringLiteral("held"));
    const ToldWaits told([&other] { other.release(); });
    const auto taken = tryFor(20s);
    QVERIFY2(taken.ok(), qPrintable(taken.message()));
    QVERIFY(told.waits().size() >= 2);
    const ServiceWait& first = told.waits().front();
    QCOMPARE(first.cause, ServiceWait::Cause::Company);
    QCOMPARE(first.company, QStringLiteral("华兴"));
    QCOMPARE(first.patienceMs, 20'000);
    QVERIFY(!first.over);
    QVERIFY2(first.holder.contains(other.processText()), qPrintable(first.holder));
    QVERIFY(told.waits().back().over);
    QVERIFY(!told.waits().back().gaveUp);
}

void OperationsCompanyHold::aDeadHolderHasIt()
{
    ZAV_OPEN_ENGINE();
    Holder other(m_settings);
    QCOMPARE(other.readLine(), QStringLiteral("held"));
    other.kill();
    const auto taken = tryFor(20s);
    QVERIFY2(taken.ok(), qPrintable(taken.message()));
    QCOMPARE(taken.value()->takeLoss(), QString());
}

/// Without a word to the company's row.
void OperationsCompanyHold::aProcessThatEndsGivesItBack()
{
    ZAV_OPEN_ENGINE();
    Holder other(m_settings, "ends");
    QCOMPARE(other.readLine(), QStringLiteral("held"));
    other.release();
    QVERIFY(other.hasEnded());
    const auto taken = tryFor(0ms);
    QVERIFY2(taken.ok(), qPrintable(taken.message()));
}

void OperationsCompanyHold::whatNobodyUsesIsGivenBack()
{
    ZAV_OPEN_ENGINE();
    const auto rows = [this](const auto& work) { return work(*m_database); };
    CompanyHold::Wanted wanted = wantedOn(m_settings);
    wanted.longestUnused = 200ms;
    wanted.longestIdle = 300ms;
    const auto unused = acquire(*m_database, wanted);
    QVERIFY2(unused.ok(), qPrintable(unused.message()));
    const auto used = tryFor(20s);
    QVERIFY2(used.ok(), qPrintable(used.message()));
    QVERIFY(!unused.value()->isKept(rows));
    used.value()->giveBack(*m_database);

    const auto idle = acquire(*m_database, wanted);
    QVERIFY2(idle.ok(), qPrintable(idle.message()));
    idle.value()->beginUse();
    QCOMPARE(tryFor(500ms).code(), ErrorCode::Unavailable);
    QVERIFY(idle.value()->isKept(rows));
    idle.value()->endUse();
    QVERIFY(tryFor(20s).ok());
    QVERIFY(!idle.value()->isKept(rows));
    QCOMPARE(idle.value()->takeLoss(), QString());
}

void OperationsCompanyHold::aStoppedHolderKeepsItsLock()
{
    open(false);
    Holder other(m_settings);
    QCOMPARE(other.readLine(), QStringLiteral("held"));
    other.stop();
    QCOMPARE(tryFor(shortLease).code(), ErrorCode::Unavailable);
    other.resume();
    other.release();
    QCOMPARE(other.readLine(), QString());
    QVERIFY(tryFor(0ms).ok());
}

void OperationsCompanyHold::aStoppedHolderLosesItsLease()
{
    ZAV_OPEN_SERVER();
    Holder other(m_settings);
    QCOMPARE(other.readLine(), QStringLiteral("held"));
    other.stop();
    const auto taken = tryFor(20s);
    QVERIFY2(taken.ok(), qPrintable(taken.message()));
    other.resume();
    other.release();
    const QString loss = other.readLine();
    for (const QString& told :
         {QStringLiteral("\"华兴\" was not renewed in time"), QStringLiteral("lisa on "),
          QStringLiteral("process ") + numberText(QCoreApplication::applicationPid())})
        QVERIFY2(loss.contains(told), qPrintable(loss));
    // What it has lost it does not give back.
    QVERIFY(other.hasEnded());
    QVERIFY2(heldText().contains(numberText(QCoreApplication::applicationPid())), qPrintable(heldText()));
}

void OperationsCompanyHold::aLeaseIsRenewed_data()
{
    QTest::addColumn<QString>("meanwhile");
    for (const char* meanwhile : {"nothing", "connections killed", "server killed and restarted"})
        QTest::newRow(meanwhile) << QString::fromLatin1(meanwhile);
}

/// The holder is another process, which does nothing by itself meanwhile.
void OperationsCompanyHold::aLeaseIsRenewed()
{
    QFETCH(const QString, meanwhile);
    ZAV_OPEN_SERVER();
    const CapturedLog log;
    Holder other(m_settings);
    QCOMPARE(other.readLine(), QStringLiteral("held"));
    // Its keeper has opened its connection when this is over.
    QCOMPARE(tryFor(shortLease).code(), ErrorCode::Unavailable);
    if (meanwhile.startsWith(QLatin1String("connections"))) {
        QVERIFY(m_server->killConnections() >= 2);
    } else if (meanwhile.startsWith(QLatin1String("server"))) {
        m_server->kill();
        m_server->restart();
    }
    const auto refused = tryFor(3 * shortLease);
    QVERIFY2(refused.message().contains(other.processText()), qPrintable(refused.message()));
    other.release();
    QCOMPARE(other.readLine(), QString());
    QVERIFY(tryFor(0ms).ok());
}

void OperationsCompanyHold::aClockThatWasSetBackHoldsNobodyUp()
{
    ZAV_OPEN_SERVER();
    const auto held = tryFor(0ms);
    QVERIFY2(held.ok(), qPrintable(held.message()));
    QVERIFY(m_server->run(m_settings,
                          QStringLiteral("UPDATE company_hold SET expires = expires + INTERVAL 1 HOUR")));
    QCOMPARE(heldText(), QString());
    QVERIFY(tryFor(0ms).ok());
}

void OperationsCompanyHold::aLockIsPrivateAndNamesItsHolder()
{
    open(false);
    const auto held = tryFor(0ms);
    QVERIFY2(held.ok(), qPrintable(held.message()));
    const QString folder = m_settings.file + QStringLiteral("-holds");
    const auto shownTo = [](const QString& path) {
        return QFileInfo(path).permissions() & (QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup |
                                                QFile::ReadOther | QFile::WriteOther | QFile::ExeOther);
    };
    QCOMPARE(int(shownTo(folder)), 0);
    QCOMPARE(int(shownTo(folder + QStringLiteral("/company-7"))), 0);
    const QByteArray content = bytesOf(folder + QStringLiteral("/company-7"));
    QVERIFY2(content.contains("\"user\":\"lisa\"") && content.endsWith("}\n"), content.constData());

    // By whatever way the file is named, it is the same lock.
    const QString link = m_place->folder() + QStringLiteral("/link.db");
    QVERIFY(QFile::link(m_settings.file, link));
    CompanyHold::Wanted wanted = wantedOn(m_settings);
    wanted.database.file = link;
    QCOMPARE(acquire(*m_database, wanted).code(), ErrorCode::Unavailable);
}

void OperationsCompanyHold::aLockThatCannotBeMadeIsAFailure()
{
    open(false);
    QFile inTheWay(m_settings.file + QStringLiteral("-holds"));
    QVERIFY(inTheWay.open(QIODevice::WriteOnly));
    const auto refused = tryFor(20s);
    QVERIFY(!refused.ok());
    QVERIFY(refused.code() != ErrorCode::Unavailable);
    QVERIFY2(refused.message().contains(QStringLiteral("-holds")), qPrintable(refused.message()));
}

ZAV_REGISTER_ROLE("--hold-company", holdCompany, QCoreApplication)
ZAV_REGISTER_TEST(operations_company_hold, OperationsCompanyHold, QCoreApplication)

#include "operations_company_hold.moc"
