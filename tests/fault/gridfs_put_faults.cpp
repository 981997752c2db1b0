// Storing a file while the server fails: at the first, a middle and the last chunk, at the files document,
// and at every request of a put, once and from there on.

#include "tests/fault/GridFsTrial.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

enum class Outcome {
    Fails,
    Succeeds, ///< the driver repeats the request, or a look at the server shows that it was carried out
    Either    ///< which of them depends on what the request was
};

struct Fault
{
    const char* name;
    const char* action;
    bool after;
    Outcome alone;
    Outcome inReplicaSet;
};

// Only members of a replica set know a write that is sent again.
constexpr Fault chunkFaults[] = {
    {"refused", "error", false, Outcome::Fails, Outcome::Fails},
    {"no space", "full", false, Outcome::Fails, Outcome::Fails},
    {"not confirmed", "wcerror", false, Outcome::Fails, Outcome::Fails},
    {"role lost", "notprimary", false, Outcome::Fails, Outcome::Succeeds},
    {"dropped before", "drop", false, Outcome::Fails, Outcome::Succeeds},
    {"dropped after", "drop", true, Outcome::Fails, Outcome::Succeeds},
    {"stalled before", "stall", false, Outcome::Fails, Outcome::Succeeds},
    {"stalled after", "stall", true, Outcome::Fails, Outcome::Succeeds},
    {"gone", "refuse", false, Outcome::Fails, Outcome::Fails},
};

// What became of the files document can be looked up.
constexpr Fault fileFaults[] = {
    {"refused", "error", false, Outcome::Fails, Outcome::Fails},
    {"no space", "full", false, Outcome::Fails, Outcome::Fails},
    {"not confirmed", "wcerror", false, Outcome::Fails, Outcome::Fails},
    {"role lost", "notprimary", false, Outcome::Fails, Outcome::Succeeds},
    {"dropped before", "drop", false, Outcome::Fails, Outcome::Succeeds},
    {"dropped after", "drop", true, Outcome::Succeeds, Outcome::Succeeds},
    {"stalled before", "stall", false, Outcome::Fails, Outcome::Succeeds},
    {"stalled after", "stall", true, Outcome::Succeeds, Outcome::Succeeds},
    {"gone", "refuse", false, Outcome::Fails, Outcome::Fails},
    {"gone after", "refuse", true, Outcome::Fails, Outcome::Fails},
};

struct Place
{
    const char* name;
    int n;
};

constexpr Place chunkPlaces[] = {
    {"first chunk", 1}, {"middle chunk", trialChunks / 2 + 1}, {"last chunk", trialChunks}};

PeerFault planOf(const Fault& fault, const char* at, int n)
{
    return {QLatin1String(fault.action), QLatin1String(at), n, 1, fault.after};
}

void addRow(const Fault& fault, const char* at, const Place& place, bool replicaSet)
{
    const QByteArray name =
        QByteArray(replicaSet ? "replica set, " : "alone, ") + place.name + ", " + fault.name;
    QTest::newRow(name.constData()) << replicaSet << planOf(fault, at, place.n)
                                    << (replicaSet ? fault.inReplicaSet : fault.alone);
}

// Of a first put: three of the login, three for indexes, a look for the name, three batches, the files
// document.
constexpr int requestsOfPut = 11;

/// Once at each of the requests, and from each of them on.
void addEveryRequest(const char* action, bool replicaSet)
{
    for (const int times : {1, 0}) {
        for (int n = 1; n <= requestsOfPut; ++n)
            QTest::addRow("%s, %s %s request %d", replicaSet ? "replica set" : "alone", action,
                          times == 1 ? "at" : "from", n)
                << replicaSet << PeerFault{QLatin1String(action), QStringLiteral("any"), n, times, false};
    }
}

bool isAmong(ErrorCode code, std::initializer_list<ErrorCode> codes)
{
    return std::find(codes.begin(), codes.end(), code) != codes.end();
}

bool fits(const QString& action, ErrorCode code)
{
    if (action == QLatin1String("error"))
        return isAmong(code, {ErrorCode::Io, ErrorCode::NotPermitted}); // the latter where it is the login
    if (action == QLatin1String("full"))
        return code == ErrorCode::NoSpace;
    return isAmong(code, {ErrorCode::Unavailable, ErrorCode::OutcomeUnknown});
}

} // namespace

