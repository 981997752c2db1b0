#pragma once

#include <QObject>

namespace KOZAV::Robot {

/// Turns SIGINT and SIGTERM into a signal of the event loop. One in a program, for as long as it runs.
class StopSignals final : public QObject
{
    Q_OBJECT
public:
    explicit StopSignals(QObject* parent = nullptr);

Q_SIGNALS:
    void stopRequested();
};

} // namespace KOZAV::Robot
