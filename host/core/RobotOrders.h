#pragma once

#include "host/site/RobotRecords.h"

#include <QObject>
#include <QStringList>

#include <vector>

namespace KOZAV::Host {

/// Sends requests of jobs again, or puts jobs back on the waiting list, one after the other on another
/// thread: a robot may take half a minute for an answer.
class RobotOrders final : public QObject
{
    Q_OBJECT
public:
    enum class Order { Resend, Requeue };
    Q_ENUM(Order)

    explicit RobotOrders(QObject* parent = nullptr);

    /// @param jobs  generated names; nothing is done where an order is under way
    void start(Order order, const QStringList& jobs);
    /// Leaves the jobs out that come after the one that is under way.
    void stop();

    [[nodiscard]] bool isRunning() const { return m_running; }
    [[nodiscard]] Order order() const { return m_order; }
    /// What became of the jobs of the last order so far.
    [[nodiscard]] const std::vector<RobotOrderResult>& results() const { return m_results; }
    /// How many jobs it was given for.
    [[nodiscard]] int jobCount() const { return m_jobCount; }

Q_SIGNALS:
    /// An order begins, a job of it is done, or it has ended.
    void changed();
    void finished();

private:
    void next();

    Order m_order = Order::Resend;
    QStringList m_waiting;
    std::vector<RobotOrderResult> m_results;
    int m_jobCount = 0;
    bool m_running = false;
};

} // namespace KOZAV::Host