Q_DECLARE_METATYPE(Outcome)
Q_DECLARE_METATYPE(PeerFault)

class GridFsPutFaults final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void putSendsSeveralBatches();
    void oneFault_data();
    void oneFault();
    void faultAtEveryRequest_data();
    void faultAtEveryRequest();
    void aKilledProgramLeavesNoFile_data();
    void aKilledProgramLeavesNoFile();

private:
    void start(bool replicaSet);
    void putDuring(const PeerFault& fault, Outcome expected);
    void checkStored();
    void checkFailed(const Status& failure, const QString& action);
    void checkRecovery(bool outcomeWasOpen);

    std::unique_ptr<GridFsBox> m_box;
};

void GridFsPutFaults::initTestCase()
{
    start(false);
    if (const QString refusal = m_box->peer().refusal(); !refusal.isEmpty())
        QSKIP(qPrintable(refusal));
}

void GridFsPutFaults::start(bool replicaSet)
{
    m_box = std::make_unique<GridFsBox>(trialServer(replicaSet), trialTimeouts());
}

/// Or a middle chunk would not lie in a middle batch.
void GridFsPutFaults::putSendsSeveralBatches()
{
    QVERIFY(m_box->put("job.zip", trialContent()).ok());
    QCOMPARE(m_box->peer().counters()[QStringLiteral("insertedChunks")].toInt(), trialChunks);
    int requests = 0;
    const QJsonObject commands = m_box->peer().counters()[QStringLiteral("commands")].toObject();
    for (const char* name : {"saslStart", "saslContinue", "createIndexes", "find", "insert"})
        requests += commands[QLatin1String(name)].toInt();
    QCOMPARE(requests, requestsOfPut);
    QCOMPARE(commands[QStringLiteral("insert")].toInt(), 4);
}

void GridFsPutFaults::oneFault_data()
{
    QTest::addColumn<bool>("replicaSet");
    QTest::addColumn<PeerFault>("fault");
    QTest::addColumn<Outcome>("expected");
    for (const bool replicaSet : {false, true}) {
        for (const Place& place : chunkPlaces) {
            for (const Fault& fault : chunkFaults)
                addRow(fault, "chunk", place, replicaSet);
        }
        for (const Fault& fault : fileFaults)
            addRow(fault, "file", {"files document", 1}, replicaSet);
    }
}

void GridFsPutFaults::oneFault()
{
    QFETCH(const bool, replicaSet);
    QFETCH(const PeerFault, fault);
    QFETCH(const Outcome, expected);
    start(replicaSet);
    QVERIFY(m_box->put("before.zip", "stored before").ok());
    putDuring(fault, expected);
}

void GridFsPutFaults::faultAtEveryRequest_data()
{
    QTest::addColumn<bool>("replicaSet");
    QTest::addColumn<PeerFault>("fault");
    for (const char* action : {"error", "drop", "stall", "refuse"})
        addEveryRequest(action, false);
    addEveryRequest("drop", true);
}

void GridFsPutFaults::faultAtEveryRequest()
{
    QFETCH(const bool, replicaSet);
    QFETCH(const PeerFault, fault);
    start(replicaSet);
    putDuring(fault, fault.times == 0 ? Outcome::Fails : Outcome::Either);
}

void GridFsPutFaults::putDuring(const PeerFault& fault, Outcome expected)
{
    GridFsPeer& peer = m_box->peer();
    peer.order({fault});
    Status ended;
    QVERIFY(endsInTime([&] { ended = m_box->put("job.zip", trialContent()).status(); }));
    QVERIFY2(peer.hits() >= 1, "the fault was not shown");
    peer.clearFaults();
    peer.comeBack();
    if (expected != Outcome::Either)
        QVERIFY2(ended.ok() == (expected == Outcome::Succeeds), qPrintable(ended.message()));
    if (ended.ok())
        checkStored();
    else
        checkFailed(ended, fault.action);
    if (!QTest::currentTestFailed())
        checkRecovery(ended.code() == ErrorCode::OutcomeUnknown);
}

