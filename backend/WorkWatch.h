#pragma once

#include "backend/HostInterface.h"

#include <QElapsedTimer>

#include <chrono>
#include <functional>
#include <memory>

namespace KOZAV::Backend {

// How the host hears of an operation that takes its time. What works in blocks or pieces says after each how
// far it is; it costs nothing to speak of where nobody listens, and so may stand in any loop.

/// One operation on the calling thread, from its beginning to its end, that the host may want to hear of. An
/// operation within another one is a part of that.
class WatchedWork final
{
public:
    /// @param event  of the operation, which outlives this
    explicit WatchedWork(const OperationEvent& event);
    ~WatchedWork();
    Q_DISABLE_COPY(WatchedWork)

    /// Tells the host, unless it was told just before.
    void tell(WorkProgress::Stage stage, qint64 done, qint64 total) noexcept;

private:
    const OperationEvent& m_event;
    std::shared_ptr<const WorkObserver> m_observer;
    QElapsedTimer m_sinceTold;
    bool m_telling = false;
};

/// How often the host is told.
constexpr std::chrono::milliseconds workTellInterval{50};

/// Whether the host wants to hear of the operation that the calling thread is in. Whoever waits for other
/// threads then wakes up now and then to tell it.
[[nodiscard]] bool isWorkWatched() noexcept;

/// Tells how far the operation is that the calling thread is in; does nothing on other threads.
/// @param done, total  bytes of the stage; -1 where it has none
void tellWork(WorkProgress::Stage stage, qint64 done = -1, qint64 total = -1) noexcept;

/// Runs work, which is one long call that cannot say how far it is: on a thread of its own where the host
/// listens, so that it can be told meanwhile.
void runTold(WorkProgress::Stage stage, const std::function<void()>& work);

} // namespace KOZAV::Backend
