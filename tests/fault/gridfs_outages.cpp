// A server that cannot be reached, is silent or refuses the login: every operation ends in time and says why,
// and works once the server is back.

#include "tests/fault/GridFsTrial.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

using Operation = Status (*)(GridFsBox&);

struct NamedOperation
{
    const char* name;
    Operation run;
};

constexpr NamedOperation operations[] = {
    {"put", [](GridFsBox& box) { return box.put("new.zip", "new content").status(); }},
    {"get", [](GridFsBox& box) { return box.get("job.zip"); }},
    {"find", [](GridFsBox& box) { return box.store().find(box.location(), "job.zip").status(); }},
    {"list", [](GridFsBox& box) { return box.store().list(box.location()).status(); }},
    {"remove", [](GridFsBox& box) { return box.store().remove(box.location(), "job.zip"); }},
    {"health", [](GridFsBox& box) { return box.store().health().status(); }},
};

constexpr const char* outages[] = {"gone",
                                   "silent at connect",
                                   "dropped at connect",
                                   "refused at connect",
                                   "silent on open connections",
                                   "dropped on open connections"};

PeerFault forEver(const char* action, const char* at)
{
    return {QLatin1String(action), QLatin1String(at), 1, 0};
}

void begin(GridFsPeer& peer, const QString& outage)
{
    if (outage == QLatin1String("gone"))
        peer.goAway();
    else if (outage == QLatin1String("silent at connect"))
        peer.order({forEver("stall", "handshake")});
    else if (outage == QLatin1String("dropped at connect"))
        peer.order({forEver("drop", "handshake")});
    else if (outage == QLatin1String("refused at connect"))
        peer.order({forEver("error", "handshake")});
    else if (outage == QLatin1String("silent on open connections"))
        peer.order({forEver("stall", "any"), forEver("stall", "handshake")});
    else
        peer.order({forEver("drop", "any"), forEver("drop", "handshake")});
}

bool fits(const QString& outage, ErrorCode code)
{
    // A server that answers with a refusal while a connection is made may mean the login.
    if (outage == QLatin1String("refused at connect"))
        return code == ErrorCode::NotPermitted || code == ErrorCode::Unavailable;
    return code == ErrorCode::Unavailable || code == ErrorCode::OutcomeUnknown;
}

void end(GridFsPeer& peer)
{
    peer.clearFaults();
    peer.comeBack();
}

} // namespace

Q_DECLARE_METATYPE(Operation)

class GridFsOutages final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup() { m_box.reset(); }

    void everyOperationEndsInTime_data();
    void everyOperationEndsInTime();
    void refusedLoginIsTold();
    void closedIdleConnectionIsNotNoticed_data();
    void closedIdleConnectionIsNotNoticed();
    void restartedServerIsUsedAgain();

private:
    std::unique_ptr<GridFsBox> m_box;
};

void GridFsOutages::initTestCase()
{
    GridFsBox probe(trialServer(false));
    if (const QString refusal = probe.peer().refusal(); !refusal.isEmpty())
        QSKIP(qPrintable(refusal));
}

void GridFsOutages::init()
{
    m_box = std::make_unique<GridFsBox>(trialServer(false), trialTimeouts());
    QVERIFY(m_box->put("job.zip", "content").ok());
    writeFile(m_box->beside("fetched"), "old");
}

void GridFsOutages::everyOperationEndsInTime_data()
{
    QTest::addColumn<QString>("outage");
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<bool>("connected");
    for (const char* outage : outages) {
        for (const NamedOperation& operation : operations) {
            const bool connected = QByteArray(outage).contains("open");
            QTest::addRow("%s, %s", outage, operation.name)
                << QString(QLatin1String(outage)) << operation.run << connected;
        }
    }
}

void GridFsOutages::everyOperationEndsInTime()
{
    QFETCH(const QString, outage);
    QFETCH(const Operation, operation);
    QFETCH(const bool, connected);
    if (!connected)
        m_box->reopen();
    const QStringList names = m_box->besideNames();
    begin(m_box->peer(), outage);
    Status ended;
    QVERIFY(endsInTime([&] { ended = operation(*m_box); }));
    QVERIFY2(fits(outage, ended.code()), qPrintable(ended.message()));
    QCOMPARE(faultOfMessage(ended), QString());
    QCOMPARE(readFile(m_box->beside("fetched")), QByteArrayLiteral("old"));
    end(m_box->peer());
    QCOMPARE(m_box->peer().files().size(), 1);
    QVERIFY(recovers([&] { return operation(*m_box).ok(); }));
    QCOMPARE(m_box->peer().incompleteFiles(), QStringList());
    QVERIFY(names.size() + 1 >= m_box->besideNames().size());
}

void GridFsOutages::refusedLoginIsTold()
{
    writeFile(m_box->beside("password"), "SecretButWrong\n");
    m_box->reopen();
    Status ended;
    QVERIFY(endsInTime([&] { ended = m_box->get("job.zip"); }));
    QCOMPARE(ended.code(), ErrorCode::NotPermitted);
    QCOMPARE(faultOfMessage(ended), QString());
}

void GridFsOutages::closedIdleConnectionIsNotNoticed_data()
{
    QTest::addColumn<Operation>("operation");
    for (const NamedOperation& operation : operations)
        QTest::newRow(operation.name) << operation.run;
}

/// As a firewall or a restarted router does it over night.
void GridFsOutages::closedIdleConnectionIsNotNoticed()
{
    QFETCH(const Operation, operation);
    m_box->peer().hangUp();
    const Status ended = operation(*m_box);
    QVERIFY2(ended.ok(), qPrintable(ended.message()));
}

void GridFsOutages::restartedServerIsUsedAgain()
{
    m_box->peer().stop();
    QCOMPARE(m_box->get("job.zip").code(), ErrorCode::Unavailable);
    m_box->peer().start();
    QCOMPARE(m_box->peer().problem(), QString());
    QVERIFY(recovers([this] { return m_box->put("job.zip", trialContent()).ok(); }));
    QVERIFY(m_box->contentOf("job.zip") == trialContent());
}

ZAV_REGISTER_TEST(gridfs_outages, GridFsOutages, QCoreApplication)

#include "gridfs_outages.moc"
