// Whether the configured robot takes connections.

#include "host/RobotProbe.h"
#include "tests/support/FreshSite.h"
#include "tests/support/RobotPeer.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>

using namespace KOZAV::Host;
using namespace KOZAV::Test;

class HostRobotProbe : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void reachable();
    void nobodyListens();
    void hostThatIsNoName();
};

void HostRobotProbe::reachable()
{
    const RobotPeer peer(RobotPeer::Mode::Silent);
    const FreshSite site;
    site.configure(QStringLiteral("robot/port"), QString::number(peer.port()));
    RobotProbe probe;
    QSignalSpy probed(&probe, &RobotProbe::probed);
    probe.start();
    QTRY_COMPARE(probed.count(), 1);
    QCOMPARE(probed.at(0).at(0).toString(), QStringLiteral("127.0.0.1:%1").arg(peer.port()));
    QCOMPARE(probed.at(0).at(1).toBool(), true);
}

void HostRobotProbe::nobodyListens()
{
    const FreshSite site;
    site.configure(QStringLiteral("robot/port"), QString::number(RobotPeer::closedPort()));
    RobotProbe probe;
    QSignalSpy probed(&probe, &RobotProbe::probed);
    probe.start();
    QTRY_COMPARE(probed.count(), 1);
    QCOMPARE(probed.at(0).at(1).toBool(), false);
}

void HostRobotProbe::hostThatIsNoName()
{
    const FreshSite site;
    site.configure(QStringLiteral("robot/host"), QStringLiteral("no-such-host.invalid"));
    RobotProbe probe;
    QSignalSpy probed(&probe, &RobotProbe::probed);
    probe.start();
    QTRY_COMPARE_WITH_TIMEOUT(probed.count(), 1, 10000);
    QCOMPARE(probed.at(0).at(1).toBool(), false);
}

ZAV_REGISTER_TEST(host_robot_probe, HostRobotProbe, QCoreApplication)

#include "host_robot_probe.moc"
