#pragma once

#include <QObject>
#include <QTcpSocket>
#include <QTimer>

namespace KOZAV::Host {

/// Finds out now and then whether the configured CAM robot takes connections, without ever blocking.
class RobotProbe final : public QObject
{
    Q_OBJECT
public:
    explicit RobotProbe(QObject* parent = nullptr);

    /// Probes at once, and from then on in intervals.
    void start();

Q_SIGNALS:
    /// @param robot  "host:port" as configured
    void probed(const QString& robot, bool reachable);

private:
    void probe();
    void answer(bool reachable);

    QTcpSocket m_socket;
    QTimer m_interval;
    QTimer m_timeout;
    QString m_robot;
    bool m_probing = false;
};

} // namespace KOZAV::Host
