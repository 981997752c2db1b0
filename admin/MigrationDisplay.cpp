#include "admin/MigrationDisplay.h"

#include "admin/ProgressText.h"

#include <utility>

namespace KOZAV::Admin {

using Backend::MigrationProgress;
using Phase = MigrationProgress::Phase;

namespace {

QString taskText(Phase phase)
{
    switch (phase) {
    case Phase::Checking:
        return QStringLiteral("comparing");
    case Phase::Files:
        return QStringLiteral("files");
    case Phase::Rows:
        return QStringLiteral("rows");
    case Phase::Verifying:
        break;
    }
    return QStringLiteral("verifying");
}

} // namespace

MigrationDisplay::MigrationDisplay(QIODevice* device, Terminal::ProgressLine::View view,
                                   Terminal::ProgressLine::Clock clock)
    : m_clock(clock)
    , m_line(device, view, std::move(clock))
    , m_phaseSince(m_clock())
{
}

void MigrationDisplay::show(const MigrationProgress& progress)
{
    if (progress.phase != m_phase)
        m_phaseSince = m_clock();
    m_phase = progress.phase;
    const QString task = taskText(progress.phase);
    switch (progress.phase) {
    case Phase::Checking:
        m_line.show(task, -1, QStringLiteral("%1 rows").arg(progress.rows));
        break;
    case Phase::Files:
        m_line.show(task, fractionOf(filesDone(progress)), detailsOf(filesDone(progress)));
        break;
    case Phase::Rows:
    case Phase::Verifying:
        m_line.show(task, fractionOf(progress.rows, progress.rowsTotal),
                    countText(progress.rows, progress.rowsTotal));
        break;
    }
}

FilesDone MigrationDisplay::filesDone(const MigrationProgress& progress) const
{
    return {progress.files, progress.filesTotal, progress.bytes, progress.bytesTotal,
            m_clock() - m_phaseSince};
}

CopyProgress::CopyProgress(const Call& call)
    : m_display(progressDevice(call), Terminal::ProgressLine::viewOf(progressDevice(call)),
                [this] { return m_clock.isValid() ? m_clock.elapsed() : 0; })
{
    m_clock.start();
}

Backend::MigrationObserver CopyProgress::observer()
{
    return [this](const MigrationProgress& progress) {
        m_last = progress;
        if (progress.phase == Phase::Rows)
            m_rows = progress.rows;
        m_display.show(progress);
    };
}

Stop CopyProgress::stop() const
{
    Stop stop;
    stop.json = {{QStringLiteral("files"), m_last.files},
                 {QStringLiteral("files_total"), m_last.filesTotal},
                 {QStringLiteral("bytes"), m_last.bytes},
                 {QStringLiteral("bytes_total"), m_last.bytesTotal},
                 {QStringLiteral("rows"), m_rows}};
    if (m_last.files == 0 && m_last.bytes == 0 && m_rows == 0) {
        stop.done = QStringLiteral("nothing had been copied yet");
        return stop;
    }
    stop.done = QStringLiteral("%1 stored files, %2 of %3, and %4 rows were brought over")
                    .arg(countText(m_last.files, m_last.filesTotal), sizeText(m_last.bytes),
                         sizeText(m_last.bytesTotal), QString::number(m_rows));
    return stop;
}

} // namespace KOZAV::Admin
