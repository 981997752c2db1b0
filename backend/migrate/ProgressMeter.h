#pragma once

#include "backend/migrate/MigrationProgress.h"

#include <mutex>

namespace KOZAV::Backend {

/// Adds up what several threads have done and tells the observer.
class ProgressMeter final
{
public:
    explicit ProgressMeter(MigrationObserver observer);

    void enter(MigrationProgress::Phase phase);
    void expectFiles(qint64 files, qint64 bytes);
    void expectRows(qint64 rows);
    void addFile();
    void addBytes(qint64 bytes);
    void addRows(qint64 rows);

private:
    template <typename Change>
    void change(Change&& apply);

    std::mutex m_mutex;
    MigrationObserver m_observer;
    MigrationProgress m_progress;
};

} // namespace KOZAV::Backend
