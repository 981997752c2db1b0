#pragma once

#include <QtGlobal>

#include <functional>
#include <mutex>

namespace KOZAV::Backend {

/// How far a migration has come.
struct MigrationProgress
{
    enum class Phase { Checking, Files, Rows, Verifying };

    Phase phase = Phase::Checking;
    qint64 files = 0; ///< done, of filesTotal
    qint64 filesTotal = 0;
    qint64 bytes = 0; ///< done, of the bytes of files that have to be copied
    qint64 bytesTotal = 0;
    qint64 rows = 0; ///< done in this phase, of rowsTotal
    qint64 rowsTotal = 0;
};

/// Is told of every step, on any thread, one call at a time.
using MigrationObserver = std::function<void(const MigrationProgress&)>;

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
