#pragma once

#include "backend/HostInterface.h"

#include <QStatusBar>

class QLabel;

namespace KOZAV::Host {

class SiteAccess;

/// Which site is in use: what its rows and its stored files lie on, and whether they and the robot can be
/// reached; and what an import waits for.
class SiteStatusBar final : public QStatusBar
{
    Q_OBJECT
public:
    explicit SiteStatusBar(const SiteAccess& site, QWidget* parent = nullptr);

    void showRobot(const QString& robot, bool reachable);

private:
    QLabel* addLabel(const QString& text);
    void showPart(Backend::SitePart part);
    void showWait(const Backend::ServiceWait& wait);

    const SiteAccess& m_site;
    QLabel* m_wait;
    QLabel* m_rows;
    QLabel* m_files;
    QLabel* m_robot;
};

} // namespace KOZAV::Host
