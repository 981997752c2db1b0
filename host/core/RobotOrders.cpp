#include "host/core/RobotOrders.h"

#include "host/core/BehindWindow.h"

namespace KOZAV::Host {

RobotOrders::RobotOrders(QObject* parent)
    : QObject(parent)
{
}

void RobotOrders::start(Order order, const QStringList& jobs)
{
    if (m_running || jobs.isEmpty())
        return;
    m_order = order;
    m_waiting = jobs;
    m_jobCount = jobs.size();
    m_results.clear();
    m_running = true;
    Q_EMIT changed();
    next();
}

void RobotOrders::stop()
{
    m_waiting.clear();
}

void RobotOrders::next()
{
    if (m_waiting.isEmpty()) {
        m_running = false;
        Q_EMIT changed();
        Q_EMIT finished();
        return;
    }
    const QString job = m_waiting.takeFirst();
    const auto carryOut = m_order == Order::Resend ? resendToRobot : requeueFromRobot;
    workBehindWindow(
        this, [carryOut, job] { return carryOut(job); },
        [this](const RobotOrderResult& result) {
            m_results.push_back(result);
            Q_EMIT changed();
            next();
        });
}

} // namespace KOZAV::Host
