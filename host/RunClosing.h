#pragma once

#include "backend/HostInterface.h"

#include <QObject>

class QWidget;

namespace KOZAV::Host {

class PanelRun;
class PanelTidying;
class ProgressStrip;
class SiteAccess;
class WorkPulse;

/// Closing the window while the file import panel works: it waits for the current job, then asks whether the
/// batch is to go on. Where it is not, the services refuse the entries that are left, the panel runs to its
/// end with its boxes answered, and the window closes.
class RunClosing final : public QObject
{
    Q_OBJECT
public:
    /// What it follows outlives this object.
    RunClosing(SiteAccess& site, const PanelRun& run, ProgressStrip& strip, PanelTidying& tidying,
               WorkPulse& pulse, QWidget& window);

    /// The window is to be closed. @return whether that may be now; otherwise it comes to it later
    [[nodiscard]] bool mayClose();
    /// Whether it will be asked about.
    [[nodiscard]] bool isAskedFor() const { return m_asked; }

private:
    void begin();
    void end();
    void serviceCalled(const Backend::OperationEvent& event);
    [[nodiscard]] bool askToStop();
    void stop();

    const PanelRun& m_run;
    ProgressStrip& m_strip;
    PanelTidying& m_tidying;
    WorkPulse& m_pulse;
    QWidget& m_window;
    bool m_asked = false;
    bool m_isStopped = false;
};

} // namespace KOZAV::Host
