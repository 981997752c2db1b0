#include "admin/CheckDisplay.h"

#include "admin/ProgressText.h"

#include <utility>

namespace KOZAV::Admin {

using Backend::CheckProgress;
using Phase = CheckProgress::Phase;

namespace {

QString taskText(const CheckProgress& progress)
{
    switch (progress.phase) {
    case Phase::Database:
        return QStringLiteral("database");
    case Phase::Rows:
        return QStringLiteral("rows");
    case Phase::Files:
        return progress.bytesTotal > 0 ? QStringLiteral("reading") : QStringLiteral("files");
    case Phase::Places:
        return QStringLiteral("caches");
    case Phase::Repair:
        break;
    }
    return QStringLiteral("repair");
}

} // namespace

CheckDisplay::CheckDisplay(QIODevice* device, Terminal::ProgressLine::View view,
                           Terminal::ProgressLine::Clock clock)
    : m_clock(clock)
    , m_line(device, view, std::move(clock))
    , m_phaseSince(m_clock())
{
}

void CheckDisplay::show(const CheckProgress& progress)
{
    if (progress.phase != m_phase)
        m_phaseSince = m_clock();
    m_phase = progress.phase;
    const QString task = taskText(progress);
    if (progress.phase != Phase::Files || progress.filesTotal == 0) {
        m_line.show(task, -1, QStringLiteral("looking"));
        return;
    }
    const FilesDone done{progress.files, progress.filesTotal, progress.bytes, progress.bytesTotal,
                         m_clock() - m_phaseSince};
    m_line.show(task, fractionOf(done), progress.bytesTotal > 0 ? detailsOf(done) : filesText(done));
}

} // namespace KOZAV::Admin
