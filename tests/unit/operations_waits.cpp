// How a host hears that an import waits.

#include "backend/HostInterface.h"
#include "backend/operations/ToldWait.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>
#include <QVector>

#include <stdexcept>

using namespace KOZAV::Backend;
using namespace std::chrono_literals;

class OperationsWaits final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void successIsTold();
    void givingUpIsTold();
    void withoutPatienceNothingIsTold();
    void exceptionOfTheObserverGoesNoFurther();

private:
    QVector<ServiceWait> m_told;
};

void OperationsWaits::init()
{
    m_told.clear();
    setWaitObserver([this](const ServiceWait& wait) { m_told.append(wait); });
}

void OperationsWaits::cleanup()
{
    setWaitObserver({});
}

void OperationsWaits::successIsTold()
{
    ServiceWait what;
    what.part = SitePart::Files;
    what.reason = QStringLiteral("away");
    {
        ToldWait wait(what, 10s);
        QVERIFY(wait.pause(600ms));
    }
    QVERIFY(m_told.size() >= 3);
    QVERIFY(!m_told.first().over);
    QCOMPARE(m_told.first().part, SitePart::Files);
    QCOMPARE(m_told.first().reason, QStringLiteral("away"));
    QCOMPARE(m_told.first().patienceMs, qint64(10'000));
    QVERIFY(m_told.last().over);
    QVERIFY(!m_told.last().gaveUp);
    QVERIFY(m_told.last().waitedMs >= 600);
}

void OperationsWaits::givingUpIsTold()
{
    {
        ToldWait wait({}, 100ms);
        QVERIFY(wait.pause(10s));
        QVERIFY(!wait.pause(10s));
    }
    QVERIFY(m_told.last().over);
    QVERIFY(m_told.last().gaveUp);
}

void OperationsWaits::withoutPatienceNothingIsTold()
{
    {
        ToldWait wait({}, 0s);
        QVERIFY(!wait.pause(10s));
    }
    QVERIFY(m_told.isEmpty());
}

void OperationsWaits::exceptionOfTheObserverGoesNoFurther()
{
    setWaitObserver([](const ServiceWait&) { throw std::runtime_error("observer"); });
    ToldWait wait({}, 10s);
    QVERIFY(wait.pause(10ms));
}

ZAV_REGISTER_TEST(operations_waits, OperationsWaits, QCoreApplication)

#include "operations_waits.moc"
