#pragma once

#include "admin/ProgressText.h"
#include "admin/Verbs.h"
#include "backend/migrate/MigrationProgress.h"
#include "terminal/ProgressLine.h"

#include <QElapsedTimer>

namespace KOZAV::Admin {

/// Puts the progress of a migration into words: what is done, how fast, and how long the rest will take.
class MigrationDisplay final
{
public:
    MigrationDisplay(QIODevice* device, Terminal::ProgressLine::View view,
                     Terminal::ProgressLine::Clock clock);

    void show(const Backend::MigrationProgress& progress);

private:
    [[nodiscard]] FilesDone filesDone(const Backend::MigrationProgress& progress) const;

    Terminal::ProgressLine::Clock m_clock;
    Terminal::ProgressLine m_line;
    Backend::MigrationProgress::Phase m_phase = Backend::MigrationProgress::Phase::Checking;
    qint64 m_phaseSince = 0; ///< by the clock
};

/// The progress of a verb that copies a site: on the standard error, unless that is for a failure's document
/// and nobody looks at it.
class CopyProgress final
{
public:
    explicit CopyProgress(const Call& call);
    Q_DISABLE_COPY(CopyProgress)

    /// To be called while this object lives.
    [[nodiscard]] Backend::MigrationObserver observer();
    /// How far it came, where it was stopped.
    [[nodiscard]] Stop stop() const;

private:
    QElapsedTimer m_clock;
    MigrationDisplay m_display;
    Backend::MigrationProgress m_last;
    qint64 m_rows = 0; ///< copied
};

} // namespace KOZAV::Admin
