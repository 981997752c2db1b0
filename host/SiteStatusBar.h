#pragma once

#include <QStatusBar>

class QLabel;

namespace KOZAV::Host {

class SiteAccess;

/// Which site is in use: database, store, and whether the robot can be reached.
class SiteStatusBar final : public QStatusBar
{
    Q_OBJECT
public:
    explicit SiteStatusBar(const SiteAccess& site, QWidget* parent = nullptr);

    void showRobot(const QString& robot, bool reachable);

private:
    QLabel* addPart(const QString& text);

    QLabel* m_robot;
};

} // namespace KOZAV::Host