void GridFsPutFaults::checkStored()
{
    QCOMPARE(m_box->peer().incompleteFiles(), QStringList());
    QVERIFY(recovers([this] { return m_box->contentOf("job.zip") == trialContent(); }));
}

/// Nothing is under the name, unless it is not known whether something is.
void GridFsPutFaults::checkFailed(const Status& failure, const QString& action)
{
    QVERIFY2(fits(action, failure.code()), qPrintable(failure.message()));
    QCOMPARE(faultOfMessage(failure), QString());
    QCOMPARE(m_box->peer().incompleteFiles(), QStringList());
    const QJsonArray files = m_box->peer().files();
    for (const QJsonValue& file : files) {
        if (file.toObject()[QStringLiteral("name")] == QLatin1String("job.zip"))
            QCOMPARE(failure.code(), ErrorCode::OutcomeUnknown);
    }
    QCOMPARE(readFile(m_box->beside("source")), trialContent());
}

void GridFsPutFaults::checkRecovery(bool outcomeWasOpen)
{
    QVERIFY(recovers([this] { return m_box->put("next.zip", "stored next").ok(); }));
    const auto again = m_box->put("job.zip", trialContent());
    QVERIFY2(again.ok(), qPrintable(again.message()));
    QVERIFY(m_box->contentOf("job.zip") == trialContent());
    QCOMPARE(m_box->contentOf("next.zip"), QByteArrayLiteral("stored next"));
    QCOMPARE(m_box->peer().incompleteFiles(), QStringList());
    if (!outcomeWasOpen)
        QCOMPARE(m_box->peer().orphanChunks(), 0);
}

void GridFsPutFaults::aKilledProgramLeavesNoFile_data()
{
    QTest::addColumn<QString>("at");
    QTest::addColumn<int>("n");
    for (const Place& place : chunkPlaces)
        QTest::newRow(place.name) << QStringLiteral("chunk") << place.n;
    QTest::newRow("files document") << QStringLiteral("file") << 1;
}

/// The program waits for an answer that does not come, and is killed.
void GridFsPutFaults::aKilledProgramLeavesNoFile()
{
    QFETCH(const QString, at);
    QFETCH(const int, n);
    start(false);
    GridFsPeer& peer = m_box->peer();
    peer.order({{QStringLiteral("stall"), at, n}});
    writeFile(m_box->beside("source"), trialContent());
    QProcess program;
    program.start(QCoreApplication::applicationFilePath(),
                  {QStringLiteral("--put"), m_box->uri(), QString::fromStdString(m_box->beside("password")),
                   QString::fromStdString(m_box->location().database),
                   QString::fromStdString(m_box->beside("source"))});
    QTRY_COMPARE_WITH_TIMEOUT(peer.hits(), 1, recoveryMs);
    program.kill();
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.exitStatus(), QProcess::CrashExit);
    peer.clearFaults();
    QCOMPARE(peer.incompleteFiles(), QStringList());
    QCOMPARE(peer.files().size(), 0);
    QCOMPARE(m_box->get("job.zip").code(), ErrorCode::NotFound);
    QVERIFY(m_box->put("job.zip", trialContent()).ok());
    QVERIFY(m_box->contentOf("job.zip") == trialContent());
}

namespace {

/// The program that is killed: "--put <uri> <password file> <database> <path>".
int runPut(const QStringList& arguments)
{
    DocumentStoreSettings settings;
    settings.kind = QStringLiteral("mongodb");
    settings.uri = arguments.at(2);
    settings.uri.replace(QStringLiteral("socketTimeoutMS=%1").arg(trialTimeoutMs),
                         QStringLiteral("socketTimeoutMS=60000"));
    settings.passwordFile = arguments.at(3);
    const auto store = openDocumentStore(settings);
    if (!store.ok())
        return reportRole(store.status());
    const StoreLocation location{arguments.at(4).toStdString(), "archives"};
    return reportRole(store.value()->put(location, "job.zip", local(arguments.at(5))).status());
}

} // namespace

ZAV_REGISTER_ROLE("--put", runPut, QCoreApplication)
ZAV_REGISTER_TEST(gridfs_put_faults, GridFsPutFaults, QCoreApplication)

#include "gridfs_put_faults.moc"
