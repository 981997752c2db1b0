#pragma once

#include "robot_server/RobotEvents.h"
#include "robot_server/RobotServerOptions.h"

#include <QObject>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <vector>

namespace KOZAV::Robot {

class RobotConnection;

/// The CAM robot's stand-in: takes the requests of any number of peers up to the limit, and processes no job.
/// Lives in the thread of its event loop and never blocks it.
class RobotServer final : public QObject
{
    Q_OBJECT
public:
    explicit RobotServer(QObject* parent = nullptr);

    /// Starts; a server is started once.
    /// @return the port in use; 0 where that is not possible, and errorString() says why
    [[nodiscard]] quint16 start(const RobotServerOptions& options);
    /// Takes nobody and nothing more, answers what it took, closes; finished() follows.
    void stop();

    [[nodiscard]] QString errorString() const { return m_error; }
    [[nodiscard]] int connectionCount() const { return static_cast<int>(m_connections.size()); }

Q_SIGNALS:
    /// A document has come, valid or not; emitted before it is answered.
    void requestReceived(const KOZAV::Robot::ReceivedRequest& request);
    void connectionDropped(const KOZAV::Robot::DroppedConnection& connection);
    /// The last connection has ended after stop() or after the last request that was to be taken.
    void finished();

private:
    bool reservePort();
    bool listen();
    bool hasFilesEnough();
    void acceptPending();
    void admit(QTcpSocket* socket);
    void onAcceptError();
    [[nodiscard]] QString whyNotAdmitted(const QTcpSocket& socket) const;
    [[nodiscard]] bool isAllowed(const QTcpSocket& socket) const;
    void onRequest(const ReceivedRequest& request);
    void onClosed(RobotConnection* connection);
    void finishWhenAlone();

    RobotServerOptions m_options;
    // Children, so that they go along to another thread.
    QTcpServer m_server{this};
    QTimer m_resumeTimer{this};
    QTcpSocket m_reservation{this};              ///< holds the port that is not listened on
    std::vector<RobotConnection*> m_connections; ///< children
    QString m_error;
    int m_requests = 0;
    bool m_stopping = false;
    bool m_finished = false;
};

} // namespace KOZAV::Robot
