#pragma once

#include "backend/check/CheckProgress.h"
#include "terminal/ProgressLine.h"

namespace KOZAV::Admin {

/// Puts the progress of a check into words: what is done, how fast, and how long the rest will take.
class CheckDisplay final
{
public:
    CheckDisplay(QIODevice* device, Terminal::ProgressLine::View view, Terminal::ProgressLine::Clock clock);

    void show(const Backend::CheckProgress& progress);

private:
    Terminal::ProgressLine::Clock m_clock;
    Terminal::ProgressLine m_line;
    Backend::CheckProgress::Phase m_phase = Backend::CheckProgress::Phase::Database;
    qint64 m_phaseSince = 0; ///< by the clock
};

} // namespace KOZAV::Admin
