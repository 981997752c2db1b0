// What waits while a slot of the file import panel runs, and when it is done.

#include "host/core/RunGate.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <memory>

using KOZAV::Host::RunGate;

class HostRunGateTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();
    void doesAtOnceWhatMayBeDone();
    void keepsTheOrder();
    void waitsForTheEventLoop();
    void dropsTheWorkOfWhoIsGone();
    void mayBeClosedAgainByTheWork();

private:
    void add(const QString& what)
    {
        RunGate::whenOpen(this, [this, what] { m_done << what; });
    }

    QStringList m_done;
};

void HostRunGateTest::cleanup()
{
    RunGate::open();
    QCoreApplication::processEvents();
    m_done.clear();
}

void HostRunGateTest::doesAtOnceWhatMayBeDone()
{
    QVERIFY(!RunGate::isClosed());
    add(QStringLiteral("a"));
    QCOMPARE(m_done, QStringList(QStringLiteral("a")));
}

void HostRunGateTest::keepsTheOrder()
{
    RunGate::close();
    RunGate::close();
    QVERIFY(RunGate::isClosed());
    add(QStringLiteral("a"));
    add(QStringLiteral("b"));
    QCoreApplication::processEvents();
    QVERIFY(m_done.isEmpty());
    RunGate::open();
    QVERIFY(!RunGate::isClosed());
    add(QStringLiteral("c"));
    QTRY_COMPARE(m_done, QStringList({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
}

/// Who follows the run hears of its end before, whatever the order of their connections.
void HostRunGateTest::waitsForTheEventLoop()
{
    RunGate::close();
    add(QStringLiteral("a"));
    RunGate::open();
    QVERIFY(m_done.isEmpty());
    QTRY_COMPARE(m_done.size(), 1);
}

void HostRunGateTest::dropsTheWorkOfWhoIsGone()
{
    RunGate::close();
    auto context = std::make_unique<QObject>();
    RunGate::whenOpen(context.get(), [this] { m_done << QStringLiteral("gone"); });
    add(QStringLiteral("a"));
    context.reset();
    RunGate::open();
    QTRY_COMPARE(m_done, QStringList(QStringLiteral("a")));
}

void HostRunGateTest::mayBeClosedAgainByTheWork()
{
    RunGate::close();
    RunGate::whenOpen(this, [this] {
        m_done << QStringLiteral("a");
        RunGate::close();
    });
    add(QStringLiteral("b"));
    RunGate::open();
    QTRY_COMPARE(m_done.size(), 1);
    QCoreApplication::processEvents();
    QCOMPARE(m_done, QStringList(QStringLiteral("a")));
    RunGate::open();
    QTRY_COMPARE(m_done.size(), 2);
}

ZAV_REGISTER_TEST(host_run_gate, HostRunGateTest, QCoreApplication)

#include "host_run_gate.moc"
