#pragma once

#include "host/core/RunProgress.h"

#include <QElapsedTimer>
#include <QFrame>

#include <optional>

class QProgressBar;

namespace KOZAV::Host {

class ElidedLine;
class PanelRun;
class SiteAccess;
class WorkPulse;

/// How far a run of the file import panel is: current company and job, n of N, bytes, rate and time left.
/// Hidden while nothing is imported.
class ProgressStrip final : public QFrame
{
    Q_OBJECT
public:
    /// @param run  of the panel; outlives this object, as the site does
    ProgressStrip(SiteAccess& site, const PanelRun& run, QWidget* parent = nullptr);

    /// Has it brought up to date whenever the window is painted.
    void follow(const WorkPulse& pulse);
    /// Of the run that is under way; null where there is none.
    [[nodiscard]] const RunProgress* progress() const { return m_progress ? &*m_progress : nullptr; }
    /// Says that the window will be closed: when the run has ended, or when that has been asked about.
    void tellClosing(bool isStopped);

private:
    void begin(const PanelSource& source);
    void end();
    void refresh();

    QElapsedTimer m_clock;
    std::optional<RunProgress> m_progress;
    ElidedLine* m_job;
    ElidedLine* m_figures;
    ElidedLine* m_closing;
    QProgressBar* m_bar;
};

} // namespace KOZAV::Host
