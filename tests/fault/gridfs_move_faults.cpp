// Moving a file into the quarantine, out of it, and marking a location, while the server fails at the one
// write that decides.

#include "tests/fault/GridFsTrial.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

struct Fault
{
    const char* name;
    const char* action;
    bool after;
    bool succeedsAlone;
    bool succeedsInReplicaSet;
};

// What became of the write can be looked up; only members of a replica set know one that is sent again.
constexpr Fault faults[] = {
    {"refused", "error", false, false, false},         {"no space", "full", false, false, false},
    {"not confirmed", "wcerror", false, false, false}, {"role lost", "notprimary", false, false, true},
    {"dropped before", "drop", false, false, true},    {"dropped after", "drop", true, true, true},
    {"stalled before", "stall", false, false, true},   {"stalled after", "stall", true, true, true},
    {"gone", "refuse", false, false, false},           {"gone after", "refuse", true, false, false},
};

void addRows(const QString& verb, const QString& at)
{
    for (const bool replicaSet : {false, true}) {
        for (const Fault& fault : faults)
            QTest::addRow("%s, %s, %s", qPrintable(verb), replicaSet ? "replica set" : "alone", fault.name)
                << verb << replicaSet << PeerFault{QLatin1String(fault.action), at, 1, 1, fault.after}
                << (replicaSet ? fault.succeedsInReplicaSet : fault.succeedsAlone);
    }
}

} // namespace

Q_DECLARE_METATYPE(PeerFault)

class GridFsMoveFaults final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void oneFault_data();
    void oneFault();

private:
    Status run(const QString& verb);
    bool isDone(const QString& verb);
    void checkWholeSomewhere();

    std::unique_ptr<GridFsBox> m_box;
};

void GridFsMoveFaults::initTestCase()
{
    GridFsBox probe(trialServer(false));
    if (const QString refusal = probe.peer().refusal(); !refusal.isEmpty())
        QSKIP(qPrintable(refusal));
}

Status GridFsMoveFaults::run(const QString& verb)
{
    DocumentStore& store = m_box->store();
    if (verb == QLatin1String("quarantine"))
        return store.quarantine(m_box->location(), "job.zip");
    if (verb == QLatin1String("restore"))
        return store.restoreQuarantined(m_box->location(), "job.zip");
    if (verb == QLatin1String("purge"))
        return store.purgeQuarantined(m_box->location(), "job.zip");
    return store.setSiteMark(m_box->location(), QStringLiteral("site-1"));
}

/// Whether the store is as the verb leaves it.
bool GridFsMoveFaults::isDone(const QString& verb)
{
    if (verb == QLatin1String("mark"))
        return m_box->store().siteMark(m_box->location()).value() == QLatin1String("site-1");
    const bool stored = m_box->store().find(m_box->location(), "job.zip").ok();
    const bool inQuarantine = !m_box->store().listQuarantine(m_box->location())->empty();
    if (verb == QLatin1String("purge"))
        return !stored && !inQuarantine;
    return verb == QLatin1String("quarantine") ? inQuarantine : stored;
}

/// Whatever became of a move: the file is in one of the two places.
void GridFsMoveFaults::checkWholeSomewhere()
{
    if (m_box->store().find(m_box->location(), "job.zip").code() == ErrorCode::NotFound) {
        const auto restored = m_box->store().restoreQuarantined(m_box->location(), "job.zip");
        QVERIFY2(restored.ok(), qPrintable(restored.message()));
    }
    QVERIFY(m_box->store().listQuarantine(m_box->location())->empty());
    QVERIFY(m_box->contentOf("job.zip") == trialContent());
}

void GridFsMoveFaults::oneFault_data()
{
    QTest::addColumn<QString>("verb");
    QTest::addColumn<bool>("replicaSet");
    QTest::addColumn<PeerFault>("fault");
    QTest::addColumn<bool>("succeeds");
    addRows(QStringLiteral("quarantine"), QStringLiteral("update"));
    addRows(QStringLiteral("restore"), QStringLiteral("update"));
    addRows(QStringLiteral("purge"), QStringLiteral("delete"));
    addRows(QStringLiteral("mark"), QStringLiteral("insert"));
}

void GridFsMoveFaults::oneFault()
{
    QFETCH(const QString, verb);
    QFETCH(const bool, replicaSet);
    QFETCH(const PeerFault, fault);
    QFETCH(const bool, succeeds);
    m_box = std::make_unique<GridFsBox>(trialServer(replicaSet), trialTimeouts());
    QVERIFY(m_box->put("job.zip", trialContent()).ok());
    if (verb == QLatin1String("restore") || verb == QLatin1String("purge"))
        QVERIFY(m_box->store().quarantine(m_box->location(), "job.zip").ok());

    m_box->peer().order({fault});
    Status outcome;
    QVERIFY(endsInTime([&] { outcome = run(verb); }));
    QCOMPARE(m_box->peer().hits(), 1);
    m_box->peer().clearFaults();
    m_box->peer().comeBack();
    QVERIFY(recovers([this] { return m_box->store().siteMark(m_box->location()).ok(); }));

    QVERIFY2(outcome.ok() == succeeds, qPrintable(outcome.message()));
    if (outcome.ok())
        QVERIFY(isDone(verb));
    else
        QCOMPARE(faultOfMessage(outcome), QString());
    if (!outcome.ok() && outcome.code() != ErrorCode::OutcomeUnknown)
        QVERIFY(!isDone(verb));
    if (!isDone(verb)) {
        const auto again = run(verb);
        QVERIFY2(again.ok(), qPrintable(again.message()));
    }
    QVERIFY(isDone(verb));
    if (verb != QLatin1String("purge"))
        checkWholeSomewhere();
    // Chunks stay where nobody can tell whether the files document is gone.
    if (verb != QLatin1String("purge") || outcome.code() != ErrorCode::OutcomeUnknown)
        QCOMPARE(m_box->peer().orphanChunks(), 0);
}

ZAV_REGISTER_TEST(gridfs_move_faults, GridFsMoveFaults, QCoreApplication)

#include "gridfs_move_faults.moc"
