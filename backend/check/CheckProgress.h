#pragma once

#include <QtGlobal>

#include <functional>
#include <mutex>

namespace KOZAV::Backend {

/// How far a check has come.
struct CheckProgress
{
    enum class Phase {
        Database, ///< the engine examines its data
        Rows,     ///< rows are compared with each other
        Files,    ///< rows are compared with stored files, which are read where that is asked for
        Places,   ///< stores and caches are looked through
        Repair
    };

    Phase phase = Phase::Database;
    qint64 files = 0; ///< done, of filesTotal
    qint64 filesTotal = 0;
    qint64 bytes = 0; ///< read, of bytesTotal; both 0 where nothing is read
    qint64 bytesTotal = 0;
};

/// Is told of every step, on any thread, one call at a time.
using CheckObserver = std::function<void(const CheckProgress&)>;

/// Adds up what several threads have done and tells the observer.
class CheckMeter final
{
public:
    explicit CheckMeter(CheckObserver observer)
        : m_observer(std::move(observer))
    {
    }

    void enter(CheckProgress::Phase phase)
    {
        change([phase](CheckProgress& progress) { progress.phase = phase; });
    }
    void expect(qint64 files, qint64 bytes)
    {
        change([&](CheckProgress& progress) {
            progress.filesTotal = files;
            progress.bytesTotal = bytes;
        });
    }
    void addFile()
    {
        change([](CheckProgress& progress) { ++progress.files; });
    }
    void addBytes(qint64 bytes)
    {
        change([bytes](CheckProgress& progress) { progress.bytes += bytes; });
    }

private:
    template <typename Change>
    void change(Change&& apply)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        apply(m_progress);
        if (m_observer)
            m_observer(m_progress);
    }

    std::mutex m_mutex;
    CheckObserver m_observer;
    CheckProgress m_progress;
};

} // namespace KOZAV::Backend
