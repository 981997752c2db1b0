#include "backend/migrate/MigrationProgress.h"

#include <utility>

namespace KOZAV::Backend {

ProgressMeter::ProgressMeter(MigrationObserver observer)
    : m_observer(std::move(observer))
{
}

template <typename Change>
void ProgressMeter::change(Change&& apply)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    apply(m_progress);
    if (m_observer)
        m_observer(m_progress);
}

void ProgressMeter::enter(MigrationProgress::Phase phase)
{
    change([phase](MigrationProgress& progress) {
        progress.phase = phase;
        progress.rows = 0;
    });
}

void ProgressMeter::expectFiles(qint64 files, qint64 bytes)
{
    change([=](MigrationProgress& progress) {
        progress.filesTotal = files;
        progress.bytesTotal = bytes;
    });
}

void ProgressMeter::expectRows(qint64 rows)
{
    change([rows](MigrationProgress& progress) { progress.rowsTotal = rows; });
}

void ProgressMeter::addFile()
{
    change([](MigrationProgress& progress) { ++progress.files; });
}

void ProgressMeter::addBytes(qint64 bytes)
{
    change([bytes](MigrationProgress& progress) { progress.bytes += bytes; });
}

void ProgressMeter::addRows(qint64 rows)
{
    change([rows](MigrationProgress& progress) { progress.rows += rows; });
}

} // namespace KOZAV::Backend
