#pragma once

#include <QObject>
#include <QString>
#include <QThread>

namespace KOZAV::Robot {
class RobotServer;
}

namespace KOZAV::Host {

/// The CAM robot's stand-in inside the client, on a thread of its own: the panels block the GUI thread while
/// they wait for the robot.
class EmbeddedRobot final : public QObject
{
    Q_OBJECT
public:
    explicit EmbeddedRobot(QObject* parent = nullptr);
    ~EmbeddedRobot() override;

    /// Listens where the configuration says that the robot is. @return why that is not possible; empty on
    /// success
    [[nodiscard]] QString start();

Q_SIGNALS:
    /// One line for each request that arrives.
    void requestReceived(const QString& text);

private:
    QThread m_thread;
    Robot::RobotServer* m_server = nullptr; ///< lives in the thread, which deletes it
};

} // namespace KOZAV::Host
